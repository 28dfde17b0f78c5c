// What the tests of submission share: a site with fixed names and a standing clock, a message file,
// the call with its arguments by name, and the queue as it is found afterwards.
#pragma once
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/submit.h>
#include <qobplatform/mqapi.h>

#include "platform/os/process.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using TextPtr = std::unique_ptr<char, FreeText>;

inline MimeRecipient To(const char* address, const char* original = nullptr, std::int32_t flags = 0,
                        const char* fourth = nullptr, const char* fifth = nullptr) {
  return {address, original, flags, fourth, fifth};
}

// The arguments of MimeSendMessage.
struct Call {
  const char* sender = "ann@a.example";
  const char* envelope_id = nullptr;
  std::int32_t ret = 0;
  const char* extra = nullptr;
  const char* channel = "SMTP";
  std::vector<MimeRecipient> recipients = {To("bob@b.example")};
  const char* date = nullptr;
  const char* file = nullptr;
  std::int32_t receipt = 0;
  std::int32_t no_mime_version = 0;

  TextPtr Send() const {
    return TextPtr(MimeSendMessage(sender, envelope_id, ret, 0, extra, channel, recipients.data(),
                                   static_cast<std::int32_t>(recipients.size()), date, file,
                                   nullptr, receipt, no_mime_version));
  }
};

// Sun, 15 Nov 2026 10:24:05 UTC
inline std::int64_t g_moment = 1'794'738'245;

class SubmitTest : public ::testing::Test {
 protected:
  static constexpr const char* kNames =
      "[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n";

  void SetUp() override { Start("UTC0", kNames); }
  void TearDown() override {
    os::SetClock(nullptr);
    TerminateQOBDll();
    unsetenv("TMP");
    unsetenv("TZ");
    os::RefreshTimeZone();
  }

  void Start(const char* zone, const std::string& more) {
    TerminateQOBDll();
    setenv("TZ", zone, 1);
    SetIni(more);
    g_moment = 1'794'738'245;
    os::SetClock([] { return g_moment; });
    ASSERT_EQ(InitQOBDll("submit"), 1);
    log_.Clear();
  }
  // As TempSpool's, with an installation identifier.
  void SetIni(const std::string& more, const std::string& installation = "site7") const {
    spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nQueueDirectory=" + spool_.queue() +
                       "\nTemporaryDirectory=" + spool_.temp() +
                       "\nInstallationId=" + installation + "\n" + more);
  }

  // What stands in the queue directory, the database's files left out.
  std::vector<std::string> QueueFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(spool_.queue())) {
      const std::string name = entry.path().filename().string();
      if (!name.starts_with("mesg.btr")) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // The numbers that wait on the channel.
  static std::vector<std::uint32_t> Waiting(const char* channel = "SMTP") {
    std::vector<std::uint32_t> ids;
    MQChannel* walk = OpenMQChannel(channel);
    std::uint32_t id = 0;
    for (bool any = GetFirstMQEntry(walk, &id); any; any = GetNextMQEntry(walk, &id)) {
      ids.push_back(id);
    }
    CloseMQChannel(walk);
    return ids;
  }
  void ExpectNothingQueued() const {
    EXPECT_EQ(QueueFiles(), std::vector<std::string>{});
    EXPECT_EQ(Waiting(), std::vector<std::uint32_t>{});
  }

  // Submits those bytes; what stands in the queue then.
  std::string Queued(std::string_view message, Call call = {}) {
    const std::string file = spool_.File("message", message);
    call.file = file.c_str();
    const TextPtr path = call.Send();
    EXPECT_NE(path, nullptr);
    EXPECT_EQ(TempSpool::Read(file), message) << "the caller's file was changed";
    return path == nullptr ? "" : TempSpool::Read(std::string(path.get()) + ".msg");
  }

  TempSpool spool_;
  CapturedLog log_;
};

inline const std::string kReceived =
    "Received: From gw.gate.example by gw.gate.example\r\n"
    "  (QOB Tarrow 5.1) id 00000000; Sun, 15 Nov 2026 10:24:05 +0000\r\n";
inline const std::string kMime = "Mime-version: 1.0\r\n";
inline const std::string kDate = "Date: Sun, 15 Nov 2026 10:24:05 +0000\r\n";
inline const std::string kMessageId = "Message-ID: <00000000.site7@a.example>\r\n";
inline const std::string kInFront = kReceived + kMime + kDate + kMessageId;

}  // namespace qob::testing
