// The message's own record: what is written into it, what is read from it, what is said when that
// fails.
#include <limits>

#include "frame/config.h"
#include "queue/envelope_support.h"
#include "support/record_image.h"

namespace qob::testing {
namespace {

using namespace std::string_view_literals;

class MessageEnvelope : public EnvelopeTest {
 protected:
  // The stored sender of an address, with the configuration as it is.
  std::string StoredSender(const char* address, bool smtp = false) {
    static int number = 0;
    char name[16];
    std::snprintf(name, sizeof name, "%08X", ++number);
    const std::string path = Path(name);
    const EnvFrom sender = Sender(address);
    EXPECT_EQ(CreateStatusFile(path.c_str(), "", &db_), 0);
    EXPECT_EQ((smtp ? CreateSMTPEnvelope : CreateEnvelope)(path.c_str(), &sender, &db_), 0);
    return StoredMessage(name + std::string("F")).address;
  }
  Texts Lines() const { return log_.texts(6); }
};

TEST_F(MessageEnvelope, ANewMessageIsStoredByteForByte) {
  g_now = 0x65A1B2C3;
  const std::string path = Path();
  ASSERT_EQ(CreateStatusFile(path.c_str(), "queued", &db_), 0);
  const std::string wanted = RecordImage()
                                 .At(0, "0001a2b3f")
                                 .At(804, "\xC3\xB2\xA1\x65"sv)
                                 .At(808, "\xC3\xB2\xA1\x65"sv)
                                 .At(828, "queued")
                                 .bytes();
  EXPECT_EQ(FirstDifference(BytesOf(StoredMessage()), wanted), "");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(MessageEnvelope, AWholeMessageRecordIsStoredByteForByte) {
  g_now = 1;
  const std::string path = Path();
  ASSERT_EQ(CreateStatusFile(path.c_str(), "queued", &db_), 0);
  const EnvFrom sender = Sender("ann@a.example", "id-7", -2, 0x01020304, "option");
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  g_now = 2;
  ASSERT_EQ(SetMessageRetryTime(path.c_str(), 0x11223344, &db_), 0);
  ASSERT_EQ(UpdateMessagePartNumber(path.c_str(), 0x0A0B0C0D, &db_), 0);
  ASSERT_EQ(BumpMessageRetryCount(path.c_str(), &db_), 1);
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), "sent", &db_), 0);
  ASSERT_EQ(UpdateDelayNotifyStatus(path.c_str(), &db_), 0);
  const std::string wanted = RecordImage()
                                 .At(0, "0001a2b3f")
                                 .At(16, "queue")
                                 .At(292, "ann@a.example")
                                 .At(804, "\x01\0\0\0"sv)
                                 .At(808, "\x02\0\0\0"sv)
                                 .At(812, "\x44\x33\x22\x11"sv)
                                 .At(816, "\x01\0\0\0"sv)
                                 .At(820, "\x01\0\0\0"sv)
                                 .At(824, "\x0D\x0C\x0B\x0A"sv)
                                 .At(828, "sent")
                                 .At(1596, "id-7")
                                 .At(1696, "\xFE\xFF\xFF\xFF"sv)
                                 .At(1704, "option")
                                 .At(2216, "\x04\x03\x02\x01"sv)
                                 .bytes();
  EXPECT_EQ(FirstDifference(BytesOf(StoredMessage()), wanted), "");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(MessageEnvelope, ANameIsCutToFourteenCharactersInItsKey) {
  const std::string path = Path("ABCDEFGHIJKLMNOPQRST");
  ASSERT_EQ(CreateStatusFile(path.c_str(), "long", &db_), 0);
  EXPECT_STREQ(StoredMessage("ABCDEFGHIJKLMNF").key, "abcdefghijklmnf");
  const TextPtr status(GetMessageStatus(path.c_str(), &db_));
  EXPECT_STREQ(status.get(), "long");
  const TextPtr same_key(GetMessageStatus(Path("abcdefghijklmnXYZ").c_str(), &db_));
  EXPECT_STREQ(same_key.get(), "long");
}

TEST_F(MessageEnvelope, TextsAreCutToTheirFields) {
  const std::string text(1000, 'x');
  const std::string path = Path();
  ASSERT_EQ(CreateStatusFile(path.c_str(), text.c_str(), &db_), 0);
  const std::string address = "a@b." + text;
  const EnvFrom sender = Sender(address.c_str(), text.c_str(), 0, 0, text.c_str());
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  const SenderPtr stored(GetEnvelopeFrom(path.c_str(), &db_));
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->address, address.substr(0, 511));
  EXPECT_EQ(stored->envelopeId, text.substr(0, 99));
  EXPECT_EQ(stored->optionText, text.substr(0, 511));
  EXPECT_EQ(TextPtr(GetEnvelopeStatus(path.c_str(), &db_)).get(), text.substr(0, 255));
}

TEST_F(MessageEnvelope, AnEnvelopeIdOf150CharactersIsKeptAsItsFirst99) {
  const std::string id = std::string(99, 'a') + std::string(51, 'b');
  const std::string path = Message();
  const EnvFrom sender = Sender("a@b.c", id.c_str());
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  EXPECT_EQ(StoredMessage().envelopeId, std::string(99, 'a'));
}

TEST_F(MessageEnvelope, TextsThatAreNullAreStoredAsEmptyAndComeBackSo) {
  const std::string path = Path();
  ASSERT_EQ(CreateStatusFile(path.c_str(), nullptr, &db_), 0);
  const EnvFrom sender = Sender("a@b.c", nullptr, 3, 4, nullptr);
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  const SenderPtr stored(GetEnvelopeFrom(path.c_str(), &db_));
  ASSERT_TRUE(stored);
  EXPECT_STREQ(stored->address, "a@b.c");
  EXPECT_STREQ(stored->envelopeId, "");
  EXPECT_STREQ(stored->optionText, "");
  EXPECT_EQ(stored->firstOption, 3);
  EXPECT_EQ(stored->secondOption, 4);
  EXPECT_STREQ(TextPtr(GetMessageStatus(path.c_str(), &db_)).get(), "");
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), "x", &db_), 0);
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), nullptr, &db_), 0);
  EXPECT_STREQ(TextPtr(GetEnvelopeStatus(path.c_str(), &db_)).get(), "");
}

TEST_F(MessageEnvelope, TheNullSenderStaysWhateverTheSwitchesSay) {
  for (const char* hosts : {"YES", "NO"}) {
    for (const char* addresses : {"YES", "NO"}) {
      spool_.SetIni(std::string("[Options]\nuseHostname=") + hosts +
                    "\nqualifySenderHosts=" + hosts + "\nqualifyAddress=" + addresses + "\n");
      EXPECT_EQ(StoredSender("<>"), "<>");
      EXPECT_EQ(StoredSender("<>", true), "<>");
    }
  }
}

TEST_F(MessageEnvelope, ASenderIsQualifiedByTheSite) {
  EXPECT_EQ(StoredSender("ann"), "ann@twgate.domain.invalid");
  EXPECT_EQ(StoredSender("ann@pc"), "ann@pc.domain.invalid");
  spool_.SetIni("[Connection]\nGatewayHostName=gate\nGatewayDomain=corp.example\n");
  EXPECT_EQ(StoredSender("ann"), "ann@gate.corp.example");
  EXPECT_EQ(StoredSender("ann@pc"), "ann@pc.corp.example");
  EXPECT_EQ(StoredSender("ann@pc.example"), "ann@pc.example");
  EXPECT_EQ(StoredSender("ann@[10.0.0.1]"), "ann@[10.0.0.1]");
  spool_.SetIni("[Options]\nqualifySenderHosts=NO\n");
  EXPECT_EQ(StoredSender("ann@pc"), "ann@pc");
}

TEST_F(MessageEnvelope, OnlyTheSmtpEnvelopeHonoursQualifyAddress) {
  spool_.SetIni("[Options]\nqualifyAddress=NO\n");
  EXPECT_EQ(StoredSender("ann", true), "ann");
  EXPECT_EQ(StoredSender("ann", false), "ann@twgate.domain.invalid");
}

TEST_F(MessageEnvelope, TheRelayIsNotForSenders) {
  spool_.SetIni("[Routing]\nPrimaryRelayHostName=relay.example\n");
  EXPECT_EQ(StoredSender("ann"), "ann@twgate.domain.invalid");
  EXPECT_EQ(StoredSender("ann", true), "ann@twgate.domain.invalid");
}

TEST_F(MessageEnvelope, MaybeSwitchesTheHostNameOffAndLeavesTheOthersOn) {
  spool_.SetIni(
      "[Options]\nuseHostname=MAYBE\nqualifySenderHosts=MAYBE\nqualifyAddress=MAYBE\n"
      "[Connection]\nGatewayDomain=corp.example\n");
  EXPECT_EQ(StoredSender("ann", true), "ann@corp.example");
  EXPECT_EQ(StoredSender("ann@pc", true), "ann@pc.corp.example");
}

// The profile layer answers nothing then, not even the defaults.
TEST_F(MessageEnvelope, SettingsAreReadThroughTheProfileLayer) {
  UseConfigAPI();
  EXPECT_EQ(StoredSender("ann@pc"), "ann@pc.domain.invalid");
  SetProfileMode(7);
  EXPECT_EQ(StoredSender("ann@pc"), "ann@pc.");
  EXPECT_EQ(StoredSender("ann"), "ann@");
  UseINI();
  EXPECT_EQ(StoredSender("ann@pc"), "ann@pc.domain.invalid");
}

TEST_F(MessageEnvelope, AnEmptySenderIsOneWithoutHostPart) {
  EXPECT_EQ(StoredSender(""), "@twgate.domain.invalid");
}

TEST_F(MessageEnvelope, TheSenderRecordIsOnlyRead) {
  const std::string path = Path();
  ASSERT_EQ(CreateStatusFile(path.c_str(), "", &db_), 0);
  char address[] = "ann";
  EnvFrom sender = Sender(address, "id", 1, 2, "option");
  const EnvFrom before = sender;
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  EXPECT_STREQ(address, "ann");
  EXPECT_EQ(std::memcmp(&sender, &before, sizeof sender), 0);
}

TEST_F(MessageEnvelope, AnEnvelopeBeforeItsStatusFileIsRefused) {
  const std::string path = Path();
  const EnvFrom sender = Sender("ann@a.example");
  const std::string line =
      "CreateEnvelope failed, " + path + ": [Reason] No such a record is found in the database.";
  EXPECT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), -1);
  EXPECT_EQ(CreateSMTPEnvelope(path.c_str(), &sender, &db_), -1);
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{6, "env", line}, {6, "env", line}}));
  EXPECT_TRUE(Stored("0001A2B3F").empty());
}

TEST_F(MessageEnvelope, APathDividedOnceHasNoDirectoryForASender) {
  const EnvFrom sender = Sender("ann@a.example");
  for (const char* path : {"/0001A2B3", "q\\0001A2B3", "q\\\\0001A2B3", "//0001A2B3"}) {
    ASSERT_EQ(CreateStatusFile(path, "", &db_), 0) << path;
    EXPECT_EQ(CreateEnvelope(path, &sender, &db_), -1) << path;
    EXPECT_EQ(CreateSMTPEnvelope(path, &sender, &db_), -1) << path;
  }
  for (const MesgRecord& record : Stored("0001A2B3F")) EXPECT_STREQ(record.address, "");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(MessageEnvelope, ADirectoryIsTakenFromEitherFormOfPath) {
  const EnvFrom sender = Sender("ann@a.example");
  struct Row {
    const char* path;
    const char* directory;
  };
  constexpr Row kRows[] = {{"C:\\q\\00000001", "q"},
                           {"/q/00000002", "q"},
                           {"/spool/out//00000003", "out"},
                           {"a\\/1234567890123456\\00000004", "123456789012345"}};
  for (const Row& row : kRows) {
    ASSERT_EQ(CreateStatusFile(row.path, "", &db_), 0);
    ASSERT_EQ(CreateEnvelope(row.path, &sender, &db_), 0);
    const std::string key = std::string(row.path).substr(std::strlen(row.path) - 8) + "F";
    EXPECT_STREQ(StoredMessage(key).directoryName, row.directory);
  }
}

TEST_F(MessageEnvelope, ASecondStatusFileIsStoredAndTheFirstIsSeen) {
  const std::string path = Path();
  ASSERT_EQ(CreateStatusFile(path.c_str(), "first", &db_), 0);
  ASSERT_EQ(CreateStatusFile(path.c_str(), "second", &db_), 0);
  EXPECT_EQ(Stored("0001A2B3F").size(), 2u);
  EXPECT_STREQ(TextPtr(GetMessageStatus(path.c_str(), &db_)).get(), "first");
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), "changed", &db_), 0);
  EXPECT_STREQ(Stored("0001A2B3F")[0].statusText, "changed");
  EXPECT_STREQ(Stored("0001A2B3F")[1].statusText, "second");
}

TEST_F(MessageEnvelope, EveryCallFindsItsMessageByLettersOfEitherCase) {
  Message("0001A2B3");
  EXPECT_STREQ(TextPtr(GetMessageStatus(Path("0001a2b3").c_str(), &db_)).get(), "queued");
  EXPECT_EQ(BumpMessageRetryCount(Path("0001a2B3").c_str(), &db_), 1);
}

TEST_F(MessageEnvelope, GettersGiveWhatSettersWrote) {
  const std::string path = Message();
  EXPECT_EQ(GetMessageCreationTime(path.c_str(), &db_), kStart);
  EXPECT_EQ(GetMessageRetryTime(path.c_str(), &db_), 0);
  EXPECT_EQ(GetMessageRetryCount(path.c_str(), &db_), 0);
  EXPECT_EQ(GetMessagePartNumber(path.c_str(), &db_), 0);
  EXPECT_EQ(GetDelayNotifyStatus(path.c_str(), &db_), 0);
  EXPECT_EQ(SetMessageRetryTime(path.c_str(), -5, &db_), 0);
  EXPECT_EQ(UpdateMessagePartNumber(path.c_str(), std::numeric_limits<int>::min(), &db_), 0);
  EXPECT_EQ(BumpMessageRetryCount(path.c_str(), &db_), 1);
  EXPECT_EQ(BumpMessageRetryCount(path.c_str(), &db_), 2);
  EXPECT_EQ(UpdateDelayNotifyStatus(path.c_str(), &db_), 0);
  EXPECT_EQ(UpdateDelayNotifyStatus(path.c_str(), &db_), 0);
  EXPECT_EQ(GetMessageRetryTime(path.c_str(), &db_), -5);
  EXPECT_EQ(GetMessagePartNumber(path.c_str(), &db_), std::numeric_limits<int>::min());
  EXPECT_EQ(GetMessageRetryCount(path.c_str(), &db_), 2);
  EXPECT_EQ(GetDelayNotifyStatus(path.c_str(), &db_), 1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(MessageEnvelope, ADelayStatusOtherThanOneCountsAsNone) {
  const std::string path = Message();
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "0001A2B3F", &record), 0);
  record.delayNotifyStatus = 2;
  ASSERT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, 0), 0);
  EXPECT_EQ(GetDelayNotifyStatus(path.c_str(), &db_), 0);
}

TEST_F(MessageEnvelope, ARetryCountStaysAtItsEnd) {
  const std::string path = Message();
  MesgRecord record;
  ASSERT_EQ(FindMesgRecord(&db_, "0001A2B3F", &record), 0);
  record.retryCount = std::numeric_limits<int>::max() - 1;
  ASSERT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record, 0), 0);
  EXPECT_EQ(BumpMessageRetryCount(path.c_str(), &db_), std::numeric_limits<int>::max());
  EXPECT_EQ(BumpMessageRetryCount(path.c_str(), &db_), std::numeric_limits<int>::max());
}

TEST_F(MessageEnvelope, TheLastChangeMovesWithEveryChangeButTheDelayNotice) {
  const std::string path = Message();
  const auto last_change = [&] { return StoredMessage().lastChangeTime - kStart; };
  EXPECT_EQ(last_change(), 0);
  g_now = kStart + 1;
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), "s", &db_), 0);
  EXPECT_EQ(last_change(), 1);
  g_now = kStart + 2;
  ASSERT_EQ(BumpMessageRetryCount(path.c_str(), &db_), 1);
  EXPECT_EQ(last_change(), 2);
  g_now = kStart + 3;
  ASSERT_EQ(SetMessageRetryTime(path.c_str(), 9, &db_), 0);
  EXPECT_EQ(last_change(), 3);
  g_now = kStart + 4;
  ASSERT_EQ(UpdateMessagePartNumber(path.c_str(), 9, &db_), 0);
  EXPECT_EQ(last_change(), 4);
  g_now = kStart + 5;
  ASSERT_EQ(UpdateDelayNotifyStatus(path.c_str(), &db_), 0);
  EXPECT_EQ(last_change(), 4);
  const EnvFrom sender = Sender("b@b.example");
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  EXPECT_EQ(last_change(), 4);
  EXPECT_EQ(StoredMessage().creationTime, kStart);
}

TEST_F(MessageEnvelope, TimesBeyond2038StopAtTheEndOf32Bits) {
  g_now = 0x1'0000'0000;
  const std::string path = Message();
  EXPECT_EQ(GetMessageCreationTime(path.c_str(), &db_), 0x7FFFFFFF);
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), "s", &db_), 0);
  EXPECT_EQ(StoredMessage().lastChangeTime, 0x7FFFFFFF);
}

TEST_F(MessageEnvelope, AClockSetBackIsTakenAsItIs) {
  const std::string path = Message();
  g_now = kStart - 1000;
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), "s", &db_), 0);
  EXPECT_EQ(StoredMessage().lastChangeTime, kStart - 1000);
  EXPECT_EQ(StoredMessage().creationTime, kStart);
}

TEST_F(MessageEnvelope, ChangesLeaveTheHeldTextAlone) {
  const std::string path = Message();
  SetState("0001A2B3F", 0, "HELD");
  const EnvFrom sender = Sender("b@b.example");
  ASSERT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
  ASSERT_EQ(UpdateMessageStatus(path.c_str(), "s", &db_), 0);
  EXPECT_STREQ(StoredMessage().stateText, "HELD");
}

TEST_F(MessageEnvelope, EveryCallSaysInItsOwnWordsThatThereIsNoMessage) {
  const std::string path = Path();
  const std::string end = ", " + path + ": [Reason] No such a record is found in the database.";
  EXPECT_EQ(GetEnvelopeFrom(path.c_str(), &db_), nullptr);
  EXPECT_EQ(GetEnvelopeStatus(path.c_str(), &db_), nullptr);
  EXPECT_EQ(GetMessageStatus(path.c_str(), &db_), nullptr);
  EXPECT_EQ(GetMessageRetryCount(path.c_str(), &db_), -1);
  EXPECT_EQ(GetMessageRetryTime(path.c_str(), &db_), -1);
  EXPECT_EQ(GetMessageCreationTime(path.c_str(), &db_), -1);
  EXPECT_EQ(GetMessagePartNumber(path.c_str(), &db_), -1);
  EXPECT_EQ(GetDelayNotifyStatus(path.c_str(), &db_), -1);
  EXPECT_EQ(UpdateMessageStatus(path.c_str(), "s", &db_), -1);
  EXPECT_EQ(BumpMessageRetryCount(path.c_str(), &db_), -1);
  EXPECT_EQ(SetMessageRetryTime(path.c_str(), 1, &db_), -1);
  EXPECT_EQ(UpdateMessagePartNumber(path.c_str(), 1, &db_), -1);
  EXPECT_EQ(UpdateDelayNotifyStatus(path.c_str(), &db_), -1);
  EXPECT_EQ(Lines(),
            (Texts{"GetEnvelopFrom failed" + end, "GetEnvelopStatus failed" + end,
                   "GetMessageStatus failed" + end, "GetMessageRetryCount failed" + end,
                   "GetMessageRetryTime failed" + end, "GetMessageCreationTime failed" + end,
                   "GetMessagePartNumber failed" + end, "GetDelayNotifyStatus failed" + end,
                   "UpdateMessageStatus failed" + end, "BumpMessageRetryCount failed" + end,
                   "SetMessageRetryTime failed" + end, "UpdateMessagePartNumber failed" + end,
                   "UpdateDelayNotifyStatus failed" + end}));
  EXPECT_EQ(log_.lines().size(), Lines().size());
}

TEST_F(MessageEnvelope, AClosedDatabaseIsTold) {
  const std::string path = Message();
  MesgHandle closed = db_;
  MesgHandle other{};
  ASSERT_EQ(OpenMesgFile(nullptr, &other), 0);
  closed = other;
  ASSERT_EQ(CloseMesgFile(&other), 0);
  log_.Clear();
  EXPECT_EQ(CreateStatusFile(path.c_str(), "s", &closed), -1);
  EXPECT_EQ(GetMessageRetryCount(path.c_str(), &closed), -1);
  EXPECT_EQ(
      Lines(),
      (Texts{"CreateStatus failed, " + path + ": The Btrieve database file is not open.",
             "GetMessageRetryCount failed, " + path + ": The Btrieve database file is not open."}));
}

}  // namespace
}  // namespace qob::testing
