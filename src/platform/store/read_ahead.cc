#include "platform/store/read_ahead.h"

#include <algorithm>

namespace qob::store {

bool ReadAhead::IsUnchanged() const {
  return header_ != nullptr && ReadLogHeader(header_) == seen_;
}

bool ReadAhead::StandsAt(int index, std::string_view key, std::int64_t number) const {
  return number_ != 0 && index == index_ && number == number_ && key == key_;
}

// The number last: a copy that fails leaves a place where no walk stands.
void ReadAhead::MoveTo(std::string_view key, std::int64_t number) {
  number_ = 0;
  key_.assign(key);
  number_ = number;
}

const ReadAhead::Row* ReadAhead::Take(int index, std::string_view key, std::int64_t number) {
  if (next_ == count_ || !StandsAt(index, key, number)) return nullptr;
  if (!IsUnchanged()) return nullptr;
  const Row& row = rows_[next_];
  MoveTo(row.key, row.number);
  ++next_;
  return &row;
}

int ReadAhead::Plan(int index, std::string_view key, std::int64_t number) {
  const bool in_vain = next_ != count_;
  const bool goes_on = !in_vain && StandsAt(index, key, number);
  next_ = count_ = bytes_ = 0;
  planned_ = goes_on && header_ != nullptr ? std::min(planned_ * 2, kMostRows) : 1;
  index_ = index;
  number_ = 0;
  if (planned_ > 1) seen_ = ReadLogHeader(header_);
  return static_cast<int>(planned_);
}

bool ReadAhead::Add(std::int64_t number, std::int64_t version, std::string_view key,
                    std::string_view body) {
  if (number_ == 0) {
    MoveTo(key, number);
    return planned_ > 1;
  }
  if (rows_.size() == count_) rows_.emplace_back();
  Row& row = rows_[count_];
  row.number = number;
  row.version = version;
  row.key.assign(key);
  row.body.assign(body);
  bytes_ += body.size();
  ++count_;
  return bytes_ < kMostBytes && count_ + 1 < planned_;
}

}  // namespace qob::store
