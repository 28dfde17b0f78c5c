// What waits in a queue, counted in all, by directory and by recipients' domain.
#ifndef TOOLS_QOB_QUEUE_TALLY_H
#define TOOLS_QOB_QUEUE_TALLY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "message.h"
#include "open_queue.h"

namespace cli::queue {

// Counted messages; what could not be known of all of them has no value.
struct Tally {
  std::size_t messages = 0;
  std::size_t held = 0;
  std::size_t recipients = 0;
  std::size_t pending = 0;
  std::size_t locked = 0;
  std::size_t locks_unknown = 0;  // messages of which it cannot be told
  std::int64_t bytes = 0;
  std::size_t sizes_unknown = 0;
  std::int64_t oldest = 0;  // when the oldest was made; 0 = none, or not known of any
  std::uint32_t oldest_id = 0;

  void Add(const Message& message);

  std::optional<std::int64_t> LockedIfKnown() const;
  std::optional<std::int64_t> BytesIfKnown() const;
  std::optional<std::int64_t> OldestAge(std::int64_t now) const;
};

struct DomainTally {
  std::size_t messages = 0;  // with a recipient there that is pending
  std::size_t pending = 0;
  std::int64_t oldest = 0;
};

struct Counts {
  Tally all;
  std::map<std::string, Tally, std::less<>> directories;  // by path, else by the name in the record
  std::map<std::string, DomainTally, std::less<>> domains;  // of pending recipients, lower-case
};

// Files must have been looked at. An open place is counted even if nothing waits in it.
Counts CountMessages(const OpenQueue& queue, std::span<Message* const> messages);

// ASCII letters lower-case.
std::string LowerDomain(std::string_view domain);

}  // namespace cli::queue

#endif
