// The lock of a relation: one at a time among processes and among the objects of a process, as long
// as its holder lives and no longer.
#include <signal.h>
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "platform/tessera/open_relation.h"
#include "support/faults.h"
#include "support/two_processes.h"
#include "tessera_fixture.h"

namespace qob::testing {
namespace {

using Clock = std::chrono::steady_clock;

int Milliseconds(Clock::time_point since) {
  return static_cast<int>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

// Memory that processes share.
template <class T>
class Shared {
 public:
  Shared()
      : at_(mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    new (at_) T{};
  }
  ~Shared() { munmap(at_, sizeof(T)); }
  T* operator->() const { return static_cast<T*>(at_); }
  T& operator*() const { return *static_cast<T*>(at_); }

 private:
  void* at_;
};

class TesseraLock : public Tessera {
 protected:
  void SetUp() override { Make(); }
  // What a process that has nothing to do with this one is told.
  dbError Elsewhere(bool shared, std::uint32_t timeout) const {
    return InChild([&] {
      tesseraBase session;
      People people(session, Directory());
      return people.lock(shared, timeout);
    });
  }
};

TEST_F(TesseraLock, ExcludesAnotherObjectOfThisProcess) {
  People one(session_, Directory());
  People two(session_, Directory());
  ASSERT_EQ(one.lock(false, 0), kDone);
  EXPECT_EQ(two.lock(false, 0), kHeldTooLong);
  EXPECT_EQ(two.lock(true, 0), kHeldTooLong);
  EXPECT_EQ(two.status(), kHeldTooLong);
  ASSERT_EQ(one.unlock(), kDone);
  EXPECT_EQ(two.lock(false, 0), kDone);
}

TEST_F(TesseraLock, ExcludesAnotherProcess) {
  People people(session_, Directory());
  ASSERT_EQ(people.lock(false, kForEver), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong);
  EXPECT_EQ(Elsewhere(true, 20), kHeldTooLong);
  ASSERT_EQ(people.unlock(), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kDone);
}

TEST_F(TesseraLock, ExcludesAnotherWayToTheSameRelation) {
  std::filesystem::create_symlink(Directory(), spool_.path("way"));
  People one(session_, Directory());
  People two(session_, spool_.path("way"));
  ASSERT_EQ(one.lock(false, 0), kDone);
  EXPECT_EQ(two.lock(false, 0), kHeldTooLong);
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong);
}

TEST_F(TesseraLock, OfOneRelationLeavesTheOthersAlone) {
  Make(true, "others");
  People people(session_, Directory());
  People others(session_, Directory(), "others");
  ASSERT_EQ(people.lock(false, 0), kDone);
  EXPECT_EQ(others.lock(false, 0), kDone);
}

TEST_F(TesseraLock, IsSharedByThoseWhoAskForThat) {
  People one(session_, Directory());
  People two(session_, Directory());
  People three(session_, Directory());
  ASSERT_EQ(one.lock(true, 0), kDone);
  ASSERT_EQ(two.lock(true, 0), kDone);
  EXPECT_EQ(Elsewhere(true, 0), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong);
  EXPECT_EQ(three.lock(false, 0), kHeldTooLong);
  ASSERT_EQ(one.unlock(), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong) << "the other one still has it";
  ASSERT_EQ(two.unlock(), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kDone);
}

TEST_F(TesseraLock, OneWhoHasItKeepsIt) {
  People people(session_, Directory());
  ASSERT_EQ(people.lock(false, 0), kDone);
  EXPECT_EQ(people.lock(false, 0), kDone);
  EXPECT_EQ(people.lock(true, 0), kDone);
  EXPECT_EQ(Elsewhere(true, 0), kHeldTooLong);
  ASSERT_EQ(people.unlock(), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kDone) << "one unlock is enough";
  EXPECT_EQ(people.unlock(), kDone);
}

TEST_F(TesseraLock, DoesNotHoldUpThoseWhoDoNotTakeIt) {
  People one(session_, Directory());
  ASSERT_EQ(one.lock(false, 0), kDone);
  People two(session_, Directory());
  ASSERT_EQ(two.Add("alice"), kDone);
  EXPECT_EQ(two.All(), Texts{"alice/"});
  EXPECT_EQ(InChild([&] {
              tesseraBase session;
              People theirs(session, Directory());
              return theirs.Add("bob");
            }),
            kDone);
}

TEST_F(TesseraLock, WaitsAsLongAsItIsToldTo) {
  People one(session_, Directory());
  ASSERT_EQ(one.lock(false, 0), kDone);
  People two(session_, Directory());
  const Clock::time_point begin = Clock::now();
  EXPECT_EQ(two.lock(false, 120), kHeldTooLong);
  EXPECT_GE(Milliseconds(begin), 120);
  const Clock::time_point elsewhere = Clock::now();
  EXPECT_EQ(Elsewhere(false, 120), kHeldTooLong);
  EXPECT_GE(Milliseconds(elsewhere), 120);
}

TEST_F(TesseraLock, IsGotByOneWhoWaits) {
  People one(session_, Directory());
  ASSERT_EQ(one.lock(false, 0), kDone);
  const pid_t waiter = Spawn([&] {
    tesseraBase session;
    People people(session, Directory());
    return people.lock(false, kForEver);
  });
  std::thread thread([&] {
    tesseraBase session;
    People people(session, Directory());
    EXPECT_EQ(people.lock(false, kForEver), kDone);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  ASSERT_EQ(one.unlock(), kDone);
  thread.join();
  EXPECT_EQ(Wait(waiter), kDone);
}

TEST_F(TesseraLock, EndsWithTheObject) {
  auto one = std::make_unique<People>(session_, Directory());
  ASSERT_EQ(one->lock(false, 0), kDone);
  one.reset();
  EXPECT_EQ(Elsewhere(false, 0), kDone);
  People two(session_, Directory());
  EXPECT_EQ(two.lock(false, 0), kDone);
}

TEST_F(TesseraLock, EndsWithAHolderThatIsKilled) {
  int told[2];
  ASSERT_EQ(pipe(told), 0);
  const pid_t holder = Spawn([&] {
    tesseraBase session;
    People people(session, Directory());
    const char status = static_cast<char>(people.lock(false, kForEver));
    if (write(told[1], &status, 1) != 1) return 1;
    pause();
    return 0;
  });
  char status = 1;
  ASSERT_EQ(read(told[0], &status, 1), 1);
  ASSERT_EQ(status, kDone);
  People people(session_, Directory());
  EXPECT_EQ(people.lock(false, 0), kHeldTooLong);
  std::thread waiter([&] { EXPECT_EQ(people.lock(false, kForEver), kDone); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  kill(holder, SIGKILL);
  Wait(holder);
  waiter.join();
  close(told[0]);
  close(told[1]);
}

TEST_F(TesseraLock, MayBeGivenBackByAnotherThread) {
  People people(session_, Directory());
  std::thread([&] { EXPECT_EQ(people.lock(false, 0), kDone); }).join();
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong) << "it does not end with the thread";
  ASSERT_EQ(people.unlock(), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kDone);
}

TEST_F(TesseraLock, LetsNobodyInBesideItsHolder) {
  struct State {
    std::atomic<int> inside{0};
    std::atomic<int> met{0};
    std::atomic<int> turns{0};
  };
  const Shared<State> state;
  constexpr int kProcesses = 3;
  constexpr int kThreads = 2;
  constexpr int kTurns = 60;
  const auto work = [&] {
    tesseraBase session;
    for (int turn = 0; turn < kTurns; ++turn) {
      People people(session, Directory());
      if (people.lock(false, kForEver) != kDone) return;
      if (state->inside.fetch_add(1) != 0) ++state->met;
      std::this_thread::yield();
      --state->inside;
      ++state->turns;
      if (people.unlock() != kDone) return;
    }
  };
  const auto results = InChildren(kProcesses, [&](int) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
    return 0;
  });
  EXPECT_EQ(results, std::vector<int>(kProcesses));
  EXPECT_EQ(state->met, 0);
  EXPECT_EQ(state->turns, kProcesses * kThreads * kTurns);
}

// One who comes back as soon as he has gone would otherwise never let the other one in.
TEST_F(TesseraLock, OneWhoWaitsIsNotPassedByForEver) {
  const Shared<std::atomic<int>> turns;
  const Shared<std::atomic<bool>> stop;
  const pid_t greedy = Spawn([&] {
    tesseraBase session;
    People people(session, Directory());
    while (!*stop) {
      if (people.lock(false, kForEver) != kDone) return 1;
      std::this_thread::sleep_for(std::chrono::microseconds(500));
      if (people.unlock() != kDone) return 2;
      ++*turns;
    }
    return 0;
  });
  while (*turns == 0) std::this_thread::yield();
  People people(session_, Directory());
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(people.lock(false, kForEver), kDone);
    ASSERT_EQ(people.unlock(), kDone);
  }
  *stop = true;
  EXPECT_EQ(Wait(greedy), 0);
}

TEST_F(TesseraLock, WhoGaveUpWaitingDoesNotHoldUpThoseBehindHim) {
  People one(session_, Directory());
  ASSERT_EQ(one.lock(true, 0), kDone);
  People alone(session_, Directory());
  std::thread impatient([&] { EXPECT_EQ(alone.lock(false, 60), kHeldTooLong); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  People shares(session_, Directory());
  EXPECT_EQ(shares.lock(true, kForEver), kDone);
  impatient.join();
}

TEST_F(TesseraLock, HoldsWhenTheIndexFileWasMadeAnewMeanwhile) {
  People old(session_, Directory());
  ASSERT_TRUE(std::filesystem::remove(Index()));
  People fresh(session_, Directory());
  ASSERT_EQ(fresh.lock(false, 0), kDone);
  EXPECT_EQ(old.lock(false, 0), kHeldTooLong);
  ASSERT_EQ(fresh.unlock(), kDone);
  ASSERT_TRUE(std::filesystem::remove(Index()));
  EXPECT_EQ(old.lock(false, 0), kDone);
  EXPECT_TRUE(std::filesystem::exists(Index()));
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong);
}

TEST_F(TesseraLock, OfARelationWithoutANameIsItsOwn) {
  People old(session_, Directory());
  ASSERT_EQ(old.Add("alice"), kDone);
  for (const auto& entry : std::filesystem::directory_iterator(Directory())) {
    std::filesystem::remove(entry.path());
  }
  Make();
  EXPECT_EQ(old.lock(false, 0), kDone);
  EXPECT_EQ(old.All(), Texts{"alice/"}) << "it does not slip into another relation";
  EXPECT_EQ(old.unlock(), kDone);
}

TEST_F(TesseraLock, AFailureOfTheSystemIsSaidAndHoldsNothing) {
  People people(session_, Directory());
  for (std::uint64_t nth = 1; nth <= 2; ++nth) {
    {
      const FailCalls fail(os::Call::kLock, nth, Failing::kOnce, ENOLCK);
      EXPECT_NE(people.lock(false, kForEver), kDone);
      EXPECT_TRUE(fail.triggered());
    }
    EXPECT_EQ(Elsewhere(false, 0), kDone);
    ASSERT_EQ(people.lock(false, 0), kDone);
    ASSERT_EQ(people.unlock(), kDone);
  }
}

// ---- forks

TEST_F(TesseraLock, AChildHasNotItsParentsLock) {
  People people(session_, Directory());
  ASSERT_EQ(people.lock(false, 0), kDone);
  EXPECT_EQ(InChild([&] {
              if (people.unlock() != kNotOpenNow) return 1;
              if (people.lock(false, 0) != kNotOpenNow) return 2;
              tesseraBase session;
              People own(session, Directory());
              return own.lock(false, 0) == kHeldTooLong ? 0 : 3;
            }),
            0);
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong);
  ASSERT_EQ(people.unlock(), kDone);
  EXPECT_EQ(Elsewhere(false, 0), kDone);
}

TEST_F(TesseraLock, AChildThatDestroysItsParentsObjectLeavesItTheLock) {
  auto people = std::make_unique<People>(session_, Directory());
  ASSERT_EQ(people->lock(false, 0), kDone);
  EXPECT_EQ(InChild([&] {
              people.reset();
              return 0;
            }),
            0);
  EXPECT_EQ(Elsewhere(false, 0), kHeldTooLong);
}

TEST_F(TesseraLock, AChildKeepsItsLockWhenItDestroysItsParentsObject) {
  auto people = std::make_unique<People>(session_, Directory());
  EXPECT_EQ(InChild([&] {
              tesseraBase session;
              People own(session, Directory());
              if (own.lock(false, 0) != kDone) return 1;
              people.reset();
              tessera::OpenRelation::CloseKept();
              return Elsewhere(false, 0) == kHeldTooLong ? 0 : 2;
            }),
            0);
}

}  // namespace
}  // namespace qob::testing
