#include "private_site.h"

#include <array>

#include <qob3xapi/frame.h>

#include "failure.h"
#include "library_log.h"
#include "system.h"

namespace cli {
namespace {

constexpr const char* kSystemDirectory = "/etc/qob3xapi";
// The library keeps directory names of at most 259 characters; some are left for the names of the
// files in it.
constexpr std::size_t kLongestDirectory = 240;

Failure CannotMake(const std::string& parent, const std::string& why) {
  return Failure(ExitCode::kCantCreate, parent + ": no private directory can be made there: " +
                                            why + ": set TMPDIR to a directory that you can write");
}

// False when writing fails; a file that cannot be read on is taken as far as it goes.
bool CopyInto(sys::File* from, sys::File* to) {
  std::array<char, 16384> block;
  for (;;) {
    const std::ptrdiff_t got = from->Read(block.data(), block.size());
    if (got <= 0) return true;
    if (!to->Write({block.data(), static_cast<std::size_t>(got)})) return false;
  }
}

bool NamesTimeZone(const std::string& profile) {
  std::array<char, 16> value{};
  constexpr const char* kAbsent = "\x01";
  QOBGetPrivateProfileString("Gateway", "TimeZone", kAbsent, value.data(), value.size(),
                             profile.c_str());
  return std::string_view(value.data()) != kAbsent;
}

// Signs that a path of the library or a line of the configuration cannot carry.
bool HasForeignSign(const std::string& path) {
  return path.find_first_of("\\\r\n") != std::string::npos;
}

}  // namespace

std::string SiteDirectory() {
  const auto chosen = sys::Environment("QOB_CONFIG_DIR");
  return chosen.has_value() && !chosen->empty() ? *chosen : kSystemDirectory;
}

PrivateSite::PrivateSite(bool verbose) {
  std::string parent;
  int error = 0;
  directory_ = sys::MakePrivateDirectory(&parent, &error);
  if (directory_.empty()) throw CannotMake(parent, sys::ErrorText(error));
  try {
    if (directory_.size() > kLongestDirectory) throw CannotMake(parent, "its name is too long");
    if (HasForeignSign(directory_))
      throw CannotMake(parent, "its name holds a backslash or a line end");
    WriteProfile();
    sys::SetEnvironment("QOB_CONFIG_DIR", directory_);
    LibraryLog::Get().Start(verbose);
    InitQOBDll_NOMQ("qob");
  } catch (...) {
    sys::RemovePrivateDirectory();
    throw;
  }
}

PrivateSite::~PrivateSite() {
  TerminateQOBDll();
  LibraryLog::Get().Stop();
  sys::RemovePrivateDirectory();
}

void PrivateSite::Set(const char* section, const char* key, const std::string& value) const {
  const std::string profile = PathOf(kProfileName);
  if (QOBWritePrivateProfileString(section, key, value.c_str(), profile.c_str()) == 0) {
    throw Failure(
        ExitCode::kIo,
        profile + ": cannot be written: free some space, or set TMPDIR to another directory");
  }
}

void PrivateSite::WriteProfile() const {
  const std::string profile = PathOf(kProfileName);
  sys::File copy = sys::File::CreateNew(profile);
  if (!copy) throw CannotMake(directory_, sys::ErrorText(copy.error()));
  // A site file that is not there, or that this user may not read, changes nothing but the
  // defaults.
  const std::string original = SiteDirectory() + "/" + kProfileName;
  sys::File site;
  if (sys::StatusOf(original).kind == sys::Kind::kRegular) site = sys::File::OpenToRead(original);
  if (site && !CopyInto(&site, &copy)) throw CannotMake(directory_, sys::ErrorText(copy.error()));
  if (!copy.Close()) throw CannotMake(directory_, sys::ErrorText(copy.error()));
  Set("Gateway", "TemporaryDirectory", directory_);
  if (!NamesTimeZone(profile)) Set("Gateway", "TimeZone", "xxx");
}

}  // namespace cli
