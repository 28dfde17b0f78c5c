// The exported calls from C, through the shared libraries, and the road of a message that is
// returned.
#include <algorithm>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <qob3xapi/qob3xapi.h>
#include <qobplatform/mqapi.h>

#include "support/temp_spool.h"

extern "C" {
int CBounces(const char* path, MesgHandle* db);
int CNotifies(const char* path, MesgHandle* db);
int CGenerates(const char* file);
int CTakesNullPointers(void);
}

namespace qob::testing {
namespace {

class NotifyContract : public ::testing::Test {
 protected:
  void SetUp() override {
    spool_.SetIni("[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n");
    ASSERT_EQ(InitQOBDll("contract"), 1);
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
    file_ = spool_.File("message", "Subject: s\r\n\r\nbody\r\n");
  }
  void TearDown() override {
    CloseMesgFile(&db_);
    TerminateQOBDll();
  }
  std::string Submit(const char* sender) {
    const MimeRecipient to = {"bob@b.example", nullptr, 0, nullptr, nullptr};
    char* path = MimeSendMessage(sender, "E1", 2, 0, nullptr, "SMTP", &to, 1, nullptr,
                                 file_.c_str(), nullptr, 0, 0);
    const std::string text = path == nullptr ? "" : path;
    QOBFreeMQId(path);
    return text;
  }
  static int Waiting(const char* channel) {
    int count = 0;
    std::uint32_t id = 0;
    MQChannel* walk = OpenMQChannel(channel);
    for (bool any = GetFirstMQEntry(walk, &id); any; any = GetNextMQEntry(walk, &id)) ++count;
    CloseMQChannel(walk);
    return count;
  }

  TempSpool spool_;
  MesgHandle db_{};
  std::string file_;
};

TEST_F(NotifyContract, BouncesFromC) {
  const std::string path = Submit("ann@a.example");
  EXPECT_EQ(CBounces(path.c_str(), &db_), 0);
  EXPECT_EQ(Waiting("DSN"), 3);
}

TEST_F(NotifyContract, NotifiesFromC) {
  const std::string path = Submit("ann@a.example");
  EXPECT_EQ(CNotifies(path.c_str(), &db_), 0);
  EXPECT_EQ(Waiting("DSN"), 2);
}

TEST_F(NotifyContract, GeneratesFromC) {
  EXPECT_EQ(CGenerates(file_.c_str()), 0);
  EXPECT_EQ(Waiting("DSN"), 2);
}

TEST_F(NotifyContract, TakesNullPointersFromC) {
  EXPECT_EQ(CTakesNullPointers(), 0);
  EXPECT_EQ(Waiting("DSN"), 0);
}

// Submitted, found locked by the scan, read by the envelope calls, bounced, and deleted.
TEST_F(NotifyContract, ABouncedMessageLeavesTheQueueWhole) {
  const std::string path = Submit("ann@a.example");
  const QueueScanFilter any{0, 0, 1};
  char* found = FindFirstQueueId(GetQueueDir(), &db_, &any);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found, path);
  EnvFrom* from = GetEnvelopeFrom(found, &db_);
  ASSERT_NE(from, nullptr);
  EXPECT_STREQ(from->address, "ann@a.example");
  EXPECT_STREQ(from->envelopeId, "E1");
  EXPECT_EQ(from->firstOption, 2);
  FreeEnvFrom(from);
  EnvRecip* to = GetFirstEnvelopeRecipient(found, &db_);
  ASSERT_NE(to, nullptr);
  EXPECT_STREQ(to->address, "bob@b.example");
  FreeEnvRecip(to);
  EXPECT_EQ(GetNextEnvelopeRecipient(found, &db_), nullptr);
  EXPECT_EQ(BounceMimeMessage(found, nullptr, nullptr, nullptr, &db_), 0);
  EXPECT_EQ(DeleteQueueId(found, "SMTP", &db_), 0);
  ReleaseQueueId(found);

  char* bounce = FindFirstQueueId(GetQueueDir(), &db_, &any);
  ASSERT_NE(bounce, nullptr);
  from = GetEnvelopeFrom(bounce, &db_);
  ASSERT_NE(from, nullptr);
  EXPECT_STREQ(from->address, "postmaster@gw.gate.example");
  FreeEnvFrom(from);
  to = GetFirstEnvelopeRecipient(bounce, &db_);
  ASSERT_NE(to, nullptr);
  EXPECT_STREQ(to->address, "ann@a.example");
  FreeEnvRecip(to);
  EXPECT_EQ(DeleteQueueId(bounce, "DSN", &db_), 0);
  ReleaseQueueId(bounce);
  EXPECT_EQ(FindFirstQueueId(GetQueueDir(), &db_, &any), nullptr);
  EXPECT_EQ(Waiting("SMTP") + Waiting("DSN"), 0);
  for (const auto& entry : std::filesystem::directory_iterator(spool_.queue())) {
    EXPECT_TRUE(entry.path().filename().string().starts_with("mesg.btr")) << entry.path();
  }
}

}  // namespace
}  // namespace qob::testing
