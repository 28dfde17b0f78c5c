// What the tests of bounces, notifications and generated mail share: a site with fixed names and a
// standing clock, messages in its queue, and what is found on a channel afterwards.
#pragma once
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/qob3xapi.h>
#include <qobplatform/mqapi.h>

#include "platform/os/process.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

using Texts = std::vector<std::string>;

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using TextPtr = std::unique_ptr<char, FreeText>;

// A chain from the heap, for a callee that frees it or for `Chain` below.
inline ms* NewChain(const Texts& texts) {
  ms* chain = nullptr;
  for (const std::string& text : texts) appendString(&chain, text.c_str());
  return chain;
}
// One that stays the test's.
class Chain {
 public:
  explicit Chain(const Texts& texts) : chain_(NewChain(texts)) {}
  ~Chain() { freeStringChain(chain_); }
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;
  operator ms*() const { return chain_; }

 private:
  ms* chain_;
};

// A list of field records on the heap of a test.
class Fields {
 public:
  Fields& Add(const PerRecipField& field) {
    fields_.push_back(std::make_unique<PerRecipField>(field));
    nodes_.push_back(std::make_unique<PerRecipFieldNode>());
    nodes_.back()->field = fields_.back().get();
    if (nodes_.size() > 1) nodes_[nodes_.size() - 2]->next = nodes_.back().get();
    return *this;
  }
  Fields& Action(const char* action) {
    PerRecipField field{};
    field.action = const_cast<char*>(action);
    return Add(field);
  }
  const PerRecipFieldNode* list() const { return nodes_.empty() ? nullptr : nodes_[0].get(); }

 private:
  std::vector<std::unique_ptr<PerRecipField>> fields_;
  std::vector<std::unique_ptr<PerRecipFieldNode>> nodes_;
};

// What waits on a channel.
struct Queued {
  std::uint32_t id = 0;
  std::string path;  // without extension
  std::string sender;
  std::string envelope_id;
  std::int32_t ret = 0;
  Texts recipients;
  std::string file;  // the whole ".msg"

  std::string name() const { return path.substr(path.size() - 8); }
  // Without the lines that submission puts in front.
  std::string built() const {
    const std::size_t from = file.find("\r\nFrom: ");
    return from == std::string::npos ? "<no From>" : file.substr(from + 2);
  }
};

// Sun, 15 Nov 2026 10:24:05 UTC
inline std::int64_t g_moment = 1'794'738'245;

class NotifyTest : public ::testing::Test {
 protected:
  static constexpr const char* kNames =
      "[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n";

  void SetUp() override { Start(); }
  void TearDown() override {
    CloseMesgFile(&db_);
    os::SetClock(nullptr);
    TerminateQOBDll();
    unsetenv("TMP");
    unsetenv("TZ");
    os::RefreshTimeZone();
  }
  void Start(const char* zone = "UTC0") {
    setenv("TZ", zone, 1);
    SetIni("");
    g_moment = 1'794'738'245;
    os::SetClock([] { return g_moment; });
    ASSERT_EQ(InitQOBDll("notify"), 1);
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
    log_.Clear();
  }
  // Values are fresh on every read: `options` are lines of [Options].
  void SetIni(const std::string& options, const std::string& gateway = "",
              const std::string& names = kNames) const {
    spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nQueueDirectory=" + spool_.queue() +
                       "\nTemporaryDirectory=" + spool_.temp() + "\nInstallationId=site7\n" +
                       gateway + names + "[Options]\n" + options);
  }

  static std::string Native(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
  }
  std::string Path(std::string_view name) const {
    return spool_.queue() + "\\" + std::string(name);
  }
  // A queued message made by hand; with a null sender it has no records.
  std::string Message(std::string_view name, const char* sender, std::string_view bytes,
                      const char* envelope_id = "", std::int32_t ret = 0) {
    const std::string path = Path(name);
    TempSpool::Write(Native(path) + ".msg", bytes);
    if (sender != nullptr) Records(path, sender, envelope_id, ret);
    return path;
  }
  void Records(const std::string& path, const char* sender, const char* envelope_id,
               std::int32_t ret) {
    std::string address = sender;
    std::string id = envelope_id;
    char empty[] = "";
    const EnvFrom from{address.data(), id.data(), ret, 0, empty};
    ASSERT_EQ(CreateStatusFile(path.c_str(), "", &db_), 0);
    ASSERT_EQ(CreateEnvelope(path.c_str(), &from, &db_), 0);
  }

  // Everything on the channel, in the order of commit.
  static std::vector<Queued> On(const char* channel = "DSN") {
    std::vector<Queued> all;
    MQChannel* walk = OpenMQChannel(channel);
    std::uint32_t id = 0;
    for (bool any = GetFirstMQEntry(walk, &id); any; any = GetNextMQEntry(walk, &id)) {
      all.push_back(Look(id));
    }
    CloseMQChannel(walk);
    return all;
  }
  static Queued Look(std::uint32_t id) {
    Queued entry;
    entry.id = id;
    entry.path = GetMQPathNameById(id, "");
    entry.file = TempSpool::Read(GetMQPathNameById(id, ".msg"));
    stEnvelope* envelope = GetMQEnvelope(id);
    EXPECT_NE(envelope, nullptr);
    if (envelope == nullptr) return entry;
    EXPECT_EQ(envelope->senders.count, 1u);
    const MQEnvFrom& sender = *envelope->senders.head->record;
    entry.sender = sender.address;
    entry.envelope_id = sender.envelopeId;
    entry.ret = sender.ret;
    for (MQEnvRecipNode* node = envelope->recipients.head; node != nullptr; node = node->next) {
      entry.recipients.push_back(node->record->address);
    }
    FreeMQEnvelope(envelope);
    return entry;
  }
  // The one entry that stands there.
  Queued Only() const {
    const std::vector<Queued> all = On();
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? Queued() : all.front();
  }

  // The standing clock and this thread give it.
  static std::string Boundary() {
    char text[40];
    std::snprintf(text, sizeof text, "QOB.Boundary.%08X%08X", static_cast<unsigned>(g_moment),
                  os::ThreadId());
    return text;
  }
  static std::string Received(const Queued& entry) {
    return "Received: From gw.gate.example by gw.gate.example\r\n"
           "  (QOB Tarrow 5.1) id " +
           entry.name() + "; Sun, 15 Nov 2026 10:24:05 +0000\r\n";
  }
  // What submission writes in front of a message from that domain.
  static std::string InFront(const Queued& entry, const std::string& domain = "gw.gate.example") {
    return Received(entry) +
           "Mime-version: 1.0\r\n"
           "Date: Sun, 15 Nov 2026 10:24:05 +0000\r\n"
           "Message-ID: <" +
           entry.name() + ".site7@" + domain + ">\r\n";
  }

  // Locks and message files in the queue directory.
  Texts QueueFiles() const {
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(spool_.queue())) {
      const std::string name = entry.path().filename().string();
      if (!name.starts_with("mesg.btr")) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  TempSpool spool_;
  CapturedLog log_;
  MesgHandle db_{};
};

inline const std::string kPreamble =
    "\r\nThis is a Mime message, which your current mail reader\r\n"
    "may not understand. Parts of the message will appear as\r\n"
    "text. To process the remainder, you will need to use a Mime\r\n"
    "compatible mail reader. Contact your vendor for details.\r\n";

}  // namespace qob::testing
