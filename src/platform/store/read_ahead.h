// A walk asks for one entry after the other, each call seeing the file as it is at that moment.
// Entries are read a few at a time all the same, and handed out as long as nobody has changed the
// file since.
//
// Whether somebody has is seen in the log's header.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/store/log_header.h"

namespace qob::store {

class ReadAhead {
 public:
  struct Row {
    std::int64_t number = 0;
    std::int64_t version = 0;
    std::string key;
    std::string body;
  };

  // Where the log's index begins, null while nobody knows: then nothing is read ahead.
  void SetLogIndex(void* begin) { header_ = static_cast<std::uint32_t*>(begin); }
  // Null while nobody knows.
  std::uint32_t* log_index() const { return header_; }

  // The entry behind that place, if it was read ahead and is still true.
  const Row* Take(int index, std::string_view key, std::int64_t number);
  // Nothing was taken: how many entries to read now, 1 at least. More of them the longer one walk
  // goes on, one again when the file changes or another place is asked for.
  int Plan(int index, std::string_view key, std::int64_t number);
  // Entry after entry of what was planned. The first is handed out at once and only marks the
  // place. False when no more should come.
  bool Add(std::int64_t number, std::int64_t version, std::string_view key, std::string_view body);

 private:
  static constexpr std::size_t kMostRows = 32;
  static constexpr std::size_t kMostBytes = 64 * 1024;

  bool StandsAt(int index, std::string_view key, std::int64_t number) const;
  bool IsUnchanged() const;
  void MoveTo(std::string_view key, std::int64_t number);

  std::uint32_t* header_ = nullptr;
  LogHeader seen_{};
  // The place that the last entry handed out left the walk at.
  int index_ = -1;
  std::string key_;
  std::int64_t number_ = 0;
  std::vector<Row> rows_;
  std::size_t next_ = 0;
  std::size_t count_ = 0;
  std::size_t bytes_ = 0;
  std::size_t planned_ = 1;
};

}  // namespace qob::store
