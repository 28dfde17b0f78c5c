// What a record file must do, told with a map: the oracle of the random tests.
#pragma once
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <utility>

#include "platform/store_fixture.h"

namespace qob::testing {

class StoreModel {
 public:
  struct Row {
    SmallRecord record;
    int changes = 0;
  };
  using Place = std::pair<std::string, std::int64_t>;  // key, number

  std::int64_t Insert(const SmallRecord& record) {
    rows_[++last_] = {record, 0};
    return last_;
  }
  void Update(std::int64_t number, const SmallRecord& record) {
    rows_[number].record = record;
    ++rows_[number].changes;
  }
  void Delete(std::int64_t number) { rows_.erase(number); }

  // Keys compare as the tests' own rule says: text 0 folded, integer 1 by value, text 2 by bytes.
  static std::string KeyOf(int index, const SmallRecord& record) {
    if (index == 1) {
      const auto shifted = static_cast<std::uint32_t>(record.number()) ^ 0x80000000U;
      char digits[16];
      std::snprintf(digits, sizeof digits, "%010u", shifted);
      return digits;
    }
    std::string text =
        index == 0 ? record.text()
                   : std::string(reinterpret_cast<const char*>(record.bytes + 20),
                                 strnlen(reinterpret_cast<const char*>(record.bytes + 20), 12));
    if (index == 0) {
      for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    return text;
  }

  // The first place of the index for which `fits`, or rows().end()'s number 0.
  template <class Fits>
  std::int64_t First(int index, Fits&& fits) const {
    Place best;
    for (const auto& [number, row] : rows_) {
      const Place place{KeyOf(index, row.record), number};
      if (fits(place) && (best.second == 0 || place < best)) best = place;
    }
    return best.second;
  }
  const std::map<std::int64_t, Row>& rows() const { return rows_; }

 private:
  std::map<std::int64_t, Row> rows_;
  std::int64_t last_ = 0;
};

}  // namespace qob::testing
