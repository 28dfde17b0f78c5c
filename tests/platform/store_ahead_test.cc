// A walk reads ahead, and nobody can tell: each step gives what the file says at that moment.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/store_fixture.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using namespace store;

constexpr OpenOptions kQuick{Durability::kSystem, false};
constexpr int kRecords = 200;
constexpr int kSteps = 20;  // by then a walk has entries in hand

std::string Name(int number) {
  char text[8];
  std::snprintf(text, sizeof text, "a%04d", number);
  return text;
}

class StoreAhead : public StoreFile {
 protected:
  // Records a0000, a0010, a0020 ..., the number field in the other direction.
  void SetUp() override {
    file_ = MakeAndOpen();
    Transaction together(*file_);
    for (int i = 0; i < kRecords; ++i) {
      Entry entry;
      ASSERT_EQ(file_->Insert(SmallRecord(Name(10 * i), kRecords - i).bytes, &entry), kOk);
    }
    ASSERT_EQ(together.Commit(), kOk);
  }

  // The text of the entry behind *place, or the status.
  std::string Step(Entry* place, int index = 0) const {
    SmallRecord record;
    const std::string key = place->key;
    const Status status = file_->Next(index, key, place->number, place, record.bytes);
    return status == kOk ? record.text() : std::to_string(status);
  }
  Entry WalkTo(int steps, int index = 0) const {
    Entry place;
    SmallRecord record;
    EXPECT_EQ(file_->Find(index, Seek::kFirst, "", &place, record.bytes), kOk);
    for (int i = 0; i < steps; ++i) Step(&place, index);
    return place;
  }
  Entry Find(RecordFile& file, int number, SmallRecord* record) const {
    Entry entry;
    EXPECT_EQ(file.Find(0, Seek::kEqual, Key(file, 0, Name(number)), &entry, record->bytes), kOk);
    return entry;
  }
  // Work of another process.
  template <class Work>
  void Elsewhere(Work&& work) const {
    const std::vector<int> results = InChildren(1, [&](int) {
      FilePointer file;
      if (RecordFile::Open(Path(), kQuick, &file) != kOk) return 1;
      return work(*file) == kOk ? 0 : 2;
    });
    EXPECT_EQ(results, std::vector<int>{0});
  }

  FilePointer file_;
};

TEST_F(StoreAhead, WalksEveryEntryOnce) {
  for (const int index : {0, 1}) {
    Entry place = WalkTo(0, index);
    for (int i = 1; i < kRecords; ++i) {
      ASSERT_EQ(Step(&place, index), Name(10 * (index == 0 ? i : kRecords - 1 - i)));
    }
    EXPECT_EQ(Step(&place, index), std::to_string(kEndOfFile));
    EXPECT_EQ(Step(&place, index), std::to_string(kEndOfFile));
  }
}

TEST_F(StoreAhead, MeetsWhatAnotherProcessPutRightBehindIt) {
  Entry place = WalkTo(kSteps);
  Elsewhere([](RecordFile& file) {
    Entry entry;
    return file.Insert(SmallRecord(Name(10 * kSteps + 1), 0).bytes, &entry);
  });
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 1));
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 10));
}

TEST_F(StoreAhead, PassesOverWhatAnotherProcessDeleted) {
  Entry place = WalkTo(kSteps);
  Elsewhere([&](RecordFile& file) {
    SmallRecord record;
    return file.Delete(Find(file, 10 * kSteps + 10, &record));
  });
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 20));
}

TEST_F(StoreAhead, GivesWhatAnotherProcessMadeOfARecord) {
  Entry place = WalkTo(kSteps);
  Elsewhere([&](RecordFile& file) {
    SmallRecord record;
    Entry entry = Find(file, 10 * kSteps + 10, &record);
    return file.Update(&entry, SmallRecord(Name(10 * kSteps + 10), 0, "", "changed").bytes);
  });
  SmallRecord record;
  const std::string key = place.key;
  ASSERT_EQ(file_->Next(0, key, place.number, &place, record.bytes), kOk);
  EXPECT_EQ(record.rest(), "changed");
  // The version is the new one: what was read can be written.
  EXPECT_EQ(file_->Update(&place, record.bytes), kOk);
}

TEST_F(StoreAhead, MeetsWhatThisProcessChanged) {
  Entry place = WalkTo(kSteps);
  Entry entry;
  ASSERT_EQ(file_->Insert(SmallRecord(Name(10 * kSteps + 1), 0).bytes, &entry), kOk);
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 1));
  place = WalkTo(kSteps);
  ASSERT_EQ(file_->Delete(entry), kOk);
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 10));
}

TEST_F(StoreAhead, SeesItsOwnTransactionAndForgetsWhatWasUndone) {
  Entry place = WalkTo(kSteps);
  const Entry before = place;
  {
    Transaction undone(*file_);
    Entry entry;
    ASSERT_EQ(file_->Insert(SmallRecord(Name(10 * kSteps + 1), 0).bytes, &entry), kOk);
    EXPECT_EQ(Step(&place), Name(10 * kSteps + 1));
    for (int i = 1; i < kSteps; ++i) Step(&place);
  }
  place = before;
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 10));
}

TEST_F(StoreAhead, GivesTheMomentOfASnapshotInsideOne) {
  Entry place = WalkTo(kSteps);
  std::string met;
  const Status status = file_->Snapshot([&](const RecordFile::Seen&) {
    Elsewhere([](RecordFile& file) {
      Entry entry;
      return file.Insert(SmallRecord(Name(10 * kSteps + 1), 0).bytes, &entry);
    });
    Entry inside = place;
    met = Step(&inside);
    return false;
  });
  EXPECT_EQ(status, kOk);
  EXPECT_EQ(met, Name(10 * kSteps + 10));
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 1));
}

TEST_F(StoreAhead, WalksThatTakeTurnsAreNotMixedUp) {
  Entry forward = WalkTo(kSteps);
  Entry backward = WalkTo(kSteps, 1);
  Entry behind = WalkTo(3);
  for (int i = 1; i <= kSteps; ++i) {
    EXPECT_EQ(Step(&forward), Name(10 * (kSteps + i)));
    EXPECT_EQ(Step(&backward, 1), Name(10 * (kRecords - 1 - kSteps - i)));
    EXPECT_EQ(Step(&behind), Name(10 * (3 + i)));
  }
}

TEST_F(StoreAhead, AWalkThatGoesBackReadsAgain) {
  Entry place = WalkTo(kSteps);
  const Entry before = place;
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 10));
  place = before;
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 10));
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 20));
}

TEST_F(StoreAhead, GoesOnOverACheckpointAndANewLog) {
  Entry place = WalkTo(kSteps);
  ASSERT_EQ(file_->Checkpoint(), kOk);
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 10));
  Elsewhere([](RecordFile& file) {
    Entry entry;
    return file.Insert(SmallRecord(Name(10 * kSteps + 11), 0).bytes, &entry);
  });
  EXPECT_EQ(Step(&place), Name(10 * kSteps + 11));
}

TEST_F(StoreAhead, StepsWhileAnotherProcessWrites) {
  // The other keeps a pair of records: both or none are there at any moment.
  const auto pair = [](RecordFile& file) {
    for (int round = 0; round < 200; ++round) {
      Entry first;
      Entry second;
      Transaction in(file);
      if (file.Insert(SmallRecord("b1", 0).bytes, &first) != kOk) return 1;
      if (file.Insert(SmallRecord("b2", 0).bytes, &second) != kOk) return 2;
      if (in.Commit() != kOk) return 3;
      Transaction out(file);
      if (file.Delete(second) != kOk || file.Delete(first) != kOk) return 4;
      if (out.Commit() != kOk) return 5;
    }
    return 0;
  };
  file_.reset();
  const std::vector<int> results = InChildren(2, [&](int who) {
    FilePointer file;
    if (RecordFile::Open(Path(), kQuick, &file) != kOk) return 10;
    if (who == 0) return pair(*file);
    for (int round = 0; round < 300; ++round) {
      Entry place;
      SmallRecord record;
      int met = 0;
      std::string last;
      Status status = file->Find(0, Seek::kFirst, "", &place, record.bytes);
      for (; status == kOk; ++met) {
        if (record.text() <= last) return 11;
        last = record.text();
        const std::string key = place.key;
        status = file->Next(0, key, place.number, &place, record.bytes);
      }
      if (status != kEndOfFile || met < kRecords || met > kRecords + 2) return 12;
    }
    return 0;
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0}));
}

}  // namespace
}  // namespace qob::testing
