#include "open_queue.h"

#include <algorithm>
#include <optional>

#include <qob3xapi/errors.h>
#include <qob3xapi/frame.h>

#include "../library_log.h"
#include "../private_site.h"
#include "../system.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "platform/spool/store_settings.h"

namespace cli::queue {
namespace {

using qob::store::RecordFile;
using qob::store::Status;

// Start-up sets the zone of the site, or one of its own where the site names none; times are then
// shown in the zone of the user.
void StartLibrary() {
  const std::optional<std::string> zone = sys::Environment("TZ");
  InitQOBDll_NOMQ("qob");
  char named[16] = "";
  QOBGetPrivateProfileString("Gateway", "TimeZone", "", named, sizeof named, kProfileName);
  if (named[0] == '\0') sys::SetEnvironment("TZ", zone.value_or(":/etc/localtime"));
}

std::vector<std::string> Directories(const Arguments& arguments) {
  std::vector<std::string> directories = arguments.All("--queue");
  if (!directories.empty()) return directories;
  std::string configured = GetQueueDir();
  if (configured.empty()) {
    throw Failure(ExitCode::kConfig, SiteDirectory() + "/" + kProfileName +
                                         ": [Gateway] QueueDirectory is not set: set it, or name "
                                         "the queue with --queue");
  }
  std::replace(configured.begin(), configured.end(), '\\', '/');
  directories.push_back(std::move(configured));
  return directories;
}

std::string WithoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

Place PlaceOf(const std::string& directory) {
  if (directory.empty())
    throw Failure(ExitCode::kUsage, "--queue: the name is empty: name a directory");
  if (directory.find('\\') != std::string::npos) {
    throw Failure(ExitCode::kUsage, directory +
                                        ": its name holds a backslash, which the system takes for "
                                        "a separator: rename it");
  }
  Place place;
  place.path = WithoutTrailingSlashes(sys::AbsolutePath(directory));
  place.name = qob::spool::DirectoryName(place.path);
  const sys::Status status = sys::StatusOf(place.path);
  if (status.kind == sys::Kind::kMissing) {
    throw Failure(sys::IsPermission(status.error) ? ExitCode::kNoPermission : ExitCode::kNoInput,
                  place.path + ": no queue directory: " + sys::ErrorText(status.error) +
                      ": name it with --queue, or set [Gateway] QueueDirectory");
  }
  if (status.kind != sys::Kind::kFolder) {
    throw Failure(ExitCode::kNoInput, place.path + ": not a directory: name the queue's directory");
  }
  return place;
}

struct StatusRow {
  Status status;
  ExitCode code;
  const char* advice;
};

constexpr StatusRow kStatusRows[] = {
    {qob::store::kNoSuchFile, ExitCode::kNoInput, "name the queue's directory with --queue"},
    {qob::store::kNotOurFile, ExitCode::kData,
     "it is left as it is: see 'qob queue check', or restore it from a copy"},
    {qob::store::kNoPermission, ExitCode::kNoPermission,
     "run as the owner of the queue, or as a member of [Store] Group"},
    {qob::store::kBusy, ExitCode::kTemporary, "other programs hold it: try again"},
    {qob::store::kDiskFull, ExitCode::kIo, "free some space"},
    {qob::store::kNoMemory, ExitCode::kSoftware, "close other programs"},
};

}  // namespace

Failure StoreFailure(const std::string& what, Status status) {
  std::string text = ShowBtrError(status);
  while (text.ends_with('.')) text.pop_back();
  text = what + ": " + text + " (status " + std::to_string(status) + "): ";
  for (const StatusRow& row : kStatusRows) {
    if (row.status == status) return {row.code, text + row.advice};
  }
  return {ExitCode::kIo, text + "check the disk and the queue's directory"};
}

OpenQueue::OpenQueue(const Arguments& arguments, Access access, std::vector<Status>* statuses)
    : access_(access) {
  if (access_ == Access::kRead) LibraryLog::Get().Start(arguments.Has("--verbose"));
  StartLibrary();
  try {
    OpenPlaces(Directories(arguments), statuses);
  } catch (...) {
    TerminateQOBDll();
    if (access_ == Access::kRead) LibraryLog::Get().Stop();
    throw;
  }
}

OpenQueue::~OpenQueue() {
  places_.clear();
  TerminateQOBDll();
  if (access_ == Access::kRead) LibraryLog::Get().Stop();
}

void OpenQueue::OpenPlaces(const std::vector<std::string>& directories,
                           std::vector<Status>* statuses) {
  qob::store::OpenOptions options;
  if (access_ == Access::kChange) options = qob::spool::StoreOpenOptions();
  options.read_only = access_ == Access::kRead;
  bool any = false;
  for (const std::string& directory : directories) {
    Place place = PlaceOf(directory);
    const auto same = [&](const Place& other) { return other.path == place.path; };
    if (std::any_of(places_.begin(), places_.end(), same)) continue;
    const std::string path = place.path + "/" + qob::spool::kDatabaseName;
    const Status status = RecordFile::Open(path, options, &place.database);
    if (statuses != nullptr) {
      statuses->push_back(status);
    } else if (status != qob::store::kOk && status != qob::store::kNoSuchFile) {
      throw StoreFailure(path, status);
    }
    any = any || status == qob::store::kOk;
    places_.push_back(std::move(place));
  }
  if (!any && statuses == nullptr) {
    throw Failure(ExitCode::kNoInput, places_.front().path + ": no message database (" +
                                          qob::spool::kDatabaseName +
                                          ") there: no message was ever queued in it, or it is "
                                          "not the queue's directory");
  }
}

std::int32_t OpenQueue::HolderOf(std::uint32_t home, std::string_view directory_name) const {
  if (directory_name.empty() || directory_name == places_[home].name)
    return static_cast<std::int32_t>(home);
  const auto holder = std::find_if(places_.begin(), places_.end(), [&](const Place& place) {
    return place.name == directory_name;
  });
  return holder == places_.end() ? -1 : static_cast<std::int32_t>(holder - places_.begin());
}

std::string OpenQueue::PathOf(const Message& message) const {
  const std::size_t place =
      message.holder < 0 ? message.home : static_cast<std::size_t>(message.holder);
  std::string path = qob::spool::QueuePath(places_[place].path, message.id);
  path[places_[place].path.size()] = '/';
  return path;
}

}  // namespace cli::queue
