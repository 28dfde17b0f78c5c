// Processes that use one relation are killed at any moment; nothing that was acknowledged may be
// missing afterwards, no lock may stay behind, and no relation may be half made.
//
//   crash_relation_kill [--rounds N] [--seed S] [--seconds T] [--directory D]
//
// Each round two writers change records of their own through an object per change, mostly under the
// lock, a reader walks over all and takes the index file away now and then, and a maker makes
// relations; all of them are killed at random moments (SIGKILL, in random order). A fresh process
// then compares what stands with the ledgers. Exit code 0, or 1 with what is wrong.
#include <qobplatform/tessera.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "crash/ledger.h"
#include "crash/trial_options.h"
#include "platform/store/record_file.h"
#include "support/two_processes.h"

namespace qob::crash {
namespace {

namespace fs = std::filesystem;

constexpr int kWriters = 2;
constexpr int kReader = kWriters;
constexpr int kMaker = kWriters + 1;
constexpr int kProcesses = kWriters + 2;
constexpr int kFailed = 1;
constexpr int kLogLimit = 24;
constexpr int kOwnSlots = 12;
constexpr dbError kDone = 0;
constexpr dbError kAbsent = 4;
constexpr dbError kNoMore = 17;
constexpr dbError kMadeBefore = 59;
constexpr dbError kOthersWereFirst = 84;
constexpr std::uint32_t kForEver = 0xFFFFFFFF;
constexpr char kName[] = "trial";

struct Row {
  char unused[4];
  char key[16];
  std::uint32_t version;
  unsigned char filling[176];  // follows from key and version
};
static_assert(sizeof(Row) == 200);

Row RowOf(int writer, int slot, std::uint32_t version) {
  Row row{};
  std::snprintf(row.key, sizeof row.key, "%c%d", 'A' + writer, slot);
  row.version = version;
  std::uint32_t value = version * 2654435761U + static_cast<std::uint32_t>(slot);
  for (unsigned char& byte : row.filling) {
    value = value * 1664525U + 1013904223U;
    byte = static_cast<unsigned char>(value >> 24);
  }
  return row;
}

class Trial : public tesRel {
 public:
  explicit Trial(const std::string& directory, const char* name = kName)
      : tesRel(Session(), directory.c_str(), name) {
    attach(-1);
  }
  Row row{};

  // The row is one that somebody wrote, all of it.
  bool IsWhole() const {
    const int writer = row.key[0] - 'A';
    const int slot = std::atoi(row.key + 1);
    if (writer < 0 || writer >= kWriters || slot < 0 || slot >= kOwnSlots) return false;
    const Row expected = RowOf(writer, slot, row.version);
    return std::memcmp(&expected, &row, sizeof row) == 0;
  }

 private:
  static tesseraBase& Session() {
    static tesseraBase session;
    return session;
  }
  void* record() override { return &row; }
  uint32_t recordSize() const override { return sizeof row; }
};

struct Book {
  std::array<std::uint32_t, kOwnSlots> standing{};  // version, 0 = none
  std::uint32_t version = 0;
  std::uint64_t acknowledged = 0;
  int slot = 0;  // of the change that is pending
  std::uint32_t becomes = 0;
  std::atomic<bool> has_pending{false};
  std::atomic<bool> is_acknowledged{false};

  void Settle(bool done) {
    if (done) standing[static_cast<std::size_t>(slot)] = becomes;
    has_pending = false;
    is_acknowledged = false;
  }
};

struct State {
  std::array<Book, kWriters> books;
  std::array<std::atomic<int>, kProcesses> running{};
  std::atomic<std::uint64_t> passes{0};
  std::atomic<std::uint32_t> being_made{0};
};

int Complain(const char* who, dbError status) {
  std::fprintf(stderr, "%s: status %d\n", who, status);
  return kFailed;
}

dbError Make(const std::string& directory, const char* name) {
  return tesRel::create(directory.c_str(), name, sizeof(Row), 4, 16, false);
}

dbError Change(Trial& relation, int writer, const Book& book) {
  const std::uint32_t before = book.standing[static_cast<std::size_t>(book.slot)];
  relation.row = RowOf(writer, book.slot, 0);
  const dbError found = relation.get(0);
  if (found != (before == 0 ? kAbsent : kDone)) return found == kDone ? kAbsent : found;
  if (found == kDone && (relation.row.version != before || !relation.IsWhole())) return kFailed;
  if (book.becomes == 0) return relation.del();
  relation.row = RowOf(writer, book.slot, book.becomes);
  return before == 0 ? relation.add() : relation.put();
}

int Write(const std::string& directory, int writer, std::uint64_t seed, State& state) {
  store::SetLogLimitPages(kLogLimit);
  Dice dice(seed);
  Book& book = state.books[static_cast<std::size_t>(writer)];
  for (;;) {
    book.slot = static_cast<int>(dice.Below(kOwnSlots));
    const bool stands = book.standing[static_cast<std::size_t>(book.slot)] != 0;
    book.becomes = stands && dice.Below(3) == 0 ? 0 : ++book.version;
    book.has_pending = true;
    Trial relation(directory);
    if (relation.status() != kDone) return Complain("writer opens", relation.status());
    const bool locks = dice.Below(4) != 0;
    dbError status = locks ? relation.lock(false, kForEver) : kDone;
    if (status == kDone) status = Change(relation, writer, book);
    if (status != kDone) return Complain("writer", status);
    book.is_acknowledged = true;
    ++book.acknowledged;
    book.Settle(true);
    state.running[static_cast<std::size_t>(writer)] = 1;
  }
}

int Read(const std::string& directory, std::uint64_t seed, State& state) {
  Dice dice(seed);
  for (;;) {
    if (dice.Below(8) == 0) fs::remove(directory + "/" + kName + ".id0");
    Trial relation(directory);
    if (relation.status() != kDone) return Complain("reader opens", relation.status());
    std::string last;
    relation.begin(0);
    dbError status = relation.first();
    for (; status == kDone; status = relation.next()) {
      if (!relation.IsWhole() || relation.row.key <= last) return Complain("reader's row", kDone);
      last = relation.row.key;
    }
    if (status != kNoMore) return Complain("reader", status);
    state.running[kReader] = 1;
    ++state.passes;
  }
}

std::string MadeName(std::uint32_t number) { return "made" + std::to_string(number); }

int MakeOthers(const std::string& directory, State& state) {
  for (;;) {
    const std::uint32_t number = ++state.being_made;
    const dbError status = Make(directory, MadeName(number).c_str());
    if (status != kDone) return Complain("maker", status);
    state.running[kMaker] = 1;
  }
}

// A relation in the making: there or not, and in either case one can be had under that name.
int AuditMade(const std::string& directory, const std::string& name) {
  const dbError found = Trial(directory, name.c_str()).status();
  if (found != kDone && found != 3) return Complain("what was being made", found);
  const dbError made = Make(directory, name.c_str());
  if (made != (found == kDone ? kMadeBefore : kDone)) return Complain("made again", made);
  const dbError opened = Trial(directory, name.c_str()).status();
  if (opened != kDone) return Complain("made again and opened", opened);
  return fs::file_size(directory + "/" + name + ".id0") == 64 ? 0 : Complain("index file", 0);
}

int AuditStore(const std::string& directory) {
  std::shared_ptr<store::RecordFile> file;
  std::string problem;
  const std::string path = directory + "/" + kName + ".db";
  if (store::RecordFile::Open(path, {}, &file) != store::kOk) return kFailed;
  const store::Status status = file->Check(&problem, [](std::int64_t) { return true; });
  if (status == store::kOk && problem.empty()) return 0;
  std::fprintf(stderr, "check: %s\n", problem.c_str());
  return Complain("check", status);
}

int Audit(const std::string& directory, State& state) {
  Trial relation(directory);
  if (relation.status() != kDone) return Complain("auditor opens", relation.status());
  const dbError locked = relation.lock(false, 0);
  if (locked == kOthersWereFirst) return Complain("the dead hold the lock", locked);
  if (locked != kDone) return Complain("auditor locks", locked);
  for (int writer = 0; writer < kWriters; ++writer) {
    Book& book = state.books[static_cast<std::size_t>(writer)];
    if (book.has_pending && book.is_acknowledged) book.Settle(true);
    for (int slot = 0; slot < kOwnSlots; ++slot) {
      relation.row = RowOf(writer, slot, 0);
      const dbError found = relation.get(0);
      if (found != kDone && found != kAbsent) return Complain("auditor", found);
      if (found == kDone && !relation.IsWhole()) return Complain("a row that is not whole", found);
      const std::uint32_t version = found == kDone ? relation.row.version : 0;
      if (book.has_pending && slot == book.slot && version == book.becomes) book.Settle(true);
      if (version != book.standing[static_cast<std::size_t>(slot)]) {
        std::fprintf(stderr, "writer %d slot %d has version %u and not %u\n", writer, slot, version,
                     book.standing[static_cast<std::size_t>(slot)]);
        return kFailed;
      }
    }
    if (book.has_pending) book.Settle(false);
  }
  const std::uint32_t made = state.being_made;
  return made == 0 ? 0 : AuditMade(directory, MadeName(made));
}

// True when it was ours that ended it.
bool End(pid_t child) {
  kill(child, SIGKILL);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFSIGNALED(status);
}

void AwaitAll(const State& state) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::any_of(state.running.begin(), state.running.end(),
                     [](const auto& one) { return one == 0; }) &&
         std::chrono::steady_clock::now() < limit) {
    usleep(100);
  }
}

bool Round(const std::string& directory, Dice& dice, State& state) {
  for (auto& one : state.running) one = 0;
  std::array<pid_t, kProcesses> children{};
  for (int i = 0; i < kProcesses; ++i) {
    const std::uint64_t seed = dice.Next();
    children[static_cast<std::size_t>(i)] = testing::Spawn([&, i] {
      if (i < kWriters) return Write(directory, i, seed, state);
      return i == kReader ? Read(directory, seed, state) : MakeOthers(directory, state);
    });
  }
  // Every fourth round is cut while they open, the others once all are at work.
  if (dice.Below(4) != 0) AwaitAll(state);
  for (int i = kProcesses - 1; i > 0; --i) {
    std::swap(children[static_cast<std::size_t>(i)],
              children[static_cast<std::size_t>(dice.Below(i + 1))]);
  }
  bool good = true;
  for (pid_t child : children) {
    usleep(static_cast<useconds_t>(dice.Below(8000)));
    good = End(child) && good;
  }
  return good;
}

void RemoveMade(const std::string& directory) {
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (entry.path().filename().string().starts_with("made")) fs::remove(entry.path());
  }
}

int Run(const TrialOptions& options) {
  if (const dbError status = Make(options.directory, kName); status != kDone) {
    return Complain("create", status);
  }
  const SharedMemory<State> state;
  Dice dice(options.seed);
  Clock clock(options.seconds);
  int round = 0;
  for (; round < options.rounds && !clock.IsOver(); ++round) {
    if (!Round(options.directory, dice, *state) ||
        testing::InChild([&] { return Audit(options.directory, *state); }) != 0 ||
        testing::InChild([&] { return AuditStore(options.directory); }) != 0) {
      std::fprintf(stderr, "round %d of seed %llu: see %s\n", round,
                   static_cast<unsigned long long>(options.seed), options.directory.c_str());
      return kFailed;
    }
    RemoveMade(options.directory);
  }
  std::printf("%d rounds, %llu changes acknowledged, %llu passes, %u relations made, none lost\n",
              round,
              static_cast<unsigned long long>(state->books[0].acknowledged +
                                              state->books[1].acknowledged),
              static_cast<unsigned long long>(state->passes), state->being_made.load());
  return 0;
}

}  // namespace
}  // namespace qob::crash

int main(int argc, char** argv) { return qob::crash::RunTrials(argc, argv, qob::crash::Run); }
