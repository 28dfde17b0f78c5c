// What a commit writes into the message database is what the envelope calls write for the same
// message, byte for byte, and the queue calls find it.
#include <qob3xapi/envelope.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>
#include <qob3xapi/util.h>

#include "mq_support.h"

namespace qob {
namespace {

using namespace testing;

struct Texts {
  const char* name;
  const char* sender;
  const char* recipient;
  const char* settings;  // sections of twmta.ini
};

// How an address gets its host part is settled by qualify's own tests; here both ways must agree.
constexpr Texts kTexts[] = {
    {"whole", "s@a.example", "r@b.example", ""},
    {"local", "s", "r", "[Connection]\nGatewayHostName=host\nGatewayDomain=our.example\n"},
    {"short_host", "s@a", "r@b", "[Connection]\nGatewayDomain=our.example\n"},
    {"nobody", "<>", "r@b.example", ""},
    {"literal", "s@[10.0.0.1]", "r@[10.0.0.1]", ""},
    {"two_at", "a@b@c", "a@b.example@d", "[Connection]\nGatewayDomain=our.example\n"},
    {"no_host_name", "s", "r", "[Options]\nuseHostname=NO\n"},
    {"kept", "s", "r",
     "[Options]\nqualifyAddress=NO\nqualifySenderHosts=NO\nqualifyRecipientHosts=NO\n"},
    {"kept_short", "s@a", "r@b", "[Options]\nqualifySenderHosts=NO\nqualifyRecipientHosts=NO\n"},
    {"relay", "s", "r", "[Routing]\nPrimaryRelayHostName=relay.example\n"},
    {"empty_recipient", "s@a.example", "", ""},
    {"defaults", "s", "r", ""},
};

class SameRecords : public ::testing::TestWithParam<Texts> {
 protected:
  static constexpr std::int64_t kNow = 1'700'000'000;

  void SetUp() override {
    spool_.SetIni(GetParam().settings);
    os::SetClock([] { return kNow; });
    ASSERT_EQ(InitQOBDll("agent"), 1);
  }
  void TearDown() override {
    TerminateQOBDll();
    MQTerminate();
    os::SetClock(nullptr);
    spool::TheSite() = spool::Site();
  }

  // The message of that number, every record's bytes in the order of insertion, keys made alike.
  std::vector<std::string> RecordsOf(std::uint32_t id) const {
    char name[9];
    std::snprintf(name, sizeof name, "%08x", id);
    std::vector<std::string> records;
    DatabaseIn(spool_.queue())->Snapshot([&](const store::RecordFile::Seen& seen) {
      std::string bytes(reinterpret_cast<const char*>(seen.record.data()), seen.record.size());
      if (bytes.starts_with(name)) records.push_back(bytes.replace(0, 8, "12345678"));
      return true;
    });
    return records;
  }

  void WriteByEnvelopeCalls() {
    MesgHandle db{};
    ASSERT_EQ(OpenMesgFile(nullptr, &db), 0);
    char* const path = GetNewQueueId(spool_.queue().c_str(), &db);
    ASSERT_NE(path, nullptr);
    std::string sender = GetParam().sender;
    std::string recipient = GetParam().recipient;
    std::string option(600, 'o');
    std::string second(600, 't');
    std::string id(200, 'i');
    const EnvFrom from{sender.data(), id.data(), 2, -9, option.data()};
    ASSERT_EQ(CreateStatusFile(path, "", &db), 0);
    ASSERT_EQ(CreateEnvelope(path, &from, &db), 0);
    for (int i = 0; i < 2; ++i) {
      const EnvRecip to{recipient.data(), second.data(), 0x7FFFFFFF - i, option.data()};
      ASSERT_EQ(AddEnvelopeRecipient(path, &to, &db), 0);
    }
    ReleaseQueueId(path);
    ASSERT_EQ(CloseMesgFile(&db), 0);
  }

  std::uint32_t WriteByCommit() {
    const std::string option(600, 'o');
    const std::string second(600, 't');
    const std::string id(200, 'i');
    Envelope envelope(GetParam().sender, id.c_str(), 2, -9, option.c_str(), "kept in the note");
    for (int i = 0; i < 2; ++i) {
      envelope.To(GetParam().recipient, second.c_str(), 0x7FFFFFFF - i, option.c_str(), "likewise");
    }
    MQContext* const entry = CreateMQEntry();
    const std::uint32_t number = IdOf(entry);
    WriteMessage(entry);
    EXPECT_NE(InsertMQChannel(entry, "DSN", 255), 0);
    EXPECT_NE(PutMQEnvelope(entry, envelope.get()), 0);
    EXPECT_NE(CloseMQEntry(entry), 0);
    return number;
  }

  const TempSpool spool_;
};

TEST_P(SameRecords, AsTheEnvelopeCalls) {
  WriteByEnvelopeCalls();
  const std::vector<std::string> expected = RecordsOf(0);
  ASSERT_EQ(expected.size(), 3u);
  const std::uint32_t id = WriteByCommit();
  const std::vector<std::string> written = RecordsOf(id);
  ASSERT_EQ(written.size(), expected.size());
  for (std::size_t i = 0; i < written.size(); ++i) {
    const auto differs = std::mismatch(written[i].begin(), written[i].end(), expected[i].begin());
    EXPECT_EQ(differs.first - written[i].begin(), static_cast<std::ptrdiff_t>(spool::kRecordBytes))
        << "record " << i << " differs there";
  }
}

INSTANTIATE_TEST_SUITE_P(Address, SameRecords, ::testing::ValuesIn(kTexts),
                         [](const auto& of) { return of.param.name; });

// ---- what differs on purpose, and who finds it

class Committed : public QueueTest {
 protected:
  void SetUp() override {
    QueueTest::SetUp();
    ASSERT_EQ(InitQOBDll("road"), 1);
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  }
  void TearDown() override {
    CloseMesgFile(&db_);
    TerminateQOBDll();
    QueueTest::TearDown();
  }
  std::string PathOf(std::uint32_t id) const { return GetMQPathNameById(id, ""); }

  MesgHandle db_{};
};

TEST_F(Committed, AnEmptySenderIsStoredAsNobody) {
  Envelope envelope("");
  envelope.To("r@b.example");
  ASSERT_NE(CloseMQEntry(Ready(envelope)), 0);
  EnvFrom* const sender = GetEnvelopeFrom(PathOf(0).c_str(), &db_);
  ASSERT_NE(sender, nullptr);
  EXPECT_STREQ(sender->address, "<>");
  FreeEnvFrom(sender);
  const EnvelopePtr put(GetMQEnvelope(0));
  EXPECT_STREQ(put->senders.head->record->address, "") << "as it was put";
}

TEST_F(Committed, TheConfigurationOfTheCommitCounts) {
  Envelope envelope("s");
  envelope.To("r");
  MQContext* const entry = Ready(envelope);
  spool_.SetIni("[Connection]\nGatewayHostName=late\nGatewayDomain=our.example\n");
  ASSERT_NE(CloseMQEntry(entry), 0);
  EnvFrom* const sender = GetEnvelopeFrom(PathOf(0).c_str(), &db_);
  EXPECT_STREQ(sender->address, "s@late.our.example");
  FreeEnvFrom(sender);
}

TEST_F(Committed, IsFoundByBothScansAndReadByTheEnvelopeCalls) {
  Envelope envelope("s@a.example", "ENVID", 1);
  envelope.To("one@b.example", "rfc822;one", 3).To("two@b.example");
  MQContext* const entry = Ready(envelope);
  const std::string path = BaseOf(entry);
  const QueueScanFilter any{0, 0, 1};
  EXPECT_EQ(FindFirstQueueId(spool_.queue().c_str(), &db_, &any), nullptr) << "not yet";
  ASSERT_NE(CloseMQEntry(entry), 0);
  char* found = FindFirstQueueId(spool_.queue().c_str(), &db_, &any);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found, path);
  EXPECT_TRUE(std::filesystem::exists(Native(path) + ".lck")) << "it comes locked";
  ReleaseQueueId(found);
  EXPECT_EQ(FindNextQueueId(spool_.queue().c_str(), &db_, &any), nullptr);
  char* const unfiltered = FindFirstQueueId(spool_.queue().c_str(), &db_, nullptr);
  ASSERT_NE(unfiltered, nullptr);
  EXPECT_EQ(unfiltered, path);
  FreeQueueId(unfiltered);
  EXPECT_EQ(GetRecipientNumber(path.c_str(), &db_), 2);
  EXPECT_EQ(GetMessageCreationTime(path.c_str(), &db_), kNow);
  char* const status = GetMessageStatus(path.c_str(), &db_);
  EXPECT_STREQ(status, "");
  FreeString(status);
  EnvRecip* const recipient = GetFirstEnvelopeRecipient(path.c_str(), &db_);
  ASSERT_NE(recipient, nullptr);
  EXPECT_STREQ(recipient->address, "one@b.example");
  EXPECT_STREQ(recipient->secondText, "rfc822;one");
  EXPECT_EQ(recipient->notifyFlags, 3);
  FreeEnvRecip(recipient);
}

TEST_F(Committed, LeavesTheQueueWhole) {
  const std::string path = PathOf(Submit("SMTP"));
  ASSERT_EQ(CreateLockFile(path.c_str()), 0);
  EXPECT_EQ(DeleteQueueId(path.c_str(), "SMTP", &db_), 0);
  EXPECT_EQ(DeleteLockFile(path.c_str()), 0);
  EXPECT_TRUE(Now() == Standing());
  EXPECT_TRUE(log_.texts().empty());
}

TEST_F(Committed, WithoutItsChannelTheMessageStays) {
  const std::uint32_t id = Submit("SMTP");
  const ChannelPtr channel(OpenMQChannel("SMTP"));
  ASSERT_NE(RemoveMQQID(channel.get(), id), 0);
  EXPECT_EQ(Now().records.size(), 2u);
  EXPECT_EQ(Files(), std::set<std::string>{"00000000.msg"});
}

TEST_F(Committed, TheEnvelopeIsUnchangedByTheEnvelopeCalls) {
  const std::string path = PathOf(Submit());
  char other[] = "other@c.example";
  const EnvFrom sender{other, nullptr, 0, 0, nullptr};
  const EnvRecip recipient{other, nullptr, 0, nullptr};
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  ASSERT_EQ(AddEnvelopeRecipient(path.c_str(), &recipient, &db_), 0);
  const EnvelopePtr put(GetMQEnvelope(0));
  ASSERT_NE(put, nullptr);
  EXPECT_STREQ(put->senders.head->record->address, "sender@a.example");
  EXPECT_EQ(put->recipients.count, 1u);
}

// ---- start-up

TEST(StartUpWithTheQueue, FailsWhereTheDatabaseIsNotOursAndSucceedsWhenItIs) {
  const TempSpool spool;
  const std::string database = spool.File("queue/mesg.btr", "something else");
  CapturedLog log;
  EXPECT_EQ(InitQOBDll("road"), 0);
  EXPECT_TRUE(log.Has(1, "MQInit failed."));
  EXPECT_EQ(GetQueueDir(), spool.queue()) << "the rest of the set-up stands";
  EXPECT_EQ(CreateMQEntry(), nullptr);
  std::filesystem::remove(database);
  EXPECT_EQ(InitQOBDll("road"), 1);
  EXPECT_TRUE(std::filesystem::exists(database));
  MQContext* const entry = CreateMQEntry();
  EXPECT_NE(entry, nullptr);
  DiscardMQEntry(entry);
  TerminateQOBDll();
  MQContext* const later = CreateMQEntry();
  EXPECT_NE(later, nullptr) << "the end of the library is not that of the connection";
  DiscardMQEntry(later);
  MQTerminate();
  spool::TheSite() = spool::Site();
}

}  // namespace
}  // namespace qob
