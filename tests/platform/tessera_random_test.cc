// Random operations of several objects on one relation, each result and each buffer compared with a
// list that is searched from end to end.
#include <memory>
#include <random>

#include "platform/tessera/open_relation.h"
#include "tessera_fixture.h"

namespace qob::testing {
namespace {

std::string Folded(const Person& person) {
  std::string key(person.name, strnlen(person.name, sizeof person.name));
  for (char& c : key) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return key;
}

struct Row {
  int number;
  int version;
  Person person;
};

// The relation as a list in no order.
struct List {
  bool duplicates;
  int last = 0;
  std::vector<Row> rows;

  Row* ByNumber(int number) {
    for (Row& row : rows) {
      if (row.number == number) return &row;
    }
    return nullptr;
  }
  bool MayStand(const Person& person, int besides) const {
    if (duplicates) return true;
    for (const Row& row : rows) {
      if (row.number != besides && Folded(row.person) == Folded(person)) return false;
    }
    return true;
  }
  // The first in order behind (key, number), and behind the whole key where it stands once.
  Row* Behind(const std::string& key, int number) {
    Row* best = nullptr;
    for (Row& row : rows) {
      const auto place = std::pair(Folded(row.person), row.number);
      if (place <= std::pair(key, number)) continue;
      if (!duplicates && number > 0 && place.first == key) continue;
      if (best == nullptr || place < std::pair(Folded(best->person), best->number)) best = &row;
    }
    return best;
  }
};

// What one object should do and hold.
struct Expected {
  List* list;
  Person buffer;
  int current = 0;
  int version = 0;
  bool in_pass = false;
  bool has_place = false;
  std::string key;
  int number = 0;

  dbError Load(const Row* row, bool moves) {
    if (row == nullptr) return kNoMoreRecords;
    buffer = row->person;
    current = row->number;
    version = row->version;
    if (moves) {
      has_place = true;
      key = Folded(row->person);
      number = row->number;
    }
    return kDone;
  }
  dbError Begin() {
    in_pass = true;
    has_place = false;
    return kDone;
  }
  dbError End() {
    in_pass = has_place = false;
    return kDone;
  }
  dbError First() { return in_pass ? Load(list->Behind("", 0), true) : kNothingToActOn; }
  dbError Next() { return has_place ? Load(list->Behind(key, number), true) : kNoMatch; }
  dbError Get(bool moves) {
    Row* const row = list->Behind(Folded(buffer), 0);
    if (row != nullptr && Folded(row->person) == Folded(buffer)) return Load(row, moves);
    current = 0;
    return kNoMatch;
  }
  dbError Find() { return in_pass ? Get(true) : kNothingToActOn; }
  dbError Add() {
    if (!list->MayStand(buffer, 0)) return kTwice;
    list->rows.push_back({++list->last, 1, buffer});
    current = list->last;
    version = 1;
    return kDone;
  }
  dbError Put() {
    if (current == 0) return kNothingToActOn;
    Row* const row = list->ByNumber(current);
    if (row == nullptr || row->version != version) return kChangedMeanwhile;
    if (!list->MayStand(buffer, current)) return kTwice;
    row->person = buffer;
    version = ++row->version;
    return kDone;
  }
  dbError Delete() {
    if (current == 0) return kNothingToActOn;
    Row* const row = list->ByNumber(current);
    if (row == nullptr || row->version != version) return kChangedMeanwhile;
    list->rows.erase(list->rows.begin() + (row - list->rows.data()));
    current = 0;
    return kDone;
  }
};

class TesseraRandom : public Tessera, public ::testing::WithParamInterface<std::tuple<int, bool>> {
 protected:
  static constexpr int kObjects = 3;

  int Below(int limit) { return static_cast<int>(random_() % static_cast<std::uint32_t>(limit)); }
  Person AnyPerson() {
    Person person;
    const std::string name(static_cast<std::size_t>(Below(3)), static_cast<char>('a' + Below(6)));
    std::memcpy(person.name, name.data(), name.size());
    if (Below(3) == 0) person.name[0] = static_cast<char>(person.name[0] & ~0x20);
    person.room[0] = static_cast<char>('0' + Below(10));
    return person;
  }
  // The operation's name and both results.
  void Step(People& real, Expected& expected);
  void Compare(const char* name, dbError got, dbError wanted) { ASSERT_EQ(got, wanted) << name; }

  std::mt19937 random_;
};

void TesseraRandom::Step(People& real, Expected& expected) {
  // Mostly reading, in bursts without a change: that is when records come from memory.
  switch (Below(24)) {
    case 0:
      real.buffer = expected.buffer = AnyPerson();
      return Compare("add", real.add(), expected.Add());
    case 1:
      real.buffer.room[1] = expected.buffer.room[1] = static_cast<char>('a' + Below(26));
      return Compare("put", real.put(), expected.Put());
    case 2:
      return Compare("del", real.del(), expected.Delete());
    case 3:
    case 4:
      real.buffer = expected.buffer = AnyPerson();
      return Compare("get", real.get(0), expected.Get(false));
    case 5:
      real.buffer = expected.buffer = AnyPerson();
      return Compare("find", real.find(), expected.Find());
    case 6:
      return Compare("begin", real.begin(0), expected.Begin());
    case 7:
      if (Below(4) == 0) return Compare("end", real.end(), expected.End());
      return Compare("first", real.first(), expected.First());
    case 8:
      return Compare("first", real.first(), expected.First());
    default:
      return Compare("next", real.next(), expected.Next());
  }
}

TEST_P(TesseraRandom, DoesWhatAListDoes) {
  const auto [seed, duplicates] = GetParam();
  random_.seed(static_cast<std::uint32_t>(seed));
  spool_.SetIni("[Store]\nDurability=system\n");
  Make(duplicates);
  List list{duplicates, 0, {}};
  std::unique_ptr<People> real[kObjects];
  Expected expected[kObjects];
  for (int i = 0; i < kObjects; ++i) {
    real[i] = std::make_unique<People>(session_, Directory());
    expected[i] = {&list, {}, 0, 0, false, false, {}, 0};
  }
  for (int step = 0; step < 4000; ++step) {
    const int at = Below(8) == 0 ? Below(kObjects) : step / 200 % kObjects;
    if (Below(300) == 0) {
      if (Below(2) == 0) tessera::OpenRelation::CloseKept();
      real[at] = std::make_unique<People>(session_, Directory());
      expected[at] = {&list, {}, 0, 0, false, false, {}, 0};
    }
    SCOPED_TRACE("step " + std::to_string(step));
    Step(*real[at], expected[at]);
    if (HasFatalFailure()) return;
    ASSERT_EQ(std::memcmp(&real[at]->buffer, &expected[at].buffer, sizeof(Person)), 0);
    ASSERT_GE(real[at]->status(), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TesseraRandom,
                         ::testing::Combine(::testing::Range(1, 9), ::testing::Bool()));

}  // namespace
}  // namespace qob::testing
