// A gate between processes: order, death inside, time, and what stands in its file.
#include "platform/os/gate.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/os/file_status.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::os {
namespace {

using testing::TempSpool;

constexpr int kLongMs = 30000;
constexpr std::size_t kMutexesAt = 64;

// A place with a file that the gate's is made like.
struct Place {
  Place() : path(spool.path("x.btr-gate")), like(spool.File("x.btr", "store")) {
    chmod(like.c_str(), 0600);
  }
  std::unique_ptr<Gate> Open() const {
    Result<std::unique_ptr<Gate>> gate = Gate::Open(path, like);
    EXPECT_EQ(gate.error, 0) << std::strerror(gate.error);
    return std::move(gate.value);
  }
  int OpenError() const { return Gate::Open(path, like).error; }

  const TempSpool spool;
  const std::string path;
  const std::string like;
};

// Memory that children share with the test.
template <class T>
class Shared {
 public:
  Shared()
      : at_(new (mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                      0)) T()) {}
  ~Shared() { munmap(at_, sizeof(T)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  T* operator->() const { return at_; }

 private:
  T* at_;
};

struct Signal {
  Signal() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
  ~Signal() {
    close(ends[0]);
    close(ends[1]);
  }
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;
  void Give() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
  void Await() const {
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
  }
  int ends[2] = {-1, -1};
};

void Kill(pid_t child) {
  kill(child, SIGKILL);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

bool CanPass(Gate& gate) {
  const int error = gate.Enter(kLongMs);
  if (error == 0) gate.Leave();
  return error == 0;
}

TEST(Gate, IsMadeWithTheModeOfItsModel) {
  const Place place;
  const mode_t before = umask(077);
  chmod(place.like.c_str(), 0640);
  EXPECT_TRUE(CanPass(*place.Open()));
  umask(before);
  const Result<FileStatus> status = StatusOf(place.path);
  ASSERT_EQ(status.error, 0);
  EXPECT_EQ(status.value.mode, 0640u);
  EXPECT_EQ(status.value.size, 4096);
}

TEST(Gate, IsMadeForOwnerAndGroupOfItsModel) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const Place place;
  ASSERT_EQ(chown(place.like.c_str(), 65534, 65534), 0);
  place.Open();
  struct stat status {};
  ASSERT_EQ(stat(place.path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 65534u);
  EXPECT_EQ(status.st_gid, 65534u);
}

TEST(Gate, HoldsTheHeaderThatItsFormatNames) {
  const Place place;
  place.Open();
  const std::string bytes = TempSpool::Read(place.path);
  ASSERT_EQ(bytes.size(), 4096u);
  EXPECT_EQ(bytes.substr(0, 8), "QOBGATE1");
  const std::uint32_t numbers[2] = {1, sizeof(pthread_mutex_t)};
  EXPECT_EQ(std::memcmp(bytes.data() + 8, numbers, sizeof numbers), 0);
  EXPECT_EQ(bytes.substr(16, BootId().size()), BootId());
  EXPECT_EQ(bytes[16 + BootId().size()], '\0');
  const std::uint64_t inode = StatusOf(place.path).value.inode;
  EXPECT_EQ(std::memcmp(bytes.data() + 56, &inode, sizeof inode), 0);
}

TEST(Gate, LetsOneInAtATime) {
  const Place place;
  const Shared<std::array<int, 2>> state;  // inside now, broken
  const std::vector<int> results = testing::InChildren(4, [&](int) {
    const std::unique_ptr<Gate> gate = place.Open();
    for (int i = 0; i < 500; ++i) {
      if (gate->Enter(kLongMs) != 0) return 1;
      if ((*state.operator->())[0]++ != 0) (*state.operator->())[1] = 1;
      --(*state.operator->())[0];
      gate->Leave();
    }
    return 0;
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ((*state.operator->())[1], 0);
}

// `count` processes take turns until `rounds` entries are made; what each of them got.
std::vector<int> Turns(int count, int rounds) {
  struct State {
    std::atomic<int> ready{0};
    int entries = 0;
    std::array<int, 8> of{};
  };
  const Place place;
  place.Open();
  const Shared<State> state;
  const std::vector<int> results = testing::InChildren(count, [&](int process) {
    const std::unique_ptr<Gate> gate = place.Open();
    ++state->ready;
    while (state->ready < count) std::this_thread::yield();
    for (bool more = true; more;) {
      if (gate->Enter(kLongMs) != 0) return 1;
      more = state->entries < rounds;
      if (more) {
        ++state->entries;
        ++state->of[static_cast<std::size_t>(process)];
        // Whoever commits inside waits for the disk: the others get time to queue up.
        usleep(200);
      }
      gate->Leave();
    }
    return 0;
  });
  EXPECT_EQ(results, std::vector<int>(static_cast<std::size_t>(count), 0));
  EXPECT_EQ(state->entries, rounds);
  return {state->of.begin(), state->of.begin() + count};
}

void ExpectFair(const std::vector<int>& entries) {
  const auto [least, most] = std::minmax_element(entries.begin(), entries.end());
  EXPECT_GE(*least * 10, *most * 8) << "least " << *least << ", most " << *most;
}

TEST(Gate, TwoProcessesGetTheSameShare) { ExpectFair(Turns(2, 4000)); }
TEST(Gate, FourProcessesGetTheSameShare) { ExpectFair(Turns(4, 4000)); }

TEST(Gate, ThreadsOfOneProcessTakeTurns) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  std::array<int, 4> entries{};
  int total = 0;  // guarded by the gate alone: the thread sanitizer looks on
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    threads.emplace_back([&, i] {
      for (bool more = true; more;) {
        if (gate->Enter(kLongMs) != 0) return;
        more = total < 2000;
        if (more) {
          ++total;
          ++entries[i];
          usleep(200);
        }
        gate->Leave();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(total, 2000);
  ExpectFair({entries.begin(), entries.end()});
}

TEST(Gate, WaitsNoLongerThanItsTime) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  const Signal inside;
  const Signal done;
  const pid_t holder = testing::Spawn([&] {
    const std::unique_ptr<Gate> own = place.Open();
    if (own->Enter(kLongMs) != 0) return 1;
    inside.Give();
    done.Await();
    own->Leave();
    return 0;
  });
  inside.Await();
  EXPECT_EQ(gate->Enter(0), kTimedOut);
  EXPECT_EQ(gate->Enter(20), kTimedOut);
  done.Give();
  EXPECT_EQ(testing::Wait(holder), 0);
  EXPECT_TRUE(CanPass(*gate));
}

TEST(Gate, SecondWaiterTimesOutOutsideAsWell) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  ASSERT_EQ(gate->Enter(kLongMs), 0);
  const std::vector<int> results =
      testing::InChildren(3, [&](int) { return place.Open()->Enter(50) == kTimedOut ? 0 : 1; });
  EXPECT_EQ(results, (std::vector<int>{0, 0, 0}));
  gate->Leave();
  EXPECT_TRUE(CanPass(*gate));
}

TEST(Gate, StandsOpenAfterItsHolderWasKilled) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  for (int round = 0; round < 200; ++round) {
    const Signal inside;
    const pid_t holder = testing::Spawn([&] {
      const std::unique_ptr<Gate> own = place.Open();
      if (own->Enter(kLongMs) != 0) return 1;
      inside.Give();
      pause();
      return 0;
    });
    inside.Await();
    Kill(holder);
    ASSERT_TRUE(CanPass(*gate)) << round;
  }
}

TEST(Gate, StandsOpenAfterAWaiterWasKilled) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(gate->Enter(kLongMs), 0);
    const Signal coming;
    std::vector<pid_t> waiters;
    for (int i = 0; i < 2; ++i) {
      waiters.push_back(testing::Spawn([&] {
        const std::unique_ptr<Gate> own = place.Open();
        coming.Give();
        return own->Enter(kLongMs);
      }));
    }
    coming.Await();
    coming.Await();
    // Wherever they are by now: before, between or in the mutexes.
    usleep(static_cast<useconds_t>(round * 20));
    for (pid_t waiter : waiters) Kill(waiter);
    gate->Leave();
    ASSERT_TRUE(CanPass(*gate)) << round;
  }
}

TEST(Gate, StandsOpenAfterEveryoneWasKilled) {
  const Place place;
  place.Open();
  for (int round = 0; round < 50; ++round) {
    const Signal running;
    std::vector<pid_t> children;
    for (int i = 0; i < 3; ++i) {
      children.push_back(testing::Spawn([&] {
        const std::unique_ptr<Gate> own = place.Open();
        running.Give();
        while (CanPass(*own)) {
        }
        return 1;
      }));
    }
    for (int i = 0; i < 3; ++i) running.Await();
    usleep(static_cast<useconds_t>(round * 50));
    for (pid_t child : children) Kill(child);
    ASSERT_TRUE(CanPass(*place.Open())) << round;
  }
}

// Writes at an offset of a gate file that nobody uses.
void Patch(const std::string& path, off_t offset, const std::string& bytes) {
  const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), offset), static_cast<ssize_t>(bytes.size()));
  close(fd);
}

TEST(Gate, MakesAFileOfAnotherRunOfTheMachineAnew) {
  const Place place;
  place.Open();
  const std::string good = TempSpool::Read(place.path);
  // Left locked by a thread of that run, which no kernel will ever clear.
  Patch(place.path, kMutexesAt, std::string(256, '\x7f'));
  Patch(place.path, 16, "00000000-0000-0000-0000-000000000000");
  EXPECT_TRUE(CanPass(*place.Open()));
  EXPECT_EQ(TempSpool::Read(place.path).substr(0, kMutexesAt), good.substr(0, kMutexesAt));
}

TEST(Gate, MakesACopyOfAFileAnew) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  ASSERT_EQ(gate->Enter(kLongMs), 0);
  const std::string copy = place.spool.path("copy.btr-gate");
  std::filesystem::copy(place.path, copy);
  Result<std::unique_ptr<Gate>> other = Gate::Open(copy, place.like);
  ASSERT_EQ(other.error, 0);
  EXPECT_EQ(other.value->Enter(0), 0);
  other.value->Leave();
  gate->Leave();
}

TEST(Gate, MakesAFileOfAnotherLayoutAnew) {
  const Place place;
  place.Open();
  const std::string good = TempSpool::Read(place.path);
  const struct {
    off_t offset;
    const char* bytes;
  } kCases[] = {{0, "NOTAGATE"}, {8, "\x02"}, {12, "\x01"}};
  for (const auto& one : kCases) {
    Patch(place.path, kMutexesAt, std::string(256, '\x7f'));
    Patch(place.path, one.offset, one.bytes);
    EXPECT_TRUE(CanPass(*place.Open())) << one.offset;
    EXPECT_EQ(TempSpool::Read(place.path).substr(0, kMutexesAt), good.substr(0, kMutexesAt));
  }
}

TEST(Gate, MakesACutFileAnew) {
  const Place place;
  for (off_t size : {0, 1, 63, 64, 100, 2000, 4095}) {
    place.Open();
    ASSERT_EQ(truncate(place.path.c_str(), size), 0);
    EXPECT_TRUE(CanPass(*place.Open())) << size;
    EXPECT_EQ(std::filesystem::file_size(place.path), 4096u);
  }
}

TEST(Gate, KeepsALargerFile) {
  const Place place;
  place.Open();
  ASSERT_EQ(truncate(place.path.c_str(), 10000), 0);
  EXPECT_TRUE(CanPass(*place.Open()));
}

TEST(Gate, AFileThatIsUsedIsNotMadeAnewByAnother) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  ASSERT_EQ(gate->Enter(kLongMs), 0);
  const std::vector<int> results =
      testing::InChildren(2, [&](int) { return place.Open()->Enter(0) == kTimedOut ? 0 : 1; });
  EXPECT_EQ(results, (std::vector<int>{0, 0}));
  gate->Leave();
}

TEST(Gate, TwoWhoComeFirstShareOneFile) {
  for (int round = 0; round < 50; ++round) {
    const Place place;
    if (round % 2 == 1) TempSpool::Write(place.path, "something else");
    const Shared<std::array<std::atomic<int>, 2>> state;  // ready, inside
    const std::vector<int> results = testing::InChildren(4, [&](int) {
      auto& [ready, inside] = *state.operator->();
      ++ready;
      while (ready < 4) std::this_thread::yield();
      const std::unique_ptr<Gate> gate = place.Open();
      for (int i = 0; i < 20; ++i) {
        if (gate->Enter(kLongMs) != 0) return 1;
        if (inside++ != 0) return 2;
        --inside;
        gate->Leave();
      }
      return 0;
    });
    ASSERT_EQ(results, (std::vector<int>{0, 0, 0, 0})) << round;
  }
}

TEST(Gate, RefusesOnceItsFileWasCut) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  ASSERT_EQ(truncate(place.path.c_str(), 0), 0);
  EXPECT_EQ(gate->Enter(kLongMs), ESTALE);
  EXPECT_EQ(gate->Enter(kLongMs), ESTALE);
}

TEST(Gate, IsLeftAliveWhenItsFileWasCutInside) {
  const Place place;
  for (off_t size : {0, 100}) {
    std::unique_ptr<Gate> gate = place.Open();
    ASSERT_EQ(gate->Enter(kLongMs), 0);
    ASSERT_EQ(truncate(place.path.c_str(), size), 0);
    gate->Leave();
    EXPECT_EQ(gate->Enter(kLongMs), ESTALE);
    gate.reset();
    // The same thread holds and leaves another gate afterwards.
    EXPECT_TRUE(CanPass(*place.Open()));
  }
}

TEST(Gate, WaiterOutlivesACutOfTheFile) {
  const Place place;
  const std::unique_ptr<Gate> gate = place.Open();
  ASSERT_EQ(gate->Enter(kLongMs), 0);
  const Signal coming;
  const pid_t waiter = testing::Spawn([&] {
    const std::unique_ptr<Gate> own = place.Open();
    coming.Give();
    const int error = own->Enter(500);
    return error == kTimedOut || error == ESTALE ? 0 : 1;
  });
  coming.Await();
  usleep(100000);
  ASSERT_EQ(truncate(place.path.c_str(), 0), 0);
  gate->Leave();
  EXPECT_EQ(testing::Wait(waiter), 0);
}

TEST(Gate, RefusesOnceItsFileWasRemovedAndCanBeLeft) {
  const Place place;
  std::unique_ptr<Gate> gate = place.Open();
  ASSERT_EQ(gate->Enter(kLongMs), 0);
  ASSERT_EQ(unlink(place.path.c_str()), 0);
  gate->Leave();
  EXPECT_EQ(gate->Enter(kLongMs), ESTALE);
  gate = place.Open();
  EXPECT_TRUE(CanPass(*gate));
}

TEST(Gate, NeverGoesThroughASymbolicLink) {
  const Place place;
  const std::string victim = place.spool.File("victim", "keep");
  std::filesystem::create_symlink(victim, place.path);
  EXPECT_EQ(place.OpenError(), ELOOP);
  EXPECT_EQ(TempSpool::Read(victim), "keep");
  std::filesystem::remove(place.path);
  std::filesystem::create_symlink(place.spool.path("none"), place.path);
  EXPECT_EQ(place.OpenError(), ELOOP);
  EXPECT_FALSE(std::filesystem::exists(place.spool.path("none")));
}

TEST(Gate, RefusesWhatIsNoFile) {
  const Place place;
  ASSERT_EQ(mkfifo(place.path.c_str(), 0600), 0);
  EXPECT_EQ(place.OpenError(), EINVAL);
  std::filesystem::remove(place.path);
  std::filesystem::create_directory(place.path);
  EXPECT_EQ(place.OpenError(), EISDIR);
  EXPECT_EQ(Gate::Open("", place.like).error, ENOENT);
  EXPECT_EQ(Gate::Open(place.spool.path("no/gate"), place.like).error, ENOENT);
}

TEST(Gate, RefusesAFileThatMayNotBeWritten) {
  const Place place;
  place.Open();
  chmod(place.path.c_str(), 0400);
  std::filesystem::permissions(place.spool.root(), std::filesystem::perms::all);
  const int result =
      testing::WithoutPrivileges([&] { return Gate::Open(place.path, place.like).error; });
  if (result == testing::kNotPossible) GTEST_SKIP() << "root cannot be given up here";
  EXPECT_EQ(result, EACCES);
}

TEST(Gate, IsNotMadeWithoutItsModel) {
  const Place place;
  EXPECT_EQ(Gate::Open(place.path, place.spool.path("none")).error, ENOENT);
}

int OpenDescriptors() {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++count;
  }
  return count;
}

TEST(Gate, AFailedSystemCallIsReportedAndLeavesNothingOpen) {
  for (const char* start : {"missing", "foreign", "good"}) {
    for (Call call : {Call::kOpen, Call::kStat, Call::kLock, Call::kMode, Call::kRead, Call::kWrite,
                      Call::kSeek}) {
      const Place place;
      if (std::strcmp(start, "foreign") == 0) TempSpool::Write(place.path, "something else");
      if (std::strcmp(start, "good") == 0) place.Open();
      chmod(place.like.c_str(), 0640);
      const int before = OpenDescriptors();
      bool failed = false;
      testing::FailEachCall(
          call,
          [&] {
            if (std::strcmp(start, "missing") == 0) std::filesystem::remove(place.path);
            if (std::strcmp(start, "foreign") == 0) TempSpool::Write(place.path, "something else");
            Result<std::unique_ptr<Gate>> gate = Gate::Open(place.path, place.like);
            failed = gate.error != 0;
            EXPECT_EQ(gate.value == nullptr, failed);
            if (failed) return;
            const int error = gate.value->Enter(kLongMs);
            failed = error != 0;
            if (!failed) gate.value->Leave();
          },
          [&](bool triggered) {
            EXPECT_EQ(failed, triggered) << start << static_cast<int>(call);
            EXPECT_EQ(OpenDescriptors(), before);
            // What a failure left behind is good or made anew by the next.
            EXPECT_TRUE(CanPass(*place.Open()));
          });
    }
  }
}

TEST(Gate, AFullDiskIsAnErrorOfOpening) {
  const Place place;
  const testing::FailCalls full(Call::kWrite, 1, testing::Failing::kFromThenOn, ENOSPC);
  EXPECT_EQ(place.OpenError(), ENOSPC);
}

}  // namespace
}  // namespace qob::os
