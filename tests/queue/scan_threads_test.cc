// Threads of one process walk by one handle, call by call in turns: each has a place of its own.
#include <mutex>
#include <thread>

#include "queue/queueid_support.h"

namespace qob::testing {
namespace {

class ScanThreads : public QueueTest {
 protected:
  static constexpr int kMessages = 60;
  static constexpr int kThreads = 4;

  void SetUp() override {
    QueueTest::SetUp();
    for (int i = 1; i <= kMessages; ++i) {
      char name[16];
      std::snprintf(name, sizeof name, "%08X", static_cast<unsigned>(i));
      all_.push_back(Message(name, 10, 0));
    }
  }
  // A whole walk, each call in the lock.
  Texts Walk(const QueueScanFilter* filter) {
    Texts met;
    bool first = true;
    for (bool more = true; more; first = false) {
      std::scoped_lock turn(turn_);
      char* path = (first ? FindFirstQueueId : FindNextQueueId)(queue().c_str(), &db_, filter);
      more = path != nullptr;
      if (!more) break;
      met.push_back(path);
      filter != nullptr ? ReleaseQueueId(path) : FreeQueueId(path);
    }
    return met;
  }
  void Run(const QueueScanFilter* filter) {
    Texts met[kThreads];
    std::vector<std::thread> threads;
    for (Texts& mine : met) threads.emplace_back([&] { mine = Walk(filter); });
    for (std::thread& thread : threads) thread.join();
    for (const Texts& mine : met) EXPECT_EQ(mine, all_);
    EXPECT_EQ(Locks(), Texts{});
  }

  std::mutex turn_;
  Texts all_;
};

TEST_F(ScanThreads, EachMeetsAllWithAFilter) { Run(&kAnySize); }
TEST_F(ScanThreads, EachMeetsAllWithoutAFilter) { Run(nullptr); }

TEST_F(ScanThreads, EachWithItsOwnHandleNeedsNoTurns) {
  std::vector<std::thread> threads;
  std::vector<std::size_t> met(kThreads);
  for (std::size_t& mine : met) {
    threads.emplace_back([&] {
      MesgHandle own{};
      if (OpenMesgFile(nullptr, &own) != 0) return;
      char* path = FindFirstQueueId(queue().c_str(), &own, nullptr);
      for (; path != nullptr; path = FindNextQueueId(queue().c_str(), &own, nullptr)) {
        ++mine;
        FreeQueueId(path);
      }
      CloseMesgFile(&own);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(met, std::vector<std::size_t>(kThreads, kMessages));
}

TEST_F(ScanThreads, OneThreadsPlaceIsNotAnothers) {
  char* path = FindFirstQueueId(queue().c_str(), &db_, nullptr);
  ASSERT_NE(path, nullptr);
  FreeQueueId(path);
  std::thread other([&] {
    EXPECT_EQ(FindNextQueueId(queue().c_str(), &db_, nullptr), nullptr);
    char* own = FindFirstQueueId(queue().c_str(), &db_, nullptr);
    EXPECT_STREQ(own, all_[0].c_str());
    FreeQueueId(own);
  });
  other.join();
  path = FindNextQueueId(queue().c_str(), &db_, nullptr);
  EXPECT_STREQ(path, all_[1].c_str());
  FreeQueueId(path);
}

TEST_F(ScanThreads, DrawIdsAndTakeLocksBesideEachOther) {
  std::vector<std::thread> threads;
  std::vector<Texts> drawn(kThreads);
  for (Texts& mine : drawn) {
    threads.emplace_back([&] {
      MesgHandle own{};
      if (OpenMesgFile(nullptr, &own) != 0) return;
      for (int i = 0; i < 100; ++i) {
        char* path = GetNewQueueId(queue().c_str(), &own);
        if (path == nullptr) return;
        mine.push_back(path);
        ReleaseQueueId(path);
      }
      CloseMesgFile(&own);
    });
  }
  for (std::thread& thread : threads) thread.join();
  Texts all = all_;
  for (const Texts& mine : drawn) all.insert(all.end(), mine.begin(), mine.end());
  EXPECT_EQ(all.size(), std::size_t{kMessages + kThreads * 100});
  std::sort(all.begin(), all.end());
  EXPECT_EQ(std::unique(all.begin(), all.end()), all.end());
}

}  // namespace
}  // namespace qob::testing
