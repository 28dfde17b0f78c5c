// What a writer means to do and what it was told, kept in memory that outlives it.
//
// Everything that a writer keeps is its own: `kSlots` records, marks and notes, each known by
// writer and slot. Its content follows from (writer, slot, version), so that an auditor can tell
// from the bytes alone which version stands there, and whether all of it. Version 0 is none.
//
// A writer notes a piece of work before it calls the store, and its acknowledgement behind the
// call: each is a single store to memory, so that a kill between any two instructions leaves
// either.
#pragma once
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string>
#include <sys/mman.h>
#include <vector>

#include "platform/store/description.h"
#include "platform/store/record_file.h"

namespace qob::crash {

inline constexpr int kSlots = 12;
inline constexpr std::size_t kRecordBytes = 2224;
inline constexpr int kIndexes = 3;

enum class Kind : std::uint8_t { kRecord, kMark, kNote };
inline constexpr int kKinds = 3;

struct Change {
  Kind kind = Kind::kRecord;
  int slot = 0;
  std::uint32_t version = 0;
};

// One call, or several in one transaction; `undone` ends without its commit.
struct Work {
  static constexpr int kMost = 4;
  int count = 0;
  bool transaction = false;
  bool undone = false;
  std::array<Change, kMost> changes{};
};

// What stands, by kind and slot.
using Standing = std::array<std::array<std::uint32_t, kSlots>, kKinds>;

inline std::uint32_t& At(Standing& standing, const Change& change) {
  return standing[static_cast<std::size_t>(change.kind)][static_cast<std::size_t>(change.slot)];
}
void Apply(const Work& work, Standing* standing);

struct Ledger {
  Standing standing{};        // after all that was acknowledged
  std::uint32_t version = 0;  // the last that was used
  std::uint64_t acknowledged = 0;
  std::int64_t last_number = 0;  // of the last record whose insertion was acknowledged
  Work pending;
  std::atomic<bool> has_pending{false};
  std::atomic<bool> is_acknowledged{false};  // means the pending work
};

// In memory shared with children.
template <class T>
class SharedMemory {
 public:
  SharedMemory() {
    void* at = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    at_ = at == MAP_FAILED ? nullptr : new (at) T();
    if (at_ == nullptr) throw std::bad_alloc();
  }
  ~SharedMemory() { munmap(at_, sizeof(T)); }
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;
  T& operator*() const { return *at_; }
  T* operator->() const { return at_; }

 private:
  T* at_;
};

// Numbers from a seed, the same everywhere.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  // 0 to below - 1.
  int Below(int below) { return static_cast<int>(Next() % static_cast<std::uint64_t>(below)); }

 private:
  std::uint64_t state_;
};

store::FileDescription TrialDescription();
std::array<std::byte, kRecordBytes> RecordOf(int writer, int slot, std::uint32_t version);
std::string NoteOf(int writer, int slot, std::uint32_t version);
std::string MarkName(int writer);
std::uint32_t IdOf(int writer, int slot);
// The key that finds the record in the first index.
std::string KeyOf(int writer, int slot);

// The next piece of work upon what stands.
Work Invent(Dice& dice, Ledger& ledger);
// Does it, with the notes in the ledger. The store's status; kOk is acknowledged.
store::Status Do(store::RecordFile& file, int writer, const Work& work, Ledger* ledger);

// Reads all of the store by every way there is and compares the ways with each other and with what
// the bytes should be. *found receives one Standing per writer. "" or what is wrong.
std::string Audit(store::RecordFile& file, std::span<Standing> found);
// What was found is what the ledger allows: all that was acknowledged, and the pending work wholly
// or not at all. "" or what is wrong.
std::string Compare(const Standing& found, const Ledger& ledger);
// The same, and when nothing is wrong the ledger goes on from what was found.
std::string Settle(const Standing& found, Ledger* ledger);

}  // namespace qob::crash
