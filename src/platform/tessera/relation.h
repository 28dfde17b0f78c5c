// One object's view of a relation: its record buffer, its current record, its pass and its lock.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/tessera/open_relation.h"

namespace qob::tessera {

class Relation {
 public:
  Relation();
  ~Relation();
  Relation(const Relation&) = delete;
  Relation& operator=(const Relation&) = delete;

  // Nothing below throws; each gives the result and keeps it as status().
  store::Status Open(std::string_view directory, std::string_view name);
  store::Status status() const { return status_; }
  store::Status Attach(std::int32_t index, std::span<std::byte> buffer);

  store::Status Lock(bool shared, std::uint32_t timeout_ms);
  store::Status Unlock();
  store::Status Begin(std::int32_t index);
  store::Status End();
  store::Status First();
  store::Status Next();
  store::Status Get(std::int32_t index);
  store::Status Find();
  store::Status Add();
  store::Status Put();
  store::Status Delete();

 private:
  template <class Work>
  store::Status Do(Work&& work);
  // What was found: a row of the image, or an entry whose record stands in loaded_.
  struct Found {
    static constexpr std::size_t kNoRow = static_cast<std::size_t>(-1);
    store::Status status = store::kOk;
    std::size_t row = kNoRow;
    store::Entry entry = {};
  };
  // The file's image as it is now; null where there is none.
  const store::Image* CurrentImage();
  Found FindKey(std::string_view key);
  Found FindFirst();
  Found FindNext();
  store::Status Load(const Found& found);
  store::Status Seek(Found* found);
  void StandOn(Found&& found);
  void KeepPlace();
  store::Status TakeLock(bool shared, std::uint32_t timeout_ms);
  store::Status OpenAgain(std::shared_ptr<OpenRelation>* again);
  void GiveUpLock();
  store::RecordFile& file() { return relation_->file(); }

  const std::uint32_t process_;
  store::Status status_ = store::kNotOpen;
  std::shared_ptr<OpenRelation> relation_;
  std::span<std::byte> buffer_;
  std::vector<std::byte> loaded_;  // a record that is read stands here first

  bool has_current_ = false;
  std::int64_t current_number_ = 0;
  std::int64_t current_version_ = 0;

  bool in_pass_ = false;
  bool has_place_ = false;
  // The place is this row of the image; once that is no longer the file, key and number.
  std::size_t place_row_ = Found::kNoRow;
  std::string place_key_;
  std::int64_t place_number_ = 0;
  std::shared_ptr<const store::Image> image_;

  bool has_lock_ = false;
  bool shares_lock_ = false;
};

}  // namespace qob::tessera
