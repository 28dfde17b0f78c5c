// Every allocation and every system call fails once, and from then on: the documented result and
// log line, what was submitted is whole, and nothing else is left behind.
#include <functional>
#include <set>
#include <utility>

#include "notify_support.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

constexpr char kOriginal[] =
    "#Fann@a.example\r\nFrom: ann@a.example\r\nSubject: hello\r\n\r\nBody line\r\n";

// A call, and what it may say when it fails.
struct Job {
  const char* name;
  std::function<std::int32_t()> run;
  std::string family;  // how its own log lines begin
  std::set<std::int32_t> done = {0};
};

class NotifyFaults : public NotifyTest {
 protected:
  void SetUp() override {
    NotifyTest::SetUp();
    SetIni("BounceToPostmaster=YES\n");
    path_ = Message("000000AA", "ann@a.example", kOriginal);
    nobody_ = Message("000000AB", "<>", kOriginal);
    binary_ = spool_.File("b.bin", "\x80\x81");
    char id[] = "000000AA";
    ASSERT_EQ(
        AssignPerRecipField(&field_, "rfc822;b", "b@b.example", "failed", "5.1.1", "mx", id, 5, 6),
        0);
    fields_ = {&field_, nullptr};
    jobs_ = {
        {"bounce",
         [this] { return BounceMimeMessage(path_.c_str(), nullptr, Reasons(), nullptr, &db_); },
         "BounceMimeMessage failed: "},
        {"bounce of the empty sender",
         [this] {
           return BounceMimeMessage(nobody_.c_str(), nullptr, Reasons(), nullptr, nullptr);
         },
         "BounceMimeMessage",
         {0, 1}},
        {"header",
         [this] { return BounceMimeMessageHeader(path_.c_str(), Reasons(), nullptr, &db_); },
         "BounceMimeMessage failed: "},
        {"to the postmaster",
         [this] { return BounceMimeMessageToPostmaster(path_.c_str(), text_, nullptr, &db_); },
         "BounceMimeMessageToPostmaster failed"},
        {"notification",
         [this] {
           const DsnEnvFrom from{"ann@a.example", "id", 2, 0, 7};
           return GenerateDSNMessage(path_.c_str(), &from, "s", text_, &fields_);
         },
         ""},
        {"notification with the header",
         [this] {
           const DsnEnvFrom from{"ann@a.example", "id", 1, 0, 7};
           return GenerateDSNMessage(path_.c_str(), &from, "s", text_, &fields_);
         },
         ""},
        {"notification to the postmaster",
         [this] { return GenerateDSNMessageToPostmaster(path_.c_str(), "s", text_, &fields_); },
         ""},
        {"log file", [this] { return SendOldLogfile(binary_.c_str()); }, ""},
    };
  }
  void TearDown() override {
    CleanPerRecipField(&field_);
    NotifyTest::TearDown();
  }

  // Made undisturbed: it is the caller's work.
  static ms* Reasons() {
    SuspendFailing(true);
    ms* const chain = NewChain({"user unknown", "second"});
    SuspendFailing(false);
    return chain;
  }
  static std::size_t Waiting(const char* channel = "DSN") {
    std::size_t count = 0;
    std::uint32_t id = 0;
    MQChannel* walk = OpenMQChannel(channel);
    for (bool any = GetFirstMQEntry(walk, &id); any; any = GetNextMQEntry(walk, &id)) ++count;
    CloseMQChannel(walk);
    return count;
  }
  void Attempt(const Job& job) {
    SuspendFailing(true);
    log_.Clear();
    SuspendFailing(false);
    result_ = job.run();
  }
  void Check(const Job& job, bool failed, bool files_may_stay) {
    const std::size_t before = waiting_;
    waiting_ = Waiting();
    const bool done = job.done.contains(result_);
    if (!failed) {
      EXPECT_TRUE(done) << job.name;
    }
    if (done) {
      EXPECT_EQ(waiting_, before + 1) << job.name;
    } else if (result_ == 2) {
      // Settings that cannot be read have their defaults.
      EXPECT_EQ(waiting_, before) << job.name;
      EXPECT_EQ(log_.texts(6).size(), 1u) << job.name;
    } else {
      EXPECT_EQ(result_, -1) << job.name;
      EXPECT_EQ(waiting_, before) << job.name;
      ExpectTold(job);
    }
    if (files_may_stay) {
      RemoveLeftOvers();
      return;
    }
    EXPECT_EQ(spool_.TempFiles(), Texts{}) << job.name;
    EXPECT_EQ(QueueFiles().size(), 2 + waiting_) << job.name;
  }
  void ExpectTold(const Job& job) const {
    if (job.family.empty()) return;
    const Texts said = log_.texts(1);
    const bool told = std::any_of(said.begin(), said.end(), [&](const std::string& text) {
      return text.starts_with(job.family);
    });
    EXPECT_TRUE(told) << job.name << ": " << (said.empty() ? "nothing was said" : said.back());
  }
  void RemoveLeftOvers() const {
    for (const std::string& name : spool_.TempFiles()) {
      std::filesystem::remove(spool_.temp() + "/" + name);
    }
  }
  void FailEach(os::Call call, int error, bool files_may_stay = false) {
    for (const Job& job : jobs_) {
      waiting_ = Waiting();
      FailEachCall(
          call, [&] { Attempt(job); }, [&](bool failed) { Check(job, failed, files_may_stay); },
          error);
      if (HasFatalFailure()) return;
    }
  }

  std::string path_;
  std::string nobody_;
  std::string binary_;
  PerRecipField field_{};
  PerRecipFieldNode fields_{};
  Chain text_{{"line \xFC\r\n", "line\r\n"}};
  std::vector<Job> jobs_;
  std::int32_t result_ = 0;
  std::size_t waiting_ = 0;
};

TEST_F(NotifyFaults, Memory) {
  for (const Job& job : jobs_) {
    waiting_ = Waiting();
    FailEachAllocation([&] { Attempt(job); }, [&](bool failed) { Check(job, failed, false); });
  }
}

TEST_F(NotifyFaults, Opening) { FailEach(os::Call::kOpen, EACCES); }
TEST_F(NotifyFaults, TooManyOpenFiles) { FailEach(os::Call::kOpen, EMFILE); }
TEST_F(NotifyFaults, Reading) { FailEach(os::Call::kRead, EIO); }
TEST_F(NotifyFaults, AFullDisk) { FailEach(os::Call::kWrite, ENOSPC); }
TEST_F(NotifyFaults, Closing) { FailEach(os::Call::kClose, EIO); }
TEST_F(NotifyFaults, Looking) { FailEach(os::Call::kStat, EACCES); }
TEST_F(NotifyFaults, Seeking) { FailEach(os::Call::kSeek, EIO); }
TEST_F(NotifyFaults, Locking) { FailEach(os::Call::kLock, ENOLCK); }
TEST_F(NotifyFaults, Asking) { FailEach(os::Call::kAccess, EACCES); }
TEST_F(NotifyFaults, Flushing) { FailEach(os::Call::kFlush, EIO); }
// What cannot be removed stays, and is all that stays.
TEST_F(NotifyFaults, Removing) { FailEach(os::Call::kRemove, EACCES, true); }

// ---- each text at its step ----

struct StepCase {
  const char* name;
  os::Call call;
  std::uint64_t nth;
  const char* path;  // a part of it
  const char* sender;
  const char* header;
  const char* postmaster;
};

class BounceSteps : public NotifyFaults, public ::testing::WithParamInterface<StepCase> {};

TEST_P(BounceSteps, EachFormNamesWhatFailed) {
  const StepCase& given = GetParam();
  const auto last = [&](const Job& job) {
    log_.Clear();
    const FailCalls fail(given.call, given.nth, Failing::kOnce, EIO, given.path);
    EXPECT_EQ(job.run(), -1) << job.name;
    const Texts said = log_.texts(1);
    return said.empty() ? std::string("nothing was said") : said.back();
  };
  EXPECT_EQ(last(jobs_[0]), given.sender);
  EXPECT_EQ(last(jobs_[2]), given.header);
  EXPECT_EQ(last(jobs_[3]), given.postmaster);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
  EXPECT_EQ(Waiting(), 0u);
}

// Of the files "MIME...": the explanation is made, its part reads it and is made, then the message
// or its header in the same way, then the whole.
INSTANTIATE_TEST_SUITE_P(
    All, BounceSteps,
    ::testing::Values(StepCase{"the explanation", os::Call::kOpen, 1, "/MIME",
                               "BounceMimeMessage failed: filecreate error.",
                               "BounceMimeMessage failed: filecreate error.",
                               "BounceMimeMessageToPostmaster failed. filecreate failed."},
                      StepCase{"its part", os::Call::kOpen, 2, "/MIME",
                               "BounceMimeMessage failed: MimeBuildMessage failed.",
                               "BounceMimeMessage failed: MimeBuildMessage failed.",
                               "BounceMimeMessageToPostmaster failed. MimeBuildMessage failed."},
                      StepCase{"the message", os::Call::kOpen, 1, "000000AA.msg",
                               "BounceMimeMessage failed: MimeBuildMessage failed.",
                               "BounceMimeMessage failed: fileopen failed.",
                               "BounceMimeMessageToPostmaster failed. MimeBuildMessage failed."}),
    [](const auto& test) {
      std::string name = test.param.name;
      std::replace(name.begin(), name.end(), ' ', '_');
      return name;
    });

// Every text that the calls have for a failure, made by failing one thing after the other.
class FailureTexts : public NotifyFaults {
 protected:
  void Note() {
    for (const std::string& text : log_.texts(1)) said_.insert(text);
  }
  void FailEachWrite(const Job& job) {
    FailEachCall(
        os::Call::kWrite, [&] { Attempt(job); }, [&](bool) { Note(); }, ENOSPC);
  }
  void FailEachBlock(const Job& job) {
    FailEachAllocation([&] { Attempt(job); }, [&](bool) { Note(); });
  }
  void ExpectSaid(const Texts& texts) const {
    for (const std::string& text : texts) EXPECT_TRUE(said_.contains(text)) << text;
  }

  std::set<std::string> said_;
};

TEST_F(FailureTexts, OfABounce) {
  FailEachWrite(jobs_[0]);
  FailEachBlock(jobs_[0]);
  ExpectSaid({"BounceMimeMessage failed: out of memory.",
              "BounceMimeMessage failed: filecreate error.",
              "BounceMimeMessage failed: putline failed.",
              "BounceMimeMessage failed: MimeBuildMessage failed.",
              "BounceMimeMessage failed: MimeBuldMultipartMessage failed.",
              "BounceMimeMessage failed: MimeSendMessage failed."});
}

TEST_F(FailureTexts, OfABounceWithTheHeader) {
  FailEachWrite(jobs_[2]);
  FailEachBlock(jobs_[2]);
  ExpectSaid({"BounceMimeMessage failed: out of memory.",
              "BounceMimeMessage failed: filecreate error.",
              "BounceMimeMessage failed: putline failed.",
              "BounceMimeMessage failed: MimeBuildMessage failed.",
              "BounceMimeMessage failed: MimeBuldMultipartMessage failed.",
              "BounceMimeMessage failed: MimeSendMessage failed."});
}

TEST_F(FailureTexts, OfABounceToThePostmaster) {
  FailEachWrite(jobs_[3]);
  FailEachBlock(jobs_[3]);
  ExpectSaid({"BounceMimeMessageToPostmaster failed. out of memory.",
              "BounceMimeMessageToPostmaster failed: out of memory.",
              "BounceMimeMessageToPostmaster failed. filecreate failed.",
              "BounceMimeMessageToPostmaster failed. putline failed.",
              "BounceMimeMessageToPostmaster failed. MimeBuildMessage failed.",
              "BounceMimeMessageToPostmaster failed. MimeBuildMultipartMessage failed.",
              "BounceMimeMessageToPostmaster failed. MimeSendMessage failed, message cannot be "
              "submitted to MQ."});
}

TEST_F(FailureTexts, OfANotification) {
  FailEachWrite(jobs_[5]);
  FailEachBlock(jobs_[5]);
  ExpectSaid({"Out of memory.", "putline failed."});
}

TEST_F(FailureTexts, OfAMessageThatCannotBeRead) {
  FailEachCall(
      os::Call::kRead, [&] { Attempt(jobs_[5]); }, [&](bool) { Note(); });
  ExpectSaid({"getline failed."});
}

TEST_F(FailureTexts, OfAGeneratedMessage) {
  const Chain to({"b@b.example"});
  const Chain files({binary_});
  const Job generate{
      "generated",
      [&] { return GenerateMimeMessage("me", "DSN", to, "s", nullptr, text_, files, nullptr); },
      "GenerateMimeMessage failed: "};
  const auto check = [&](bool failed) {
    Note();
    EXPECT_TRUE(failed || result_ == 0);
    const std::size_t before = std::exchange(waiting_, Waiting());
    // Once it was handed to submission the call has done its part.
    EXPECT_TRUE(waiting_ == before || (waiting_ == before + 1 && result_ == 0));
    if (result_ != 0) ExpectTold(generate);
    EXPECT_EQ(spool_.TempFiles(), Texts{});
    EXPECT_EQ(QueueFiles().size(), 2 + waiting_);
  };
  FailEachAllocation([&] { Attempt(generate); }, check);
  for (const os::Call call : {os::Call::kOpen, os::Call::kWrite, os::Call::kRead, os::Call::kClose,
                              os::Call::kStat, os::Call::kFlush}) {
    FailEachCall(
        call, [&] { Attempt(generate); }, check);
  }
  ExpectSaid({"GenerateMimeMessage failed: out of memory.",
              "GenerateMimeMessage failed: filecreate failed.",
              "GenerateMimeMessage failed: putline failed.",
              "GenerateMimeMessage failed: MimeBuildMessage failed.",
              "GenerateMimeMessage failed: MimeBuildMultipartMessage failed."});
}

TEST_F(NotifyFaults, ASizeThatCannotBeToldCountsAsNothing) {
  // The first look at the file is that of opening it.
  const FailCalls fail(os::Call::kStat, 2, Failing::kOnce, EACCES, "000000AB.msg");
  EXPECT_EQ(jobs_[1].run(), 1);
  EXPECT_EQ(log_.texts(1), Texts{"Could not get message file size."});
  EXPECT_EQ(log_.texts(3), Texts{"Bounced 000000AB size: 0 bytes to: <postmaster>\r\n"});
}

TEST_F(NotifyFaults, APostmastersCopyThatFailsChangesNothing) {
  SetIni("bounceToPostmaster=YES\n");
  std::size_t once = 0;
  std::size_t twice = 0;
  FailEachCall(
      os::Call::kWrite, [&] { Attempt(jobs_[0]); },
      [&](bool failed) {
        const std::size_t before = std::exchange(waiting_, Waiting());
        EXPECT_EQ(result_, waiting_ == before ? -1 : 0);
        EXPECT_LE(waiting_, before + 2);
        if (waiting_ == before + 1) ++once;
        if (waiting_ == before + 2) ++twice;
        EXPECT_EQ(log_.texts(3).size(), waiting_ == before + 2 ? 1u : 0u);
        EXPECT_TRUE(failed || waiting_ == before + 2);
      },
      ENOSPC);
  EXPECT_GT(once, 0u);
  EXPECT_EQ(twice, 2u);  // the undisturbed call of each mode
}

TEST_F(NotifyFaults, MemoryThatEndsBehindTheBounceChangesNothing) {
  SetIni("bounceToPostmaster=YES\n");
  std::size_t once = 0;
  FailEachAllocation([&] { Attempt(jobs_[0]); },
                     [&](bool) {
                       const std::size_t before = std::exchange(waiting_, Waiting());
                       EXPECT_EQ(result_, waiting_ == before ? -1 : 0);
                       if (waiting_ == before + 1) ++once;
                     });
  EXPECT_GT(once, 0u);
}

}  // namespace
}  // namespace qob::testing
