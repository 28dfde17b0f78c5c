// A scan while other processes insert, delete and move messages: none is met twice in one scan,
// none that stands still is missed.
#include <sys/mman.h>

#include <atomic>
#include <set>

#include "platform/btrieve/block_file.h"
#include "platform/os/process.h"
#include "queue/queueid_support.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kScans = 8;
#else
constexpr int kScans = 40;
#endif
constexpr int kStanding = 100;
constexpr unsigned kFirstStanding = 0x70000000;

struct Progress {
  std::atomic<bool> stop;
  std::atomic<int> inserted;
  std::atomic<int> deleted;
  std::atomic<int> moved;
};

class ScanBeside : public ::testing::Test {
 protected:
  ScanBeside() {
    void* page =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) std::abort();
    progress_ = new (page) Progress{};
    std::filesystem::create_directory(other_);
  }
  ~ScanBeside() override { munmap(progress_, sizeof(Progress)); }

  static bool Start(MesgHandle* db) {
    return InitQOBDll_NOMQ("beside") == 1 && OpenMesgFile(nullptr, db) == 0;
  }
  static bool Write(const std::string& path, MesgHandle* db) {
    char address[] = "ann@a.example";
    char empty[] = "";
    const EnvFrom sender{address, empty, 0, 0, empty};
    const EnvRecip recipient{address, empty, 0, empty};
    TempSpool::Write(NativeOf(path) + ".msg", "mail");
    return CreateStatusFile(path.c_str(), "", db) == 0 &&
           CreateEnvelope(path.c_str(), &sender, db) == 0 &&
           AddEnvelopeRecipient(path.c_str(), &recipient, db) == 0;
  }
  static std::string NativeOf(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
  }
  static unsigned NumberOf(const std::string& path) {
    return static_cast<unsigned>(std::strtoul(path.substr(path.size() - 8).c_str(), nullptr, 16));
  }

  // Half of the standing messages, then others that come and go, then the other half.
  int Prepare() {
    MesgHandle db{};
    if (!Start(&db)) return 1;
    for (int i = 0; i < kStanding; ++i) {
      char name[16];
      std::snprintf(name, sizeof name, "%08X", kFirstStanding + static_cast<unsigned>(i));
      if (!Write(queue_ + "\\" + name, &db)) return 2;
      if (i % 2 != 0) continue;
      const TextPtr passing(GetNewQueueId(queue_.c_str(), &db));
      if (!passing || !Write(passing.get(), &db)) return 3;
      DeleteLockFile(passing.get());
    }
    return CloseMesgFile(&db);
  }
  int Insert() {
    MesgHandle db{};
    if (!Start(&db)) return 1;
    while (!progress_->stop) {
      if (progress_->inserted > progress_->deleted + 200) {
        os::SleepMs(1);
        continue;
      }
      const TextPtr path(GetNewQueueId(queue_.c_str(), &db));
      if (!path || !Write(path.get(), &db)) return 2;
      if (DeleteLockFile(path.get()) != 0) return 3;
      ++progress_->inserted;
    }
    return 0;
  }
  // Takes messages that do not stand still, of either directory, and does something with each.
  template <class Work>
  int ForEachPassing(MesgHandle* db, Work&& work) {
    for (const std::string& directory : {queue_, other_}) {
      char* path = FindFirstQueueId(directory.c_str(), db, nullptr);
      for (; path != nullptr; path = FindNextQueueId(directory.c_str(), db, nullptr)) {
        const TextPtr own(path);
        if (NumberOf(path) >= kFirstStanding || CreateLockFile(path) != 0) continue;
        const int result = work(own.get(), directory);
        DeleteLockFile(own.get());
        if (result != 0) return result;
        if (progress_->stop) return 0;
      }
    }
    return 0;
  }
  int Delete() {
    MesgHandle db{};
    if (!Start(&db)) return 1;
    while (!progress_->stop) {
      const int result = ForEachPassing(&db, [&](const char* path, const std::string&) {
        if (NumberOf(path) % 2 != 0) return 0;
        ++progress_->deleted;
        return DeleteQueueId(path, "DSN", &db) == 0 ? 0 : 2;
      });
      if (result != 0) return result;
    }
    return 0;
  }
  int Move() {
    MesgHandle db{};
    if (!Start(&db)) return 1;
    while (!progress_->stop) {
      const int result = ForEachPassing(&db, [&](const char* path, const std::string& from) {
        const std::string& to = from == queue_ ? other_ : queue_;
        // Somebody may have been quicker between the walk and the lock.
        if (MoveQueueId(path, to.c_str(), &db) == 0) ++progress_->moved;
        return 0;
      });
      if (result != 0) return result;
    }
    return 0;
  }
  // The scanner's own process: its fault as a number, 0 for none.
  int ScanAgainAndAgain(const QueueScanFilter* filter) {
    MesgHandle db{};
    int result = Start(&db) ? 0 : 1;
    for (int scan = 0; result == 0 && (scan < kScans || progress_->moved < 20 ||
                                       progress_->deleted < 20 || progress_->inserted < 20);
         ++scan) {
      result = ScanOnce(filter, &db);
    }
    progress_->stop = true;
    return result;
  }
  int ScanOnce(const QueueScanFilter* filter, MesgHandle* db) {
    std::set<std::string> met;
    int standing = 0;
    char* path = FindFirstQueueId(queue_.c_str(), db, filter);
    for (; path != nullptr; path = FindNextQueueId(queue_.c_str(), db, filter)) {
      const bool fresh = met.insert(path).second;
      if (NumberOf(path) >= kFirstStanding) ++standing;
      filter != nullptr ? ReleaseQueueId(path) : FreeQueueId(path);
      if (!fresh) return 10;
    }
    return standing == kStanding ? 0 : 11;
  }

  void Run(const QueueScanFilter* filter) {
    ASSERT_EQ(InChild([&] { return Prepare(); }), 0);
    const std::vector<int> results = InChildren(4, [&](int index) {
      const int result = index == 0   ? ScanAgainAndAgain(filter)
                         : index == 1 ? Insert()
                         : index == 2 ? Delete()
                                      : Move();
      progress_->stop = true;
      return result;
    });
    EXPECT_EQ(results, std::vector<int>(4, 0));
    EXPECT_GE(progress_->moved, 20);
    ASSERT_EQ(InChild([&] { return EachHasItsFile(); }), 0);
  }
  // In the end every message lies where its record says, and nothing else lies there.
  int EachHasItsFile() {
    MesgHandle db{};
    if (!Start(&db)) return 1;
    for (const std::string& directory : {queue_, other_}) {
      std::set<std::string> named;
      char* path = FindFirstQueueId(directory.c_str(), &db, nullptr);
      for (; path != nullptr; path = FindNextQueueId(directory.c_str(), &db, nullptr)) {
        const TextPtr own(path);
        if (!std::filesystem::exists(NativeOf(path) + ".msg")) return 2;
        named.insert(NativeOf(path) + ".msg");
      }
      for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() == ".lck") return 3;
        if (entry.path().extension() == ".msg" && !named.contains(entry.path().string())) return 4;
      }
    }
    return 0;
  }

  TempSpool spool_;
  const std::string queue_ = spool_.queue();
  const std::string other_ = spool_.path("later");
  Progress* progress_ = nullptr;
};

TEST_F(ScanBeside, OthersMeetsWhatStandsStillOnceWithAFilter) {
  const QueueScanFilter filter{0, 0, 0};
  Run(&filter);
}

TEST_F(ScanBeside, OthersMeetsWhatStandsStillOnceWithoutAFilter) { Run(nullptr); }

// Each message goes to one of several scanners that share the work.
TEST_F(ScanBeside, ScannersShareTheMessagesWithoutHandlingOneTwice) {
  constexpr int kMessages = 600;
  ASSERT_EQ(InChild([&] {
              MesgHandle db{};
              if (!Start(&db)) return 1;
              const auto file = btrieve::FileBehind(&db);
              store::Transaction together(*file);
              for (unsigned i = 0; i < kMessages; ++i) {
                char name[16];
                std::snprintf(name, sizeof name, "%08X", i);
                if (!Write(queue_ + "\\" + name, &db)) return 2;
              }
              return together.Commit() == store::kOk ? 0 : 3;
            }),
            0);
  const std::vector<int> results = InChildren(4, [&](int) {
    const QueueScanFilter filter{0, 0, 0};
    MesgHandle db{};
    if (!Start(&db)) return 1;
    for (bool any = true; any;) {
      any = false;
      char* path = FindFirstQueueId(queue_.c_str(), &db, &filter);
      for (; path != nullptr; path = FindNextQueueId(queue_.c_str(), &db, &filter)) {
        any = true;
        ++progress_->deleted;
        if (GetRecipientNumber(path, &db) != 1) return 2;
        if (DeleteQueueId(path, "DSN", &db) != 0) return 3;
        ReleaseQueueId(path);
      }
    }
    return 0;
  });
  EXPECT_EQ(results, std::vector<int>(4, 0));
  EXPECT_EQ(progress_->deleted, kMessages) << "each once, by one of them";
}

}  // namespace
}  // namespace qob::testing
