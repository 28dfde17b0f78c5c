// A file layer under SQLite that remembers what has reached stable storage, and can fail.
//
// It stands on the system's layer: the files are real, so that everything sees them as always.
// Beside them it keeps, per file, the bytes that were flushed and the writes since then, and per
// directory the names that were flushed. No flush of its own reaches the disk: thousands of power
// cuts take seconds. A cut writes down, as another directory, what a machine may find afterwards.
//
// One process, one thread, one directory. Also hears the system calls of platform/os through its
// fault points, for the names and flushes that do not go through SQLite.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace qob::crash {

enum class Op {
  kOpen,
  kRead,
  kWrite,
  kTruncate,
  kSync,
  kSize,
  kLock,
  kShmMap,
  kShmLock,
  kDelete,
  kAccess,
  kName,   // link, rename, remove of platform/os
  kFlush,  // of a file or directory, by platform/os
};

enum class Role { kStore, kLog, kOther };

struct Done {
  Op op = Op::kOpen;
  Role role = Role::kOther;
  std::int64_t offset = 0;
  std::int64_t size = 0;
  bool failed = false;
};

// What becomes of writes that were not flushed.
enum class Loss {
  kAll,            // gone, and so are names whose directory was not flushed
  kNone,           // all there
  kSome,           // each by chance: there, gone, or some of its sectors
  kTornAtASector,  // the last one in part, up to a sector; those before it there
  kTornAnywhere,   // likewise, up to any byte
  kOnlyTheLast,    // the last one there, those before it gone
};

inline constexpr Loss kLosses[] = {Loss::kAll,           Loss::kNone,         Loss::kSome,
                                   Loss::kTornAtASector, Loss::kTornAnywhere, Loss::kOnlyTheLast};
const char* NameOf(Loss loss);

class FaultLayer {
 public:
  // Registers itself as the base of the store's layer, or begins anew while no file of it is open.
  // `directory` is as it stands on stable storage at this moment.
  static void Install(const std::string& directory);

  // The n-th operation of that kind from now on fails, that one alone or all from then on. `error`
  // is SQLite's; for kName and kFlush EIO is given. A failed write has written half of its bytes; a
  // read that fails with SQLITE_IOERR_SHORT_READ has read half.
  static void FailAt(Op op, std::uint64_t nth, bool from_then_on, int error);
  // A failed flush has brought everything to the disk all the same; otherwise each write by chance.
  static void FailedFlushesWriteAll();
  static bool HasFailed();
  static void FailNoMore();

  // Before the n-th operation from now on that changes anything: the power goes. For every way of
  // losing the image of `directory` is written below `images` under its name, and the process ends
  // with kCutExit.
  static void CutAt(std::uint64_t nth, std::uint64_t seed, const std::string& images);
  // The same, but only this process is killed: SIGKILL.
  static void KillAt(std::uint64_t nth);
  // The power goes now: writes the images and returns.
  static void Cut(std::uint64_t seed, const std::string& images);

  static const std::vector<Done>& Log();
  // Writes to logs that no flush has followed.
  static std::size_t UnflushedLogWrites();
};

inline constexpr int kCutExit = 77;

}  // namespace qob::crash
