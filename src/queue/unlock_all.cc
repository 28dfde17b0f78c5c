#include "queue/unlock_all.h"

#include <string>
#include <vector>

#include "frame/report.h"
#include "platform/os/directory.h"
#include "platform/os/path.h"
#include "platform/spool/names.h"
#include "queue/path_text.h"

namespace qob {
namespace {

// A name with a separator in it would lead elsewhere.
bool Remove(const PathText& path, const std::string& name) {
  return os::LastSeparator(name) == std::string::npos && os::RemoveFile(path.view()) == 0;
}

}  // namespace

std::int32_t UnlockAll(std::string_view directory) {
  std::int32_t removed = 0;
  // All names first: a directory that changes while it is listed shows some twice or not at all.
  const os::Result<std::vector<std::string>> names = os::ListNames(directory, spool::kLockFile);
  for (const std::string& name : names.value) {
    const PathText path({directory, "\\", name});
    if (Remove(path, name)) {
      ++removed;
    } else {
      Report(kDetail, "Unable to remove %s.", path.c_str());
    }
  }
  return removed;
}

}  // namespace qob
