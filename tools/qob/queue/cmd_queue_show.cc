// qob queue show: everything of a message.
#include <optional>
#include <unordered_map>

#include "../commands.h"
#include "../output.h"
#include "../utf8.h"
#include "lock_holder.h"
#include "message_json.h"
#include "platform/spool/names.h"
#include "reasons.h"
#include "result_code.h"
#include "selection.h"
#include "times.h"

namespace cli {
namespace {

using queue::Recipient;

constexpr const char* kSchema = "qob.queue-show/1";

// What lies around the records.
struct Surroundings {
  std::string base;                       // path without an extension
  std::optional<queue::LockHolder> lock;  // nothing: it cannot be seen
  queue::Reasons reasons;
  std::vector<std::string> channels;
};

// The names of the channels that each of these messages waits on, by home and id.
class Channels {
 public:
  Channels(const queue::OpenQueue& queue, const queue::Selection& selection)
      : names_(queue.places().size()) {
    for (const queue::Message* const message : selection.messages)
      names_[message->home][message->id];
    for (std::size_t home = 0; home < names_.size(); ++home) {
      if (!names_[home].empty()) Read(queue.places()[home], &names_[home]);
    }
  }

  const std::vector<std::string>& Of(const queue::Message& message) const {
    return names_[message.home].at(message.id);
  }

 private:
  using Names = std::unordered_map<std::uint32_t, std::vector<std::string>>;

  static void Read(const queue::Place& place, Names* names) {
    const auto status = place.database->AllMarks([&](const qob::store::Mark& mark) {
      const auto wanted = names->find(mark.id);
      if (wanted != names->end()) wanted->second.push_back(mark.name);
      return true;
    });
    if (status != qob::store::kOk) throw queue::StoreFailure(place.path, status);
  }

  std::vector<Names> names_;
};

Surroundings LookAround(const queue::OpenQueue& queue, const Channels& channels,
                        const queue::Message& message) {
  Surroundings around;
  around.base = queue.PathOf(message);
  try {
    around.lock = queue::LookAtLock(around.base);
  } catch (const Failure& failure) {
    cli::Message(failure.what());
  }
  around.reasons = queue::ReadReasons(around.base);
  around.channels = channels.Of(message);
  return around;
}

// ---- JSON ----

void PutRecipients(const queue::Message& message, JsonWriter* line) {
  line->BeginList("recipients");
  for (const Recipient& recipient : message.recipients) {
    line->Begin();
    line->Text("address", recipient.address);
    line->Text("state", recipient.state);
    line->Text("second_text", recipient.second_text);
    line->Text("third_text", recipient.third_text);
    line->Number("notify_flags", recipient.notify_flags);
    line->End();
  }
  line->EndList();
}

void PutLock(const Surroundings& around, JsonWriter* line) {
  if (!around.lock.has_value() || !around.lock->stands) return line->Null("lock");
  line->BeginMember("lock");
  line->Text("owner", around.lock->owner);
  queue::PutMoment("since", "since_seconds", around.lock->since, line);
  line->Number("age", around.lock->age);
  line->Switch("stale", around.lock->stale);
  line->End();
}

void PrintJson(const queue::OpenQueue& queue, const queue::Message& message,
               const Surroundings& around) {
  JsonWriter line;
  line.BeginLine(kSchema);
  queue::PutMessage(queue, message, &line);
  line.Number("first_option", message.first_option);
  line.Number("second_option", message.second_option);
  line.Text("option_text", message.option_text);
  line.Text("path", around.base + qob::spool::kMessageFile);
  PutLock(around, &line);
  line.BeginList("channels");
  for (const std::string& channel : around.channels) line.TextItem(channel);
  line.EndList();
  PutRecipients(message, &line);
  if (around.reasons.known) {
    line.BeginList("reasons");
    for (const std::string& reason : around.reasons.lines) line.TextItem(reason);
    line.EndList();
  } else {
    line.Null("reasons");
  }
  line.EndLine();
  Out().Write(line.text());
}

// ---- for people ----

void Show(std::string_view name, std::string_view value) {
  std::string line = "  " + std::string(name);
  line.resize(16, ' ');
  Out().Line(line + (value.empty() ? "-" : Visible(value)));
}

std::string MomentText(std::int64_t moment, std::int64_t now) {
  if (moment == 0) return {};
  const std::string distance = moment <= now ? queue::DurationText(now - moment) + " ago"
                                             : "in " + queue::DurationText(moment - now);
  return queue::LocalText(moment) + " (" + distance + ")";
}

std::string FileText(const queue::Message& message, const std::string& base) {
  const std::string path = base + qob::spool::kMessageFile;
  if (message.size != queue::kUnknown) return path + ", " + std::to_string(message.size) + " bytes";
  if (message.holder < 0)
    return "in the directory " + std::string(message.directory.view()) + ", which is not open here";
  return path + (message.files_known ? ", which is missing" : ", which cannot be seen");
}

std::string LockLine(const Surroundings& around) {
  if (!around.lock.has_value()) return "cannot be seen";
  return around.lock->stands ? queue::LockText(*around.lock) : "none";
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

void ShowRecipient(const Recipient& recipient) {
  std::string line = "    " + Visible(recipient.address);
  line += recipient.pending() ? "  pending" : "  [" + Visible(recipient.state) + "]";
  if (!recipient.second_text.empty()) line += "  second text: " + Visible(recipient.second_text);
  if (!recipient.third_text.empty()) line += "  third text: " + Visible(recipient.third_text);
  if (recipient.notify_flags != 0)
    line += "  notify flags: " + std::to_string(recipient.notify_flags);
  Out().Line(line);
}

void ShowSettings(const queue::Message& message, std::int64_t now) {
  Show("created", MomentText(message.created, now));
  Show("changed", MomentText(message.changed, now));
  Show("next try", MomentText(message.retry_at, now));
  Show("tries", std::to_string(message.tries));
  Show("part", std::to_string(message.part_number));
  Show("delay notice", message.delay_noticed ? "sent" : "not sent");
  Show("options",
       std::to_string(message.first_option) + ", " + std::to_string(message.second_option));
  Show("option text", message.option_text);
}

void PrintText(const queue::OpenQueue& queue, const queue::Message& message,
               const Surroundings& around, std::int64_t now) {
  Out().Line(queue::IdText(message.id));
  Show("queue", queue.places()[message.home].path);
  Show("directory", message.directory);
  Show("sender", message.sender);
  Show("envelope id", message.envelope_id);
  Show("status", message.status);
  Show("state", message.state);
  ShowSettings(message, now);
  Show("message file", FileText(message, around.base));
  Show("lock", LockLine(around));
  Show("channels", Joined(around.channels));
  Show("recipients", std::to_string(message.recipients.size()) + ", " +
                         std::to_string(message.pending) + " pending");
  for (const Recipient& recipient : message.recipients) ShowRecipient(recipient);
  Show("reasons", around.reasons.known ? std::to_string(around.reasons.lines.size()) +
                                             (around.reasons.lines.size() == 1 ? " line" : " lines")
                                       : "cannot be read");
  for (const std::string& reason : around.reasons.lines) Out().Line("    " + Visible(reason));
}

}  // namespace

ExitCode RunQueueShow(const Arguments& arguments) {
  queue::Operands operands;
  operands.has_ids = true;
  operands.ids = queue::ReadIds(arguments.operands);
  const queue::OpenQueue queue(arguments, queue::Access::kRead);
  queue::Snapshot snapshot(queue, operands.ids);
  const queue::Selection selection = queue::Choose(queue, &snapshot, operands);
  snapshot.LookAtFiles(queue, selection.messages);
  const Channels channels(queue, selection);
  for (const queue::Message* const message : selection.messages) {
    const Surroundings around = LookAround(queue, channels, *message);
    if (arguments.Has("--json")) {
      PrintJson(queue, *message, around);
    } else {
      PrintText(queue, *message, around, snapshot.taken_at());
    }
  }
  Out().Flush();
  return queue::CodeOf(snapshot, selection);
}

}  // namespace cli
