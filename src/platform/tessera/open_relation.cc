#include "platform/tessera/open_relation.h"

#include "platform/os/file_status.h"
#include "platform/spool/store_settings.h"
#include "platform/tessera/index_file.h"

namespace qob::tessera {
namespace {

using store::RecordFile;
using store::Status;

std::string PathOf(std::string_view directory, std::string_view name, const char* extension) {
  std::string path(directory);
  path += '\\';
  path += name;
  return path += extension;
}

Status Look(const std::string& path) {
  const os::Result<os::FileStatus> found = os::StatusOf(path);
  if (!found) {
    const Status status = store::StatusOfError(found.error);
    return status == store::kNoSuchFile ? store::kNotOpen : status;
  }
  if (found.value.kind != os::FileKind::kFile) return store::kNotOurFile;
  return found.value.size == 0 ? store::kBufferTooShort : store::kOk;
}

// Who may only read opens for reading.
Status OpenRecords(const std::string& path, std::shared_ptr<RecordFile>* file) {
  store::OpenOptions options = spool::StoreOpenOptions();
  Status status = RecordFile::Open(path, options, file);
  if (status == store::kNoPermission) {
    options.read_only = true;
    status = RecordFile::Open(path, options, file);
  }
  if (status == store::kNoSuchFile) return store::kNotOpen;  // it went just now
  if (status != store::kOk) return status;
  return IsRelation((*file)->description()) ? store::kOk : store::kNotOurFile;
}

}  // namespace

Status Open(std::string_view directory, std::string_view name, OpenRelation* relation) {
  if (directory.empty() || name.empty()) return store::kNotOpen;
  const std::string path = PathOf(directory, name, kDataExtension);
  Status status = Look(path);
  if (status != store::kOk) return status;
  relation->index_path = PathOf(directory, name, kIndexExtension);
  std::shared_ptr<RecordFile> file;
  status = OpenRecords(path, &file);
  if (status != store::kOk) return status;
  const IndexBytes index = ExpectedIndex(name, *file);
  if (!HoldsIndex(relation->index_path, index)) {
    status = MakeIndexFile(relation->index_path, path, index);
  }
  if (status == store::kOk) relation->file = std::move(file);
  return status;
}

Status Create(std::string_view directory, std::string_view name,
              const store::FileDescription& description) {
  if (directory.empty() || name.empty()) return store::kBadFileName;
  if (os::StatusOf(PathOf(directory, name, kIndexExtension))) return store::kFileExists;
  const Status status = RecordFile::Create(PathOf(directory, name, kDataExtension), description,
                                           spool::StoreCreateOptions());
  if (status != store::kOk) return status;
  OpenRelation made;
  return Open(directory, name, &made);
}

}  // namespace qob::tessera
