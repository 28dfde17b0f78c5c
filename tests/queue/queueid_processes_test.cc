// Several processes draw ids from one empty spool: no id twice, and every number that the counter
// gave is accounted for.
#include <sys/mman.h>

#include <atomic>

#include "platform/os/process.h"
#include "queue/queueid_support.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kIds = 20000;
#else
constexpr int kIds = 100000;
#endif

// Memory that children share with their parent.
template <class T>
class Shared {
 public:
  Shared() {
    void* page =
        mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) std::abort();
    value_ = new (page) T{};
  }
  ~Shared() { munmap(value_, sizeof(T)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  T* operator->() const { return value_; }

 private:
  T* value_;
};

struct Drawn {
  std::atomic<int> started;
  std::atomic<int> total;
  std::atomic<std::uint8_t> times[kIds * 2];
};

// The number of an id whose path is as it must be; -1 otherwise.
long NumberOf(const std::string& path, const std::string& directory) {
  if (path.size() != directory.size() + 9 || !path.starts_with(directory + "\\")) return -1;
  const std::string digits = path.substr(directory.size() + 1);
  if (digits.find_first_not_of("0123456789ABCDEF") != std::string::npos) return -1;
  return std::strtol(digits.c_str(), nullptr, 16);
}

class Processes : public ::testing::Test {
 protected:
  // What each child does: draws until all ids are drawn, keeping every third one's lock.
  int DrawAll(Drawn* drawn, int processes) {
    if (InitQOBDll_NOMQ("drawer") != 1) return 1;
    ++drawn->started;
    while (drawn->started < processes) os::SleepMs(1);
    MesgHandle db{};
    if (OpenMesgFile(nullptr, &db) != 0) return 2;
    while (drawn->total.fetch_add(1) < kIds) {
      const TextPtr path(GetNewQueueId(spool_.queue().c_str(), &db));
      if (!path) return 3;
      const long number = NumberOf(path.get(), spool_.queue());
      if (number < 0 || number >= kIds * 2) return 4;
      if (drawn->times[number].fetch_add(1) != 0) return 5;
      if (number % 3 != 0 && DeleteLockFile(path.get()) != 0) return 6;
    }
    return CloseMesgFile(&db) == 0 ? 0 : 7;
  }

  void Run(int processes) {
    const Shared<Drawn> drawn;
    const std::vector<int> results =
        InChildren(processes, [&](int) { return DrawAll(drawn.operator->(), processes); });
    EXPECT_EQ(results, std::vector<int>(static_cast<std::size_t>(processes), 0));
    for (int i = 0; i < kIds; ++i) ASSERT_EQ(drawn->times[i].load(), 1) << i;
    for (int i = kIds; i < kIds * 2; ++i) ASSERT_EQ(drawn->times[i].load(), 0) << i;
    const std::string counter = TempSpool::Read(spool_.temp() + "/unique.$$$");
    ASSERT_EQ(counter.size(), 4u);
    std::uint32_t last = 0;
    std::memcpy(&last, counter.data(), 4);
    EXPECT_EQ(last, std::uint32_t{kIds - 1});
    int locks = 0;
    for (const auto& entry : std::filesystem::directory_iterator(spool_.queue())) {
      if (entry.path().extension() == ".lck") ++locks;
    }
    EXPECT_EQ(locks, (kIds + 2) / 3);
  }

  TempSpool spool_;
};

TEST_F(Processes, TwoDrawEveryIdOnce) { Run(2); }
TEST_F(Processes, EightDrawEveryIdOnce) { Run(8); }

}  // namespace
}  // namespace qob::testing
