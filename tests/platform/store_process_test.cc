// What holds between processes and between threads.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include "platform/store_fixture.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using namespace store;

constexpr OpenOptions kQuick{Durability::kSystem, false};
constexpr std::int64_t kFrameBytes = 4096 + 24;

class StoreProcess : public StoreFile {
 protected:
  void TearDown() override {
    SetWaitMs(30000);
    SetLogLimitPages(kLogLimitPages);
  }
};

TEST_F(StoreProcess, GivesEveryNumberOnce) {
  MakeAndOpen();
  const std::vector<int> results = InChildren(4, [&](int who) {
    FilePointer file;
    if (RecordFile::Open(Path(), kQuick, &file) != kOk) return 1;
    std::int64_t last = 0;
    for (int i = 0; i < 300; ++i) {
      Entry entry;
      if (file->Insert(SmallRecord("a", who * 1000 + i).bytes, &entry) != kOk) return 2;
      if (entry.number <= last) return 3;
      last = entry.number;
      // The highest number goes free again and must not come back.
      if (i % 2 == 0 && file->Delete(entry) != kOk) return 4;
    }
    return 0;
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0, 0, 0}));
  Entry entry;
  ASSERT_EQ(OpenIt()->Insert(SmallRecord("z", 0).bytes, &entry), kOk);
  EXPECT_EQ(entry.number, 1201);
}

TEST_F(StoreProcess, NeverUsesANumberTwice) {
  FilePointer file = MakeAndOpen();
  Entry first;
  ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &first), kOk);
  ASSERT_EQ(file->Delete(first), kOk);
  file.reset();
  file = OpenIt();
  Entry second;
  ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &second), kOk);
  EXPECT_GT(second.number, first.number);
  // Only what was never acknowledged may be given to another.
  {
    Transaction transaction(*file);
    Entry undone;
    ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &undone), kOk);
  }
  Entry third;
  ASSERT_EQ(file->Insert(SmallRecord("a", 1).bytes, &third), kOk);
  EXPECT_GT(third.number, second.number);
}

TEST_F(StoreProcess, KeepsTheLogWithinItsLimit) {
  MakeAndOpen();
  SetLogLimitPages(40);
  const std::vector<int> results = InChildren(2, [&](int who) {
    FilePointer file;
    if (RecordFile::Open(Path(), kQuick, &file) != kOk) return 1;
    for (int i = 0; i < 500; ++i) {
      Entry entry;
      if (file->Insert(SmallRecord("a", who * 1000 + i).bytes, &entry) != kOk) return 2;
      struct stat status {};
      // The limit, and what one commit may add to it.
      if (stat((Path() + "-wal").c_str(), &status) != 0 || status.st_size > 60 * kFrameBytes)
        return 3;
    }
    return LongestCheckpointUs() > 0 ? 0 : 4;
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0}));
}

TEST_F(StoreProcess, KeepsTheLogWithinItsLimitWhenEachComesForOneCommit) {
  MakeAndOpen();
  SetLogLimitPages(20);
  for (int i = 0; i < 100; ++i) {
    Entry entry;
    ASSERT_EQ(OpenIt(kQuick)->Insert(SmallRecord("a", i).bytes, &entry), kOk);
    ASSERT_LT(std::filesystem::file_size(Path() + "-wal"), 40U * kFrameBytes) << i;
  }
}

TEST_F(StoreProcess, AReaderThatStaysHoldsTheLogButNobodyUp) {
  const FilePointer file = MakeAndOpen();
  Entry entry;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(file->Insert(SmallRecord("a", i).bytes, &entry), kOk);
  SetLogLimitPages(20);
  const int result = InChild([&] {
    FilePointer reader;
    if (RecordFile::Open(Path(), {Durability::kCommit, true}, &reader) != kOk) return 1;
    int seen = 0;
    const Status status = reader->Snapshot([&](const RecordFile::Seen& one) {
      if (seen++ == 0) {
        if (InChild([&] {
              FilePointer writer;
              if (RecordFile::Open(Path(), kQuick, &writer) != kOk) return 1;
              for (int i = 0; i < 200; ++i) {
                Entry made;
                if (writer->Insert(SmallRecord("b", i).bytes, &made) != kOk) return 2;
              }
              return writer->Checkpoint() == kBusy ? 0 : 3;
            }) != 0) {
          return false;
        }
      }
      return one.ok;
    });
    return status == kOk && seen == 3 ? 0 : 2;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(file->Checkpoint(), kOk);
}

TEST_F(StoreProcess, WaitsNoLongerThanItMay) {
  const FilePointer file = MakeAndOpen();
  const FilePointer other = OpenIt();
  Transaction transaction(*file);
  ASSERT_EQ(transaction.begun(), kOk);
  SetWaitMs(100);
  const auto start = std::chrono::steady_clock::now();
  std::thread([&] {
    std::int64_t records = 0;
    EXPECT_EQ(other->Count(&records), kBusy);
    Transaction refused(*other);
    EXPECT_EQ(refused.begun(), kBusy);
    EXPECT_EQ(refused.Commit(), kBusy);
  }).join();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  EXPECT_EQ(InChild([&] {
              FilePointer own;
              Entry entry;
              if (RecordFile::Open(Path(), {}, &own) != kOk) return 1;
              return own->Insert(SmallRecord("b", 1).bytes, &entry) == kBusy ? 0 : 2;
            }),
            0);
  EXPECT_EQ(transaction.Commit(), kOk);
}

TEST_F(StoreProcess, ThreadsTakeTurns) {
  MakeAndOpen();
  const FilePointer file = OpenIt(kQuick);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int who = 0; who < 4; ++who) {
    threads.emplace_back([&, who] {
      const FilePointer own = OpenIt(kQuick);
      for (int i = 0; i < 100; ++i) {
        Entry entry;
        SmallRecord record;
        if (who % 2 == 0) {
          Transaction transaction(*file);
          // Either both or none, whoever looks.
          wrong += file->Insert(SmallRecord("pair", i).bytes, &entry) != kOk;
          wrong += file->Insert(SmallRecord("pair", i).bytes, &entry) != kOk;
          wrong += i % 3 == 0 ? 0 : transaction.Commit() != kOk;
        } else {
          std::int64_t records = -1;
          wrong += own->Count(&records) != kOk || records % 2 != 0;
          const Status status = own->Find(0, Seek::kFirst, {}, &entry, record.bytes);
          wrong += status != kOk && status != kEndOfFile;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  std::int64_t records = 0;
  EXPECT_EQ(file->Count(&records), kOk);
  EXPECT_EQ(records, 2 * 2 * 66);
}

TEST_F(StoreProcess, OpensAndClosesFromManyThreads) {
  MakeAndOpen();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int who = 0; who < 4; ++who) {
    threads.emplace_back([&, who] {
      for (int i = 0; i < 40; ++i) {
        FilePointer file;
        Entry entry;
        wrong += RecordFile::Open(Path(), kQuick, &file) != kOk;
        wrong += file->Insert(SmallRecord("a", who * 100 + i).bytes, &entry) != kOk;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  std::int64_t records = 0;
  EXPECT_EQ(OpenIt()->Count(&records), kOk);
  EXPECT_EQ(records, 160);
}

TEST_F(StoreProcess, WorksWithoutItsGate) {
  MakeAndOpen();
  SetLogLimitPages(10);
  std::filesystem::remove(Path() + "-gate");
  std::filesystem::create_directory(Path() + "-gate");
  const FilePointer file = OpenIt(kQuick);
  for (int i = 0; i < 50; ++i) {
    Entry entry;
    ASSERT_EQ(file->Insert(SmallRecord("a", i).bytes, &entry), kOk);
  }
  EXPECT_EQ(file->Checkpoint(), kBusy);  // never without the gate
  EXPECT_GT(std::filesystem::file_size(Path() + "-wal"), 100U * kFrameBytes);
}

TEST_F(StoreProcess, OpensAnewAFileThatTookThePlace) {
  FilePointer old = MakeAndOpen();
  Entry entry;
  ASSERT_EQ(old->Insert(SmallRecord("old", 1).bytes, &entry), kOk);
  for (const char* suffix : {"", "-wal", "-shm"}) {
    std::filesystem::rename(Path() + suffix, Path("aside") + suffix);
  }
  const FilePointer fresh = MakeAndOpen();
  std::int64_t records = -1;
  EXPECT_EQ(fresh->Count(&records), kOk);
  EXPECT_EQ(records, 0);
  EXPECT_EQ(old->Count(&records), kOk);
  EXPECT_EQ(records, 1);
}

}  // namespace
}  // namespace qob::testing
