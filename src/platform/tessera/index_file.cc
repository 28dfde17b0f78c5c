#include "platform/tessera/index_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/os/directory.h"
#include "platform/os/directory_lock.h"
#include "platform/os/file.h"
#include "platform/os/file_identity.h"
#include "platform/os/file_status.h"
#include "platform/os/path.h"
#include "platform/store/little_endian.h"
#include "platform/store/settings.h"

namespace qob::tessera {
namespace {

using store::Status;

constexpr char kMagic[8] = {'Q', 'O', 'B', 'R', 'E', 'L', 'N', '1'};
constexpr std::size_t kIdentityAt = 24;
constexpr std::size_t kNameAt = 40;

void StoreNumber(std::size_t value, char* at) {
  store::StoreLittle(static_cast<std::uint32_t>(value), reinterpret_cast<std::byte*>(at));
}

std::string DirectoryOf(const std::string& path) {
  return path.substr(0, std::max<std::size_t>(os::LastSeparator(path), 1));
}

// Under the directory's lock: nobody else makes one.
int PutInPlace(const std::string& path, const std::string& like, const IndexBytes& bytes) {
  const std::string made = path + "-new";
  int error = os::RemoveFile(made);  // of one who was killed
  if (error != 0 && error != os::kNotFound) return error;
  error = os::MakeFileWith(made, {bytes.data(), bytes.size()});
  if (error == 0) {
    os::CopyOwner(like, made);  // root's; nobody else may, or needs to
    error = os::MatchOwnership(made, like);
  }
  if (error == 0) error = os::RenameFile(made, path, true);
  if (error != 0) os::RemoveFile(made);
  return error == 0 ? os::FlushDirectory(DirectoryOf(path)) : error;
}

}  // namespace

store::FileDescription RelationDescription(std::uint16_t record_bytes, std::uint16_t key_offset,
                                           std::uint16_t key_bytes, bool duplicates) {
  store::KeyDescription key;
  key.position = static_cast<std::uint16_t>(key_offset + 1);
  key.length = key_bytes;
  key.flags = store::kKeyModifiable | store::kKeyExtendedType | store::kKeyAnyCase;
  if (duplicates) key.flags |= store::kKeyDuplicates;
  store::FileDescription description;
  description.record_bytes = record_bytes;
  description.index_count = 1;
  description.keys.push_back(key);
  return description;
}

bool IsRelation(const store::FileDescription& description) {
  return description.index_count == 1 && description.keys[0].type == store::kTypeText &&
         (description.keys[0].flags & store::kKeyAnyCase) != 0;
}

IndexBytes ExpectedIndex(std::string_view name, const store::RecordFile& file) {
  const store::KeyDescription& key = file.description().keys[0];
  IndexBytes bytes{};
  std::memcpy(bytes.data(), kMagic, sizeof kMagic);
  StoreNumber(file.description().record_bytes, &bytes[8]);
  StoreNumber(key.position - std::size_t{1}, &bytes[12]);
  StoreNumber(key.length, &bytes[16]);
  StoreNumber((key.flags & store::kKeyDuplicates) != 0 ? 1 : 0, &bytes[20]);
  std::memcpy(&bytes[kIdentityAt], file.identity().data(), file.identity().size());
  std::memcpy(&bytes[kNameAt], name.data(), std::min(name.size(), bytes.size() - kNameAt));
  return bytes;
}

Status MakeIndexFile(const std::string& path, const std::string& like, const IndexBytes& bytes,
                     const std::function<bool()>& is_right) {
  os::DirectoryLock lock;
  const int error = lock.Take(DirectoryOf(path), store::WaitMs());
  if (error != 0) return error == ETIMEDOUT ? store::kBusy : store::StatusOfError(error);
  return is_right() ? store::kOk : store::StatusOfError(PutInPlace(path, like, bytes));
}

}  // namespace qob::tessera
