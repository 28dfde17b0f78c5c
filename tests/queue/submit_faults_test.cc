// Every system call and every allocation of a submission fails once: either the message is in the
// queue, whole and once, or nothing of it is there. The caller's file stays in any case.
#include <unistd.h>

#include "submit_support.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

class SubmitFaults : public SubmitTest {
 protected:
  static constexpr const char* kMessage = "Subject: x\r\nDate: some day\r\n\r\nbody\r\n";

  void SetUp() override {
    SubmitTest::SetUp();
    file_ = spool_.File("message", kMessage);
    call_.file = file_.c_str();
    call_.recipients = {To("bob@b.example"), To("cec")};
    call_.receipt = 1;
    ASSERT_NE(call_.Send(), nullptr);  // what is made once is made
    known_ = Waiting();
  }
  void Attempt() { path_ = call_.Send(); }
  // After an attempt, with nothing failing any more.
  void Check() {
    EXPECT_EQ(TempSpool::Read(file_), kMessage) << "the caller's file was touched";
    if (path_ == nullptr) {
      EXPECT_FALSE(log_.lines().empty()) << "a failure that nobody tells";
      ASSERT_EQ(Waiting(), known_) << "half queued";
      ASSERT_EQ(QueueFiles(), MessageFiles()) << "something was left";
    } else {
      ExpectWhole();
    }
    path_.reset();
    log_.Clear();
  }
  void ExpectWhole() {
    const std::string name = std::string(path_.get()).substr(spool_.queue().size() + 1);
    known_.push_back(static_cast<std::uint32_t>(std::stoul(name, nullptr, 16)));
    ASSERT_EQ(Waiting(), known_);
    const std::string queued = TempSpool::Read(std::string(path_.get()) + ".msg");
    EXPECT_TRUE(queued.ends_with("Subject: x\r\n" + kDate + "\r\nbody\r\n")) << queued;
    // Settings that cannot be read have their defaults.
    EXPECT_TRUE(queued.starts_with("Received: From ")) << queued;
    // A lock that could not be taken away does not undo the commit.
    unlink((spool_.queue() + "/" + name + ".lck").c_str());
    ASSERT_EQ(QueueFiles(), MessageFiles());
  }
  std::vector<std::string> MessageFiles() const {
    std::vector<std::string> names;
    for (const std::uint32_t id : known_) {
      char name[16];
      std::snprintf(name, sizeof name, "%08X.msg", id);
      names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  void FailEach(os::Call kind, int error = EIO) {
    int failed = 0;
    FailEachCall(
        kind, [&] { Attempt(); },
        [&](bool triggered) {
          failed += triggered ? 1 : 0;
          Check();
        },
        error);
    EXPECT_GT(failed, 0) << "a submission makes no such call";
  }

  Call call_;
  std::string file_;
  TextPtr path_;
  std::vector<std::uint32_t> known_;
};

TEST_F(SubmitFaults, EveryOpenFails) { FailEach(os::Call::kOpen); }
TEST_F(SubmitFaults, EveryCloseFails) { FailEach(os::Call::kClose); }
TEST_F(SubmitFaults, EveryReadFails) { FailEach(os::Call::kRead); }
TEST_F(SubmitFaults, EveryWriteFails) { FailEach(os::Call::kWrite); }
TEST_F(SubmitFaults, EveryWriteFindsTheDiskFull) { FailEach(os::Call::kWrite, ENOSPC); }
TEST_F(SubmitFaults, EveryOpenFindsTheDiskFull) { FailEach(os::Call::kOpen, ENOSPC); }
TEST_F(SubmitFaults, EveryStatFails) { FailEach(os::Call::kStat); }
TEST_F(SubmitFaults, EveryFlushFails) { FailEach(os::Call::kFlush); }
TEST_F(SubmitFaults, EveryLockFails) { FailEach(os::Call::kLock); }
TEST_F(SubmitFaults, EveryModeFails) { FailEach(os::Call::kMode); }

TEST_F(SubmitFaults, EveryAllocationFails) {
  std::size_t told = 0;
  FailEachAllocation([&] { Attempt(); },
                     [&](bool) {
                       if (log_.Has(1, "Out of memory.")) {
                         EXPECT_EQ(path_, nullptr);
                         ++told;
                       }
                       Check();
                     });
  // The envelope of two recipients alone takes five.
  EXPECT_GE(told, 5u);
}

TEST_F(SubmitFaults, ADiskThatFillsUpUnderALargeMessageLeavesNothing) {
  const std::string large = std::string(kMessage) + std::string(5'000'000, 'b');
  TempSpool::Write(file_, large);
  for (std::uint64_t nth : {1u, 2u, 3u, 40u, 77u}) {
    bool triggered = false;
    {
      FailCalls fail(os::Call::kWrite, nth, Failing::kOnce, ENOSPC);
      Attempt();
      triggered = fail.triggered();
    }
    ASSERT_TRUE(triggered) << nth;
    EXPECT_EQ(path_, nullptr);
    EXPECT_EQ(QueueFiles(), MessageFiles());
    EXPECT_EQ(TempSpool::Read(file_), large);
  }
}

std::string g_vanishing;
int RemoveBeforeOpening(os::Call call, std::string_view path) {
  if (call == os::Call::kOpen && path == g_vanishing) unlink(g_vanishing.c_str());
  return 0;
}

TEST_F(SubmitFaults, AMessageFileThatVanishesIsNoMessage) {
  g_vanishing = file_;
  os::SetFaultHook(&RemoveBeforeOpening);
  Attempt();
  os::SetFaultHook(nullptr);
  EXPECT_EQ(path_, nullptr);
  EXPECT_EQ(Waiting(), known_);
  EXPECT_EQ(QueueFiles(), MessageFiles());
}

// What is refused by a failing removal stays for the queue's own check, and the caller is told.
TEST_F(SubmitFaults, AFileThatCannotBeRemovedIsNoMessage) {
  call_.channel = "";
  {
    FailCalls fail(os::Call::kRemove, 1, Failing::kFromThenOn);
    Attempt();
    ASSERT_TRUE(fail.triggered());
  }
  EXPECT_EQ(path_, nullptr);
  EXPECT_EQ(Waiting(), known_);
}

}  // namespace
}  // namespace qob::testing
