// A message of the queue as its records tell it, in memory: what the commands list, filter and act
// on. Texts are kept once, behind one pointer each, so that a million recipients fit.
#ifndef TOOLS_QOB_QUEUE_MESSAGE_H
#define TOOLS_QOB_QUEUE_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace cli::queue {

inline constexpr std::int64_t kUnknown = -1;

// A text of at most 65535 bytes that lies in a TextStore (its length first), or no text at all.
class Text {
 public:
  Text() = default;
  explicit Text(const char* at) : at_(at) {}

  std::string_view view() const;
  operator std::string_view() const { return view(); }
  bool empty() const { return at_ == nullptr; }

 private:
  const char* at_ = nullptr;
};

// Where texts lie until it goes.
class TextStore {
 public:
  Text Keep(std::string_view text);

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  std::size_t left_ = 0;
  char* next_ = nullptr;
};

struct Recipient {
  Text address;
  Text state;  // empty while pending
  Text second_text;
  Text third_text;
  std::int32_t notify_flags = 0;

  bool pending() const { return state.empty(); }
};

struct Message {
  std::uint32_t id = 0;
  std::uint32_t home = 0;    // the place whose database has its records: OpenQueue::places()
  std::int32_t holder = -1;  // the place whose directory has its files; -1 = none of those open
  bool has_record = false;   // false: recipients without a message
  bool held = false;         // its state text is "HELD"
  bool delay_noticed = false;
  bool locked = false;           // good when files_known
  bool files_known = false;      // locked and size have been looked up
  std::int64_t size = kUnknown;  // bytes of its file; kUnknown = no such file, or it cannot be seen
  std::int64_t created = 0;      // seconds since 1970; 0 = not set
  std::int64_t changed = 0;
  std::int64_t retry_at = 0;
  std::int32_t tries = 0;
  std::int32_t part_number = 0;
  std::int32_t first_option = 0;
  std::int32_t second_option = 0;
  Text directory;  // name of the directory that holds it, as its record tells
  Text state;
  Text status;
  Text sender;
  Text envelope_id;
  Text option_text;
  std::span<const Recipient> recipients;
  std::size_t pending = 0;  // of the recipients
};

// What stands behind the last "@" of an address, without a closing ">"; "" when it has none.
std::string_view DomainOf(std::string_view address);

}  // namespace cli::queue

#endif
