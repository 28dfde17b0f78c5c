// The envelope as it was put: what is stored, byte for byte, and that no bytes whatever harm the
// one who reads it.
#include "platform/mq/envelope_note.h"

#include <limits>

#include "mq_support.h"
#include "platform/store/crc32c.h"
#include "support/exact_copy.h"

namespace qob {
namespace {

using namespace testing;
using namespace mq;

std::string Number(std::uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> (8 * i));
  return bytes;
}
std::string Text(const std::string& text) {
  return Number(static_cast<std::uint32_t>(text.size())) + text;
}
// By the processor's polynomial, bit by bit: another way than the store's.
std::uint32_t Sum(const std::string& bytes) {
  std::uint32_t sum = 0xFFFFFFFF;
  for (const char c : bytes) {
    sum ^= static_cast<unsigned char>(c);
    for (int i = 0; i < 8; ++i) sum = sum >> 1 ^ (sum & 1 ? 0x82F63B78 : 0);
  }
  return ~sum;
}
std::string Whole(const std::string& behind_the_sum) {
  return "QOBMQEN1" + Number(Sum(behind_the_sum)) + behind_the_sum;
}

TEST(EnvelopeNote, IsLaidOutAsDocumented) {
  Envelope envelope("s@a", "id", 2, -3, "fifth", "chan");
  envelope.To("r@b", "rfc822;o", 7, "f4", "f5").To("q@b", "", -1, "", "");
  std::string note;
  ASSERT_TRUE(WriteNote(*envelope.get(), &note));
  const std::string body = Number(2) + Number(0xFFFFFFFF) + Number(2) + Number(0xFFFFFFFD) +
                           Text("s@a") + Text("id") + Text("fifth") + Text("chan") + Number(7) +
                           Text("r@b") + Text("rfc822;o") + Text("f4") + Text("f5") +
                           Number(0xFFFFFFFF) + Text("q@b") + Text("") + Text("") + Text("");
  EXPECT_EQ(note, Whole(body));
}

TEST(EnvelopeNote, ReadsWhatWasWritten) {
  Envelope envelope("s@a", nullptr, std::numeric_limits<std::int32_t>::min(),
                    std::numeric_limits<std::int32_t>::max(), nullptr, nullptr);
  const std::string longer(100000, '\xE9');
  envelope.To("", nullptr, 0, nullptr, nullptr).To(longer.c_str(), "\r\n\t\"", 3);
  envelope.get()->last = 77;
  std::string note;
  ASSERT_TRUE(WriteNote(*envelope.get(), &note));
  NoteReader reader;
  ASSERT_TRUE(reader.Open(note));
  EXPECT_EQ(reader.sender().address, "s@a");
  EXPECT_EQ(reader.sender().envelope_id, "");
  EXPECT_EQ(reader.sender().ret, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(reader.sender().fourth, std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(reader.last(), 77);
  ASSERT_EQ(reader.recipients(), 2u);
  NotedRecipient recipient;
  ASSERT_TRUE(reader.Next(&recipient));
  EXPECT_EQ(recipient.address, "");
  ASSERT_TRUE(reader.Next(&recipient));
  EXPECT_EQ(recipient.address, longer);
  EXPECT_EQ(recipient.original, "\r\n\t\"");
  EXPECT_EQ(recipient.notify_flags, 3);
  EXPECT_FALSE(reader.Next(&recipient));
}

TEST(EnvelopeNote, AListInACircleEnds) {
  Envelope envelope;
  envelope.To(std::string(1 << 20, 'a').c_str());
  envelope.get()->recipients.tail->next = envelope.get()->recipients.head;
  std::string note = "as it was";
  EXPECT_FALSE(WriteNote(*envelope.get(), &note));
  EXPECT_EQ(note, "as it was");
}

std::string Example() {
  Envelope envelope("sender@a.example", "ENVID", 1, 0, "x", "DSN");
  envelope.To("r@b.example", "rfc822;r", 3).To("q@b.example");
  std::string note;
  EXPECT_TRUE(WriteNote(*envelope.get(), &note));
  return note;
}

// Each byte of it lies at the end of its own block: one read too far is seen by the sanitizer.
bool Opens(const std::string& bytes) {
  const ExactCopy copy(bytes);
  NoteReader reader;
  if (!reader.Open(copy.view())) return false;
  NotedRecipient recipient;
  std::uint32_t count = 0;
  while (reader.Next(&recipient)) ++count;
  return count == reader.recipients() && count > 0;
}

TEST(EnvelopeNote, NoCutAndNoFlippedBitIsTaken) {
  const std::string note = Example();
  ASSERT_TRUE(Opens(note));
  for (std::size_t length = 0; length < note.size(); ++length) {
    EXPECT_FALSE(Opens(note.substr(0, length))) << length;
  }
  EXPECT_FALSE(Opens(note + '\0'));
  for (std::size_t at = 0; at < note.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string other = note;
      other[at] = static_cast<char>(other[at] ^ 1 << bit);
      EXPECT_FALSE(Opens(other)) << at << "." << bit;
    }
  }
}

// A good sum over bad bytes: what the layout itself forbids.
TEST(EnvelopeNote, NoWrongCountOrLengthIsTaken) {
  const std::string head = Number(0xFFFFFFFF) + Number(0) + Number(0);
  const std::string sender = Text("s@a") + Text("") + Text("") + Text("");
  const std::string recipient = Number(0) + Text("r@b") + Text("") + Text("") + Text("");
  const auto opens = [&](std::uint32_t count, const std::string& behind) {
    return Opens(Whole(Number(count) + head + behind));
  };
  EXPECT_TRUE(opens(1, sender + recipient));
  EXPECT_FALSE(opens(0, sender));
  EXPECT_FALSE(opens(0, sender + recipient));
  EXPECT_FALSE(opens(2, sender + recipient));
  EXPECT_FALSE(opens(1, sender + recipient + recipient));
  EXPECT_FALSE(opens(0xFFFFFFFF, sender + recipient));
  EXPECT_FALSE(opens(1, sender + recipient + "x"));
  EXPECT_FALSE(opens(1, Text(std::string("s\0a", 3)) + Text("") + Text("") + Text("") + recipient))
      << "a text holds no NUL";
  const std::string size = Number(0xFFFFFFFF);
  EXPECT_FALSE(opens(1, size + "s@a" + Text("") + Text("") + Text("") + recipient));
  EXPECT_FALSE(opens(1, sender + Number(0) + size + "r@b"));
}

TEST(EnvelopeNote, ChangedBytesUnderAGoodSumAreSurvived) {
  std::uint64_t state = 42;
  const auto below = [&state](std::size_t limit) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::size_t>(state >> 33) % limit;
  };
  const std::string body = Example().substr(12);
  int taken = 0;
  constexpr int kRounds = 20000;
  for (int round = 0; round < kRounds; ++round) {
    std::string other = body;
    for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
      other[below(other.size())] = static_cast<char>(below(4) == 0 ? below(256) : below(8));
    }
    taken += Opens(Whole(other)) ? 1 : 0;
  }
  EXPECT_GT(taken, 0) << "a changed letter of a text is still a note";
  EXPECT_LT(taken, kRounds) << "a changed length is none";
}

// ---- what stands in the database

class StoredEnvelope : public QueueTest {};

TEST_F(StoredEnvelope, IsReadBackAsItWasPut) {
  Envelope envelope("local", "ENV id", 2, 9, "fifth text", "DSN");
  envelope.To("one", "rfc822;one@b", 3, "fourth", "fifth").To("two@b.example").To("two@b.example");
  MQContext* const entry = Ready(envelope);
  ASSERT_NE(CloseMQEntry(entry), 0);
  const EnvelopePtr read(GetMQEnvelope(0));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->leading, nullptr);
  EXPECT_EQ(read->last, -1);
  EXPECT_EQ(read->senders.count, 1u);
  EXPECT_EQ(read->senders.head, read->senders.tail);
  EXPECT_EQ(read->senders.head->next, nullptr);
  const MQEnvFrom& sender = *read->senders.head->record;
  EXPECT_STREQ(sender.address, "local") << "not the qualified one";
  EXPECT_STREQ(sender.envelopeId, "ENV id");
  EXPECT_EQ(sender.ret, 2);
  EXPECT_EQ(sender.fourth, 9);
  EXPECT_STREQ(sender.fifthText, "fifth text");
  EXPECT_STREQ(sender.channel, "DSN");
  ASSERT_EQ(read->recipients.count, 3u);
  const MQEnvRecipNode* node = read->recipients.head;
  EXPECT_STREQ(node->record->address, "one");
  EXPECT_STREQ(node->record->originalRecipient, "rfc822;one@b");
  EXPECT_EQ(node->record->notifyFlags, 3);
  EXPECT_STREQ(node->record->fourthText, "fourth");
  EXPECT_STREQ(node->record->fifthText, "fifth");
  node = node->next;
  EXPECT_STREQ(node->record->address, "two@b.example");
  node = node->next;
  EXPECT_STREQ(node->record->address, "two@b.example");
  EXPECT_EQ(node->next, nullptr);
  EXPECT_EQ(read->recipients.tail, node);
}

TEST_F(StoredEnvelope, NullTextsComeBackEmpty) {
  Envelope envelope("s@a.example", nullptr, 0, 0, nullptr, nullptr);
  envelope.To("r@b.example", nullptr, 0, nullptr, nullptr);
  ASSERT_NE(CloseMQEntry(Ready(envelope)), 0);
  const EnvelopePtr read(GetMQEnvelope(0));
  ASSERT_NE(read, nullptr);
  EXPECT_STREQ(read->senders.head->record->envelopeId, "");
  EXPECT_STREQ(read->senders.head->record->fifthText, "");
  EXPECT_STREQ(read->senders.head->record->channel, "");
  EXPECT_STREQ(read->recipients.head->record->originalRecipient, "");
  EXPECT_STREQ(read->recipients.head->record->fourthText, "");
  EXPECT_STREQ(read->recipients.head->record->fifthText, "");
}

TEST_F(StoredEnvelope, OfManyRecipientsIsWhole) {
  constexpr int kMany = 3000;
  Envelope envelope;
  for (int i = 0; i < kMany; ++i) envelope.To(("r" + std::to_string(i) + "@b.example").c_str());
  ASSERT_NE(CloseMQEntry(Ready(envelope)), 0);
  const EnvelopePtr read(GetMQEnvelope(0));
  ASSERT_NE(read, nullptr);
  int i = 0;
  for (const MQEnvRecipNode* node = read->recipients.head; node != nullptr;
       node = node->next, ++i) {
    ASSERT_EQ(node->record->address, "r" + std::to_string(i) + "@b.example");
  }
  EXPECT_EQ(i, kMany);
  EXPECT_EQ(Now().records.size(), 1u + kMany);
}

TEST_F(StoredEnvelope, IsNullWhereThereIsNone) {
  EXPECT_EQ(GetMQEnvelope(0), nullptr);
  FreeMQEnvelope(nullptr);
  const std::uint32_t id = Submit();
  EXPECT_EQ(GetMQEnvelope(id + 1), nullptr);
  EXPECT_NE(EnvelopePtr(GetMQEnvelope(id)), nullptr);
}

TEST_F(StoredEnvelope, IsNullBehindTheLastChannel) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const entry = Ready(envelope, "DSN");
  InsertMQChannel(entry, "SMTP", 255);
  ASSERT_NE(CloseMQEntry(entry), 0);
  const ChannelPtr first(OpenMQChannel("DSN"));
  const ChannelPtr second(OpenMQChannel("SMTP"));
  EXPECT_NE(RemoveMQQID(first.get(), 0), 0);
  EXPECT_NE(EnvelopePtr(GetMQEnvelope(0)), nullptr);
  EXPECT_NE(RemoveMQQID(second.get(), 0), 0);
  EXPECT_EQ(GetMQEnvelope(0), nullptr);
  EXPECT_TRUE(Now().notes.empty());
}

TEST_F(StoredEnvelope, IsNullWithoutItsMessageRecord) {
  const std::uint32_t id = Submit();
  const auto file = Database();
  spool::MessageRecord record;
  store::Entry at;
  ASSERT_EQ(file->Find(0, store::Seek::kFirst, "", &at, spool::Bytes(record)), store::kOk);
  ASSERT_STREQ(record.key, "00000000f");
  ASSERT_EQ(file->Delete(at), store::kOk);
  EXPECT_EQ(GetMQEnvelope(id), nullptr);
}

TEST_F(StoredEnvelope, OfDamagedBytesIsNull) {
  const std::uint32_t id = Submit();
  const auto file = Database();
  std::string note;
  ASSERT_EQ(file->GetNote(id, &note), store::kOk);
  for (const std::string& bytes : {std::string(), note.substr(0, note.size() - 1), note + "x",
                                   std::string(note.size(), '\0')}) {
    ASSERT_EQ(file->PutNote(id, bytes), store::kOk);
    EXPECT_EQ(GetMQEnvelope(id), nullptr) << bytes.size();
  }
}

TEST_F(StoredEnvelope, IsReadBeforeTheConnection) {
  const std::uint32_t id = Submit();
  MQTerminate();
  spool::TheSite() = spool::Site();
  EXPECT_NE(EnvelopePtr(GetMQEnvelope(id)), nullptr);
}

}  // namespace
}  // namespace qob
