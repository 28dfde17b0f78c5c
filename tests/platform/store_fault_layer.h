// A SQLite file layer whose calls fail at will, and SQLite's memory through the allocator that the
// tests can make fail. Its syncs do nothing: what is tested with it is not a power cut.
#pragma once
#include <malloc.h>
#include <sqlite3.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace qob::testing {

enum class FileCall {
  kOpen,
  kAccess,
  kRead,
  kWrite,
  kSync,
  kTruncate,
  kSize,
  kLock,
  kShmMap,
  kShmLock,
  kDelete
};
inline constexpr FileCall kFileCalls[] = {
    FileCall::kOpen,   FileCall::kAccess,   FileCall::kRead,  FileCall::kWrite,
    FileCall::kSync,   FileCall::kTruncate, FileCall::kSize,  FileCall::kLock,
    FileCall::kShmMap, FileCall::kShmLock,  FileCall::kDelete};

struct FilePlan {
  FileCall call = FileCall::kOpen;
  int nth = 0;  // 0 = never
  bool from_then_on = false;
  int result = SQLITE_IOERR;
  int seen = 0;
  bool triggered = false;
};
inline FilePlan g_file_plan;

inline int FileFault(FileCall call) {
  FilePlan& plan = g_file_plan;
  if (plan.nth == 0 || call != plan.call) return SQLITE_OK;
  ++plan.seen;
  if (plan.seen != plan.nth && !(plan.from_then_on && plan.seen > plan.nth)) return SQLITE_OK;
  plan.triggered = true;
  return plan.result;
}

struct FaultFile {
  sqlite3_file face;
  sqlite3_file* real;
};
inline sqlite3_file* RealOf(sqlite3_file* file) { return reinterpret_cast<FaultFile*>(file)->real; }

#define QOB_FAULT_METHOD(name, call, parameters, ...)               \
  [] parameters -> int {                                            \
    const int fault = FileFault(call);                              \
    if (fault != SQLITE_OK) return fault;                           \
    return RealOf(file)->pMethods->name(RealOf(file), __VA_ARGS__); \
  }

inline const sqlite3_io_methods* FaultMethods() {
  static sqlite3_io_methods methods = [] {
    sqlite3_io_methods m{};
    m.iVersion = 2;
    m.xClose = [](sqlite3_file* file) { return RealOf(file)->pMethods->xClose(RealOf(file)); };
    m.xRead =
        QOB_FAULT_METHOD(xRead, FileCall::kRead,
                         (sqlite3_file * file, void* to, int size, sqlite3_int64 at), to, size, at);
    m.xWrite = QOB_FAULT_METHOD(xWrite, FileCall::kWrite,
                                (sqlite3_file * file, const void* from, int size, sqlite3_int64 at),
                                from, size, at);
    m.xTruncate = QOB_FAULT_METHOD(xTruncate, FileCall::kTruncate,
                                   (sqlite3_file * file, sqlite3_int64 size), size);
    m.xSync = [](sqlite3_file*, int) { return FileFault(FileCall::kSync); };
    m.xFileSize = QOB_FAULT_METHOD(xFileSize, FileCall::kSize,
                                   (sqlite3_file * file, sqlite3_int64 * size), size);
    m.xLock = QOB_FAULT_METHOD(xLock, FileCall::kLock, (sqlite3_file * file, int level), level);
    m.xUnlock = [](sqlite3_file* file, int level) {
      return RealOf(file)->pMethods->xUnlock(RealOf(file), level);
    };
    m.xCheckReservedLock = [](sqlite3_file* file, int* out) {
      return RealOf(file)->pMethods->xCheckReservedLock(RealOf(file), out);
    };
    m.xFileControl = [](sqlite3_file* file, int code, void* argument) {
      return RealOf(file)->pMethods->xFileControl(RealOf(file), code, argument);
    };
    m.xSectorSize = [](sqlite3_file* file) {
      return RealOf(file)->pMethods->xSectorSize(RealOf(file));
    };
    m.xDeviceCharacteristics = [](sqlite3_file* file) {
      return RealOf(file)->pMethods->xDeviceCharacteristics(RealOf(file));
    };
    m.xShmMap =
        QOB_FAULT_METHOD(xShmMap, FileCall::kShmMap,
                         (sqlite3_file * file, int page, int size, int extend, void volatile** to),
                         page, size, extend, to);
    m.xShmLock = [](sqlite3_file* file, int offset, int count, int flags) {
      const int fault = (flags & SQLITE_SHM_LOCK) != 0 ? FileFault(FileCall::kShmLock) : SQLITE_OK;
      if (fault != SQLITE_OK) return fault;
      return RealOf(file)->pMethods->xShmLock(RealOf(file), offset, count, flags);
    };
    m.xShmBarrier = [](sqlite3_file* file) { RealOf(file)->pMethods->xShmBarrier(RealOf(file)); };
    m.xShmUnmap = [](sqlite3_file* file, int remove) {
      return RealOf(file)->pMethods->xShmUnmap(RealOf(file), remove);
    };
    return m;
  }();
  return &methods;
}
#undef QOB_FAULT_METHOD

inline sqlite3_vfs* FaultBase() {
  static sqlite3_vfs* const base = sqlite3_vfs_find("unix");
  return base;
}

inline constexpr char kFaultLayer[] = "qob-test-fault";

inline void RegisterFaultLayer() {
  static sqlite3_vfs layer = [] {
    sqlite3_vfs vfs = *FaultBase();
    vfs.szOsFile += static_cast<int>(sizeof(FaultFile));
    vfs.zName = kFaultLayer;
    vfs.iVersion = 1;
    vfs.pNext = nullptr;
    vfs.xOpen = [](sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* given) {
      auto* self = reinterpret_cast<FaultFile*>(file);
      self->real = reinterpret_cast<sqlite3_file*>(self + 1);
      self->face.pMethods = nullptr;
      int rc = FileFault(FileCall::kOpen);
      if (rc != SQLITE_OK) return rc;
      rc = FaultBase()->xOpen(FaultBase(), name, self->real, flags, given);
      if (self->real->pMethods != nullptr) self->face.pMethods = FaultMethods();
      return rc;
    };
    vfs.xDelete = [](sqlite3_vfs*, const char* name, int sync) {
      const int fault = FileFault(FileCall::kDelete);
      return fault != SQLITE_OK ? fault : FaultBase()->xDelete(FaultBase(), name, sync);
    };
    vfs.xAccess = [](sqlite3_vfs*, const char* name, int flags, int* out) {
      const int fault = FileFault(FileCall::kAccess);
      return fault != SQLITE_OK ? fault : FaultBase()->xAccess(FaultBase(), name, flags, out);
    };
    return vfs;
  }();
  sqlite3_vfs_register(&layer, 0);
}

// Before SQLite's first call.
inline void RouteSqliteMemory() {
  static const sqlite3_mem_methods methods = {
      [](int size) -> void* { return std::malloc(static_cast<std::size_t>(size)); },
      [](void* block) { std::free(block); },
      [](void* block, int size) -> void* {
        return std::realloc(block, static_cast<std::size_t>(size));
      },
      [](void* block) { return static_cast<int>(malloc_usable_size(block)); },
      [](int size) { return (size + 7) & ~7; },
      [](void*) { return SQLITE_OK; },
      [](void*) {},
      nullptr};
  sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
}

}  // namespace qob::testing
