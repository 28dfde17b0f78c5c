// What the envelope calls make of arguments that are no message: nothing happens, nothing is said.
#include "queue/envelope_support.h"

namespace qob::testing {
namespace {

class EnvelopeArguments : public EnvelopeTest {
 protected:
  // Every call with that path and handle: its failure value and silence. update: what
  // UpdateEnvelopeRecipient gives.
  void ExpectNothing(const char* path, MesgHandle* db, std::int32_t update) {
    const EnvFrom sender = Sender("ann@a.example");
    const EnvRecip recipient = Recipient("bob@b.example");
    EXPECT_EQ(CreateStatusFile(path, "s", db), -1);
    EXPECT_EQ(CreateEnvelope(path, &sender, db), -1);
    EXPECT_EQ(CreateSMTPEnvelope(path, &sender, db), -1);
    EXPECT_EQ(AddEnvelopeRecipient(path, &recipient, db), -1);
    EXPECT_EQ(GetEnvelopeFrom(path, db), nullptr);
    EXPECT_EQ(GetFirstEnvelopeRecipient(path, db), nullptr);
    EXPECT_EQ(GetNextEnvelopeRecipient(path, db), nullptr);
    EXPECT_EQ(GetFirstPendingEnvelopeRecipient(path, db), nullptr);
    EXPECT_EQ(GetNextPendingEnvelopeRecipient(path, db), nullptr);
    EXPECT_EQ(UpdateEnvelopeRecipient(path, &recipient, db), update);
    EXPECT_EQ(DeleteEnvelopeRecipient(path, "bob@b.example", db), -1);
    EXPECT_EQ(GetRecipientNumber(path, db), 0);
    EXPECT_EQ(GetNotifyFlag(path, "bob@b.example", db), -1);
    EXPECT_EQ(GetEnvelopeStatus(path, db), nullptr);
    EXPECT_EQ(GetMessageStatus(path, db), nullptr);
    EXPECT_EQ(UpdateMessageStatus(path, "s", db), -1);
    EXPECT_EQ(GetMessageRetryCount(path, db), -1);
    EXPECT_EQ(GetMessageRetryTime(path, db), -1);
    EXPECT_EQ(GetMessageCreationTime(path, db), -1);
    EXPECT_EQ(GetMessagePartNumber(path, db), -1);
    EXPECT_EQ(BumpMessageRetryCount(path, db), -1);
    EXPECT_EQ(SetMessageRetryTime(path, 1, db), -1);
    EXPECT_EQ(UpdateMessagePartNumber(path, 1, db), -1);
    EXPECT_EQ(GetDelayNotifyStatus(path, db), -1);
    EXPECT_EQ(UpdateDelayNotifyStatus(path, db), -1);
    EXPECT_TRUE(log_.lines().empty());
  }
  std::size_t Records() {
    MesgHandle look = db_;
    MesgRecord record;
    std::size_t count = 0;
    int status = GetFirstMesgRecordByKey(&look, &record, 0);
    for (; status == 0; status = GetNextMesgRecordByKey(&look, &record, 0)) ++count;
    return count;
  }
};

TEST_F(EnvelopeArguments, APathWithoutSeparatorFailsAtOnce) {
  for (const char* path : {"0001A2B3", "", "C:0001A2B3"}) ExpectNothing(path, &db_, 0);
  EXPECT_EQ(Records(), 0u);
}

TEST_F(EnvelopeArguments, ANullPathFailsAtOnce) {
  ExpectNothing(nullptr, &db_, -1);
  EXPECT_EQ(Records(), 0u);
}

TEST_F(EnvelopeArguments, ANullHandleFailsAtOnce) {
  ExpectNothing(Path().c_str(), nullptr, -1);
  EXPECT_EQ(Records(), 0u);
}

TEST_F(EnvelopeArguments, NullRecordsAndAddressesFailAtOnce) {
  const std::string path = MessageTo("0001A2B3", {"bob@b.example"});
  const EnvFrom sender = Sender(nullptr, "id");
  const EnvRecip recipient = Recipient(nullptr, "text");
  EXPECT_EQ(CreateEnvelope(path.c_str(), nullptr, &db_), -1);
  EXPECT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), -1);
  EXPECT_EQ(CreateSMTPEnvelope(path.c_str(), nullptr, &db_), -1);
  EXPECT_EQ(CreateSMTPEnvelope(path.c_str(), &sender, &db_), -1);
  EXPECT_EQ(AddEnvelopeRecipient(path.c_str(), nullptr, &db_), -1);
  EXPECT_EQ(AddEnvelopeRecipient(path.c_str(), &recipient, &db_), -1);
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), nullptr, &db_), -1);
  EXPECT_EQ(UpdateEnvelopeRecipient(path.c_str(), &recipient, &db_), -1);
  EXPECT_EQ(DeleteEnvelopeRecipient(path.c_str(), nullptr, &db_), -1);
  EXPECT_EQ(GetNotifyFlag(path.c_str(), nullptr, &db_), -1);
  EXPECT_EQ(Records(), 2u);
  EXPECT_STREQ(StoredMessage().address, "ann@a.example");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(EnvelopeArguments, NothingIsReleasedOfNull) {
  FreeEnvFrom(nullptr);
  FreeEnvRecip(nullptr);
  FreeEnvFrom(static_cast<EnvFrom*>(std::calloc(1, sizeof(EnvFrom))));
  FreeEnvRecip(static_cast<EnvRecip*>(std::calloc(1, sizeof(EnvRecip))));
}

TEST_F(EnvelopeArguments, AHandleThatWasNeverOpenedIsNoDatabase) {
  MesgHandle nothing{};
  std::memset(&nothing, 0xEE, sizeof nothing);
  const std::string path = Path();
  EXPECT_EQ(GetRecipientNumber(path.c_str(), &nothing), 0);
  EXPECT_EQ(GetMessageRetryCount(path.c_str(), &nothing), -1);
  EXPECT_EQ(log_.texts(6), (Texts{"GetMessageRetryCount failed, " + path +
                                  ": The Btrieve database file is not open."}));
}

// Nothing of a text is taken for a format, and a long path is told whole.
TEST_F(EnvelopeArguments, TextsOfAnyBytesAreOnlyTexts) {
  const std::string path = Path(std::string(3000, '%') + "n%s");
  EXPECT_EQ(GetMessageRetryTime(path.c_str(), &db_), -1);
  EXPECT_EQ(log_.texts(6), (Texts{"GetMessageRetryTime failed, " + path +
                                  ": [Reason] No such a record is found in the database."}));
  const std::string address = "\x01\xFF\r\n%s@b.example";
  Add(Path(), address.c_str());
  EXPECT_EQ(Walk(Path()), Texts{address});
}

}  // namespace
}  // namespace qob::testing
