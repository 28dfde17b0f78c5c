// The message record byte by byte: what is composed stands at its offset, everything else is zero.
#include "platform/spool/message_record.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "support/record_image.h"

namespace qob::spool {
namespace {

using Image = testing::RecordImage;
using testing::BytesOf;
using namespace std::string_view_literals;

TEST(MessageRecord, OfAMessageHoldsItsKeyTimesAndStatus) {
  MessageRecord record;
  std::memset(&record, 0xEE, sizeof record);
  ComposeMessage("0001A2B3F", "queued", 0x65A1B2C3, &record);
  EXPECT_EQ(BytesOf(record), Image()
                                 .At(0, "0001A2B3F")
                                 .At(804, "\xC3\xB2\xA1\x65"sv)
                                 .At(808, "\xC3\xB2\xA1\x65"sv)
                                 .At(828, "queued")
                                 .bytes());
}

TEST(MessageRecord, OfAMessageTakesItsSender) {
  MessageRecord record;
  ComposeMessage("0001A2B3F", "queued", 1, &record);
  record.retryTime = 0x11223344;
  record.retryCount = 2;
  record.delayNotifyStatus = 1;
  record.partNumber = 0x0A0B0C0D;
  SetSender("queue", {"ann@a.example", "id-7", -2, 0x01020304, "option"}, &record);
  EXPECT_EQ(BytesOf(record), Image()
                                 .At(0, "0001A2B3F")
                                 .At(16, "queue")
                                 .At(292, "ann@a.example")
                                 .At(804, "\x01\0\0\0"sv)
                                 .At(808, "\x01\0\0\0"sv)
                                 .At(812, "\x44\x33\x22\x11"sv)
                                 .At(816, "\x02\0\0\0"sv)
                                 .At(820, "\x01\0\0\0"sv)
                                 .At(824, "\x0D\x0C\x0B\x0A"sv)
                                 .At(828, "queued")
                                 .At(1596, "id-7")
                                 .At(1696, "\xFE\xFF\xFF\xFF"sv)
                                 .At(1704, "option")
                                 .At(2216, "\x04\x03\x02\x01"sv)
                                 .bytes());
}

TEST(MessageRecord, OfARecipientHoldsItsAddressTextsAndFlags) {
  MessageRecord record;
  std::memset(&record, 0xEE, sizeof record);
  ComposeRecipient("0001A2B3R", {"bob@b.example", "second", 0x05060708, "third"}, &record);
  EXPECT_EQ(BytesOf(record), Image()
                                 .At(0, "0001A2B3R")
                                 .At(292, "bob@b.example")
                                 .At(1084, "second")
                                 .At(1700, "\x08\x07\x06\x05"sv)
                                 .At(1704, "third")
                                 .bytes());
}

TEST(MessageRecord, OfARecipientTakesNewTextsAndKeepsTheRest) {
  MessageRecord record;
  ComposeRecipient("0001A2B3R", {"bob@b.example", "a long second text", 1, "a third"}, &record);
  SetField(record.stateText, "delivered");
  SetRecipient({"other@address", "2", 9, ""}, &record);
  EXPECT_EQ(BytesOf(record), Image()
                                 .At(0, "0001A2B3R")
                                 .At(32, "delivered")
                                 .At(292, "bob@b.example")
                                 .At(1084, "2")
                                 .At(1700, "\x09\0\0\0"sv)
                                 .bytes());
}

TEST(MessageRecord, CutsEachTextToItsFieldLessANul) {
  const std::string text(1000, 'x');
  MessageRecord record;
  ComposeMessage(text, text, 1, &record);
  SetSender(text, {text, text, 0, 0, text}, &record);
  Image message;
  message.At(0, text.substr(0, 15)).At(16, text.substr(0, 15)).At(292, text.substr(0, 511));
  message.At(804, "\x01\0\0\0\x01\0\0\0"sv).At(828, text.substr(0, 255));
  message.At(1596, text.substr(0, 99)).At(1704, text.substr(0, 511));
  EXPECT_EQ(BytesOf(record), message.bytes());

  ComposeRecipient(text, {text, text, 0, text}, &record);
  Image recipient;
  recipient.At(0, text.substr(0, 15)).At(292, text.substr(0, 511));
  recipient.At(1084, text.substr(0, 511)).At(1704, text.substr(0, 511));
  EXPECT_EQ(BytesOf(record), recipient.bytes());
}

TEST(MessageRecord, AnEnvelopeIdOf150CharactersIsKeptAsItsFirst99) {
  MessageRecord record{};
  const std::string id = std::string(99, 'a') + std::string(51, 'b');
  SetSender("q", {"a@b.c", id, 0, 0, ""}, &record);
  EXPECT_EQ(FieldText(record.envelopeId), std::string(99, 'a'));
  EXPECT_EQ(record.envelopeId[99], '\0');
}

TEST(MessageRecord, AShorterTextLeavesNothingOfALongerOne) {
  MessageRecord record{};
  SetField(record.statusText, std::string(255, 'x'));
  SetField(record.statusText, "ok");
  EXPECT_EQ(std::string(record.statusText, 256), "ok" + std::string(254, '\0'));
  SetField(record.statusText, "");
  EXPECT_EQ(std::string(record.statusText, 256), std::string(256, '\0'));
}

TEST(MessageRecord, AFieldWithoutANulEndsWithTheField) {
  MessageRecord record;
  std::memset(&record, 'z', sizeof record);
  EXPECT_EQ(FieldText(record.key).size(), 16u);
  EXPECT_EQ(FieldText(record.envelopeId).size(), 100u);
}

TEST(MessageRecord, TimesStopAtTheEndOf32BitsAndAreNeverNegative) {
  EXPECT_EQ(RecordTime(0), 0);
  EXPECT_EQ(RecordTime(1'700'000'000), 1'700'000'000);
  EXPECT_EQ(RecordTime(0x7FFFFFFF), 0x7FFFFFFF);
  EXPECT_EQ(RecordTime(0x80000000LL), 0x7FFFFFFF);
  EXPECT_EQ(RecordTime(0x1'0000'0001LL), 0x7FFFFFFF);
  EXPECT_EQ(RecordTime(std::numeric_limits<std::int64_t>::max()), 0x7FFFFFFF);
  EXPECT_EQ(RecordTime(-1), 0);
}

}  // namespace
}  // namespace qob::spool
