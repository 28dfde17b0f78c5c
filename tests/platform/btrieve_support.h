// BTRCALL as tests call it: commands with their buffers in heap blocks of exact size, cursors that
// are never aligned, and a small file with one index of each kind.
#pragma once
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <qobplatform/btrcall.h>

#include "support/exact_copy.h"
#include "support/temp_spool.h"

namespace qob::testing {

inline constexpr std::uint16_t kCopyBlock = 1000;  // a command of the tests: cursor becomes `from`

struct Command {
  std::uint16_t operation = 0;
  int cursor = 0;
  int key_number = 0;
  std::string key = {};    // value, or path
  std::string data = {};   // what the data buffer holds
  std::uint32_t room = 0;  // the size of the data buffer, when it is larger
  int from = 0;
};

struct Answer {
  int status = -1;
  std::string data = {};  // the bytes that the call says it used
  bool operator==(const Answer&) const = default;
};

struct Cursor {
  std::array<char, 129> bytes{};
  void* block() { return bytes.data() + 1; }
};

// The cursors of one process.
class Machine {
 public:
  explicit Machine(int cursors) : cursors_(static_cast<std::size_t>(cursors)) {}
  // Closes what a test left open, also what it opened over an open block.
  ~Machine() {
    for (Cursor& opened : opened_) {
      BTRCALL(B_CLOSE, opened.block(), nullptr, nullptr, nullptr, 0, 0);
    }
  }
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  Cursor& cursor(int i) { return cursors_[static_cast<std::size_t>(i)]; }

  Answer Do(const Command& command) {
    if (command.operation == kCopyBlock) {
      cursor(command.cursor) = cursor(command.from);
      return {0, {}};
    }
    std::string padded = command.data;
    if (padded.size() < command.room) padded.resize(command.room);
    ExactCopy data(padded);
    ExactText key(command.key);
    auto length = static_cast<std::uint32_t>(padded.size());
    Answer answer;
    answer.status = BTRCALL(command.operation, cursor(command.cursor).block(), data.data(), &length,
                            key.get(), static_cast<std::uint8_t>(command.key.size() + 1),
                            static_cast<std::int8_t>(command.key_number));
    if (answer.status == 0) answer.data.assign(data.data(), length);
    if (answer.status == 0 && command.operation == B_OPEN)
      opened_.push_back(cursor(command.cursor));
    return answer;
  }

 private:
  std::vector<Cursor> cursors_;
  std::vector<Cursor> opened_;
};

inline void Put16(std::string* bytes, std::size_t at, unsigned value) {
  (*bytes)[at] = static_cast<char>(value & 0xFF);
  (*bytes)[at + 1] = static_cast<char>(value >> 8 & 0xFF);
}
inline void Put32(std::string* bytes, std::size_t at, std::uint32_t value) {
  Put16(bytes, at, value & 0xFFFF);
  Put16(bytes, at + 2, value >> 16);
}
inline std::uint32_t Read32(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

// The test file: 256 bytes; index 0 a name of any case at 0, index 1 a number at 8, index 2 a long
// text at 12 that minds case, and a tag at 212 that no index knows.
inline constexpr std::size_t kTestRecord = 256;
inline constexpr std::size_t kNameBytes = 8;
inline constexpr std::size_t kNumberAt = 8;
inline constexpr std::size_t kTextAt = 12;
inline constexpr std::size_t kTextBytes = 200;
inline constexpr std::size_t kTagAt = 212;

inline std::string TestDescription() {
  std::string bytes(16 + 3 * 16, '\0');
  Put16(&bytes, 0, kTestRecord);
  Put16(&bytes, 2, 4096);
  Put16(&bytes, 4, 3);
  const unsigned keys[3][4] = {{1, kNameBytes, 0x503, 11},
                               {kNumberAt + 1, 4, 0x103, 1},
                               {kTextAt + 1, kTextBytes, 0x103, 11}};
  for (std::size_t i = 0; i < 3; ++i) {
    const std::size_t at = 16 + 16 * i;
    Put16(&bytes, at, keys[i][0]);
    Put16(&bytes, at + 2, keys[i][1]);
    Put16(&bytes, at + 4, keys[i][2]);
    bytes[at + 10] = static_cast<char>(keys[i][3]);
  }
  return bytes;
}

inline std::string TestRecord(std::string_view name, std::int32_t number, std::string_view text,
                              std::uint32_t tag) {
  std::string record(kTestRecord, '\0');
  record.replace(0, name.size(), name);
  Put32(&record, kNumberAt, static_cast<std::uint32_t>(number));
  record.replace(kTextAt, text.size(), text);
  Put32(&record, kTagAt, tag);
  return record;
}

inline std::uint32_t TagOf(const Answer& answer) {
  return answer.data.size() == kTestRecord ? Read32(answer.data, kTagAt) : 0;
}

// The value of an integer index as a key buffer holds it.
inline std::string NumberKey(std::int32_t number) {
  std::string key(4, '\0');
  Put32(&key, 0, static_cast<std::uint32_t>(number));
  return key;
}

inline Command CreateFile(const std::string& path, int key_number = -1) {
  return {.operation = B_CREATE, .key_number = key_number, .key = path, .data = TestDescription()};
}
inline Command OpenFile(int cursor, const std::string& path, int key_number = 0) {
  return {.operation = B_OPEN, .cursor = cursor, .key_number = key_number, .key = path};
}
inline Command CloseFile(int cursor) { return {.operation = B_CLOSE, .cursor = cursor}; }
inline Command InsertRecord(int cursor, const std::string& record, int index = 0) {
  return {.operation = B_INSERT, .cursor = cursor, .key_number = index, .data = record};
}
inline Command UpdateRecord(int cursor, const std::string& record, int index = 0) {
  return {.operation = B_UPDATE, .cursor = cursor, .key_number = index, .data = record};
}
inline Command DeleteRecord(int cursor, int index = 0) {
  return {.operation = B_DELETE, .cursor = cursor, .key_number = index};
}
inline Command GetRecord(std::uint16_t operation, int cursor, int index,
                         const std::string& key = {}) {
  return {.operation = operation,
          .cursor = cursor,
          .key_number = index,
          .key = key,
          .room = static_cast<std::uint32_t>(kTestRecord)};
}
inline Command NextRecord(int cursor, int index = 0) {
  return GetRecord(B_GET_NEXT, cursor, index);
}
inline Command PositionOf(int cursor) {
  return {.operation = B_GET_POSITION, .cursor = cursor, .room = 4};
}
inline Command DirectRecord(int cursor, int index, std::uint32_t number) {
  Command command = GetRecord(B_GET_DIRECT, cursor, index);
  command.data.resize(4);
  Put32(&command.data, 0, number);
  return command;
}
inline Command CopyBlock(int cursor, int from) {
  return {.operation = kCopyBlock, .cursor = cursor, .from = from};
}

}  // namespace qob::testing
