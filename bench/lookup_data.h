// A thousand records for each of the small databases, and what is asked of them: the same for both
// sides.
#pragma once
#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace bench {

inline constexpr int kLookupRecords = 1000;

template <std::size_t kWidth>
void Print(char (&field)[kWidth], const char* format, int number) {
  std::snprintf(field, kWidth, format, number);
}

inline MagicRecord MagicOf(int number) {
  MagicRecord record{};
  Print(record.extension, "x%03d", number);
  Print(record.contentType, "application", number);
  Print(record.contentSubtype, "vnd.example.type-%d", number);
  Print(record.textA, "base64", number);
  Print(record.macTypeCreator, "%04dmine", number);
  return record;
}

inline PeerRecord PeerOf(int number) {
  PeerRecord record{};
  Print(record.domain, "site%03d.example.org", number);
  record.AcceptMail = 1;
  record.QueueRunInterval = number + 1;
  return record;
}

inline std::string BannedOf(int number) {
  return "user" + std::to_string(number) + "@site.example.org";
}

// The name whose records are looked for: its own, which is not there, and then its domain's.
inline std::string HostOf(int number) { return std::string("mx.") + PeerOf(number).domain; }

// All numbers once, scattered.
inline int Scattered(int index) { return index * 617 % kLookupRecords; }

}  // namespace bench
