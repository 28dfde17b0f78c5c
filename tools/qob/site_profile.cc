#include "site_profile.h"

#include <array>
#include <vector>

#include <qob3xapi/frame.h>

#include "failure.h"
#include "private_site.h"
#include "system.h"

namespace cli {
namespace {

constexpr std::size_t kLongValue = 65536;

std::string ReadAll(const std::string& path, bool* exists) {
  const sys::Status status = sys::StatusOf(path);
  if (status.kind == sys::Kind::kMissing && sys::IsNoSuchFile(status.error)) return {};
  sys::File file = status.kind == sys::Kind::kRegular ? sys::File::OpenToRead(path) : sys::File();
  if (!file) {
    const int error = status.kind == sys::Kind::kRegular ? file.error() : status.error;
    const std::string why =
        status.kind == sys::Kind::kRegular || error != 0 ? sys::ErrorText(error) : "not a file";
    const ExitCode code = sys::IsPermission(error) ? ExitCode::kNoPermission : ExitCode::kConfig;
    throw Failure(code, path + ": cannot be read: " + why +
                            ": ask the administrator, or name another file with --file");
  }
  *exists = true;
  std::string text;
  std::array<char, 16384> block;
  std::ptrdiff_t got = 0;
  while ((got = file.Read(block.data(), block.size())) > 0)
    text.append(block.data(), static_cast<std::size_t>(got));
  if (got < 0)
    throw Failure(ExitCode::kIo,
                  path + ": reading failed: " + sys::ErrorText(file.error()) + ": check the disk");
  return text;
}

std::string Read(const char* section, const char* key, const char* otherwise, std::size_t size,
                 const std::string& path) {
  std::vector<char> buffer(size, '\0');
  QOBGetPrivateProfileString(section, key, otherwise, buffer.data(),
                             static_cast<std::uint32_t>(size), path.c_str());
  return buffer.data();
}

}  // namespace

SiteProfile::SiteProfile(const Arguments& arguments) {
  if (arguments.Has("--file")) {
    chosen_by_ = "--file";
    path_ = sys::AbsolutePath(arguments.Value("--file"));
  } else {
    const auto directory = sys::Environment("QOB_CONFIG_DIR");
    chosen_by_ = directory.has_value() && !directory->empty() ? "QOB_CONFIG_DIR" : "default";
    path_ = sys::AbsolutePath(SiteDirectory() + "/" + kProfileName);
  }
  if (path_.find('\\') != std::string::npos) {
    throw Failure(
        ExitCode::kUsage,
        path_ + ": its name holds a backslash, which the system takes for a separator: rename it");
  }
  scan_ = ScanProfile(ReadAll(path_, &exists_));
}

std::string SiteProfile::Value(const KeyRow& row) const {
  if (!row.exact) return Read(row.section, row.key, row.default_value, row.buffer_bytes, path_);
  const ProfileEntry* const entry = EntryOf(scan_, row);
  const std::string value = entry == nullptr ? row.default_value : entry->value;
  return value.substr(0, row.buffer_bytes - 1);
}

std::string SiteProfile::Value(const std::string& section, const std::string& key) const {
  return Read(section.c_str(), key.c_str(), "", kLongValue, path_);
}

}  // namespace cli
