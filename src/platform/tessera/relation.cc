#include "platform/tessera/relation.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/os/process.h"

namespace qob::tessera {
namespace {

using store::Entry;
using store::Status;

constexpr std::int32_t kNoIndex = -1;
constexpr std::int32_t kOnlyIndex = 0;
constexpr Status kNoRecordBehind = static_cast<Status>(17);
constexpr std::int64_t kBehindAllNumbers = std::numeric_limits<std::int64_t>::max();
constexpr int kMostTries = 5;
constexpr Status kPlaceIsLost = store::kNotFound;

}  // namespace

Relation::Relation() : process_(os::ProcessId()) {}

// A child of a fork has nothing of its parent's to give up.
Relation::~Relation() {
  if (os::ProcessId() == process_) GiveUpLock();
}

// ---- opening

Status Relation::Open(std::string_view directory, std::string_view name) {
  try {
    status_ = OpenRelation::Open(directory, name, &relation_);
  } catch (const std::bad_alloc&) {
    status_ = store::kNoMemory;
  }
  return status_;
}

Status Relation::Attach(std::int32_t index, std::span<std::byte> buffer) {
  if (status_ != store::kOk) return status_;
  try {
    if (os::ProcessId() != process_ || relation_ == nullptr) return status_ = store::kNotOpen;
    if (index != kNoIndex) return status_ = store::kNoSuchIndex;
    if (buffer.data() == nullptr || buffer.size() != file().description().record_bytes) {
      return status_ = store::kNotOurFile;
    }
    loaded_.resize(buffer.size());
    buffer_ = buffer;
  } catch (const std::bad_alloc&) {
    status_ = store::kNoMemory;
  }
  return status_;
}

// Between its two ends, what every operation asks first.
template <class Work>
Status Relation::Do(Work&& work) {
  try {
    const bool ready = !buffer_.empty() && os::ProcessId() == process_;
    status_ = ready ? work() : store::kNotOpen;
  } catch (const std::bad_alloc&) {
    status_ = store::kNoMemory;
  }
  return status_;
}

// ---- the lock

// Whoever waited may hold the lock of an index file that was replaced meanwhile.
Status Relation::TakeLock(bool shared, std::uint32_t timeout_ms) {
  for (int tries = 0;; ++tries) {
    bool shares = shared;
    const Status status = relation_->lock().Take(&shares, timeout_ms);
    if (status != store::kOk) return status;
    has_lock_ = true;
    shares_lock_ = shares;
    if (tries == kMostTries || relation_->HasCurrentLock()) return store::kOk;
    std::shared_ptr<OpenRelation> again;
    const Status opened = OpenAgain(&again);
    // What this object has open may have no names any more: its lock is then its own.
    if (opened == store::kOk && again == nullptr) return store::kOk;
    GiveUpLock();
    if (opened != store::kOk) return opened;
    KeepPlace();
    image_ = nullptr;  // it is of the connection that is let go
    relation_ = std::move(again);
  }
}

Status Relation::OpenAgain(std::shared_ptr<OpenRelation>* again) {
  try {
    return relation_->Again(again);
  } catch (const std::bad_alloc&) {
    return store::kNoMemory;
  }
}

void Relation::GiveUpLock() {
  if (has_lock_) relation_->lock().GiveUp(shares_lock_);
  has_lock_ = false;
}

Status Relation::Lock(bool shared, std::uint32_t timeout_ms) {
  return Do([&] { return has_lock_ ? store::kOk : TakeLock(shared, timeout_ms); });
}

Status Relation::Unlock() {
  return Do([&] {
    GiveUpLock();
    return store::kOk;
  });
}

// ---- passes

Status Relation::Begin(std::int32_t index) {
  return Do([&] {
    if (index != kOnlyIndex) return store::kNoSuchIndex;
    in_pass_ = true;
    has_place_ = false;
    place_row_ = Found::kNoRow;
    return store::kOk;
  });
}

Status Relation::End() {
  return Do([&] {
    in_pass_ = has_place_ = false;
    place_row_ = Found::kNoRow;
    return store::kOk;
  });
}

// ---- look-ups

const store::Image* Relation::CurrentImage() {
  if (image_ != nullptr && image_->IsCurrent()) return image_.get();
  KeepPlace();
  image_ = file().CurrentImage();
  return image_.get();
}

// The image goes; the place stays.
void Relation::KeepPlace() {
  if (place_row_ == Found::kNoRow) return;
  place_key_.assign(image_->key(place_row_));
  place_number_ = image_->number(place_row_);
  place_row_ = Found::kNoRow;
}

Relation::Found Relation::FindKey(std::string_view key) {
  Found found;
  if (const store::Image* image = CurrentImage()) {
    found.row = image->At(key, 0);  // numbers begin at 1
    const bool matches = found.row < image->size() && image->key(found.row) == key;
    found.status = matches ? store::kOk : store::kNotFound;
  } else {
    found.status = file().Find(kOnlyIndex, store::Seek::kEqual, key, &found.entry, loaded_);
  }
  return found;
}

Relation::Found Relation::FindFirst() {
  Found found;
  if (const store::Image* image = CurrentImage()) {
    found.row = 0;
    found.status = image->size() > 0 ? store::kOk : store::kEndOfFile;
  } else {
    found.status = file().Find(kOnlyIndex, store::Seek::kFirst, {}, &found.entry, loaded_);
  }
  return found;
}

// Where a key stands once, a record that came in the place of the one that was met is passed over:
// however often somebody takes it away and puts it back, the pass goes on.
Relation::Found Relation::FindNext() {
  const std::uint16_t flags = file().description().keys[kOnlyIndex].flags;
  const bool unique = (flags & store::kKeyDuplicates) == 0;
  Found found;
  if (const store::Image* image = CurrentImage()) {
    found.row = place_row_ != Found::kNoRow ? place_row_ + 1
                : unique                    ? image->At(place_key_, kBehindAllNumbers)
                                            : image->At(place_key_, place_number_ + 1);
    found.status = found.row < image->size() ? store::kOk : store::kEndOfFile;
    return found;
  }
  found.status = file().Next(kOnlyIndex, place_key_, place_number_, &found.entry, loaded_);
  if (unique && found.status == store::kOk && found.entry.key == place_key_) {
    found.status = file().Next(kOnlyIndex, place_key_, kBehindAllNumbers, &found.entry, loaded_);
  }
  return found;
}

// What was found becomes the current record; the buffer changes only now.
Status Relation::Load(const Found& found) {
  if (found.status == store::kEndOfFile) return kNoRecordBehind;
  if (found.status != store::kOk) return found.status;
  const bool in_image = found.row != Found::kNoRow;
  const std::byte* const record = in_image ? image_->record(found.row).data() : loaded_.data();
  std::memcpy(buffer_.data(), record, buffer_.size());
  has_current_ = true;
  current_number_ = in_image ? image_->number(found.row) : found.entry.number;
  current_version_ = in_image ? image_->version(found.row) : found.entry.version;
  return store::kOk;
}

void Relation::StandOn(Found&& found) {
  has_place_ = true;
  place_row_ = found.row;
  if (found.row != Found::kNoRow) return;
  place_key_ = std::move(found.entry.key);
  place_number_ = found.entry.number;
}

Status Relation::First() {
  return Do([&] {
    if (!in_pass_) return store::kNoPosition;
    Found found = FindFirst();
    const Status status = Load(found);
    if (status == store::kOk) StandOn(std::move(found));
    return status;
  });
}

Status Relation::Next() {
  return Do([&] {
    if (!in_pass_ || !has_place_) return kPlaceIsLost;
    Found found = FindNext();
    const Status status = Load(found);
    if (status == store::kOk) StandOn(std::move(found));
    return status;
  });
}

// The record sought is not the one that was current: there is none until another is loaded.
Status Relation::Seek(Found* found) {
  const store::KeyDescription& key = file().description().keys[kOnlyIndex];
  *found = FindKey(store::IndexKeyOf(key, buffer_));
  if (found->status == store::kNotFound) has_current_ = false;
  return Load(*found);
}

Status Relation::Get(std::int32_t index) {
  return Do([&] {
    Found found;
    return index == kOnlyIndex ? Seek(&found) : store::kNoSuchIndex;
  });
}

Status Relation::Find() {
  return Do([&] {
    if (!in_pass_) return store::kNoPosition;
    Found found;
    const Status status = Seek(&found);
    if (status == store::kOk) StandOn(std::move(found));
    return status;
  });
}

// ---- changes

Status Relation::Add() {
  return Do([&] {
    Entry entry;
    const Status status = file().Insert(buffer_, &entry);
    if (status != store::kOk) return status;
    has_current_ = true;
    current_number_ = entry.number;
    current_version_ = entry.version;
    return store::kOk;
  });
}

Status Relation::Put() {
  return Do([&] {
    if (!has_current_) return store::kNoPosition;
    Entry entry{.number = current_number_, .version = current_version_, .key = {}};
    const Status status = file().Update(&entry, buffer_);
    if (status == store::kOk) current_version_ = entry.version;
    return status;
  });
}

Status Relation::Delete() {
  return Do([&] {
    if (!has_current_) return store::kNoPosition;
    const Status status =
        file().Delete({.number = current_number_, .version = current_version_, .key = {}});
    if (status == store::kOk) has_current_ = false;
    return status;
  });
}

}  // namespace qob::tessera
