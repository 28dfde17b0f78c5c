// A relation on a disk that fails at any call, in a system that refuses any call, and without
// memory at any allocation: a status that says so; what was acknowledged is there once, and nothing
// is there half.
#include <sqlite3.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <set>

#include "crash/fault_layer.h"
#include "platform/store/record_file.h"
#include "platform/tessera/open_relation.h"
#include "support/failing_allocator.h"
#include "support/faults.h"
#include "support/two_processes.h"
#include "tessera_fixture.h"

namespace qob::testing {
namespace {

using crash::FaultLayer;
using crash::Op;
using tessera::OpenRelation;

// Exit codes of a trial.
constexpr int kUndisturbed = 0;
constexpr int kAsPlanned = 78;
constexpr int kWrong = 1;

// What must and what may stand in the relation, by key.
struct Ledger {
  std::map<std::string, std::string> there;
  std::set<std::string> perhaps;  // "key/room", or "-key" for one that may be gone
};

// One life of a relation under a fault that `begin` sets and `end` takes away again; end() tells
// whether it came.
class Trial {
 public:
  Trial(std::set<dbError> statuses, std::function<void()> begin, std::function<bool()> end)
      : statuses_(std::move(statuses)), begin_(std::move(begin)), end_(std::move(end)) {}

  int Run(const TempSpool& spool) {
    directory_ = spool.queue();
    store::SetWaitMs(1);
    begin_();
    Work();
    const bool failed = end_();
    OpenRelation::CloseKept();
    if (!Audit()) return kWrong;
    return failed ? kAsPlanned : kUndisturbed;
  }

 private:
  // A failure has one of the fault's statuses; what follows from an earlier one is 3, 4, 8, 17 or
  // 59.
  dbError Note(const char* operation, dbError status) {
    static const std::set<dbError> consequences = {kDone,           kNotOpenNow,    kNoMatch,
                                                   kNothingToActOn, kNoMoreRecords, kStandsAlready};
    if (consequences.count(status) == 0 && statuses_.count(status) == 0) {
      std::fprintf(stderr, "%s gave %d\n", operation, status);
      wrong_ = true;
    }
    return status;
  }
  void Add(People& people, const std::string& name, const std::string& room) {
    if (Note("add", people.Add(name, room)) == kDone) {
      ledger_.there[name] = room;
    } else {
      ledger_.perhaps.insert(name + "/" + room);
    }
  }
  void Change(People& people, const std::string& name, const std::string& room) {
    if (Note("get", people.Get(name)) != kDone) return;
    people.Set(name, room);
    if (Note("put", people.put()) == kDone) {
      ledger_.there[name] = room;
    } else {
      ledger_.perhaps.insert(name + "/" + room);
    }
  }
  void Remove(People& people, const std::string& name) {
    if (Note("get", people.Get(name)) != kDone) return;
    if (Note("del", people.del()) == kDone) {
      ledger_.there.erase(name);
    } else {
      ledger_.perhaps.insert("-" + name);
    }
  }
  void Pass(People& people) {
    Note("begin", people.begin(0));
    dbError status = Note("first", people.first());
    while (status == kDone) status = Note("next", people.next());
    Note("end", people.end());
  }
  dbError Make() {
    return tesRel::create(directory_.c_str(), "people", sizeof(Person), kKeyAt, kKeyBytes, false);
  }
  void Work() {
    Note("create", Make());
    tesseraBase session;
    {
      People people(session, directory_);
      Note("open", people.status());
      Note("lock", people.lock(false, 1));
      for (const char* name : {"alice", "bob", "carol"}) Add(people, name, "first");
      Change(people, "bob", "second");
      Pass(people);
      Note("unlock", people.unlock());
    }
    OpenRelation::CloseKept();
    std::filesystem::remove(directory_ + "/people.id0");
    {
      People people(session, directory_);
      Note("open again", people.status());
      Note("lock again", people.lock(false, 1));
      Remove(people, "carol");
      for (int i = 0; i < 12; ++i) Note("get", people.Get("alice"));
      Pass(people);
      Add(people, "dora", "third");
      Note("unlock again", people.unlock());
    }
  }

  bool Audit() {
    const dbError created = Make();
    tesseraBase session;
    People people(session, directory_);
    if ((created != kDone && created != kStandsAlready) || people.status() != kDone) {
      std::fprintf(stderr, "afterwards create gave %d, open %d\n", created, people.status());
      return false;
    }
    if (people.lock(false, 0) != kDone) return Say("the lock is held by nobody", "");
    std::map<std::string, std::string> met;
    for (const std::string& text : people.All()) {
      const std::string name = text.substr(0, text.find('/'));
      if (!met.emplace(name, text.substr(name.size() + 1)).second) return Say("met twice", text);
      const auto known = ledger_.there.find(name);
      const bool is_there = known != ledger_.there.end() && known->second == met[name];
      if (!is_there && ledger_.perhaps.count(text) == 0) return Say("never written", text);
    }
    for (const auto& [name, room] : ledger_.there) {
      const bool may_differ =
          ledger_.perhaps.lower_bound(name + "/") != ledger_.perhaps.lower_bound(name + "0");
      if (met.count(name) == 0 && ledger_.perhaps.count("-" + name) == 0) return Say("lost", name);
      if (met.count(name) != 0 && met[name] != room && !may_differ) return Say("changed", name);
    }
    Texts left;
    for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
      const std::string name = entry.path().filename().string();
      if (name.find("-new") != std::string::npos || name.find(".new") != std::string::npos) {
        left.push_back(name);
      }
    }
    // What could not be removed is swept by whoever makes one next.
    if (!left.empty() && statuses_.count(kLeavesFiles) == 0) return Say("left behind", left[0]);
    return !wrong_;
  }
  static bool Say(const char* what, const std::string& text) {
    std::fprintf(stderr, "%s: %s\n", what, text.c_str());
    return false;
  }

 public:
  static constexpr dbError kLeavesFiles = -1;  // in `statuses`: of calls that remove

 private:
  const std::set<dbError> statuses_;
  const std::function<void()> begin_;
  const std::function<bool()> end_;
  std::string directory_;
  Ledger ledger_;
  bool wrong_ = false;
};

// Trials with the n-th call failing, for every n, each in a process of its own.
void TryEach(const std::function<int(std::uint64_t nth, bool from_then_on)>& trial,
             bool once_only) {
  for (const bool from_then_on : {false, true}) {
    if (from_then_on && once_only) break;
    for (std::uint64_t nth = 1;; nth += nth < 60 ? 1 : 7) {
      const int outcome = InChild([&] { return trial(nth, from_then_on); });
      if (outcome == kUndisturbed) break;
      ASSERT_EQ(outcome, kAsPlanned)
          << "call " << nth << (from_then_on ? " and all behind it" : " alone");
      ASSERT_LT(nth, 1500U);
    }
  }
}

struct Mishap {
  const char* name;
  Op op;
  int error;
  std::set<dbError> statuses;
};

const std::vector<Mishap>& Mishaps() {
  static const std::vector<Mishap> all = {
      {"open", Op::kOpen, SQLITE_CANTOPEN, {2, 12, 46}},
      {"read", Op::kRead, SQLITE_IOERR_READ, {2, 30}},
      {"write", Op::kWrite, SQLITE_IOERR_WRITE, {2}},
      {"write to a full disk", Op::kWrite, SQLITE_FULL, {18}},
      {"truncate", Op::kTruncate, SQLITE_IOERR_TRUNCATE, {2}},
      {"sync", Op::kSync, SQLITE_IOERR_FSYNC, {2}},
      {"size", Op::kSize, SQLITE_IOERR_FSTAT, {2, 30}},
      {"lock", Op::kLock, SQLITE_IOERR_LOCK, {2}},
      {"lock held", Op::kLock, SQLITE_BUSY, {84}},
      {"map", Op::kShmMap, SQLITE_IOERR_SHMMAP, {2}},
      {"map without memory", Op::kShmMap, SQLITE_NOMEM, {2, 101}},
      {"map lock", Op::kShmLock, SQLITE_IOERR_SHMLOCK, {2}},
      {"map lock held", Op::kShmLock, SQLITE_BUSY, {84}},
      {"delete", Op::kDelete, SQLITE_IOERR_DELETE, {2}},
      {"access", Op::kAccess, SQLITE_IOERR_ACCESS, {2}},
      {"name", Op::kName, EIO, {2, Trial::kLeavesFiles}},
      {"flush", Op::kFlush, EIO, {2}},
  };
  return all;
}

class TesseraDisk : public ::testing::TestWithParam<std::size_t> {};

TEST_P(TesseraDisk, FailsWithAStatusAndLosesNothing) {
  const Mishap& mishap = Mishaps()[GetParam()];
  SCOPED_TRACE(mishap.name);
  const auto trial = [&](std::uint64_t nth, bool from_then_on) {
    const TempSpool spool;
    Trial one(
        mishap.statuses,
        [&] {
          FaultLayer::Install(spool.queue());
          FaultLayer::FailAt(mishap.op, nth, from_then_on, mishap.error);
        },
        [] {
          const bool failed = FaultLayer::HasFailed();
          FaultLayer::FailNoMore();
          return failed;
        });
    return one.Run(spool);
  };
  // SQLite asks for a lock that is held again and again before it gives up: once is enough.
  TryEach(trial, mishap.error == SQLITE_BUSY);
}
INSTANTIATE_TEST_SUITE_P(Mishaps, TesseraDisk, ::testing::Range<std::size_t>(0, Mishaps().size()));

struct Refusal {
  os::Call call;
  int error;
  std::set<dbError> statuses;
};

const std::vector<Refusal>& Refusals() {
  static const std::vector<Refusal> all = {
      {os::Call::kOpen, EMFILE, {87}},   {os::Call::kOpen, EACCES, {46}},
      {os::Call::kOpen, ENOMEM, {101}},  {os::Call::kRead, EIO, {2}},
      {os::Call::kWrite, ENOSPC, {18}},  {os::Call::kWrite, EIO, {2}},
      {os::Call::kClose, EIO, {2}},      {os::Call::kStat, EIO, {2}},
      {os::Call::kFlush, EIO, {2}},      {os::Call::kRename, EIO, {2}},
      {os::Call::kRename, ENOSPC, {18}}, {os::Call::kRemove, EIO, {2, Trial::kLeavesFiles}},
      {os::Call::kAccess, EACCES, {46}}, {os::Call::kLock, ENOLCK, {2}},
      {os::Call::kMode, EPERM, {46}},
  };
  return all;
}

class TesseraSystem : public ::testing::TestWithParam<std::size_t> {};

TEST_P(TesseraSystem, RefusesWithAStatusAndLosesNothing) {
  const Refusal& refusal = Refusals()[GetParam()];
  SCOPED_TRACE("call kind " + std::to_string(static_cast<int>(refusal.call)) + " error " +
               std::to_string(refusal.error));
  const auto trial = [&](std::uint64_t nth, bool from_then_on) {
    const TempSpool spool;
    spool.SetIni("[Store]\nDurability=system\n");
    std::unique_ptr<FailCalls> failing;
    Trial one(
        refusal.statuses,
        [&] {
          failing = std::make_unique<FailCalls>(
              refusal.call, nth, from_then_on ? Failing::kFromThenOn : Failing::kOnce,
              refusal.error);
        },
        [&] {
          const bool failed = failing->triggered();
          failing.reset();
          return failed;
        });
    return one.Run(spool);
  };
  TryEach(trial, false);
}
INSTANTIATE_TEST_SUITE_P(Refusals, TesseraSystem,
                         ::testing::Range<std::size_t>(0, Refusals().size()));

// ---- memory

class TesseraMemory : public Tessera {
 protected:
  void SetUp() override {
    spool_.SetIni("[Store]\nDurability=system\n");
    Make(false);
    people_ = std::make_unique<People>(session_, directory_);
    for (const char* name : {"alice", "bob", "carol"}) ASSERT_EQ(people_->Add(name, "-"), kDone);
  }
  // `before` puts things right; with enough memory `operation` gives 0 and `done` stands then.
  void FailEach(const std::function<void()>& before, const std::function<dbError()>& operation,
                const Texts& undone, const Texts& done) {
    dbError status = -1;
    before();
    FailEachAllocation([&] { status = operation(); },
                       [&](bool triggered) {
                         ASSERT_TRUE(status == kDone || (triggered && status == 101)) << status;
                         People fresh(session_, directory_);
                         ASSERT_EQ(fresh.All(), status == kDone ? done : undone);
                         before();
                       });
  }

  const std::string directory_ = Directory();
  const Texts all_ = {"alice/-", "bob/-", "carol/-"};
  std::unique_ptr<People> people_;
};

TEST_F(TesseraMemory, OpeningGives101AndLeavesNothingBehind) {
  for (const bool kept : {true, false}) {
    dbError status = -1;
    const auto open = [&] {
      tesseraBase session;
      const People people(session, directory_);
      status = people.status();
    };
    people_.reset();
    FailEachAllocation(open, [&](bool triggered) {
      ASSERT_TRUE(status == kDone || (triggered && status == 101)) << status;
      if (!kept) OpenRelation::CloseKept();
    });
  }
  EXPECT_EQ(People(session_, directory_).All(), all_);
}

TEST_F(TesseraMemory, MakingGives101OrMakesAWholeRelation) {
  dbError status = -1;
  int number = 0;
  std::string name = "made";
  FailEachAllocation(
      [&] {
        status = tesRel::create(directory_.c_str(), name.c_str(), sizeof(Person), kKeyAt, kKeyBytes,
                                true);
      },
      [&](bool triggered) {
        ASSERT_TRUE(status == kDone || (triggered && status == 101)) << status;
        const dbError again = tesRel::create(directory_.c_str(), name.c_str(), sizeof(Person),
                                             kKeyAt, kKeyBytes, true);
        ASSERT_TRUE(again == kDone || again == kStandsAlready) << again;
        ASSERT_TRUE(again == kStandsAlready || status != kDone);
        ASSERT_EQ(Opening(name.c_str()), kDone);
        name = "made" + std::to_string(++number);
      });
}

TEST_F(TesseraMemory, TheIndexFileIsMadeAgainOrStaysMissing) {
  dbError status = -1;
  people_.reset();
  const auto spoil = [&] {
    OpenRelation::CloseKept();
    std::filesystem::remove(Index());
  };
  spoil();
  FailEachAllocation(
      [&] {
        tesseraBase session;
        const People people(session, directory_);
        status = people.status();
      },
      [&](bool triggered) {
        ASSERT_TRUE(status == kDone || (triggered && status == 101)) << status;
        spoil();
      });
  EXPECT_EQ(Opening(), kDone);
}

TEST_F(TesseraMemory, LookUpsGive101AndLeaveTheBufferAlone) {
  const auto forget = [&] { people_->Set("BOB", "sought"); };
  FailEach(
      forget, [&] { return people_->get(0); }, all_, all_);
  dbError status = -1;
  std::string met;
  // Also while records come to be kept in memory.
  FailEachAllocation(
      [&] {
        status = people_->begin(0);
        if (status == kDone) status = people_->first();
        for (int i = 0; i < 2 && status == kDone; ++i) status = people_->next();
      },
      [&](bool triggered) {
        ASSERT_TRUE(status == kDone || (triggered && status == 101)) << status;
        if (status == kDone) {
          ASSERT_EQ(people_->text(), "carol/-");
        }
      });
}

TEST_F(TesseraMemory, AddAddsOneOrNone) {
  FailEach(
      [&] {
        if (people_->Get("dora") == kDone) {
          ASSERT_EQ(people_->del(), kDone);
        }
        people_->Set("dora", "new");
      },
      [&] { return people_->add(); }, all_, {"alice/-", "bob/-", "carol/-", "dora/new"});
}

TEST_F(TesseraMemory, PutChangesAllOrNothing) {
  FailEach(
      [&] {
        ASSERT_EQ(people_->Get("bob"), kDone);
        people_->Set("bob", "-");
        ASSERT_EQ(people_->put(), kDone);
        people_->Set("bob", "changed");
      },
      [&] { return people_->put(); }, all_, {"alice/-", "bob/changed", "carol/-"});
}

TEST_F(TesseraMemory, DelDeletesOneOrNone) {
  FailEach(
      [&] {
        if (people_->Get("bob") != kDone) {
          ASSERT_EQ(people_->Add("bob", "-"), kDone);
        }
      },
      [&] { return people_->del(); }, all_, {"alice/-", "carol/-"});
}

TEST_F(TesseraMemory, LockingGives101OrHoldsTheLock) {
  dbError status = -1;
  // With an index file that was made anew meanwhile, so that there is something to open.
  const auto spoil = [&] {
    people_->unlock();
    std::filesystem::remove(Index());
  };
  spoil();
  FailEachAllocation([&] { status = people_->lock(false, 0); },
                     [&](bool triggered) {
                       ASSERT_TRUE(status == kDone || (triggered && status == 101)) << status;
                       People other(session_, directory_);
                       ASSERT_EQ(other.lock(false, 0), status == kDone ? kHeldTooLong : kDone);
                       ASSERT_EQ(other.unlock(), kDone);
                       spoil();
                     });
}

}  // namespace
}  // namespace qob::testing
