// The 2224-byte record of the message database: one per message and one per recipient, zero where
// nothing is written, texts NUL-terminated. The layout is that of the public header.
//
// offset size  message                             recipient
//      0   16  key: name + "F"                     key: name + "R"
//     16   16  directory that holds the message
//     32  256                                      state text; empty = pending
//    288    4
//    292  512  sender                              recipient
//    804    4  creation time
//    808    4  time of the last change
//    812    4  retry time
//    816    4  retry count
//    820    4  1 = a delay notice has been sent
//    824    4  part number
//    828  256  status text
//   1084  512                                      second text
//   1596  100  envelope id
//   1696    4  first option word
//   1700    4                                      notify flags
//   1704  512  option text                         third text
//   2216    4  second option word
//   2220    4
//
// A message is held when its own text at offset 32 is "HELD".
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include <qob3xapi/mesgdb.h>

#include "platform/store/description.h"

namespace qob::spool {

using MessageRecord = MesgRecord;
inline constexpr std::size_t kRecordBytes = 2224;
static_assert(sizeof(MessageRecord) == kRecordBytes);

inline constexpr char kDatabaseName[] = "mesg.btr";
inline constexpr char kHeld[] = "HELD";

inline constexpr int kKeyIndex = 0;
inline constexpr int kDirectoryIndex = 1;
inline constexpr int kStateIndex = 2;

// What "mesg.btr" is created with: three indexes, nineteen key descriptions.
const store::FileDescription& DatabaseDescription();

// The text of a field up to its NUL or its end.
template <std::size_t N>
std::string_view FieldText(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}
// The text cut to the field less its NUL; the rest of the field becomes zero.
template <std::size_t N>
void SetField(char (&field)[N], std::string_view text) {
  const std::size_t length = text.size() < N - 1 ? text.size() : N - 1;
  if (length > 0) std::memcpy(field, text.data(), length);
  std::memset(field + length, 0, N - length);
}

// Seconds since 1970 as the record holds them: at most 0x7FFFFFFF, never negative.
std::int32_t RecordTime(std::int64_t seconds);

struct SenderFields {
  std::string_view address;  // qualified
  std::string_view envelope_id;
  std::int32_t first_option = 0;
  std::int32_t second_option = 0;
  std::string_view option_text;
};
struct RecipientFields {
  std::string_view address;  // qualified
  std::string_view second_text;
  std::int32_t notify_flags = 0;
  std::string_view third_text;
};

// Records for those who write them, whichever way a message comes in. The key is what RecordKey or
// RecordKeyOf gives.
void ComposeMessage(std::string_view key, std::string_view status_text, std::int64_t now,
                    MessageRecord* record);
void SetSender(std::string_view directory_name, const SenderFields& sender, MessageRecord* record);
void ComposeRecipient(std::string_view key, const RecipientFields& recipient,
                      MessageRecord* record);
// Everything a recipient has but its address.
void SetRecipient(const RecipientFields& recipient, MessageRecord* record);

inline std::span<std::byte> Bytes(MessageRecord& record) {
  return std::as_writable_bytes(std::span(&record, 1));
}
inline std::span<const std::byte> Bytes(const MessageRecord& record) {
  return std::as_bytes(std::span(&record, 1));
}

}  // namespace qob::spool
