#include "crash/submission.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <memory>
#include <sstream>

#include <qob3xapi/envelope.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/queueid.h>

#include "platform/store/record_file.h"
#include "support/captured_log.h"

namespace qob::crash {
namespace {

std::string NameOf(std::uint32_t id) {
  char text[9];
  std::snprintf(text, sizeof text, "%08X", id);
  return text;
}

std::uint32_t IdOfPath(const std::string& path) {
  return static_cast<std::uint32_t>(std::strtoul(path.c_str() + path.size() - 8, nullptr, 16));
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

// The lists of an envelope and the texts behind them.
struct Lists {
  explicit Lists(int number) {
    sender = {
        Text(SenderOf(number)), Text("id" + std::to_string(number)), 1, 0, Text(""), Text("smtp")};
    sender_node = {&sender, nullptr};
    envelope.senders = {&sender_node, &sender_node, 1};
    for (const std::string& address : RecipientsOf(number)) {
      records.push_back({Text(address), Text(""), 3, Text(""), Text("")});
      nodes.push_back({&records.back(), nullptr});
      MQEnvRecipNode* const node = &nodes.back();
      if (envelope.recipients.tail != nullptr) envelope.recipients.tail->next = node;
      if (envelope.recipients.head == nullptr) envelope.recipients.head = node;
      envelope.recipients.tail = node;
      ++envelope.recipients.count;
    }
    envelope.last = -1;
  }
  char* Text(const std::string& text) { return texts.emplace_back(text).data(); }

  std::list<std::string> texts;
  MQEnvFrom sender{};
  MQEnvFromNode sender_node{};
  std::list<MQEnvRecip> records;
  std::list<MQEnvRecipNode> nodes;
  stEnvelope envelope{};
};

bool Prepare(MQContext* entry, int number) {
  std::string path = GetMQPathName(entry, ".msg");
  for (char& c : path) c = c == '\\' ? '/' : c;
  std::ofstream out(path, std::ios::binary);
  out << ContentOf(number);
  out.close();
  for (const std::string& channel : ChannelsOf(number)) {
    if (InsertMQChannel(entry, channel.c_str(), 255) == 0) return false;
  }
  Lists lists(number);
  return out && PutMQEnvelope(entry, &lists.envelope) != 0;
}

}  // namespace

std::string ContentOf(int number) {
  std::string text = "message " + std::to_string(number) + "\r\n";
  const auto size = static_cast<std::size_t>(1 + number * 997 % 9000);
  for (std::size_t i = 0; text.size() < size; ++i) {
    text += static_cast<char>('a' + (i * 7 + static_cast<std::size_t>(number)) % 26);
  }
  return text;
}
std::string SenderOf(int number) { return "s" + std::to_string(number) + "@a.example"; }
std::vector<std::string> RecipientsOf(int number) {
  std::vector<std::string> addresses;
  for (int i = 0; i <= number * 5 % 17; ++i) {
    addresses.push_back("r" + std::to_string(i) + "@" + std::to_string(number) + ".example");
  }
  return addresses;
}
std::vector<std::string> ChannelsOf(int number) {
  std::vector<std::string> names{kChannels[0]};
  if (number % 3 == 1) names.emplace_back(kChannels[1]);
  return names;
}

void Submit(int number, Submission* note) {
  MQContext* const entry = CreateMQEntry();
  if (entry == nullptr) return;
  note->id = IdOfPath(GetMQPathName(entry, ""));
  note->begun = true;
  if (!Prepare(entry, number)) {
    DiscardMQEntry(entry);
    note->told = Told::kRefused;
    return;
  }
  testing::CapturedLog log;
  const bool committed = CloseMQEntry(entry) != 0;
  bool unknown = false;
  for (const std::string& line : log.texts()) {
    unknown = unknown || line.find("not known") != std::string::npos;
  }
  note->told = committed ? Told::kAcknowledged : unknown ? Told::kUnknown : Told::kRefused;
}

// ---- what is found

std::string QueueView::Scan(bool filtered) {
  const QueueScanFilter any{0, 0, 1};
  const QueueScanFilter* const filter = filtered ? &any : nullptr;
  char* path = FindFirstQueueId(queue_.c_str(), &db_, filter);
  while (path != nullptr) {
    Found& found = found_[IdOfPath(path)];
    ++(filtered ? found.filtered : found.unfiltered);
    if (filtered) {
      ReleaseQueueId(path);
    } else {
      FreeQueueId(path);
    }
    path = FindNextQueueId(queue_.c_str(), &db_, filter);
  }
  return "";
}

std::string QueueView::WalkChannels() {
  for (const char* const name : kChannels) {
    MQChannel* const channel = OpenMQChannel(name);
    if (channel == nullptr) return "channel does not open";
    std::uint32_t id = 0;
    for (bool more = GetFirstMQEntry(channel, &id) != 0; more;
         more = GetNextMQEntry(channel, &id) != 0) {
      ++found_[id].channels[name];
    }
    CloseMQChannel(channel);
  }
  return "";
}

std::string QueueView::ReadDatabase() {
  std::shared_ptr<store::RecordFile> file;
  if (store::RecordFile::Open(queue_ + "/mesg.btr", {}, &file) != store::kOk) {
    return "the database does not open";
  }
  bool good = true;
  store::Status status = file->Snapshot([&](const store::RecordFile::Seen& seen) {
    good = good && seen.ok;
    if (!seen.ok) return false;
    const std::string key(reinterpret_cast<const char*>(seen.record.data()), 9);
    Found& found = found_[static_cast<std::uint32_t>(std::stoul(key.substr(0, 8), nullptr, 16))];
    ++(key[8] == 'f' ? found.heads : found.recipients);
    return true;
  });
  if (status == store::kOk) {
    status = file->AllMarks([&](const store::Mark& mark) {
      ++found_[mark.id].marks;
      return true;
    });
  }
  if (status == store::kOk) {
    status = file->AllNotes([&](std::uint32_t id) {
      ++found_[id].notes;
      return true;
    });
  }
  std::string problem;
  if (status == store::kOk) status = file->Check(&problem, nullptr);
  if (status != store::kOk || !good || !problem.empty()) return "check finds " + problem;
  return "";
}

void QueueView::ListFiles() {
  for (const auto& entry : std::filesystem::directory_iterator(queue_)) {
    const std::string name = entry.path().filename();
    if (name.size() != 12) continue;
    if (name.ends_with(".msg")) found_[IdOfPath(name.substr(0, 8))].file = true;
    if (name.ends_with(".lck")) found_[IdOfPath(name.substr(0, 8))].lock = true;
  }
}

std::string QueueView::Read() {
  found_.clear();
  ListFiles();
  if (const int status = OpenMesgFile(nullptr, &db_); status != 0) {
    return "open gives " + std::to_string(status);
  }
  for (const std::string& wrong : {Scan(true), Scan(false), WalkChannels(), ReadDatabase()}) {
    if (!wrong.empty()) return wrong;
  }
  CloseMesgFile(&db_);
  return "";
}

std::set<std::uint32_t> QueueView::ids() const {
  std::set<std::uint32_t> ids;
  for (const auto& [id, found] : found_) ids.insert(id);
  return ids;
}

std::string QueueView::JudgeEnvelope(std::uint32_t id, int number) const {
  const std::unique_ptr<stEnvelope, void (*)(stEnvelope*)> put(GetMQEnvelope(id), FreeMQEnvelope);
  if (put == nullptr) return "no envelope";
  if (put->senders.head->record->address != SenderOf(number)) return "another sender was put";
  const MQEnvRecipNode* node = put->recipients.head;
  for (const std::string& address : RecipientsOf(number)) {
    if (node == nullptr || node->record->address != address) return "other recipients were put";
    node = node->next;
  }
  return node == nullptr ? "" : "more recipients were put";
}

std::string QueueView::JudgeRecords(std::uint32_t id, int number) const {
  const std::string path = queue_ + "\\" + NameOf(id);
  EnvFrom* const sender = GetEnvelopeFrom(path.c_str(), &db_);
  const bool same = sender != nullptr && sender->address == SenderOf(number);
  FreeEnvFrom(sender);
  if (!same) return "another sender";
  EnvRecip* recipient = GetFirstEnvelopeRecipient(path.c_str(), &db_);
  for (const std::string& address : RecipientsOf(number)) {
    const bool good = recipient != nullptr && recipient->address == address;
    FreeEnvRecip(recipient);
    if (!good) return "recipients are others than " + address;
    recipient = GetNextEnvelopeRecipient(path.c_str(), &db_);
  }
  const bool ended = recipient == nullptr;
  FreeEnvRecip(recipient);
  return ended ? "" : "too many recipients";
}

std::string QueueView::JudgeWhole(std::uint32_t id, int number) const {
  const auto at = found_.find(id);
  if (at == found_.end()) return "nothing of it is there";
  Found expected;
  expected.filtered = expected.unfiltered = expected.heads = expected.notes = 1;
  expected.recipients = static_cast<int>(RecipientsOf(number).size());
  for (const std::string& channel : ChannelsOf(number)) expected.channels[channel] = 1;
  expected.marks = static_cast<int>(expected.channels.size());
  expected.file = true;
  if (!(at->second == expected)) {
    const Found& found = at->second;
    return "found " + std::to_string(found.filtered) + " " + std::to_string(found.unfiltered) +
           " by scans, " + std::to_string(found.channels.size()) + " channels, " +
           std::to_string(found.heads) + " heads, " + std::to_string(found.recipients) +
           " recipients, " + std::to_string(found.marks) + " marks, " +
           std::to_string(found.notes) + " notes, file " + std::to_string(found.file) + ", lock " +
           std::to_string(found.lock);
  }
  if (ReadAll(queue_ + "/" + NameOf(id) + ".msg") != ContentOf(number))
    return "its file is another";
  if (OpenMesgFile(nullptr, &db_) != 0) return "cannot open again";
  std::string wrong = JudgeRecords(id, number);
  CloseMesgFile(&db_);
  return wrong.empty() ? JudgeEnvelope(id, number) : wrong;
}

std::string QueueView::JudgeNothing(std::uint32_t id) const {
  const auto at = found_.find(id);
  if (at == found_.end()) return "";
  Found allowed;
  allowed.file = at->second.file;
  if (!(at->second == allowed)) return "something of it is there";
  return GetMQEnvelope(id) == nullptr ? "" : "it has an envelope";
}

std::string QueueView::JudgeLeaving(std::uint32_t id, int number) const {
  const auto at = found_.find(id);
  if (at == found_.end()) return "";
  const Found& found = at->second;
  const bool all = found.heads == 1 && found.file &&
                   found.recipients == static_cast<int>(RecipientsOf(number).size());
  const bool none = found.heads == 0 && found.recipients == 0 && found.filtered == 0 &&
                    found.unfiltered == 0 && found.channels.empty();
  return all || none ? "" : "its records are there in part";
}

std::string QueueView::Judge(const Submission& one, int number) const {
  if (!one.begun) return "";
  std::string whole = JudgeWhole(one.id, number);
  if (one.told == Told::kAcknowledged) return whole.empty() ? "" : "acknowledged, but " + whole;
  const std::string nothing = JudgeNothing(one.id);
  if (nothing.empty()) return "";
  if (one.told == Told::kRefused) return "refused, but " + nothing;
  return whole.empty() ? "" : "in part: " + whole;
}

}  // namespace qob::crash
