// What a submission that cannot be made leaves behind: nothing. The caller's file always stays.
#include <sys/stat.h>

#include "submit_support.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using SubmitFailures = SubmitTest;
using Lines = std::vector<LogLine>;

TEST_F(SubmitFailures, AMissingMessageFileIsNoMessage) {
  const std::string file = spool_.path("nothing");
  Call call;
  call.file = file.c_str();
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_EQ(log_.lines(), Lines{});
  ExpectNothingQueued();
}

TEST_F(SubmitFailures, NoMessageFileIsNoMessage) {
  Call call;
  EXPECT_EQ(call.Send(), nullptr);
  call.file = "";
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_EQ(log_.lines(), Lines{});
  ExpectNothingQueued();
}

TEST_F(SubmitFailures, ADirectoryIsNoMessage) {
  const std::string file = spool_.temp();
  Call call;
  call.file = file.c_str();
  EXPECT_EQ(call.Send(), nullptr);
  ExpectNothingQueued();
}

TEST_F(SubmitFailures, AnUnreadableMessageFileIsNoMessage) {
  const std::string file = spool_.File("message", "\r\n");
  chmod(file.c_str(), 0000);
  for (const std::string& open : {spool_.root(), spool_.config(), spool_.queue(), spool_.temp()}) {
    chmod(open.c_str(), 0777);
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(spool_.root())) {
    if (entry.is_regular_file() && entry.path() != file) chmod(entry.path().c_str(), 0666);
  }
  TerminateQOBDll();
  MQTerminate();
  const int result = WithoutPrivileges([&] {
    if (InitQOBDll("submit") != 1) return 2;
    Call call;
    call.file = file.c_str();
    return call.Send() == nullptr && QueueFiles().empty() ? 0 : 1;
  });
  EXPECT_TRUE(result == 0 || result == kNotPossible) << result;
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(SubmitFailures, NoChannelIsNoMessage) {
  const std::string file = spool_.File("message", "\r\n");
  Call call;
  call.file = file.c_str();
  call.channel = nullptr;
  EXPECT_EQ(call.Send(), nullptr);
  call.channel = "";
  EXPECT_EQ(call.Send(), nullptr);
  ExpectNothingQueued();
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(SubmitFailures, NoRecipientsIsNoMessage) {
  const std::string file = spool_.File("message", "\r\n");
  Call call;
  call.file = file.c_str();
  call.recipients = {};
  EXPECT_EQ(call.Send(), nullptr);
  ExpectNothingQueued();
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(SubmitFailures, RecipientsThatAreNoneAreNoMessage) {
  const std::string file = spool_.File("message", "\r\n");
  const MimeRecipient bob = To("bob@b.example");
  const auto send = [&](const MimeRecipient* recipients, std::int32_t count) {
    return MimeSendMessage("ann@a.example", nullptr, 0, 0, nullptr, "SMTP", recipients, count,
                           nullptr, file.c_str(), nullptr, 0, 0);
  };
  EXPECT_EQ(send(nullptr, 1), nullptr);
  EXPECT_EQ(send(&bob, 0), nullptr);
  EXPECT_EQ(send(&bob, -1), nullptr);
  ExpectNothingQueued();
}

TEST_F(SubmitFailures, OnlyEmptyRecipientsAreNoMessage) {
  const std::string file = spool_.File("message", "\r\n");
  Call call;
  call.file = file.c_str();
  call.recipients = {To(""), To(nullptr)};
  EXPECT_EQ(call.Send(), nullptr);
  const LogLine ignored{6, "submit", "Ignore empty recipient address."};
  EXPECT_EQ(log_.lines(), (Lines{ignored, ignored}));
  ExpectNothingQueued();
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(SubmitFailures, WithoutTheQueueThereIsNoEntry) {
  MQTerminate();
  const std::string file = spool_.File("message", "\r\n");
  Call call;
  call.file = file.c_str();
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_EQ(log_.lines().back(), (LogLine{1, "submit", "CreateMQEntry failed."}));
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(SubmitFailures, WithoutTheTemporaryDirectoryThereIsNoEntry) {
  std::filesystem::remove_all(spool_.temp());
  const std::string file = spool_.File("message", "\r\n");
  Call call;
  call.file = file.c_str();
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_TRUE(log_.Has(1, "CreateMQEntry failed."));
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_EQ(QueueFiles(), std::vector<std::string>{});
}

TEST_F(SubmitFailures, WithoutTheQueueDirectoryThereIsNoEntry) {
  std::filesystem::remove_all(spool_.queue());
  const std::string file = spool_.File("message", "\r\n");
  Call call;
  call.file = file.c_str();
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_TRUE(log_.Has(1, "CreateMQEntry failed."));
  EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(SubmitFailures, AnEarlierMessageStaysUntouched) {
  const std::string first = Queued("Subject: first\r\n\r\n");
  Call call;
  call.file = "nothing";
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_EQ(QueueFiles(), (std::vector<std::string>{"00000000.msg"}));
  EXPECT_EQ(Waiting(), (std::vector<std::uint32_t>{0}));
  EXPECT_EQ(TempSpool::Read(spool_.queue() + "/00000000.msg"), first);
}

TEST_F(SubmitFailures, AMessageFileBehindALinkIsReadAndStays) {
  const std::string file = spool_.File("message", "Subject: x\r\n\r\n");
  const std::string link = spool_.path("link");
  std::filesystem::create_symlink(file, link);
  Call call;
  call.file = link.c_str();
  EXPECT_NE(call.Send(), nullptr);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(TempSpool::Read(file), "Subject: x\r\n\r\n");
}

}  // namespace
}  // namespace qob::testing
