// Recipients: added, walked, counted, changed and deleted.
#include "queue/envelope_support.h"
#include "support/record_image.h"

namespace qob::testing {
namespace {

using namespace std::string_view_literals;

class RecipientEnvelope : public EnvelopeTest {
 protected:
  std::string StoredAddress(const char* address) {
    static int number = 0x1000;
    char name[16];
    std::snprintf(name, sizeof name, "%08X", ++number);
    const EnvRecip recipient = Recipient(address);
    EXPECT_EQ(AddEnvelopeRecipient(Path(name).c_str(), &recipient, &db_), 0);
    const std::vector<MesgRecord> stored = Stored(name + std::string("R"));
    return stored.size() == 1 ? stored[0].address : "";
  }
};

TEST_F(RecipientEnvelope, ARecipientIsStoredByteForByte) {
  const EnvRecip recipient = Recipient("bob@b.example", "second", 0x05060708, "third");
  ASSERT_EQ(AddEnvelopeRecipient(Path().c_str(), &recipient, &db_), 0);
  const std::vector<MesgRecord> stored = Stored("0001A2B3R");
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(FirstDifference(BytesOf(stored[0]), RecordImage()
                                                    .At(0, "0001a2b3r")
                                                    .At(292, "bob@b.example")
                                                    .At(1084, "second")
                                                    .At(1700, "\x08\x07\x06\x05"sv)
                                                    .At(1704, "third")
                                                    .bytes()),
            "");
}

TEST_F(RecipientEnvelope, TextsAreCutToTheirFields) {
  const std::string text(1000, 'x');
  const std::string address = "a@b." + text;
  const EnvRecip recipient = Recipient(address.c_str(), text.c_str(), 1, text.c_str());
  ASSERT_EQ(AddEnvelopeRecipient(Path().c_str(), &recipient, &db_), 0);
  const RecipientPtr stored(GetFirstEnvelopeRecipient(Path().c_str(), &db_));
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->address, address.substr(0, 511));
  EXPECT_EQ(stored->secondText, text.substr(0, 511));
  EXPECT_EQ(stored->thirdText, text.substr(0, 511));
}

TEST_F(RecipientEnvelope, TextsThatAreNullAreStoredAsEmptyAndComeBackSo) {
  const EnvRecip recipient = Recipient("bob@b.example", nullptr, -1, nullptr);
  ASSERT_EQ(AddEnvelopeRecipient(Path().c_str(), &recipient, &db_), 0);
  const RecipientPtr stored(GetFirstEnvelopeRecipient(Path().c_str(), &db_));
  ASSERT_TRUE(stored);
  EXPECT_STREQ(stored->address, "bob@b.example");
  EXPECT_STREQ(stored->secondText, "");
  EXPECT_STREQ(stored->thirdText, "");
  EXPECT_EQ(stored->notifyFlags, -1);
}

TEST_F(RecipientEnvelope, ANameIsCutToFourteenCharactersInItsKey) {
  Add(Path("ABCDEFGHIJKLMNOPQRST"), "bob@b.example", 7);
  ASSERT_EQ(Stored("ABCDEFGHIJKLMNR").size(), 1u);
  EXPECT_EQ(GetRecipientNumber(Path("ABCDEFGHIJKLMNOPQRST").c_str(), &db_), 1);
  const EnvRecip change = Recipient("bob@b.example", "new");
  EXPECT_EQ(UpdateEnvelopeRecipient(Path("ABCDEFGHIJKLMNOPQRST").c_str(), &change, &db_), 0);
  EXPECT_STREQ(Stored("ABCDEFGHIJKLMNR")[0].secondText, "new");
  EXPECT_EQ(DeleteEnvelopeRecipient(Path("ABCDEFGHIJKLMNOPQRST").c_str(), "bob@b.example", &db_),
            0);
}

TEST_F(RecipientEnvelope, ARecipientIsQualifiedByTheSite) {
  EXPECT_EQ(StoredAddress("bob"), "bob@twgate.domain.invalid");
  EXPECT_EQ(StoredAddress("bob@pc"), "bob@pc.domain.invalid");
  EXPECT_EQ(StoredAddress("bob@b.example"), "bob@b.example");
  EXPECT_EQ(StoredAddress("bob@[10.0.0.1]"), "bob@[10.0.0.1]");
  spool_.SetIni("[Options]\nuseHostname=NO\nqualifyRecipientHosts=NO\n");
  EXPECT_EQ(StoredAddress("bob"), "bob@domain.invalid");
  EXPECT_EQ(StoredAddress("bob@pc"), "bob@pc");
}

TEST_F(RecipientEnvelope, TheRelayIsTheHostOfABareRecipientWhateverTheHostNameSwitchSays) {
  for (const char* use : {"YES", "NO", "MAYBE"}) {
    spool_.SetIni(std::string("[Routing]\nPrimaryRelayHostName=relay.example\n[Options]\n") +
                  "useHostname=" + use + "\n");
    EXPECT_EQ(StoredAddress("bob"), "bob@relay.example");
    EXPECT_EQ(StoredAddress("bob@pc"), "bob@pc.domain.invalid");
  }
}

TEST_F(RecipientEnvelope, ABareRecipientStaysSoWhenAddressesAreNotQualified) {
  spool_.SetIni("[Routing]\nPrimaryRelayHostName=relay.example\n[Options]\nqualifyAddress=no\n");
  EXPECT_EQ(StoredAddress("bob"), "bob");
  EXPECT_EQ(StoredAddress("bob@pc"), "bob@pc.domain.invalid");
}

TEST_F(RecipientEnvelope, RecipientsAreWalkedInTheOrderOfTheirAdding) {
  const std::string path = MessageTo("0001A2B3", {"c@x.example", "a@x.example", "b@x.example"});
  MessageTo("0001A2B2", {"before@x.example"});
  MessageTo("0001A2B4", {"behind@x.example"});
  EXPECT_EQ(Walk(path), (Texts{"c@x.example", "a@x.example", "b@x.example"}));
  EXPECT_EQ(GetRecipientNumber(path.c_str(), &db_), 3);
  EXPECT_EQ(Walk(Path("0001a2b4")), (Texts{"behind@x.example"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, AMessageWithoutRecipientsHasNoneAndSaysNothing) {
  const std::string path = Message();
  EXPECT_EQ(GetFirstEnvelopeRecipient(path.c_str(), &db_), nullptr);
  EXPECT_EQ(GetFirstPendingEnvelopeRecipient(path.c_str(), &db_), nullptr);
  EXPECT_EQ(GetRecipientNumber(path.c_str(), &db_), 0);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "bob@b.example", &db_), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, PendingOnesAreThoseWithoutStateText) {
  const std::string path = MessageTo(
      "0001A2B3", {"a@x.example", "b@x.example", "c@x.example", "d@x.example", "e@x.example"});
  SetState("0001A2B3R", 0, "delivered");
  SetState("0001A2B3R", 2, "delivered");
  SetState("0001A2B3R", 4, "failed");
  EXPECT_EQ(WalkPending(path), (Texts{"b@x.example", "d@x.example"}));
  EXPECT_EQ(Walk(path).size(), 5u);
  SetState("0001A2B3R", 1, "delivered");
  SetState("0001A2B3R", 3, "delivered");
  EXPECT_EQ(WalkPending(path), Texts());
}

TEST_F(RecipientEnvelope, PendingOnesOfTheNextMessageAreNotReached) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example"});
  MessageTo("0001A2B4", {"b@x.example"});
  SetState("0001A2B3R", 0, "delivered");
  EXPECT_EQ(WalkPending(path), Texts());
}

TEST_F(RecipientEnvelope, FlagsAreFoundByAddressOfEitherCase) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "b@x.example"});
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "A@X.Example", &db_), 1);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "b@x.example", &db_), 2);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "c@x.example", &db_), -1);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "a@x.exampl", &db_), -1);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "", &db_), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, AnUpdateOfTheSecondLeavesTheFirstAndTheStateText) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "c@x.example"});
  SetState("0001A2B3R", 1, "delivered");
  const std::vector<MesgRecord> before = Stored("0001A2B3R");
  const EnvRecip change = Recipient("B@X.EXAMPLE", "new", 0x21, nullptr);
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &change, &db_), 0);
  const std::vector<MesgRecord> after = Stored("0001A2B3R");
  ASSERT_EQ(after.size(), 3u);
  EXPECT_EQ(FirstDifference(BytesOf(after[0]), BytesOf(before[0])), "");
  EXPECT_EQ(FirstDifference(BytesOf(after[2]), BytesOf(before[2])), "");
  EXPECT_EQ(FirstDifference(BytesOf(after[1]), RecordImage()
                                                   .At(0, "0001a2b3r")
                                                   .At(32, "delivered")
                                                   .At(292, "b@x.example")
                                                   .At(1084, "new")
                                                   .At(1700, "\x21\0\0\0"sv)
                                                   .bytes()),
            "");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, AnUpdateCutsItsTexts) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example"});
  const std::string text(600, 't');
  const EnvRecip change = Recipient("a@x.example", text.c_str(), 1, text.c_str());
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &change, &db_), 0);
  EXPECT_EQ(Stored("0001A2B3R")[0].secondText, text.substr(0, 511));
  EXPECT_EQ(Stored("0001A2B3R")[0].optionText, text.substr(0, 511));
}

TEST_F(RecipientEnvelope, AnUpdateThatRunsIntoTheEndOfTheFileGivesZero) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example"});
  const EnvRecip change = Recipient("nobody@x.example", "new");
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &change, &db_), 0);
  for (const MesgRecord& record : Stored("0001A2B3R")) EXPECT_STREQ(record.secondText, "second");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, AnUpdateThatReachesANeighbourFails) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example"});
  MessageTo("0001A2B4", {"nobody@x.example"});
  const EnvRecip change = Recipient("nobody@x.example", "new");
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &change, &db_), -1);
  EXPECT_STREQ(Stored("0001A2B4R")[0].secondText, "second");
  EXPECT_TRUE(log_.lines().empty());
}

// Their records stand right behind this message's, and their names begin with its name.
TEST_F(RecipientEnvelope, AnUpdateLeavesMessagesWithALongerNameAlone) {
  const std::string path = MessageTo("QR", {"a@x.example"});
  MessageTo("QRR", {"nobody@x.example"});
  const EnvRecip change = Recipient("nobody@x.example", "new");
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &change, &db_), -1);
  EXPECT_STREQ(Stored("QRRR")[0].secondText, "second");
  EXPECT_STREQ(Stored("QRRF")[0].secondText, "");
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "nobody@x.example", &db_), 1);
}

TEST_F(RecipientEnvelope, AnUpdateWithoutRecipientsFailsAndWithoutSeparatorDoesNot) {
  const std::string path = Message();
  const EnvRecip change = Recipient("a@x.example", "new");
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &change, &db_), -1);
  EXPECT_EQ(UpdateEnvelopeRecipient("0001A2B3", &change, &db_), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, ADeleteOfTheSecondLeavesTheOthers) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "c@x.example"});
  MessageTo("0001A2B4", {"b@x.example"});
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "B@x.EXAMPLE", &db_), 2);
  EXPECT_EQ(Walk(path), (Texts{"a@x.example", "c@x.example"}));
  EXPECT_EQ(Walk(Path("0001A2B4")), (Texts{"b@x.example"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, ADeleteOfAnUnknownAddressGivesTheFullCount) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "c@x.example"});
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "nobody@x.example", &db_), 3);
  MessageTo("0001A2B4", {"nobody@x.example"});
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "nobody@x.example", &db_), 3);
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "", &db_), 3);
  EXPECT_EQ(Walk(Path("0001A2B4")), (Texts{"nobody@x.example"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, ADeleteOfTheLastOneGivesZero) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example"});
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "b@x.example", &db_), 1);
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "a@x.example", &db_), 0);
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "a@x.example", &db_), 0);
  EXPECT_TRUE(Stored("0001A2B3R").empty());
  EXPECT_EQ(Stored("0001A2B3F").size(), 1u);
}

TEST_F(RecipientEnvelope, ADeleteTakesTheFirstOfTwoWithOneAddress) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "a@x.example"});
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "a@x.example", &db_), 1);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "a@x.example", &db_), 2);
}

// The walk stands in the handle: a count in between takes it to its end.
TEST_F(RecipientEnvelope, AWalkDisturbedByACountEndsWithoutHarm) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "c@x.example"});
  const RecipientPtr first(GetFirstEnvelopeRecipient(path.c_str(), &db_));
  ASSERT_TRUE(first);
  EXPECT_EQ(GetRecipientNumber(path.c_str(), &db_), 3);
  EXPECT_EQ(GetNextEnvelopeRecipient(path.c_str(), &db_), nullptr);
  EXPECT_EQ(GetNextEnvelopeRecipient(path.c_str(), &db_), nullptr);
  EXPECT_EQ(Walk(path).size(), 3u);
}

TEST_F(RecipientEnvelope, AWalkOnACopyOfTheHandleIsNotDisturbed) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "c@x.example"});
  const RecipientPtr first(GetFirstEnvelopeRecipient(path.c_str(), &db_));
  MesgHandle copy = db_;
  EXPECT_EQ(GetRecipientNumber(path.c_str(), &copy), 3);
  const RecipientPtr second(GetNextEnvelopeRecipient(path.c_str(), &db_));
  ASSERT_TRUE(second);
  EXPECT_STREQ(second->address, "b@x.example");
}

TEST_F(RecipientEnvelope, AWalkGoesOnBehindARecipientThatWasDeleted) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "c@x.example"});
  const RecipientPtr first(GetFirstEnvelopeRecipient(path.c_str(), &db_));
  MesgHandle copy = db_;
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "a@x.example", &copy), 2);
  const RecipientPtr second(GetNextEnvelopeRecipient(path.c_str(), &db_));
  ASSERT_TRUE(second);
  EXPECT_STREQ(second->address, "b@x.example");
}

TEST_F(RecipientEnvelope, ANextWithoutAFirstGivesNothing) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example"});
  MesgHandle fresh{};
  ASSERT_EQ(OpenMesgFile(nullptr, &fresh), 0);
  EXPECT_EQ(GetNextEnvelopeRecipient(path.c_str(), &fresh), nullptr);
  EXPECT_EQ(GetNextPendingEnvelopeRecipient(path.c_str(), &fresh), nullptr);
  EXPECT_EQ(CloseMesgFile(&fresh), 0);
  EXPECT_EQ(GetNextEnvelopeRecipient(path.c_str(), &fresh), nullptr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(RecipientEnvelope, AClosedDatabaseCountsNothingAndDeletesNothing) {
  const std::string path = MessageTo("0001A2B3", {"a@x.example"});
  MesgHandle closed{};
  ASSERT_EQ(OpenMesgFile(nullptr, &closed), 0);
  ASSERT_EQ(CloseMesgFile(&closed), 0);
  const EnvRecip change = Recipient("a@x.example", "new");
  EXPECT_EQ(GetFirstEnvelopeRecipient(path.c_str(), &closed), nullptr);
  EXPECT_EQ(GetRecipientNumber(path.c_str(), &closed), 0);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), "a@x.example", &closed), -1);
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &change, &closed), -1);
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), "a@x.example", &closed), -1);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(AddEnvelopeRecipient(path.c_str(), &change, &closed), -1);
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{6, "env",
                                                 "AddEnvelopeRecipient failed, " + path +
                                                     ": The Btrieve database file is not open."}}));
}

TEST_F(RecipientEnvelope, TheRecipientRecordIsOnlyRead) {
  char address[] = "bob";
  const EnvRecip recipient = Recipient(address, "second", 1, "third");
  ASSERT_EQ(AddEnvelopeRecipient(Path().c_str(), &recipient, &db_), 0);
  EXPECT_STREQ(address, "bob");
}

}  // namespace
}  // namespace qob::testing
