// Entries where the system or the memory fails: every call of the system and every allocation, each
// once and from then on. What was not acknowledged leaves nothing behind, and what was stays.
#include "mq_support.h"
#include "support/failing_allocator.h"
#include "support/faults.h"

namespace qob {
namespace {

using namespace testing;
using os::Call;

constexpr Call kCalls[] = {Call::kOpen, Call::kClose,  Call::kRead,  Call::kWrite,
                           Call::kSeek, Call::kStat,   Call::kFlush, Call::kRename,
                           Call::kList, Call::kAccess, Call::kLock,  Call::kMode};

class FailingEntry : public QueueTest {
 protected:
  void SetUp() override {
    QueueTest::SetUp();
    Submit();  // the counter, the gate and the rest stand
    log_.Clear();
    before_ = Now();
    envelope_.To("r@b.example").To("s@b.example");
  }

  // An entry ready to be committed, undisturbed.
  MQContext* Prepared() {
    SuspendFailing(true);
    MQContext* const entry = Ready(envelope_);
    EXPECT_NE(InsertMQChannel(entry, "SMTP", 255), 0);
    SuspendFailing(false);
    return entry;
  }
  // The prepared entry is in the queue, once and whole, or nothing of it is.
  void JudgeCommit(bool acknowledged) {
    const Standing now = Now();
    if (acknowledged) {
      ASSERT_EQ(now.records.size(), before_.records.size() + 3);
      ASSERT_EQ(now.marks.size(), before_.marks.size() + 2);
      ASSERT_EQ(now.notes.size(), before_.notes.size() + 1);
      ASSERT_EQ(now.files.size(), before_.files.size() + 1) << "its file, and no lock";
      before_ = now;
    } else {
      ASSERT_TRUE(now == before_) << "something is left of what was refused";
    }
  }

  Standing before_;
  Envelope envelope_{"sender", "ENVID"};
};

TEST_F(FailingEntry, IsMadeOrLeavesNothing) {
  for (const Call call : kCalls) {
    MQContext* entry = nullptr;
    FailEachCall(
        call, [&] { entry = CreateMQEntry(); },
        [&](bool failed) {
          if (!failed) {
            ASSERT_NE(entry, nullptr) << static_cast<int>(call);
          }
          if (entry != nullptr) DiscardMQEntry(entry);
          ASSERT_TRUE(Now() == before_) << static_cast<int>(call);
        },
        EIO, 500);
  }
}

TEST_F(FailingEntry, IsMadeWithMemoryOrLeavesNothing) {
  MQContext* entry = nullptr;
  FailEachAllocation([&] { entry = CreateMQEntry(); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(entry, nullptr);
                       }
                       if (entry != nullptr) DiscardMQEntry(entry);
                       ASSERT_TRUE(Now() == before_);
                     },
                     3000);
}

TEST_F(FailingEntry, IsCommittedOrLeavesNothing) {
  for (const Call call : kCalls) {
    MQContext* entry = Prepared();
    std::int32_t result = 0;
    FailEachCall(
        call, [&] { result = CloseMQEntry(entry); },
        [&](bool failed) {
          SCOPED_TRACE(static_cast<int>(call));
          if (!failed) {
            ASSERT_NE(result, 0);
          }
          JudgeCommit(result != 0);
          entry = Prepared();
        },
        EIO, 500);
    DiscardMQEntry(entry);
  }
}

TEST_F(FailingEntry, IsCommittedWithMemoryOrLeavesNothing) {
  MQContext* entry = Prepared();
  std::int32_t result = 0;
  FailEachAllocation([&] { result = CloseMQEntry(entry); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(result, 0);
                       }
                       JudgeCommit(result != 0);
                       entry = Prepared();
                     },
                     3000);
  DiscardMQEntry(entry);
}

// A flush that failed is final: the entry is refused and nothing is asked for a second time.
TEST_F(FailingEntry, IsRefusedWhenItsFileOrItsDirectoryIsNotFlushed) {
  for (const std::uint64_t nth : {1u, 2u}) {
    log_.Clear();
    MQContext* const entry = Prepared();
    const std::string path = nth == 1 ? GetMQPathName(entry, ".msg") : spool_.queue();
    static std::uint64_t flushes;
    static std::uint64_t failing;
    flushes = 0;
    failing = nth;
    os::SetFaultHook([](Call call, std::string_view) {
      return call == Call::kFlush && ++flushes == failing ? EIO : 0;
    });
    EXPECT_EQ(CloseMQEntry(entry), 0);
    os::SetFaultHook(nullptr);
    EXPECT_EQ(flushes, nth) << "flushed on behind the failure";
    JudgeCommit(false);
    EXPECT_EQ(log_.texts(),
              std::vector<std::string>{"CloseMQEntry failed, " + path + ": Input/output error"});
  }
}

TEST_F(FailingEntry, FlushesItsFileThenItsDirectory) {
  static std::vector<std::string> flushed;
  flushed.clear();
  MQContext* const entry = Prepared();
  const std::string message = Native(GetMQPathName(entry, ".msg"));
  os::SetFaultHook([](Call call, std::string_view path) {
    if (call == Call::kFlush) flushed.emplace_back(path);
    return 0;
  });
  EXPECT_NE(CloseMQEntry(entry), 0);
  os::SetFaultHook(nullptr);
  EXPECT_EQ(flushed, (std::vector<std::string>{message, spool_.queue()}));
}

// Once the commit is done nothing is undone.
TEST_F(FailingEntry, WhoseLockCannotBeRemovedIsCommitted) {
  MQContext* const entry = Prepared();
  const std::string lock = GetMQPathName(entry, ".lck");
  {
    FailCalls fail(Call::kRemove, 1, Failing::kFromThenOn, EACCES, ".lck");
    EXPECT_NE(CloseMQEntry(entry), 0);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(log_.texts(),
            std::vector<std::string>{"CloseMQEntry failed, " + lock + ": Permission denied"});
  const Standing now = Now();
  EXPECT_EQ(now.records.size(), before_.records.size() + 3);
  EXPECT_TRUE(now.files.contains(Native(lock).substr(spool_.queue().size() + 1)));
}

// A refused entry whose leftovers cannot be removed either: told, and nothing is in the queue.
TEST_F(FailingEntry, WhoseFilesCannotBeRemovedIsToldOf) {
  MQContext* const entry = Prepared();
  std::filesystem::remove(Native(GetMQPathName(entry, ".msg")));
  {
    FailCalls fail(Call::kRemove, 1, Failing::kFromThenOn, EACCES, ".lck");
    EXPECT_EQ(CloseMQEntry(entry), 0);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(log_.texts().size(), 1u);
  EXPECT_EQ(Now().records, before_.records);
}

TEST_F(FailingEntry, IsDiscardedOrSaysSo) {
  for (const char* part : {".msg", ".lck"}) {
    MQContext* const entry = Prepared();
    const std::string base = Native(BaseOf(entry));
    {
      FailCalls fail(Call::kRemove, 1, Failing::kOnce, EACCES, part);
      EXPECT_EQ(DiscardMQEntry(entry), 0) << part;
      EXPECT_TRUE(fail.triggered());
    }
    EXPECT_TRUE(std::filesystem::exists(base + part));
    std::filesystem::remove(base + part);
    EXPECT_TRUE(Now() == before_) << "the other one is gone";
  }
}

TEST_F(FailingEntry, IsDiscardedWithoutMemory) {
  MQContext* entry = Prepared();
  FailEachAllocation([&] { EXPECT_NE(DiscardMQEntry(entry), 0); },
                     [&](bool) {
                       ASSERT_TRUE(Now() == before_);
                       entry = Prepared();
                     });
  DiscardMQEntry(entry);
}

// Refused for want of memory, the entry is as it was.
TEST_F(FailingEntry, TakesChannelsAndEnvelopesOrStaysAsItWas) {
  MQContext* entry = Prepared();
  Envelope other("other@a.example");
  other.To("o@b.example");
  std::int32_t put = 0;
  FailEachAllocation([&] { put = PutMQEnvelope(entry, other.get()); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(put, 0);
                       }
                       const std::uint32_t id = IdOf(entry);
                       ASSERT_NE(CloseMQEntry(entry), 0);
                       const EnvelopePtr read(GetMQEnvelope(id));
                       ASSERT_STREQ(read->senders.head->record->address,
                                    put != 0 ? "other@a.example" : "sender");
                       entry = Prepared();
                     });
  std::int32_t inserted = 0;
  FailEachAllocation([&] { inserted = InsertMQChannel(entry, "a channel with a long name", 255); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(inserted, 0);
                       }
                       const std::size_t marks = Now().marks.size();
                       ASSERT_NE(CloseMQEntry(entry), 0);
                       ASSERT_EQ(Now().marks.size(), marks + (inserted != 0 ? 3 : 2));
                       entry = Prepared();
                     });
  const char* path = nullptr;
  FailEachAllocation([&] { path = GetMQPathName(entry, ".another extension that is long"); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(path, nullptr);
                       }
                     });
  DiscardMQEntry(entry);
}

TEST_F(FailingEntry, TheConnectionIsMadeOrNot) {
  std::int32_t connected = 0;
  FailEachAllocation([&] { connected = MQInit("localhost", "agent"); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(connected, 0);
                       }
                       MQContext* const entry = CreateMQEntry();
                       // A setting that could not be read counts as not set: connected, but
                       // without a counter of numbers.
                       ASSERT_TRUE(entry == nullptr || connected != 0);
                       if (!failed) {
                         ASSERT_NE(entry, nullptr);
                       }
                       DiscardMQEntry(entry);
                     },
                     3000);
}

}  // namespace
}  // namespace qob
