// Messages that are submitted through the message queue, and what is found of them by every way
// there is.
//
// Everything about a message follows from its number, so that whoever finds it can tell from its
// bytes whether all of it is there.
#pragma once
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <qob3xapi/mesgdb.h>
#include <qobplatform/mqapi.h>

namespace qob::crash {

// What its submitter was told of it.
enum class Told : std::uint8_t { kNothing, kAcknowledged, kRefused, kUnknown };

struct Submission {
  std::uint32_t id = 0;
  bool begun = false;  // it has an id
  Told told = Told::kNothing;
};

std::string ContentOf(int number);
std::string SenderOf(int number);
std::vector<std::string> RecipientsOf(int number);
std::vector<std::string> ChannelsOf(int number);
inline constexpr const char* kChannels[] = {"smtp", "dsn"};

// Submits it, with a note of each step in *note, and of the result as it is. *note.told is kUnknown
// when the log says so.
void Submit(int number, Submission* note);

// All that stands in the site's queue directory, read by the scans, the channels, the envelope
// calls and the database itself.
class QueueView {
 public:
  explicit QueueView(std::string queue) : queue_(std::move(queue)) {}
  // "" or what is wrong by itself: ways that contradict each other, a damaged database.
  std::string Read();

  std::set<std::uint32_t> ids() const;  // of anything that was found
  // Found once by every way, with all its bytes; "" or what is missing.
  std::string JudgeWhole(std::uint32_t id, int number) const;
  // Nothing but a message file; "" or what stands.
  std::string JudgeNothing(std::uint32_t id) const;
  // Somebody was taking it out of the queue: its records stand all together or not at all, and its
  // file as long as they do.
  std::string JudgeLeaving(std::uint32_t id, int number) const;
  // What may be found of it after what its submitter was told; "" or what is wrong.
  std::string Judge(const Submission& one, int number) const;

 private:
  struct Found {
    int filtered = 0;
    int unfiltered = 0;
    std::map<std::string, int> channels;
    int heads = 0;
    int recipients = 0;
    int marks = 0;
    int notes = 0;
    bool file = false;
    bool lock = false;
    bool operator==(const Found&) const = default;
  };
  std::string Scan(bool filtered);
  std::string WalkChannels();
  std::string ReadDatabase();
  void ListFiles();
  std::string JudgeEnvelope(std::uint32_t id, int number) const;
  std::string JudgeRecords(std::uint32_t id, int number) const;

  const std::string queue_;
  mutable MesgHandle db_{};
  std::map<std::uint32_t, Found> found_;
};

}  // namespace qob::crash
