// An entry whose message file the caller writes: QOBGetNewMQEntry, QOBGetNewMQId, SubmitMQMessage.
#include <qob3xapi/util.h>

#include "submit_support.h"
#include "support/failing_allocator.h"

namespace qob::testing {
namespace {

class SubmitEntry : public SubmitTest {
 protected:
  static EnvFrom Sender(const char* address, const char* id = nullptr, std::int32_t first = 0,
                        std::int32_t second = 0, const char* option = nullptr) {
    return {const_cast<char*>(address), const_cast<char*>(id), first, second,
            const_cast<char*>(option)};
  }
  static EnvRecip Recipient(const char* address, const char* second = nullptr,
                            std::int32_t flags = 0, const char* third = nullptr) {
    return {const_cast<char*>(address), const_cast<char*>(second), flags, const_cast<char*>(third)};
  }
  // A new entry with that message file.
  MQContext* Entry(std::string_view message = "Subject: x\r\n\r\nbody\r\n") {
    MQContext* entry = QOBGetNewMQEntry();
    EXPECT_NE(entry, nullptr);
    const TextPtr path(QOBGetNewMQId(entry));
    const TextPtr native(QOBNativePath((std::string(path.get()) + ".msg").c_str()));
    TempSpool::Write(native.get(), message);
    return entry;
  }

  EnvFrom sender_ = Sender("ann@a.example", "QQ314159", 2, 17, "option");
  EnvRecip bob_ = Recipient("bob@b.example", "rfc822;bob@b.example", 3, "third");
  EnvRecip cec_ = Recipient("cec@c.example");
  EnvRecipNode second_{&cec_, nullptr};
  EnvRecipNode first_{&bob_, &second_};
};

TEST_F(SubmitEntry, ANewEntryIsLockedAndNothingElse) {
  MQContext* entry = QOBGetNewMQEntry();
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(QueueFiles(), (std::vector<std::string>{"00000000.lck"}));
  EXPECT_EQ(Waiting(), std::vector<std::uint32_t>{});
  DiscardMQEntry(entry);
  ExpectNothingQueued();
}

TEST_F(SubmitEntry, ThereIsNoneWithoutTheQueue) {
  MQTerminate();
  EXPECT_EQ(QOBGetNewMQEntry(), nullptr);
  EXPECT_EQ(log_.lines().back(), (LogLine{1, "submit", "CreateMQEntry failed."}));
}

TEST_F(SubmitEntry, ItsIdIsItsPathWithoutExtension) {
  MQContext* entry = QOBGetNewMQEntry();
  const TextPtr id(QOBGetNewMQId(entry));
  EXPECT_STREQ(id.get(), (spool_.queue() + "\\00000000").c_str());
  const TextPtr again(QOBGetNewMQId(entry));
  EXPECT_STREQ(again.get(), id.get());
  EXPECT_NE(again.get(), id.get());
  DiscardMQEntry(entry);
}

TEST_F(SubmitEntry, NoEntryHasNoId) { EXPECT_EQ(QOBGetNewMQId(nullptr), nullptr); }

TEST_F(SubmitEntry, AnIdWithoutMemoryIsNull) {
  MQContext* entry = QOBGetNewMQEntry();
  FailEachAllocation([&] { QOBFreeMQId(QOBGetNewMQId(entry)); }, [](bool) {}, 100);
  DiscardMQEntry(entry);
}

TEST_F(SubmitEntry, ASubmittedEntryIsInTheQueueAsItWasWritten) {
  EXPECT_NE(SubmitMQMessage(Entry(), &sender_, &first_, "DSN"), 0);
  EXPECT_EQ(QueueFiles(), (std::vector<std::string>{"00000000.msg"}));
  EXPECT_EQ(TempSpool::Read(spool_.queue() + "/00000000.msg"), "Subject: x\r\n\r\nbody\r\n");
  EXPECT_EQ(Waiting("DSN"), (std::vector<std::uint32_t>{0}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SubmitEntry, TheEnvelopeIsPutFieldByField) {
  ASSERT_NE(SubmitMQMessage(Entry(), &sender_, &first_, "DSN"), 0);
  stEnvelope* envelope = GetMQEnvelope(0);
  ASSERT_NE(envelope, nullptr);
  ASSERT_EQ(envelope->senders.count, 1u);
  const MQEnvFrom& sender = *envelope->senders.head->record;
  EXPECT_STREQ(sender.address, "ann@a.example");
  EXPECT_STREQ(sender.envelopeId, "QQ314159");
  EXPECT_EQ(sender.ret, 2);
  EXPECT_EQ(sender.fourth, 17);
  EXPECT_STREQ(sender.fifthText, "option");
  EXPECT_STREQ(sender.channel, "DSN");
  ASSERT_EQ(envelope->recipients.count, 2u);
  const MQEnvRecip& bob = *envelope->recipients.head->record;
  EXPECT_STREQ(bob.address, "bob@b.example");
  EXPECT_STREQ(bob.originalRecipient, "rfc822;bob@b.example");
  EXPECT_EQ(bob.notifyFlags, 3);
  EXPECT_STREQ(bob.fourthText, "third");
  EXPECT_STREQ(bob.fifthText, "");
  const MQEnvRecip& cec = *envelope->recipients.head->next->record;
  EXPECT_STREQ(cec.address, "cec@c.example");
  EXPECT_STREQ(cec.originalRecipient, "");
  EXPECT_STREQ(cec.fourthText, "");
  FreeMQEnvelope(envelope);
}

TEST_F(SubmitEntry, AddressesAreTakenAsTheyAre) {
  EnvFrom sender = Sender("Ann <ann@a.example>");
  EnvRecip bob = Recipient("Bob <bob>");
  const EnvRecipNode node{&bob, nullptr};
  ASSERT_NE(SubmitMQMessage(Entry(), &sender, &node, "DSN"), 0);
  stEnvelope* envelope = GetMQEnvelope(0);
  ASSERT_NE(envelope, nullptr);
  EXPECT_STREQ(envelope->senders.head->record->address, "Ann <ann@a.example>");
  EXPECT_STREQ(envelope->recipients.head->record->address, "Bob <bob>");
  FreeMQEnvelope(envelope);
}

TEST_F(SubmitEntry, NullTextsAreEmpty) {
  EnvFrom sender = Sender(nullptr);
  ASSERT_NE(SubmitMQMessage(Entry(), &sender, &second_, "DSN"), 0);
  stEnvelope* envelope = GetMQEnvelope(0);
  ASSERT_NE(envelope, nullptr);
  EXPECT_STREQ(envelope->senders.head->record->address, "");
  EXPECT_STREQ(envelope->senders.head->record->envelopeId, "");
  FreeMQEnvelope(envelope);
}

TEST_F(SubmitEntry, NoEntryIsLogged) {
  EXPECT_EQ(SubmitMQMessage(nullptr, &sender_, &first_, "DSN"), 0);
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "submit", "CreateMQEntry failed."}}));
}

TEST_F(SubmitEntry, NoSenderDiscardsTheEntry) {
  EXPECT_EQ(SubmitMQMessage(Entry(), nullptr, &first_, "DSN"), 0);
  ExpectNothingQueued();
}

TEST_F(SubmitEntry, NoRecipientsDiscardTheEntry) {
  EXPECT_EQ(SubmitMQMessage(Entry(), &sender_, nullptr, "DSN"), 0);
  ExpectNothingQueued();
}

TEST_F(SubmitEntry, ANodeWithoutRecipientDiscardsTheEntry) {
  second_.recipient = nullptr;
  EXPECT_EQ(SubmitMQMessage(Entry(), &sender_, &first_, "DSN"), 0);
  ExpectNothingQueued();
}

TEST_F(SubmitEntry, NoChannelDiscardsTheEntry) {
  EXPECT_EQ(SubmitMQMessage(Entry(), &sender_, &first_, nullptr), 0);
  EXPECT_EQ(SubmitMQMessage(Entry(), &sender_, &first_, ""), 0);
  ExpectNothingQueued();
}

TEST_F(SubmitEntry, WithoutItsMessageFileItIsNoMessage) {
  EXPECT_EQ(SubmitMQMessage(QOBGetNewMQEntry(), &sender_, &first_, "DSN"), 0);
  ExpectNothingQueued();
}

TEST_F(SubmitEntry, WithoutMemoryForTheSenderItStaysTheCallers) {
  MQContext* entry = Entry();
  {
    FailAllocations fail(1, Failing::kOnce);
    EXPECT_EQ(SubmitMQMessage(entry, &sender_, &first_, "DSN"), 0);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "submit", "Out of memory"}}));
  EXPECT_EQ(QueueFiles(), (std::vector<std::string>{"00000000.lck", "00000000.msg"}));
  EXPECT_NE(SubmitMQMessage(entry, &sender_, &first_, "DSN"), 0);
}

TEST_F(SubmitEntry, WithoutMemoryForTheRecipientsItStaysTheCallers) {
  MQContext* entry = Entry();
  {
    FailAllocations fail(3, Failing::kOnce);
    EXPECT_EQ(SubmitMQMessage(entry, &sender_, &first_, "DSN"), 0);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "submit", "Out of memory."}}));
  EXPECT_EQ(QueueFiles(), (std::vector<std::string>{"00000000.lck", "00000000.msg"}));
  EXPECT_NE(SubmitMQMessage(entry, &sender_, &first_, "DSN"), 0);
}

// Out of memory for the copies leaves the entry; anything later consumes it.
TEST_F(SubmitEntry, EveryAllocationFailsAndNothingIsHalfDone) {
  MQContext* entry = nullptr;
  std::int32_t result = 0;
  std::size_t queued = 0;
  entry = Entry();
  FailEachAllocation([&] { result = SubmitMQMessage(entry, &sender_, &first_, "DSN"); },
                     [&](bool) {
                       const bool kept =
                           log_.Has(1, "Out of memory") || log_.Has(1, "Out of memory.");
                       queued += result != 0 ? 1 : 0;
                       ASSERT_EQ(Waiting("DSN").size(), queued);
                       ASSERT_EQ(QueueFiles().size(), queued + (kept ? 2 : 0));
                       if (!kept) entry = Entry();
                       log_.Clear();
                     });
  DiscardMQEntry(entry);
  EXPECT_EQ(QueueFiles().size(), queued);
}

TEST_F(SubmitEntry, FreeTakesNull) { QOBFreeMQId(nullptr); }

}  // namespace
}  // namespace qob::testing
