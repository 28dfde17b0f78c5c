#include "crash/fault_layer.h"

#include <signal.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "crash/stable_storage.h"
#include "platform/os/fault.h"
#include "platform/store/record_file.h"

namespace qob::crash {
namespace {

constexpr char kName[] = "qob-fault";

struct State {
  explicit State(const std::string& directory_now)
      : directory(directory_now), storage(directory_now) {}

  struct Plan {
    Op op = Op::kOpen;
    std::uint64_t nth = 0;
    bool from_then_on = false;
    int error = 0;
    std::uint64_t seen = 0;
    bool has_failed = false;
  };
  struct End {
    std::uint64_t nth = 0;
    bool kills = false;
    std::uint64_t seed = 0;
    std::string images;
    std::uint64_t seen = 0;
  };

  std::string directory;
  StableStorage storage;
  std::optional<Plan> plan;
  std::optional<End> end;
  bool failed_flushes_write_all = false;
  std::vector<Done> log;
  Dice dice{1};
};
std::unique_ptr<State> g_state;

// SQLite keeps them for ever.
sqlite3_vfs* g_base = nullptr;
sqlite3_vfs g_vfs{};

bool ChangesSomething(Op op) {
  return op == Op::kWrite || op == Op::kTruncate || op == Op::kSync || op == Op::kDelete ||
         op == Op::kName || op == Op::kFlush;
}

// Ends the process when its time has come; else notes the operation and gives the error that it
// shall have, 0 for none.
int Meet(Op op, Role role, std::int64_t offset = 0, std::int64_t size = 0) {
  State& state = *g_state;
  if (ChangesSomething(op) && state.end && ++state.end->seen == state.end->nth) {
    if (state.end->kills) {
      raise(SIGKILL);
    }
    FaultLayer::Cut(state.end->seed, state.end->images);
    _exit(kCutExit);
  }
  int error = 0;
  if (state.plan && state.plan->op == op) {
    State::Plan& plan = *state.plan;
    ++plan.seen;
    if (plan.seen == plan.nth || (plan.from_then_on && plan.seen > plan.nth)) {
      plan.has_failed = true;
      error = op == Op::kName || op == Op::kFlush ? EIO : plan.error;
    }
  }
  state.log.push_back({op, role, offset, size, error != 0});
  return error;
}

struct File {
  sqlite3_file face{};
  Role role = Role::kOther;
  bool flushes_name = false;
  std::shared_ptr<StableFile> stable;

  sqlite3_file* real() {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(this) + Size());
  }
  static std::size_t Size() {
    return (sizeof(File) + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1);
  }
};

File* Ours(sqlite3_file* file) { return reinterpret_cast<File*>(file); }
const sqlite3_io_methods* Real(sqlite3_file* file) { return Ours(file)->real()->pMethods; }

int Close(sqlite3_file* file) {
  File* const ours = Ours(file);
  const int rc = ours->real()->pMethods->xClose(ours->real());
  ours->~File();
  return rc;
}

int Read(sqlite3_file* file, void* to, int size, sqlite3_int64 offset) {
  const int error = Meet(Op::kRead, Ours(file)->role, offset, size);
  if (error != 0 && error != SQLITE_IOERR_SHORT_READ) return error;
  const int rc = Real(file)->xRead(Ours(file)->real(), to, size, offset);
  if (error == 0) return rc;
  std::memset(static_cast<char*>(to) + size / 2, 0, static_cast<std::size_t>(size - size / 2));
  return error;
}

int Write(sqlite3_file* file, const void* from, int size, sqlite3_int64 offset) {
  File* const ours = Ours(file);
  const int error = Meet(Op::kWrite, ours->role, offset, size);
  const int part = error == 0 ? size : size / 2;
  const int rc = Real(file)->xWrite(ours->real(), from, part, offset);
  if (rc != SQLITE_OK) return rc;
  if (ours->stable != nullptr) {
    ours->stable->Write(g_state->storage.NextOrder(), offset,
                        {static_cast<const char*>(from), static_cast<std::size_t>(part)});
  }
  return error;
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  File* const ours = Ours(file);
  if (const int error = Meet(Op::kTruncate, ours->role, size); error != 0) return error;
  if (ours->stable != nullptr) ours->stable->Truncate(g_state->storage.NextOrder(), size);
  return Real(file)->xTruncate(ours->real(), size);
}

// The system's layer flushes the directory with the first flush of a log that it may have made.
int Sync(sqlite3_file* file, int) {
  File* const ours = Ours(file);
  const int error = Meet(Op::kSync, ours->role);
  if (ours->stable != nullptr) {
    if (error != 0 && !g_state->failed_flushes_write_all) {
      ours->stable->FailFlush(g_state->dice);
    } else {
      ours->stable->Flush();
    }
  }
  if (error == 0 && std::exchange(ours->flushes_name, false)) g_state->storage.FlushNames();
  return error;
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
  if (const int error = Meet(Op::kSize, Ours(file)->role); error != 0) return error;
  return Real(file)->xFileSize(Ours(file)->real(), size);
}

int Lock(sqlite3_file* file, int level) {
  if (const int error = Meet(Op::kLock, Ours(file)->role); error != 0) return error;
  return Real(file)->xLock(Ours(file)->real(), level);
}
int Unlock(sqlite3_file* file, int level) { return Real(file)->xUnlock(Ours(file)->real(), level); }
int CheckReservedLock(sqlite3_file* file, int* result) {
  return Real(file)->xCheckReservedLock(Ours(file)->real(), result);
}
int FileControl(sqlite3_file* file, int what, void* with) {
  return Real(file)->xFileControl(Ours(file)->real(), what, with);
}
int SectorSize(sqlite3_file* file) { return Real(file)->xSectorSize(Ours(file)->real()); }
int Characteristics(sqlite3_file* file) {
  return Real(file)->xDeviceCharacteristics(Ours(file)->real());
}

int ShmMap(sqlite3_file* file, int region, int size, int extend, void volatile** at) {
  if (const int error = Meet(Op::kShmMap, Ours(file)->role); error != 0) return error;
  return Real(file)->xShmMap(Ours(file)->real(), region, size, extend, at);
}
int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
  // Letting go cannot fail.
  if ((flags & SQLITE_SHM_LOCK) != 0) {
    if (const int error = Meet(Op::kShmLock, Ours(file)->role); error != 0) return error;
  }
  return Real(file)->xShmLock(Ours(file)->real(), offset, count, flags);
}
void ShmBarrier(sqlite3_file* file) { Real(file)->xShmBarrier(Ours(file)->real()); }
int ShmUnmap(sqlite3_file* file, int remove) {
  return Real(file)->xShmUnmap(Ours(file)->real(), remove);
}

constexpr sqlite3_io_methods kMethods = {2,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         Characteristics,
                                         ShmMap,
                                         ShmLock,
                                         ShmBarrier,
                                         ShmUnmap,
                                         nullptr,
                                         nullptr};

Role RoleOf(int flags) {
  return (flags & SQLITE_OPEN_MAIN_DB) != 0 ? Role::kStore
         : (flags & SQLITE_OPEN_WAL) != 0   ? Role::kLog
                                            : Role::kOther;
}

int Open(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* given) {
  sqlite3_vfs* const base = g_base;
  file->pMethods = nullptr;
  const Role role = RoleOf(flags);
  if (const int error = Meet(Op::kOpen, role); error != 0) return error;
  File* const ours = new (file) File;
  ours->role = role;
  std::memset(static_cast<void*>(ours->real()), 0, static_cast<std::size_t>(base->szOsFile));
  const int rc = base->xOpen(base, name, ours->real(), flags, given);
  if (rc != SQLITE_OK) {
    ours->~File();
    file->pMethods = nullptr;
    return rc;
  }
  ours->flushes_name = role == Role::kLog && (flags & SQLITE_OPEN_CREATE) != 0;
  if (name != nullptr) ours->stable = g_state->storage.File(name);
  ours->face.pMethods = &kMethods;
  return SQLITE_OK;
}

int Delete(sqlite3_vfs*, const char* name, int sync) {
  if (const int error = Meet(Op::kDelete, Role::kOther); error != 0) return error;
  const int rc = g_base->xDelete(g_base, name, 0);
  if (rc == SQLITE_OK && sync != 0) g_state->storage.FlushNames();
  return rc;
}

int Access(sqlite3_vfs*, const char* name, int flags, int* result) {
  if (const int error = Meet(Op::kAccess, Role::kOther); error != 0) return error;
  return g_base->xAccess(g_base, name, flags, result);
}

// What platform/os does: names, and flushes by name.
int HearSystemCall(os::Call call, std::string_view path) {
  if (path.find(g_state->directory) == std::string_view::npos) return 0;
  if (call == os::Call::kRename || call == os::Call::kRemove) {
    return Meet(Op::kName, Role::kOther) == 0 ? 0 : EIO;
  }
  if (call != os::Call::kFlush) return 0;
  if (Meet(Op::kFlush, Role::kOther) != 0) return EIO;
  g_state->storage.FlushByPath(std::string(path));
  return 0;
}

void Register() {
  if (g_base != nullptr) return;
  g_base = sqlite3_vfs_find(nullptr);
  g_vfs = *g_base;
  g_vfs.iVersion = 1;
  g_vfs.szOsFile = static_cast<int>(File::Size()) + g_base->szOsFile;
  g_vfs.pNext = nullptr;
  g_vfs.zName = kName;
  g_vfs.xOpen = Open;
  g_vfs.xDelete = Delete;
  g_vfs.xAccess = Access;
  sqlite3_vfs_register(&g_vfs, 0);
}

}  // namespace

const char* NameOf(Loss loss) {
  constexpr const char* kNames[] = {"all",           "none",         "some",
                                    "tornAtASector", "tornAnywhere", "onlyTheLast"};
  return kNames[static_cast<int>(loss)];
}

void FaultLayer::Install(const std::string& directory) {
  g_state = std::make_unique<State>(directory);
  Register();
  store::SetBaseLayer(kName);
  os::SetFaultHook(HearSystemCall);
}

void FaultLayer::FailAt(Op op, std::uint64_t nth, bool from_then_on, int error) {
  g_state->plan = State::Plan{op, nth, from_then_on, error, 0, false};
}
void FaultLayer::FailedFlushesWriteAll() { g_state->failed_flushes_write_all = true; }
bool FaultLayer::HasFailed() { return g_state->plan && g_state->plan->has_failed; }
void FaultLayer::FailNoMore() { g_state->plan.reset(); }

void FaultLayer::CutAt(std::uint64_t nth, std::uint64_t seed, const std::string& images) {
  g_state->end = State::End{nth, false, seed, images, 0};
}
void FaultLayer::KillAt(std::uint64_t nth) {
  g_state->end = State::End{.nth = nth, .kills = true, .images = {}};
}
void FaultLayer::Cut(std::uint64_t seed, const std::string& images) {
  for (Loss loss : kLosses) g_state->storage.Cut(loss, seed, images + "/" + NameOf(loss));
}

const std::vector<Done>& FaultLayer::Log() { return g_state->log; }
std::size_t FaultLayer::UnflushedLogWrites() { return g_state->storage.Unflushed("-wal"); }

}  // namespace qob::crash
