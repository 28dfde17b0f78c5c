// A relation with its record typed, and the two ways in which this folder holds one: for a single
// call, and for as long as the process keeps it.
#pragma once
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>

#include <qobplatform/tessera.h>

#include "db/place.h"

namespace qob::db {

// No dbError is negative: a null argument, or a relation that was never opened.
inline constexpr std::int32_t kMisused = -1;
inline constexpr dbError kOk = 0;
inline constexpr dbError kNoRelation = 3;
inline constexpr dbError kNoPlace = 4;  // of next: the pass has none
inline constexpr dbError kNoFurtherRecord = 17;
inline constexpr dbError kEmptyFile = 22;

template <class Row>
class Relation final : public tesRel {
  static_assert(std::is_trivially_copyable_v<Row>);

 public:
  Relation(tesseraBase& session, const std::string& directory, const char* name)
      : tesRel(session, directory.c_str(), name) {
    attach(-1);
  }
  Row row{};

 private:
  void* record() override { return &row; }
  std::uint32_t recordSize() const override { return sizeof(Row); }
};

// Holds the relation's lock, waiting for it without end.
class Held {
 public:
  explicit Held(tesRel& relation) : relation_(relation), result_(relation.lock(false, kForever)) {}
  ~Held() { relation_.unlock(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  dbError result() const { return result_; }

 private:
  static constexpr std::uint32_t kForever = 0xFFFFFFFF;
  tesRel& relation_;
  const dbError result_;
};

// The first record of the order that `match` takes; it is then in relation.row.
template <class Row, class Match>
dbError FirstMatch(Relation<Row>& relation, Match&& match) {
  dbError result = relation.begin(0);
  if (result == kOk) result = relation.first();
  while (result == kOk && !match(relation.row)) result = relation.next();
  return result;
}

// The relation that a process opens once. A second object walks: changes made in between must not
// take its place away, or a loop that changes what it meets would begin again and again. Calls take
// turns.
template <class Row>
class ProcessRelation {
 public:
  explicit ProcessRelation(const char* name) : name_(name) {}

  struct Opened {
    dbError status = kOk;
    bool seed_wanted = false;  // it was missing, and placing the seed was tried
  };
  // Throws std::bad_alloc; then nothing is open.
  Opened Open() {
    std::scoped_lock turn(turns_);
    both_.reset();
    const Place place;
    Opened opened;
    opened.status = OpenBoth(place);
    if (opened.status == kNoRelation || opened.status == kEmptyFile) {
      opened.seed_wanted = true;
      PlaceSeed(place, name_);
      opened.status = OpenBoth(place);
    }
    return opened;
  }

  void Close() {
    std::scoped_lock turn(turns_);
    both_.reset();
  }

  // work(relation) under the relation's lock; kMisused when there is no relation.
  template <class Work>
  std::int32_t Change(Work&& work) {
    std::scoped_lock turn(turns_);
    if (!both_) return kMisused;
    const Held held(both_->records);
    return held.result() == kOk ? work(both_->records) : held.result();
  }

  // work(relation) with the relation that walks, which it may lock.
  template <class Work>
  std::int32_t Walk(Work&& work) {
    std::scoped_lock turn(turns_);
    return both_ ? work(both_->walk) : kMisused;
  }

 private:
  struct Both {
    Both(tesseraBase& session, const std::string& directory, const char* name)
        : records(session, directory, name), walk(session, directory, name) {}
    Relation<Row> records;
    Relation<Row> walk;
  };

  dbError OpenBoth(const Place& place) {
    both_.reset();
    both_.emplace(session_, place.queue, name_);
    const dbError status = both_->records.status();
    return status != kOk ? status : both_->walk.status();
  }

  const char* const name_;
  std::mutex turns_;
  tesseraBase session_;
  std::optional<Both> both_;  // ends before its session
};

}  // namespace qob::db
