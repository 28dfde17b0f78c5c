// The process's open files by handle.
//
// Handles are the system's small numbers, so the pool is a table indexed by handle: a directory of
// pages, both made of atomic pointers. Finding an object is two loads and takes no lock, however
// many files are open; adding and removing take the locks. A "slot" is a place for one open file:
// it is made when all others are in use and is kept until the pool ends, which is what tells a pool
// that never held a file from one whose files were all closed.
#pragma once
#include <atomic>
#include <cstddef>
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
inline FileObject* FindInPool(std::int32_t handle);

enum class PoolAnswer { kTaken, kNoPool, kNoSlots, kUnknown };
// Takes the object out of the pool: from then on its handle is unknown and its number may come
// back.
PoolAnswer TakeFromPool(std::int32_t handle, FileObject** object);

// The table itself, here so that every line call finds its object without a call.
namespace pool {
inline constexpr std::uint32_t kPageBits = 16;
inline constexpr std::size_t kPageSize = std::size_t{1} << kPageBits;
inline constexpr std::size_t kDirectorySize = std::size_t{1} << (31 - kPageBits);

using Entry = std::atomic<FileObject*>;
// Pages come from calloc when a handle in them is first used: a null pointer is all zero bits, and
// the system gives memory for the touched part alone. Without a pool the whole directory is null.
extern std::atomic<Entry*> directory[kDirectorySize];

inline Entry* Find(std::int32_t handle) {
  if (handle < 0) [[unlikely]]
    return nullptr;
  const std::size_t place = static_cast<std::size_t>(handle);
  Entry* page = directory[place >> kPageBits].load(std::memory_order_acquire);
  return page == nullptr ? nullptr : page + (place & (kPageSize - 1));
}
}  // namespace pool

inline FileObject* FindInPool(std::int32_t handle) {
  const pool::Entry* entry = pool::Find(handle);
  return entry == nullptr ? nullptr : entry->load(std::memory_order_acquire);
}

}  // namespace qob
