// The records that the queue's benchmarks work on: messages of one sender and four recipients, as
// the mail system's programs write them. Everything follows from the message's number.
#pragma once
#include <qob3xapi/mesgdb.h>

#include <cstdint>

namespace bench {

inline constexpr std::uint32_t kRecipientsPerMessage = 4;
inline constexpr std::uint32_t kRecordsPerMessage = 1 + kRecipientsPerMessage;

// How the ids of a set follow its messages: as a counter gives them, or scattered, so that
// neighbours in the index lie far apart in the file.
enum class Order { kAscending, kScattered };
std::uint32_t IdOf(std::uint32_t message, Order order);

// The message's own record, its key in lower case as the database holds it.
void ComposeMessageRecord(std::uint32_t message, Order order, MesgRecord* record);
// One of its recipients, 0 to kRecipientsPerMessage - 1.
void ComposeRecipientRecord(std::uint32_t message, std::uint32_t recipient, Order order,
                            MesgRecord* record);
// Record `number` of the set, from 0: message after message, its own record before its recipients.
void ComposeRecord(std::uint64_t number, Order order, MesgRecord* record);

// Numbers that look drawn, the same in every run.
class Sequence {
 public:
  explicit Sequence(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
  }

 private:
  std::uint64_t state_;
};

}  // namespace bench
