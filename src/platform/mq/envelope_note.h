// The envelope as it was put, kept as the entry's note in the message database. Numbers are
// little-endian, texts hold no NUL.
//
// offset size
//      0    8  "QOBMQEN1"
//      8    4  CRC-32C of everything behind it
//     12    4  number of recipients, at least 1
//     16    4  the envelope's last word
//     20    4  sender: ret
//     24    4  sender: fourth
//     28    .  sender's texts: address, envelope id, fifth text, channel
//      .    .  per recipient: 4 bytes notify flags; texts: address, original recipient, fourth
//      text,
//              fifth text
//
// A text: 4 bytes length, its bytes.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include <qobplatform/mqapi.h>

namespace qob::mq {

// No note is larger: that is what the database takes, and what ends a list that runs in a circle.
inline constexpr std::size_t kLargestNote = 512u << 20;

struct NotedSender {
  std::string_view address;
  std::string_view envelope_id;
  std::string_view fifth_text;
  std::string_view channel;
  std::int32_t ret = 0;
  std::int32_t fourth = 0;
};
struct NotedRecipient {
  std::string_view address;
  std::string_view original;
  std::string_view fourth_text;
  std::string_view fifth_text;
  std::int32_t notify_flags = 0;
};

// False when the envelope has not exactly one sender and at least one recipient, each with an
// address, or is larger than any note. Throws std::bad_alloc; *note is then as it was, as it is
// after false.
bool WriteNote(const stEnvelope& envelope, std::string* note);

// Reads a note from its begin to its end. What it gives points into the note's bytes.
class NoteReader {
 public:
  // Any bytes may be given. False unless they are a whole note without a mistake.
  bool Open(std::string_view note);

  const NotedSender& sender() const { return sender_; }
  std::int32_t last() const { return last_; }
  std::uint32_t recipients() const { return recipients_; }
  // False behind the last one.
  bool Next(NotedRecipient* recipient);

 private:
  bool TakeNumber(std::uint32_t* number);
  bool TakeWord(std::int32_t* word);
  bool TakeText(std::string_view* text);
  bool TakeRecipient(NotedRecipient* recipient);

  std::string_view rest_;
  NotedSender sender_;
  std::int32_t last_ = 0;
  std::uint32_t recipients_ = 0;
  std::uint32_t taken_ = 0;
};

}  // namespace qob::mq
