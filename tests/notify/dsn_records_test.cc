// What a status notification is told: the records of its recipients, and the sender as the queue
// has him.
#include "notify/dsn_sender.h"
#include "notify_support.h"
#include "support/failing_allocator.h"

namespace qob::testing {
namespace {

TEST(PerRecipRecord, HoldsPrivateCopies) {
  std::string original = "rfc822;a";
  PerRecipField field;
  ASSERT_EQ(AssignPerRecipField(&field, original.c_str(), "b", "failed", "5.0.0", "m", "d", 7, 8),
            0);
  original[0] = 'X';
  EXPECT_STREQ(field.originalRecipient, "rfc822;a");
  EXPECT_STREQ(field.finalRecipient, "b");
  EXPECT_STREQ(field.action, "failed");
  EXPECT_STREQ(field.status, "5.0.0");
  EXPECT_STREQ(field.remoteMta, "m");
  EXPECT_STREQ(field.diagnosticCode, "d");
  EXPECT_EQ(field.lastAttempt, 7);
  EXPECT_EQ(field.willRetryUntil, 8);
  CleanPerRecipField(&field);
  EXPECT_EQ(field.originalRecipient, nullptr);
  EXPECT_EQ(field.finalRecipient, nullptr);
  EXPECT_EQ(field.action, nullptr);
  EXPECT_EQ(field.status, nullptr);
  EXPECT_EQ(field.remoteMta, nullptr);
  EXPECT_EQ(field.diagnosticCode, nullptr);
  EXPECT_EQ(field.lastAttempt, -1);
  EXPECT_EQ(field.willRetryUntil, -1);
  CleanPerRecipField(&field);
}

TEST(PerRecipRecord, WhatIsNotGivenIsNotSet) {
  PerRecipField field;
  ASSERT_EQ(AssignPerRecipField(&field, nullptr, "", nullptr, nullptr, nullptr, nullptr, -5, 0), 0);
  EXPECT_EQ(field.originalRecipient, nullptr);
  EXPECT_STREQ(field.finalRecipient, "");
  EXPECT_EQ(field.diagnosticCode, nullptr);
  EXPECT_EQ(field.lastAttempt, -5);
  EXPECT_EQ(field.willRetryUntil, 0);
  CleanPerRecipField(&field);
}

TEST(PerRecipRecord, NullIsRefusedOrIgnored) {
  EXPECT_EQ(AssignPerRecipField(nullptr, "a", "b", "c", "d", "e", "f", 1, 2), -1);
  CleanPerRecipField(nullptr);
}

TEST(PerRecipRecord, WithoutMemoryNothingIsKept) {
  PerRecipField field{};
  int failures = 0;
  FailEachAllocation(
      [&] {
        const bool done = AssignPerRecipField(&field, "a", "b", "c", "d", "e", "f", 1, 2) == 0;
        if (done) {
          CleanPerRecipField(&field);
        } else {
          ++failures;
        }
      },
      [&](bool) {
        EXPECT_EQ(field.originalRecipient, nullptr);
        EXPECT_EQ(field.diagnosticCode, nullptr);
      });
  EXPECT_EQ(failures, 12);  // six texts, in both modes
}

using DsnSender = NotifyTest;

TEST_F(DsnSender, TheQueuesRecordBecomesTheNotificationsSender) {
  const std::string path = Message("000000AB", "ann@a.example", "Subject: s\r\n\r\nbody", "ID7", 2);
  const auto sender = notify::DsnSenderFromQueue(path.c_str(), &db_);
  ASSERT_TRUE(sender.has_value());
  EXPECT_STREQ(sender->record().address, "ann@a.example");
  EXPECT_STREQ(sender->record().envelopeId, "ID7");
  EXPECT_EQ(sender->record().ret, 2);
  EXPECT_EQ(sender->record().secondOption, 0);
  EXPECT_EQ(sender->record().arrivalTime, g_moment);
  EXPECT_FALSE(notify::DsnSenderFromQueue(Path("000000AC").c_str(), &db_).has_value());
}

}  // namespace
}  // namespace qob::testing
