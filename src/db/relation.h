// A relation with its record typed, and the two ways in which this folder holds one: for a single
// call, and for as long as the process keeps it.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <type_traits>

#include <qobplatform/tessera.h>

#include "db/place.h"
#include "platform/os/process.h"

namespace qob::db {

// No dbError is negative: a null argument, or a relation that was never opened.
inline constexpr std::int32_t kMisused = -1;
inline constexpr dbError kOk = 0;
inline constexpr dbError kNoRelation = 3;
inline constexpr dbError kNoPlace = 4;  // of next: the pass has none
inline constexpr dbError kNoFurtherRecord = 17;
inline constexpr dbError kEmptyFile = 22;
inline constexpr dbError kNoMemory = 101;

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
//
// A child of a fork never touches its parent's: the turn may be held by a thread that the child has
// not. What its parent had opened gives it kNoRelation until it opens for itself.
template <class Row>
class ProcessRelation {
 public:
  explicit ProcessRelation(const char* name) : name_(name) {}
  ~ProcessRelation() {
    const State* const state = state_.load();
    if (state != nullptr && state->process == os::ProcessId()) delete state;
  }
  ProcessRelation(const ProcessRelation&) = delete;
  ProcessRelation& operator=(const ProcessRelation&) = delete;

  struct Opened {
    dbError status = kOk;
    bool seed_wanted = false;  // it was missing, and placing the seed was tried
  };
  // Throws std::bad_alloc; then nothing is open.
  Opened Open() {
    State& state = MyState();
    std::scoped_lock turn(state.turns);
    state.both.reset();
    state.inherited = false;
    const Place place;
    Opened opened;
    opened.status = OpenBoth(state, place);
    if (opened.status == kNoRelation || opened.status == kEmptyFile) {
      opened.seed_wanted = true;
      PlaceSeed(place, name_);
      opened.status = OpenBoth(state, place);
    }
    state.opened = true;
    return opened;
  }

  void Close() {
    WithState([](State& state) {
      state.both.reset();
      state.inherited = state.opened = false;
      return kOk;
    });
  }

  // work(relation) under the relation's lock; kMisused when there is no relation.
  template <class Work>
  std::int32_t Change(Work&& work) {
    return WithBoth([&](Both& both) {
      const Held held(both.records);
      return held.result() == kOk ? work(both.records) : held.result();
    });
  }

  // work(relation) with the relation that walks, which it may lock.
  template <class Work>
  std::int32_t Walk(Work&& work) {
    return WithBoth([&](Both& both) { return work(both.walk); });
  }

 private:
  struct Both {
    Both(tesseraBase& session, const std::string& directory, const char* name)
        : records(session, directory, name), walk(session, directory, name) {}
    Relation<Row> records;
    Relation<Row> walk;
  };
  struct State {
    const std::uint32_t process = os::ProcessId();
    const State* parent = nullptr;     // of the process that forked this one
    bool inherited = false;            // it had a relation, and none was opened here since
    std::atomic<bool> opened = false;  // what a child wants to know
    std::mutex turns;
    tesseraBase session;
    std::optional<Both> both;  // ends before its session
  };

  State& MyState() {
    State* present = state_.load();
    while (present == nullptr || present->process != os::ProcessId()) {
      auto fresh = std::make_unique<State>();
      fresh->parent = present;
      fresh->inherited = present != nullptr && present->opened;
      if (state_.compare_exchange_strong(present, fresh.get())) present = fresh.release();
    }
    return *present;
  }

  template <class Work>
  std::int32_t WithState(Work&& work) {
    try {
      State& state = MyState();
      std::scoped_lock turn(state.turns);
      return work(state);
    } catch (const std::bad_alloc&) {
      return kNoMemory;
    }
  }

  template <class Work>
  std::int32_t WithBoth(Work&& work) {
    return WithState([&](State& state) -> std::int32_t {
      if (state.inherited) return kNoRelation;
      return state.both ? work(*state.both) : kMisused;
    });
  }

  dbError OpenBoth(State& state, const Place& place) {
    state.both.reset();
    state.both.emplace(state.session, place.queue, name_);
    const dbError status = state.both->records.status();
    return status != kOk ? status : state.both->walk.status();
  }

  const char* const name_;
  std::atomic<State*> state_{nullptr};
};

}  // namespace qob::db
