// The envelope of a submitted message: as it was put, and as the message's records have it.
#include <qob3xapi/envelope.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>

#include "submit_support.h"

namespace qob::testing {
namespace {

class SubmitEnvelope : public SubmitTest {
 protected:
  struct Stored {
    std::string address;
    std::string second;
    std::int32_t flags;
    std::string third;
    bool operator==(const Stored&) const = default;
  };

  // Sends an empty message; nothing must fail.
  std::string Path(Call call) {
    const std::string file = spool_.File("message", "\r\n");
    call.file = file.c_str();
    const TextPtr path = call.Send();
    EXPECT_NE(path, nullptr);
    return path == nullptr ? "" : path.get();
  }
  // The addresses as they were put.
  std::vector<std::string> Put(const std::vector<MimeRecipient>& recipients) {
    Call call;
    call.recipients = recipients;
    Path(call);
    std::vector<std::string> addresses;
    stEnvelope* envelope = GetMQEnvelope(Last());
    EXPECT_NE(envelope, nullptr);
    if (envelope == nullptr) return addresses;
    for (const MQEnvRecipNode* at = envelope->recipients.head; at != nullptr; at = at->next) {
      addresses.push_back(at->record->address);
    }
    EXPECT_EQ(envelope->recipients.count, addresses.size());
    FreeMQEnvelope(envelope);
    return addresses;
  }
  std::string PutSender(const char* sender) {
    Call call;
    call.sender = sender;
    Path(call);
    stEnvelope* envelope = GetMQEnvelope(Last());
    EXPECT_NE(envelope, nullptr);
    if (envelope == nullptr) return "";
    const std::string address = envelope->senders.head->record->address;
    FreeMQEnvelope(envelope);
    return address;
  }
  static std::uint32_t Last() {
    const std::vector<std::uint32_t> ids = Waiting();
    return ids.empty() ? 0xFFFFFFFF : ids.back();
  }
  // The message's records, as the envelope calls show them.
  EnvFrom* StoredSender(const std::string& path) {
    EXPECT_EQ(OpenMesgFile(nullptr, &db_), 0);
    EnvFrom* sender = GetEnvelopeFrom(path.c_str(), &db_);
    CloseMesgFile(&db_);
    return sender;
  }
  std::string StoredSenderAddress(const std::string& path) {
    EnvFrom* sender = StoredSender(path);
    EXPECT_NE(sender, nullptr);
    const std::string address = sender == nullptr ? "" : sender->address;
    FreeEnvFrom(sender);
    return address;
  }
  std::vector<Stored> StoredRecipients(const std::string& path) {
    EXPECT_EQ(OpenMesgFile(nullptr, &db_), 0);
    std::vector<Stored> all;
    for (EnvRecip* at = GetFirstEnvelopeRecipient(path.c_str(), &db_); at != nullptr;
         at = GetNextEnvelopeRecipient(path.c_str(), &db_)) {
      all.push_back({at->address, at->secondText, at->notifyFlags, at->thirdText});
      FreeEnvRecip(at);
    }
    CloseMesgFile(&db_);
    return all;
  }

  MesgHandle db_{};
};

using Addresses = std::vector<std::string>;

TEST_F(SubmitEnvelope, IsPutWithAllItsFields) {
  Call call;
  call.sender = "ann@a.example";
  call.envelope_id = "QQ314159";
  call.ret = 2;
  call.extra = "extra";
  call.recipients = {To("bob@b.example", "rfc822;bob@b.example", 3, "fourth", "fifth"),
                     To("cec@c.example")};
  Path(call);
  stEnvelope* envelope = GetMQEnvelope(0);
  ASSERT_NE(envelope, nullptr);
  ASSERT_EQ(envelope->senders.count, 1u);
  const MQEnvFrom& sender = *envelope->senders.head->record;
  EXPECT_STREQ(sender.address, "ann@a.example");
  EXPECT_STREQ(sender.envelopeId, "QQ314159");
  EXPECT_EQ(sender.ret, 2);
  EXPECT_EQ(sender.fourth, 0);
  EXPECT_STREQ(sender.fifthText, "extra");
  EXPECT_STREQ(sender.channel, "SMTP");
  EXPECT_EQ(envelope->senders.head->next, nullptr);
  ASSERT_EQ(envelope->recipients.count, 2u);
  const MQEnvRecip& bob = *envelope->recipients.head->record;
  EXPECT_STREQ(bob.address, "bob@b.example");
  EXPECT_STREQ(bob.originalRecipient, "rfc822;bob@b.example");
  EXPECT_EQ(bob.notifyFlags, 3);
  EXPECT_STREQ(bob.fourthText, "fourth");
  EXPECT_STREQ(bob.fifthText, "fifth");
  const MQEnvRecip& cec = *envelope->recipients.head->next->record;
  EXPECT_STREQ(cec.address, "cec@c.example");
  EXPECT_STREQ(cec.originalRecipient, "");
  EXPECT_EQ(cec.notifyFlags, 0);
  EXPECT_STREQ(cec.fourthText, "");
  EXPECT_STREQ(cec.fifthText, "");
  EXPECT_EQ(envelope->last, -1);
  FreeMQEnvelope(envelope);
}

TEST_F(SubmitEnvelope, StandsInTheMessagesRecords) {
  Call call;
  call.envelope_id = "QQ314159";
  call.ret = 1;
  call.extra = "extra";
  call.recipients = {To("bob@b.example", "rfc822;bob@b.example", 3, "fourth", "fifth"),
                     To("cec@c.example")};
  const std::string path = Path(call);
  EnvFrom* sender = StoredSender(path);
  ASSERT_NE(sender, nullptr);
  EXPECT_STREQ(sender->address, "ann@a.example");
  EXPECT_STREQ(sender->envelopeId, "QQ314159");
  EXPECT_EQ(sender->firstOption, 1);
  EXPECT_EQ(sender->secondOption, 0);
  EXPECT_STREQ(sender->optionText, "extra");
  FreeEnvFrom(sender);
  EXPECT_EQ(StoredRecipients(path),
            (std::vector<Stored>{{"bob@b.example", "rfc822;bob@b.example", 3, "fourth"},
                                 {"cec@c.example", "", 0, ""}}));
}

TEST_F(SubmitEnvelope, RetStandsInTheSendersInteger) {
  for (const std::int32_t ret : {0, 1, 2, 7, -1}) {
    Call call;
    call.ret = ret;
    Path(call);
    stEnvelope* envelope = GetMQEnvelope(Last());
    ASSERT_NE(envelope, nullptr);
    EXPECT_EQ(envelope->senders.head->record->ret, ret);
    FreeMQEnvelope(envelope);
  }
}

TEST_F(SubmitEnvelope, ADomainWithoutDotIsLeftToTheCommit) {
  Call call;
  call.sender = "ann@host";
  call.recipients = {To("bob@host")};
  const std::string path = Path(call);
  stEnvelope* envelope = GetMQEnvelope(0);
  ASSERT_NE(envelope, nullptr);
  EXPECT_STREQ(envelope->senders.head->record->address, "ann@host");
  EXPECT_STREQ(envelope->recipients.head->record->address, "bob@host");
  FreeMQEnvelope(envelope);
  EXPECT_EQ(StoredSenderAddress(path), "ann@host.gate.example");
  EXPECT_EQ(StoredRecipients(path)[0].address, "bob@host.gate.example");
}

TEST_F(SubmitEnvelope, ASenderWithoutDomainIsLeftToTheCommit) {
  EXPECT_EQ(PutSender("ann"), "ann");
  EXPECT_EQ(StoredSenderAddress(spool_.queue() + "\\00000000"), "ann@gw.gate.example");
}

TEST_F(SubmitEnvelope, TheNullSenderStays) {
  EXPECT_EQ(PutSender("<>"), "<>");
  EXPECT_EQ(StoredSenderAddress(spool_.queue() + "\\00000000"), "<>");
}

TEST_F(SubmitEnvelope, NoSenderBecomesTheNullSenderAtTheCommit) {
  EXPECT_EQ(PutSender(""), "");
  EXPECT_EQ(StoredSenderAddress(spool_.queue() + "\\00000000"), "<>");
  EXPECT_EQ(PutSender(nullptr), "");
}

TEST_F(SubmitEnvelope, ASenderIsReducedToItsAddress) {
  EXPECT_EQ(PutSender("Ann Other (sales) <ann@a.example>"), "ann@a.example");
  EXPECT_EQ(PutSender("<@relay.example:ann@a.example>"), "ann@a.example");
}

TEST_F(SubmitEnvelope, ASenderThatIsNoAddressStays) {
  EXPECT_EQ(PutSender("ann@@a.example"), "ann@@a.example");
  EXPECT_EQ(PutSender("\"ann"), "\"ann");
}

TEST_F(SubmitEnvelope, RecipientsKeepTheirOrder) {
  EXPECT_EQ(Put({To("z@z.example"), To("a@a.example"), To("z@z.example")}),
            (Addresses{"z@z.example", "a@a.example", "z@z.example"}));
}

TEST_F(SubmitEnvelope, ARecipientIsReducedToItsAddress) {
  EXPECT_EQ(Put({To("Bob (of sales) <bob@b.example>")}), (Addresses{"bob@b.example"}));
}

TEST_F(SubmitEnvelope, ARecipientWithoutDomainGetsTheSites) {
  EXPECT_EQ(Put({To("bob"), To("Bob <bob>")}),
            (Addresses{"bob@gw.gate.example", "bob@gw.gate.example"}));
}

TEST_F(SubmitEnvelope, ARecipientWithoutDomainGetsTheRelayWhenThereIsOne) {
  Start("UTC0", std::string(kNames) + "[Routing]\nPrimaryRelayHostName=relay.example\n");
  EXPECT_EQ(Put({To("bob"), To("cec@c.example")}),
            (Addresses{"bob@relay.example", "cec@c.example"}));
}

TEST_F(SubmitEnvelope, TheRelayIsCutTo127Bytes) {
  Start("UTC0",
        std::string(kNames) + "[Routing]\nPrimaryRelayHostName=" + std::string(200, 'r') + "\n");
  EXPECT_EQ(Put({To("bob")}), (Addresses{"bob@" + std::string(127, 'r')}));
}

TEST_F(SubmitEnvelope, UseHostnameChangesNothing) {
  Start("UTC0", std::string(kNames) + "[Options]\nuseHostname=NO\n");
  EXPECT_EQ(Put({To("bob")}), (Addresses{"bob@gw.gate.example"}));
}

TEST_F(SubmitEnvelope, AnEmptyRecipientIsLeftOutAndLogged) {
  EXPECT_EQ(Put({To(""), To("bob@b.example"), To(nullptr), To("cec@c.example")}),
            (Addresses{"bob@b.example", "cec@c.example"}));
  const LogLine line{6, "submit", "Ignore empty recipient address."};
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{line, line}));
}

TEST_F(SubmitEnvelope, ARecipientThatIsNoAddressStays) {
  EXPECT_EQ(Put({To("bob@@b.example"), To("\"bob"), To("bob\\@")}),
            (Addresses{"bob@@b.example", "\"bob", "bob\\@"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(SubmitEnvelope, AQuotedLocalPartKeepsItsQuotes) {
  EXPECT_EQ(Put({To("\"bob smith\"@b.example")}), (Addresses{"\"bob smith\"@b.example"}));
}

TEST_F(SubmitEnvelope, NobodyOfAListIsLeftOut) {
  EXPECT_EQ(Put({To("bob@b.example, Cec <cec@c.example>, dan")}),
            (Addresses{"bob@b.example", "cec@c.example", "dan@gw.gate.example"}));
}

TEST_F(SubmitEnvelope, NobodyOfAGroupIsLeftOut) {
  EXPECT_EQ(Put({To("friends: bob@b.example, Cec <cec@c.example>, dan;")}),
            (Addresses{"bob@b.example", "cec@c.example", "dan@gw.gate.example"}));
}

TEST_F(SubmitEnvelope, AGroupsNameMayHoldItsOwnSigns) {
  EXPECT_EQ(Put({To("\"a: b, c;\": bob@b.example, <@relay.example:cec@c.example>;")}),
            (Addresses{"bob@b.example", "cec@c.example"}));
}

TEST_F(SubmitEnvelope, AnEmptyGroupStays) {
  EXPECT_EQ(Put({To("undisclosed-recipients:;")}), (Addresses{"undisclosed-recipients:;"}));
}

TEST_F(SubmitEnvelope, TheCallersTextsAreNotChanged) {
  const std::string escaped = "\"bob \\\" smith\"@b.example";
  std::string address = escaped;
  std::string sender = "\"ann \\\" other\"@a.example";
  Call call;
  call.sender = sender.c_str();
  call.recipients = {To(address.c_str())};
  Path(call);
  EXPECT_EQ(address, escaped);
  EXPECT_EQ(sender, "\"ann \\\" other\"@a.example");
}

TEST_F(SubmitEnvelope, TenThousandRecipientsAreOneMessage) {
  std::vector<std::string> texts;
  std::vector<MimeRecipient> recipients;
  for (int i = 0; i < 10'000; ++i) texts.push_back("u" + std::to_string(i) + "@b.example");
  for (const std::string& text : texts) recipients.push_back(To(text.c_str()));
  EXPECT_EQ(Put(recipients), texts);
  EXPECT_EQ(Waiting().size(), 1u);
}

TEST_F(SubmitEnvelope, TheMessageIsFoundLockedByAFilteredScan) {
  const std::string path = Path({});
  ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  const QueueScanFilter filter{0, 0, 1};
  char* found = FindFirstQueueId(GetQueueDir(), &db_, &filter);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found, path);
  EXPECT_EQ(QueueFiles(), (std::vector<std::string>{"00000000.lck", "00000000.msg"}));
  ReleaseQueueId(found);
  CloseMesgFile(&db_);
}

TEST_F(SubmitEnvelope, TheLockIsGoneAfterwards) {
  Path({});
  EXPECT_EQ(QueueFiles(), (std::vector<std::string>{"00000000.msg"}));
}

}  // namespace
}  // namespace qob::testing
