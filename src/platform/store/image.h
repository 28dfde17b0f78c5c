// All records of a small file in the order of its first index, in memory, as of one moment.
// Look-ups in it ask nothing of the system. It is the file for as long as nobody changes it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/store/log_header.h"

namespace qob::store {

// Files with more bytes of records have no image.
inline constexpr std::size_t kMostImageBytes = std::size_t{2} << 20;

class Image {
 public:
  Image(std::uint32_t* log_index, std::size_t record_bytes)
      : log_index_(log_index), record_bytes_(record_bytes), seen_(ReadLogHeader(log_index)) {}

  // Asked before every use, by one who has the file open.
  bool IsCurrent() const { return ReadLogHeader(log_index_) == seen_; }

  std::size_t size() const { return rows_.size(); }
  std::int64_t number(std::size_t row) const { return rows_[row].number; }
  std::int64_t version(std::size_t row) const { return rows_[row].version; }
  std::string_view key(std::size_t row) const {
    return {keys_.data() + rows_[row].key_at, rows_[row].key_bytes};
  }
  std::span<const std::byte> record(std::size_t row) const {
    return std::span(records_).subspan(row * record_bytes_, record_bytes_);
  }
  // The first row at or behind that place; size() when there is none.
  std::size_t At(std::string_view key, std::int64_t number) const;

  // While it is made: the next row in order. False when it would be too large, or for a row out of
  // order. `fill(record)` gives the bytes, or false for a damaged one.
  template <class Fill>
  bool Add(std::int64_t number, std::int64_t version, std::string_view key, Fill&& fill) {
    if (records_.size() + record_bytes_ > kMostImageBytes) return false;
    if (!rows_.empty() && !IsBehind(key, number, rows_.size() - 1)) return false;
    records_.resize(records_.size() + record_bytes_);
    if (!fill(std::span(records_).last(record_bytes_))) return false;
    rows_.push_back({number, version, keys_.size(), key.size()});
    keys_.insert(keys_.end(), key.begin(), key.end());
    return true;
  }

 private:
  struct Row {
    std::int64_t number;
    std::int64_t version;
    std::size_t key_at;
    std::size_t key_bytes;
  };
  bool IsBehind(std::string_view key, std::int64_t number, std::size_t row) const;

  std::uint32_t* const log_index_;
  const std::size_t record_bytes_;
  const LogHeader seen_;
  std::vector<Row> rows_;
  std::vector<char> keys_;
  std::vector<std::byte> records_;
};

// When it is worth while to make one: reading every record costs about as much as a sixteenth as
// many look-ups. One image per connection.
class ImageKeeper {
 public:
  // The image as it was made, if it still is the file.
  std::shared_ptr<const Image> Current();
  // Asked when there is none: a look-up more goes another way, or it is time.
  bool IsDue(std::uint32_t* log_index);
  // What came of it; null when there can be none until somebody changes the file.
  void Keep(std::shared_ptr<const Image> image, std::size_t rows_met);

 private:
  static constexpr std::size_t kFewest = 8;
  static constexpr std::size_t kRowsPerLookup = 16;

  std::shared_ptr<const Image> image_;
  LogHeader seen_{};  // when look-ups were last counted
  std::size_t counted_ = 0;
  std::size_t due_at_ = kFewest;
  bool in_vain_ = false;
};

}  // namespace qob::store
