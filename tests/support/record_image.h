// An image of a message record, written by hand: bytes at offsets, zero elsewhere.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace qob::testing {

class RecordImage {
 public:
  RecordImage& At(std::size_t offset, std::string_view bytes) {
    bytes_.replace(offset, bytes.size(), bytes);
    return *this;
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_ = std::string(2224, '\0');
};

// The bytes of a record as they lie in memory.
template <class Record>
std::string BytesOf(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

// Where two records differ, for messages of tests: "" when they do not.
inline std::string FirstDifference(const std::string& got, const std::string& wanted) {
  for (std::size_t at = 0; at < wanted.size() && at < got.size(); ++at) {
    if (got[at] != wanted[at]) return "first different byte: offset " + std::to_string(at);
  }
  return got.size() == wanted.size() ? "" : "different sizes";
}

}  // namespace qob::testing
