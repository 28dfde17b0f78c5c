// Random operations on the store and on the model beside it, answer by answer.
#include <random>

#include <gtest/gtest.h>

#include "platform/store_fixture.h"
#include "platform/store_model.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using namespace store;

// What is tested here is not what a power cut leaves.
constexpr OpenOptions kQuick{Durability::kSystem, false};

class Pair {
 public:
  Pair(std::vector<FilePointer> files, unsigned seed) : files_(std::move(files)), random_(seed) {}

  void Step() {
    const unsigned choice = Below(100);
    if (choice < 30) {
      Insert();
    } else if (choice < 40) {
      Change();
    } else if (choice < 47) {
      Remove();
    } else if (choice < 70) {
      Find();
    } else if (choice < 92) {
      Next();
    } else if (choice < 97) {
      ReadOne();
    } else if (choice < 99) {
      Undo();
    } else {
      Compare();
    }
  }

  void Compare() {
    std::int64_t count = -1;
    ASSERT_EQ(File().Count(&count), kOk);
    ASSERT_EQ(count, static_cast<std::int64_t>(model_.rows().size()));
    auto expected = model_.rows().begin();
    ASSERT_EQ(File().Snapshot([&](const RecordFile::Seen& seen) {
      EXPECT_TRUE(expected != model_.rows().end() && seen.ok && seen.number == expected->first &&
                  std::memcmp(seen.record.data(), expected->second.record.bytes, kSmallRecord) ==
                      0);
      ++expected;
      return true;
    }),
              kOk);
    ASSERT_TRUE(expected == model_.rows().end());
    std::string problem;
    ASSERT_EQ(File().Check(&problem, {}), kOk);
    ASSERT_EQ(problem, "");
  }

 private:
  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }
  RecordFile& File() { return *files_[Below(static_cast<unsigned>(files_.size()))]; }

  SmallRecord AnyRecord() {
    static constexpr const char* kTexts[] = {
        "", "a", "A", "ab", "Ab", "b", "queue", "QUEUE", "0001a2b3f", "sixteen-letters!"};
    static constexpr std::int32_t kNumbers[] = {0, 1, -1, 255, 256, INT32_MAX, INT32_MIN, -256};
    static constexpr const char* kWords[] = {"", "x", "X", "twelve bytes"};
    return {kTexts[Below(10)], kNumbers[Below(8)], kWords[Below(4)],
            Below(2) != 0 ? std::string_view("rest of the record") : std::string_view()};
  }
  std::int64_t AnyNumber() {
    if (model_.rows().empty() || Below(10) == 0) return 1 + Below(300);
    auto at = model_.rows().begin();
    std::advance(at, Below(static_cast<unsigned>(model_.rows().size())));
    return at->first;
  }

  void Insert() {
    const SmallRecord record = AnyRecord();
    Entry entry;
    ASSERT_EQ(File().Insert(record.bytes, &entry), kOk);
    ASSERT_EQ(entry.number, model_.Insert(record));
    versions_[entry.number] = entry.version;
  }
  void Change() {
    const std::int64_t number = AnyNumber();
    const bool stands = model_.rows().contains(number);
    const bool stale = Below(4) == 0;
    Entry entry{number, versions_[number] + (stale ? -1 : 0), {}};
    const SmallRecord record = AnyRecord();
    ASSERT_EQ(File().Update(&entry, record.bytes), stands && !stale ? kOk : kConflict);
    if (!stands || stale) return;
    model_.Update(number, record);
    versions_[number] = entry.version;
  }
  void Remove() {
    const std::int64_t number = AnyNumber();
    const bool stands = model_.rows().contains(number);
    ASSERT_EQ(File().Delete({number, versions_[number], {}}), stands ? kOk : kConflict);
    model_.Delete(number);
  }
  void ExpectFound(Status status, Status none, std::int64_t number, int index, const Entry& entry,
                   const SmallRecord& record) {
    ASSERT_EQ(status, number == 0 ? none : kOk);
    if (number == 0) return;
    ASSERT_EQ(entry.number, number);
    ASSERT_EQ(entry.version, versions_[number]);
    ASSERT_EQ(record, model_.rows().at(number).record);
    ASSERT_EQ(entry.key, IndexKeyOf(files_[0]->description().keys[static_cast<std::size_t>(index)],
                                    record.bytes));
    place_ = entry;
    place_record_ = record;
    place_index_ = index;
  }
  void Find() {
    const int index = static_cast<int>(Below(3));
    const auto seek = static_cast<Seek>(Below(4));
    const SmallRecord wanted = AnyRecord();
    const std::string model_key = StoreModel::KeyOf(index, wanted);
    const std::int64_t number = model_.First(index, [&](const StoreModel::Place& place) {
      switch (seek) {
        case Seek::kEqual:
          return place.first == model_key;
        case Seek::kGreater:
          return place.first > model_key;
        case Seek::kGreaterOrEqual:
          return place.first >= model_key;
        case Seek::kFirst:
          break;
      }
      return true;
    });
    const std::string key =
        IndexKeyOf(files_[0]->description().keys[static_cast<std::size_t>(index)], wanted.bytes);
    Entry entry;
    SmallRecord record;
    const Status status = File().Find(index, seek, key, &entry, record.bytes);
    ExpectFound(status, seek == Seek::kEqual ? kNotFound : kEndOfFile, number, index, entry,
                record);
  }
  // From the last place met, whatever became of its record.
  void Next() {
    if (place_.number == 0) return;
    const StoreModel::Place from{StoreModel::KeyOf(place_index_, place_record_), place_.number};
    const std::int64_t number =
        model_.First(place_index_, [&](const StoreModel::Place& place) { return place > from; });
    Entry entry;
    SmallRecord record;
    const Status status =
        File().Next(place_index_, place_.key, place_.number, &entry, record.bytes);
    ExpectFound(status, kEndOfFile, number, place_index_, entry, record);
  }
  void ReadOne() {
    const std::int64_t number = AnyNumber();
    const int index = static_cast<int>(Below(3));
    Entry entry;
    SmallRecord record;
    const Status status = File().Read(number, index, &entry, record.bytes);
    ExpectFound(status, kNotFound, model_.rows().contains(number) ? number : 0, index, entry,
                record);
  }
  void Undo() {
    RecordFile& file = File();
    Transaction transaction(file);
    ASSERT_EQ(transaction.begun(), kOk);
    Entry entry;
    ASSERT_EQ(file.Insert(AnyRecord().bytes, &entry), kOk);
    const std::int64_t number = AnyNumber();
    if (model_.rows().contains(number)) {
      ASSERT_EQ(file.Delete({number, versions_[number], {}}), kOk);
    }
  }

  std::vector<FilePointer> files_;
  StoreModel model_;
  std::map<std::int64_t, std::int64_t> versions_;
  std::mt19937 random_;
  Entry place_;
  SmallRecord place_record_;
  int place_index_ = 0;
};

TEST_F(StoreFile, AnswersAsTheModelDoes) {
  MakeAndOpen();
  Pair pair({OpenIt(kQuick), OpenIt(kQuick)}, 20261121);
  for (int i = 0; i < 3000 && !HasFatalFailure(); ++i) pair.Step();
  pair.Compare();
}

TEST_F(StoreFile, AnswersAsTheModelDoesWhileTheLogIsMoved) {
  MakeAndOpen();
  SetLogLimitPages(8);
  Pair pair({OpenIt(kQuick), OpenIt(kQuick)}, 4711);
  for (int i = 0; i < 1500 && !HasFatalFailure(); ++i) pair.Step();
  pair.Compare();
  SetLogLimitPages(kLogLimitPages);
}

// Each process keeps to texts of its own and must see its own changes and no others among them.
TEST_F(StoreFile, KeepsTheRecordsOfTwoProcessesApart) {
  MakeAndOpen();
  const std::vector<int> results = InChildren(2, [&](int who) {
    FilePointer file;
    if (RecordFile::Open(Path(), kQuick, &file) != kOk) return 1;
    std::mt19937 random(static_cast<unsigned>(who));
    std::map<int, Entry> mine;
    const std::string text(1, static_cast<char>('p' + who));
    for (int i = 0; i < 600; ++i) {
      const int key = static_cast<int>(random() % 40);
      Entry& entry = mine[key];
      if (entry.number == 0) {
        if (file->Insert(SmallRecord(text, key).bytes, &entry) != kOk) return 2;
      } else if (random() % 3 == 0) {
        if (file->Delete(entry) != kOk) return 3;
        entry = {};
      } else if (file->Update(&entry, SmallRecord(text, key, "", "changed").bytes) != kOk) {
        return 4;
      }
      int seen = 0;
      SmallRecord record;
      Entry at;
      Status status = file->Find(0, Seek::kEqual, text, &at, record.bytes);
      for (; status == kOk && record.text() == text; ++seen) {
        if (mine[record.number()].number != at.number) return 5;
        status = file->Next(0, at.key, at.number, &at, record.bytes);
      }
      if (status != kOk && status != kEndOfFile && status != kNotFound) return 6;
      const auto standing = std::count_if(mine.begin(), mine.end(),
                                          [](const auto& one) { return one.second.number != 0; });
      if (seen != standing) return 7;
    }
    return 0;
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0}));
  std::string problem;
  EXPECT_EQ(OpenIt()->Check(&problem, {}), kOk);
  EXPECT_EQ(problem, "");
}

}  // namespace
}  // namespace qob::testing
