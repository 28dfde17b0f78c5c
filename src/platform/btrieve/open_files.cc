#include "platform/btrieve/open_files.h"

#include <atomic>
#include <utility>

namespace qob::btrieve {
namespace {

// Never destroyed: other threads may still be at work while the process ends.
std::atomic<OpenFiles*> g_table{nullptr};

// Of every slot and process alike, so that a block of the parent never fits a file that the child
// opened.
std::atomic<std::uint64_t> g_generation{0};

}  // namespace

OpenFiles* OpenFiles::Existing(std::uint32_t process) {
  OpenFiles* table = g_table.load(std::memory_order_acquire);
  return table != nullptr && table->process_ == process ? table : nullptr;
}

OpenFiles& OpenFiles::Of(std::uint32_t process) {
  OpenFiles* table = g_table.load(std::memory_order_acquire);
  while (table == nullptr || table->process_ != process) {
    std::unique_ptr<OpenFiles> made(new OpenFiles(process, table));
    if (g_table.compare_exchange_strong(table, made.get(), std::memory_order_acq_rel)) {
      table = made.release();
    }
  }
  return *table;
}

OpenFiles::Slot* OpenFiles::Find(const Key& key) {
  if (key.slot >= slots_.size()) return nullptr;
  Slot& slot = slots_[key.slot];
  return slot.file != nullptr && slot.generation == key.generation ? &slot : nullptr;
}

store::Status OpenFiles::Add(std::shared_ptr<store::RecordFile> file, Key* key) {
  std::scoped_lock hold(mutex_);
  std::size_t at = 0;
  while (at < slots_.size() && slots_[at].file != nullptr) ++at;
  if (at == kMaxOpen) return store::kTooManyOpen;
  if (at == slots_.size()) slots_.emplace_back();
  slots_[at] = {g_generation.fetch_add(1) + 1, std::move(file)};
  *key = {static_cast<std::uint32_t>(at), slots_[at].generation};
  return store::kOk;
}

std::shared_ptr<store::RecordFile> OpenFiles::Get(const Key& key) {
  std::scoped_lock hold(mutex_);
  const Slot* slot = Find(key);
  return slot != nullptr ? slot->file : nullptr;
}

std::shared_ptr<store::RecordFile> OpenFiles::Remove(const Key& key) {
  std::scoped_lock hold(mutex_);
  Slot* slot = Find(key);
  return slot != nullptr ? std::exchange(slot->file, nullptr) : nullptr;
}

}  // namespace qob::btrieve
