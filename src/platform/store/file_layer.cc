#include "platform/store/file_layer.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "platform/os/file_identity.h"
#include "platform/store/file_look.h"
#include "platform/store/settings.h"

namespace qob::store {
namespace {

// Ours is the base's with another way of opening. Once registered it stays for ever; SQLite's
// pointer to its first member is then the only one to it.
struct Layer {
  sqlite3_vfs vfs{};
  std::string name;
  sqlite3_vfs* base = nullptr;
};

thread_local std::uint64_t t_generation = 0;

int OpenThroughBase(sqlite3_vfs* base, sqlite3_filename name, sqlite3_file* file, int flags,
                    int* given) {
  const os::DeviceShift shift(t_generation);
  return base->xOpen(base, name, file, flags, given);
}

int OpenLooking(sqlite3_vfs* vfs, sqlite3_filename name, sqlite3_file* file, int flags,
                int* given) {
  sqlite3_vfs* const base = static_cast<Layer*>(vfs->pAppData)->base;
  if ((flags & SQLITE_OPEN_MAIN_DB) == 0) return base->xOpen(base, name, file, flags, given);
  int rc = OpenThroughBase(base, name, file, flags, given);
  if (rc != SQLITE_OK || (flags & SQLITE_OPEN_CREATE) != 0) return rc;
  rc = LookAtFile(base, name, file);
  if (rc != SQLITE_OK) {
    file->pMethods->xClose(file);
    file->pMethods = nullptr;
  }
  return rc;
}

sqlite3_vfs* BaseOf(sqlite3_vfs* vfs) { return static_cast<Layer*>(vfs->pAppData)->base; }

int Delete(sqlite3_vfs* vfs, const char* name, int sync) {
  return BaseOf(vfs)->xDelete(BaseOf(vfs), name, sync);
}
int Access(sqlite3_vfs* vfs, const char* name, int flags, int* result) {
  return BaseOf(vfs)->xAccess(BaseOf(vfs), name, flags, result);
}
int FullPathname(sqlite3_vfs* vfs, const char* name, int size, char* full) {
  return BaseOf(vfs)->xFullPathname(BaseOf(vfs), name, size, full);
}
int Randomness(sqlite3_vfs* vfs, int size, char* to) {
  return BaseOf(vfs)->xRandomness(BaseOf(vfs), size, to);
}
int Sleep(sqlite3_vfs* vfs, int microseconds) {
  return BaseOf(vfs)->xSleep(BaseOf(vfs), microseconds);
}
int CurrentTime(sqlite3_vfs* vfs, double* time) {
  return BaseOf(vfs)->xCurrentTime(BaseOf(vfs), time);
}
int LastError(sqlite3_vfs* vfs, int size, char* to) {
  return BaseOf(vfs)->xGetLastError(BaseOf(vfs), size, to);
}

void Fill(Layer* layer) {
  sqlite3_vfs& vfs = layer->vfs;
  vfs.iVersion = 1;
  vfs.szOsFile = layer->base->szOsFile;
  vfs.mxPathname = layer->base->mxPathname;
  vfs.zName = layer->name.c_str();
  vfs.pAppData = layer;
  vfs.xOpen = OpenLooking;
  vfs.xDelete = Delete;
  vfs.xAccess = Access;
  vfs.xFullPathname = FullPathname;
  vfs.xRandomness = Randomness;
  vfs.xSleep = Sleep;
  vfs.xCurrentTime = CurrentTime;
  vfs.xGetLastError = LastError;
}

}  // namespace

const char* LayerName() {
  const std::string base_name = BaseLayer();
  sqlite3_vfs* const base = sqlite3_vfs_find(base_name.empty() ? nullptr : base_name.c_str());
  if (base == nullptr) return nullptr;
  const std::string name = std::string("qob-store-") + base->zName;
  if (const sqlite3_vfs* known = sqlite3_vfs_find(name.c_str())) return known->zName;
  auto layer = std::make_unique<Layer>();
  layer->name = name;
  layer->base = base;
  Fill(layer.get());
  if (sqlite3_vfs_register(&layer->vfs, 0) != SQLITE_OK) return nullptr;
  return layer.release()->vfs.zName;
}

ApartFromParent::ApartFromParent(std::uint64_t generation) {
  if (generation != 0) {
    // The system's layer asks for files' identities through this table; a process that has no
    // such parent keeps it as it is.
    sqlite3_vfs* const system = sqlite3_vfs_find("unix");
    if (system != nullptr && system->iVersion >= 3 && system->xSetSystemCall != nullptr) {
      system->xSetSystemCall(system, "fstat", os::ShiftedFileStatus());
    }
  }
  t_generation = generation;
}
ApartFromParent::~ApartFromParent() { t_generation = 0; }

}  // namespace qob::store
