// The process's open files by handle.
//
// Handles are the system's small numbers, so the pool is a table indexed by handle: a directory of
// pages, both made of atomic pointers. Finding an object is two loads and takes no lock, however
// many files are open; adding and removing take the locks. A "slot" is a place for one open file:
// it is made when all others are in use and is kept until the pool ends, which is what tells a pool
// that never held a file from one whose files were all closed.
#pragma once
#include <cstdint>

#include "lineio/file_object.h"

namespace qob {

// False when the pool cannot be allocated. Does nothing when there is one.
bool StartHandlePool();
// Discards every open object (nothing is flushed) and the pool.
void EndHandlePool();

// False without memory or pool; the object is then still the caller's.
bool AddToPool(FileObject* object);
// Null for a handle that is not in the pool.
FileObject* FindInPool(std::int32_t handle);

enum class PoolAnswer { kTaken, kNoPool, kNoSlots, kUnknown };
// Takes the object out of the pool: from then on its handle is unknown and its number may come
// back.
PoolAnswer TakeFromPool(std::int32_t handle, FileObject** object);

}  // namespace qob
