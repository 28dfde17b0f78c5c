// Adding to and taking from the table of open files.
#include "lineio/handle_pool.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

#include "frame/heap.h"

namespace qob {
namespace pool {

std::atomic<Entry*> directory[kDirectorySize];

}  // namespace pool

namespace {

using pool::Entry;

struct Pool {
  std::size_t slots_made = 0;
  std::size_t slots_in_use = 0;
  std::int32_t highest_handle = -1;
};

// Changed under both locks, its fields under the lookup lock. It and the locks outlive every other
// static: a thread may still be inside when the process ends.
Pool* the_pool = nullptr;
// Adding holds both, in this order; removing holds the second alone.
std::mutex pool_lock;
std::mutex lookup_lock;

// The handle's entry, its page made when there is none yet. Under the pool lock.
Entry* MakeEntry(std::int32_t handle) {
  if (handle < 0) return nullptr;
  std::atomic<Entry*>& link = pool::directory[static_cast<std::size_t>(handle) >> pool::kPageBits];
  if (link.load(std::memory_order_relaxed) == nullptr) {
    link.store(static_cast<Entry*>(std::calloc(pool::kPageSize, sizeof(Entry))),
               std::memory_order_release);
  }
  return pool::Find(handle);
}

void DiscardAll(std::int32_t highest_handle) {
  for (std::int32_t handle = 0; handle <= highest_handle; ++handle) {
    Entry* entry = pool::Find(handle);
    if (entry == nullptr) continue;
    FileObject* object = entry->exchange(nullptr, std::memory_order_acq_rel);
    if (object != nullptr) DiscardFileObject(object);
  }
}

}  // namespace

bool StartHandlePool() {
  std::scoped_lock hold(pool_lock, lookup_lock);
  if (the_pool != nullptr) return true;
  the_pool = HeapRecord<Pool>();
  if (the_pool == nullptr) return false;
  *the_pool = Pool{};
  return true;
}

void EndHandlePool() {
  std::scoped_lock hold(pool_lock, lookup_lock);
  if (the_pool == nullptr) return;
  const std::int32_t highest = the_pool->highest_handle;
  DiscardAll(highest);
  // Behind the page of the highest handle the directory was never touched.
  for (std::int32_t page = highest >> pool::kPageBits; page >= 0; --page) {
    Entry* const entries = pool::directory[static_cast<std::size_t>(page)].exchange(
        nullptr, std::memory_order_acq_rel);
    std::free(entries);
  }
  std::free(the_pool);
  the_pool = nullptr;
}

bool AddToPool(FileObject* object) {
  std::scoped_lock hold_pool(pool_lock);
  if (the_pool == nullptr) return false;
  Entry* entry = MakeEntry(object->face.handle);
  if (entry == nullptr) return false;
  std::scoped_lock hold_lookup(lookup_lock);
  if (the_pool->slots_in_use == the_pool->slots_made) ++the_pool->slots_made;
  ++the_pool->slots_in_use;
  the_pool->highest_handle = std::max(the_pool->highest_handle, object->face.handle);
  entry->store(object, std::memory_order_release);
  return true;
}

PoolAnswer TakeFromPool(std::int32_t handle, FileObject** object) {
  std::scoped_lock hold(lookup_lock);
  if (the_pool == nullptr) return PoolAnswer::kNoPool;
  if (the_pool->slots_made == 0) return PoolAnswer::kNoSlots;
  Entry* entry = pool::Find(handle);
  *object = entry == nullptr ? nullptr : entry->exchange(nullptr, std::memory_order_acq_rel);
  if (*object == nullptr) return PoolAnswer::kUnknown;
  --the_pool->slots_in_use;
  return PoolAnswer::kTaken;
}

}  // namespace qob
