// What the tests of the message queue share: a spool that is connected, envelopes to put, and what
// stands in the queue afterwards.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qobplatform/mqapi.h>

#include "platform/os/process.h"
#include "platform/spool/message_record.h"
#include "platform/spool/site.h"
#include "platform/store/record_file.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

struct CloseChannel {
  void operator()(MQChannel* channel) const { CloseMQChannel(channel); }
};
using ChannelPtr = std::unique_ptr<MQChannel, CloseChannel>;

struct FreeEnvelope {
  void operator()(stEnvelope* envelope) const { FreeMQEnvelope(envelope); }
};
using EnvelopePtr = std::unique_ptr<stEnvelope, FreeEnvelope>;

// The lists and records of an envelope, and the texts behind them. Null stays null.
class Envelope {
 public:
  explicit Envelope(const char* sender = "sender@a.example", const char* id = "",
                    std::int32_t ret = 0, std::int32_t fourth = 0, const char* fifth = "",
                    const char* channel = "") {
    AddSender(sender, id, ret, fourth, fifth, channel);
    envelope_.last = -1;
  }
  void AddSender(const char* address, const char* id = "", std::int32_t ret = 0,
                 std::int32_t fourth = 0, const char* fifth = "", const char* channel = "") {
    senders_.push_back({Text(address), Text(id), ret, fourth, Text(fifth), Text(channel)});
    Append(&senders_.back(), &sender_nodes_, &envelope_.senders);
  }
  Envelope& To(const char* address, const char* original = "", std::int32_t flags = 0,
               const char* fourth = "", const char* fifth = "") {
    recipients_.push_back({Text(address), Text(original), flags, Text(fourth), Text(fifth)});
    Append(&recipients_.back(), &recipient_nodes_, &envelope_.recipients);
    return *this;
  }
  stEnvelope* get() { return &envelope_; }
  MQEnvFrom& sender() { return senders_.front(); }
  MQEnvRecip& recipient() { return recipients_.front(); }

 private:
  char* Text(const char* text) {
    return text == nullptr ? nullptr : texts_.emplace_back(text).data();
  }
  template <class Record, class Node, class List>
  static void Append(Record* record, std::list<Node>* nodes, List* list) {
    nodes->push_back({record, nullptr});
    Node* const node = &nodes->back();
    if (list->tail != nullptr) list->tail->next = node;
    if (list->head == nullptr) list->head = node;
    list->tail = node;
    ++list->count;
  }

  std::list<std::string> texts_;
  std::list<MQEnvFrom> senders_;
  std::list<MQEnvFromNode> sender_nodes_;
  std::list<MQEnvRecip> recipients_;
  std::list<MQEnvRecipNode> recipient_nodes_;
  stEnvelope envelope_{};
};

inline std::string Native(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}
inline std::string BaseOf(MQContext* entry) {
  const char* const path = GetMQPathName(entry, "");
  return path == nullptr ? "" : path;
}
inline std::uint32_t IdOf(MQContext* entry) {
  const std::string base = BaseOf(entry);
  return static_cast<std::uint32_t>(std::stoul(base.substr(base.size() - 8), nullptr, 16));
}
inline void WriteMessage(MQContext* entry, const std::string& content = "the message\r\n") {
  TempSpool::Write(Native(GetMQPathName(entry, ".msg")), content);
}

// Everything there is of all messages.
struct Standing {
  std::multiset<std::string> records;  // their bytes
  std::set<std::pair<std::string, std::uint32_t>> marks;
  std::map<std::uint32_t, std::string> notes;
  std::set<std::string> files;  // names in the queue directory but the database's
  bool operator==(const Standing&) const = default;
};

inline std::set<std::string> FilesIn(const std::string& queue) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(queue)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(spool::kDatabaseName)) names.insert(name);
  }
  return names;
}

inline std::shared_ptr<store::RecordFile> DatabaseIn(const std::string& queue) {
  std::shared_ptr<store::RecordFile> file;
  EXPECT_EQ(store::RecordFile::Open(queue + "/mesg.btr", {}, &file), store::kOk);
  return file;
}

inline Standing StandingIn(const std::string& queue) {
  Standing standing;
  standing.files = FilesIn(queue);
  const auto file = DatabaseIn(queue);
  if (file == nullptr) return standing;
  EXPECT_EQ(file->Snapshot([&](const store::RecordFile::Seen& seen) {
    standing.records.emplace(reinterpret_cast<const char*>(seen.record.data()), seen.record.size());
    return true;
  }),
            store::kOk);
  EXPECT_EQ(file->AllMarks([&](const store::Mark& mark) {
    standing.marks.emplace(mark.name, mark.id);
    return true;
  }),
            store::kOk);
  std::vector<std::uint32_t> noted;
  EXPECT_EQ(file->AllNotes([&](std::uint32_t id) {
    noted.push_back(id);
    return true;
  }),
            store::kOk);
  for (const std::uint32_t id : noted) {
    EXPECT_EQ(file->GetNote(id, &standing.notes[id]), store::kOk);
  }
  return standing;
}

inline std::vector<std::uint32_t> Walk(MQChannel* channel) {
  std::vector<std::uint32_t> ids;
  std::uint32_t id = 0;
  for (bool more = GetFirstMQEntry(channel, &id) != 0; more;
       more = GetNextMQEntry(channel, &id) != 0) {
    ids.push_back(id);
  }
  return ids;
}

// Connected to a spool of its own; the clock stands.
class QueueTest : public ::testing::Test {
 protected:
  static constexpr std::int64_t kNow = 1'700'000'000;

  void SetUp() override {
    spool::TheSite() = spool::Site();
    os::SetClock([] { return kNow; });
    ASSERT_NE(MQInit("localhost", "agent"), 0);
  }
  void TearDown() override {
    MQTerminate();
    os::SetClock(nullptr);
    spool::TheSite() = spool::Site();
  }

  // An entry ready to be committed.
  static MQContext* Ready(Envelope& envelope, const char* channel = "DSN") {
    MQContext* const entry = CreateMQEntry();
    if (entry == nullptr) return nullptr;
    WriteMessage(entry);
    EXPECT_NE(InsertMQChannel(entry, channel, 255), 0);
    EXPECT_NE(PutMQEnvelope(entry, envelope.get()), 0);
    return entry;
  }
  // A committed one.
  static std::uint32_t Submit(const char* channel = "DSN") {
    Envelope envelope;
    envelope.To("r@b.example");
    MQContext* const entry = Ready(envelope, channel);
    const std::uint32_t id = IdOf(entry);
    EXPECT_NE(CloseMQEntry(entry), 0);
    return id;
  }

  Standing Now() const { return StandingIn(spool_.queue()); }
  std::set<std::string> Files() const { return FilesIn(spool_.queue()); }
  std::shared_ptr<store::RecordFile> Database() const { return DatabaseIn(spool_.queue()); }

  const TempSpool spool_;
  CapturedLog log_;
};

}  // namespace qob::testing
