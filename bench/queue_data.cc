#include "queue_data.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace bench {
namespace {

constexpr std::array<const char*, 4> kReasons = {
    "", "connect to mx1.example.net: Connection timed out",
    "host mx2.example.com said: 451 4.3.0 Temporary failure, please try again later",
    "host mail.example.org said: 450 4.2.0 Greylisted"};

template <std::size_t N, typename... Values>
void Print(char (&field)[N], const char* format, Values... values) {
  std::snprintf(field, N, format, values...);
}

std::uint32_t Number(std::uint32_t message, std::uint32_t salt, std::uint32_t below) {
  return static_cast<std::uint32_t>(Sequence(message * 8ULL + salt).Next() % below);
}

}  // namespace

std::uint32_t IdOf(std::uint32_t message, Order order) {
  constexpr std::uint32_t kFirst = 0x0001A2B3;
  // An odd factor: every message has an id of its own.
  return kFirst + (order == Order::kScattered ? message * 2'654'435'761U : message);
}

void ComposeMessageRecord(std::uint32_t message, Order order, MesgRecord* record) {
  *record = MesgRecord{};
  Print(record->key, "%08xf", IdOf(message, order));
  Print(record->directoryName, "queue");
  Print(record->address, "user%u@host%u.example.org", Number(message, 0, 90000),
        Number(message, 1, 500));
  record->creationTime = 1'790'000'000 + static_cast<std::int32_t>(message % 1'000'000);
  record->lastChangeTime = record->creationTime + 60;
  record->retryTime = record->creationTime + 900;
  record->retryCount = static_cast<std::int32_t>(Number(message, 2, 12));
  Print(record->statusText, "%s", kReasons[Number(message, 3, kReasons.size())]);
  Print(record->envelopeId, "QQ314159%08x", message);
}

void ComposeRecipientRecord(std::uint32_t message, std::uint32_t recipient, Order order,
                            MesgRecord* record) {
  *record = MesgRecord{};
  const std::uint32_t salt = 16 + recipient;
  Print(record->key, "%08xr", IdOf(message, order));
  Print(record->address, "someone%u@domain%u.example.net", Number(message, salt, 90000),
        Number(message, salt + 1, 5000));
  // One recipient in five has had its answer.
  if (Number(message, salt + 2, 5) == 0) Print(record->stateText, "250 2.0.0 Ok: queued");
  Print(record->secondText, "rfc822;%.400s", record->address);
  record->notifyFlags = 6;
}

void ComposeRecord(std::uint64_t number, Order order, MesgRecord* record) {
  const auto message = static_cast<std::uint32_t>(number / kRecordsPerMessage);
  const auto place = static_cast<std::uint32_t>(number % kRecordsPerMessage);
  if (place == 0) {
    ComposeMessageRecord(message, order, record);
  } else {
    ComposeRecipientRecord(message, place - 1, order, record);
  }
}

}  // namespace bench
