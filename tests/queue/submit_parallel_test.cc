// Submissions by several threads and by several processes at once: each message is there, once.
#include <map>
#include <set>
#include <thread>

#include "submit_support.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

class SubmitParallel : public SubmitTest {
 protected:
  static constexpr int kSubmitters = 4;
  static constexpr int kEach = 15;

  void SetUp() override {
    SubmitTest::SetUp();
    for (int i = 0; i < kSubmitters; ++i) {
      files_.push_back(spool_.File("message" + std::to_string(i),
                                   "Subject: of " + std::to_string(i) + "\r\n\r\nbody\r\n"));
    }
  }
  // How many of its messages submitter `index` got acknowledged.
  int Submit(int index) const {
    int acknowledged = 0;
    for (int i = 0; i < kEach; ++i) {
      Call call;
      call.file = files_[static_cast<std::size_t>(index)].c_str();
      if (call.Send() != nullptr) ++acknowledged;
    }
    return acknowledged;
  }
  void ExpectAllOnce() const {
    const std::vector<std::uint32_t> ids = Waiting();
    EXPECT_EQ(ids.size(), std::size_t{kSubmitters * kEach});
    EXPECT_EQ(std::set<std::uint32_t>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(QueueFiles().size(), ids.size());
    std::map<std::string, int> subjects;
    for (const std::uint32_t id : ids) {
      const std::string queued = TempSpool::Read(GetMQPathNameById(id, ".msg"));
      const std::size_t at = queued.find("Subject: of ");
      ASSERT_NE(at, std::string::npos);
      ++subjects[queued.substr(at + 12)];
    }
    for (int i = 0; i < kSubmitters; ++i) {
      EXPECT_EQ(subjects[std::to_string(i) + "\r\n\r\nbody\r\n"], kEach);
    }
  }

  std::vector<std::string> files_;
};

TEST_F(SubmitParallel, ThreadsSubmitSideBySide) {
  std::vector<int> acknowledged(kSubmitters);
  std::vector<std::thread> threads;
  for (int i = 0; i < kSubmitters; ++i) {
    threads.emplace_back(
        [this, i, &acknowledged] { acknowledged[static_cast<std::size_t>(i)] = Submit(i); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(acknowledged, std::vector<int>(kSubmitters, kEach));
  ExpectAllOnce();
}

TEST_F(SubmitParallel, ProcessesSubmitSideBySide) {
  TerminateQOBDll();
  MQTerminate();
  const std::vector<int> acknowledged = InChildren(
      kSubmitters, [&](int index) { return InitQOBDll("child") == 1 ? Submit(index) : 0; });
  EXPECT_EQ(acknowledged, std::vector<int>(kSubmitters, kEach));
  ASSERT_EQ(InitQOBDll("submit"), 1);
  ExpectAllOnce();
}

}  // namespace
}  // namespace qob::testing
