// The table of open files.
#include "lineio/handle_pool.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <mutex>

namespace qob {
namespace {

constexpr std::uint32_t kPageBits = 16;
constexpr std::size_t kPageSize = std::size_t{1} << kPageBits;
constexpr std::size_t kDirectorySize = std::size_t{1} << (31 - kPageBits);

using Entry = std::atomic<FileObject*>;
// Both kinds of block come from calloc: a null pointer is all zero bits, and the system hands out
// zero pages that cost nothing until a handle in them is used.
using PageLink = std::atomic<Entry*>;
static_assert(std::is_trivially_destructible_v<Entry> && sizeof(Entry) == sizeof(void*));

struct Pool {
  PageLink pages[kDirectorySize];
  // Under the lookup lock.
  std::size_t slots_made;
  std::size_t slots_in_use;
  std::int32_t highest_handle;
};

std::atomic<Pool*> the_pool{nullptr};
// Adding holds both, in this order; removing holds the second alone.
std::mutex pool_lock;
std::mutex lookup_lock;

std::size_t PageOf(std::int32_t handle) { return static_cast<std::size_t>(handle) >> kPageBits; }
std::size_t PlaceOf(std::int32_t handle) {
  return static_cast<std::size_t>(handle) & (kPageSize - 1);
}

Entry* FindEntry(const Pool& pool, std::int32_t handle) {
  if (handle < 0) return nullptr;
  Entry* page = pool.pages[PageOf(handle)].load(std::memory_order_acquire);
  return page == nullptr ? nullptr : page + PlaceOf(handle);
}

// The handle's entry, its page made when there is none yet. Under the pool lock.
Entry* MakeEntry(Pool& pool, std::int32_t handle) {
  if (handle < 0) return nullptr;
  PageLink& link = pool.pages[PageOf(handle)];
  if (link.load(std::memory_order_relaxed) == nullptr) {
    link.store(static_cast<Entry*>(std::calloc(kPageSize, sizeof(Entry))),
               std::memory_order_release);
  }
  return FindEntry(pool, handle);
}

void DiscardAll(Pool& pool) {
  for (std::int32_t handle = 0; handle <= pool.highest_handle; ++handle) {
    Entry* entry = FindEntry(pool, handle);
    if (entry == nullptr) continue;
    FileObject* object = entry->exchange(nullptr, std::memory_order_acq_rel);
    if (object != nullptr) DiscardFileObject(object);
  }
}

}  // namespace

bool StartHandlePool() {
  std::scoped_lock hold(pool_lock, lookup_lock);
  if (the_pool.load(std::memory_order_relaxed) != nullptr) return true;
  Pool* pool = static_cast<Pool*>(std::calloc(1, sizeof(Pool)));
  if (pool == nullptr) return false;
  pool->highest_handle = -1;
  the_pool.store(pool, std::memory_order_release);
  return true;
}

void EndHandlePool() {
  std::scoped_lock hold(pool_lock, lookup_lock);
  Pool* pool = the_pool.exchange(nullptr, std::memory_order_acq_rel);
  if (pool == nullptr) return;
  DiscardAll(*pool);
  for (PageLink& link : pool->pages) std::free(link.load(std::memory_order_relaxed));
  std::free(pool);
}

bool AddToPool(FileObject* object) {
  std::scoped_lock hold_pool(pool_lock);
  Pool* pool = the_pool.load(std::memory_order_relaxed);
  if (pool == nullptr) return false;
  Entry* entry = MakeEntry(*pool, object->face.handle);
  if (entry == nullptr) return false;
  std::scoped_lock hold_lookup(lookup_lock);
  if (pool->slots_in_use == pool->slots_made) ++pool->slots_made;
  ++pool->slots_in_use;
  pool->highest_handle = std::max(pool->highest_handle, object->face.handle);
  entry->store(object, std::memory_order_release);
  return true;
}

FileObject* FindInPool(std::int32_t handle) {
  const Pool* pool = the_pool.load(std::memory_order_acquire);
  if (pool == nullptr) [[unlikely]]
    return nullptr;
  const Entry* entry = FindEntry(*pool, handle);
  return entry == nullptr ? nullptr : entry->load(std::memory_order_acquire);
}

PoolAnswer TakeFromPool(std::int32_t handle, FileObject** object) {
  std::scoped_lock hold(lookup_lock);
  Pool* pool = the_pool.load(std::memory_order_relaxed);
  if (pool == nullptr) return PoolAnswer::kNoPool;
  if (pool->slots_made == 0) return PoolAnswer::kNoSlots;
  Entry* entry = FindEntry(*pool, handle);
  *object = entry == nullptr ? nullptr : entry->exchange(nullptr, std::memory_order_acq_rel);
  if (*object == nullptr) return PoolAnswer::kUnknown;
  --pool->slots_in_use;
  return PoolAnswer::kTaken;
}

}  // namespace qob
