#include "site_databases.h"

#include <qob3xapi/errors.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/util.h>

#include "../system.h"

namespace cli::db {
namespace {

struct ResultRow {
  dbError result;
  ExitCode code;
  const char* why;
  const char* advice;
};
constexpr ResultRow kResults[] = {
    {kNoRelation, ExitCode::kNoInput, "there is none",
     "the first program of the system places it from srcdb of [Config] InstallDirectory"},
    {18, ExitCode::kIo, "the disk is full", "free some space"},
    {22, ExitCode::kData, "the file is empty",
     "the next program of the system that starts replaces it"},
    {30, ExitCode::kData, "it is damaged, or a file of another kind",
     "it is left as it is: put it aside, or restore it from a copy"},
    {46, ExitCode::kNoPermission, "no permission", "run as the owner of the queue"},
    {84, ExitCode::kTemporary, "other programs hold it", "try again"},
    {101, ExitCode::kSoftware, "out of memory", "close other programs"},
};

std::string QueueDirectory() {
  char value[260] = "";
  QOBGetPrivateProfileString("Gateway", "QueueDirectory", "", value, sizeof value, kProfileName);
  return value;
}

std::string CheckedQueue(const std::string& queue) {
  if (queue.empty()) {
    throw Failure(ExitCode::kConfig, SiteDirectory() + "/" + kProfileName +
                                         ": [Gateway] QueueDirectory is not set: set it, or name "
                                         "the queue with --queue");
  }
  const sys::Status status = sys::StatusOf(queue);
  if (status.kind == sys::Kind::kFolder) return queue;
  throw Failure(ExitCode::kNoInput, queue +
                                        ": no queue directory: name it with --queue, or set "
                                        "[Gateway] QueueDirectory");
}

}  // namespace

Site::Site(const Arguments& arguments) : private_(arguments.Has("--verbose")) {
  const std::string chosen = arguments.Value("--queue");
  if (!chosen.empty()) {
    private_.Set("Gateway", "QueueDirectory", sys::AbsolutePath(chosen));
  }
  char* const native = QOBNativePath(QueueDirectory().c_str());
  if (native != nullptr) queue_ = native;
  FreeString(native);
  CheckedQueue(queue_);
}

Failure RelationFailure(const Site& site, const char* name, dbError result) {
  const std::string path = site.queue() + "/" + name + ".db: ";
  for (const ResultRow& row : kResults) {
    if (row.result == result) {
      return Failure(row.code, path + row.why + ": " + row.advice);
    }
  }
  const char* const text = ShowBtrError(result);
  return Failure(ExitCode::kIo, path + "status " + std::to_string(result) + ": " +
                                    (text == nullptr ? "unknown" : text) +
                                    ": see the system's log of the disk");
}

std::string Folded(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return text;
}

void CheckWord(const char* what, const std::string& text, std::size_t most) {
  const bool printable = text.find_first_not_of(
                             "!\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                             "[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~") == std::string::npos;
  if (!text.empty() && text.size() <= most && printable) return;
  throw Failure(ExitCode::kUsage, "'" + text + "' is no " + what + ": give 1 to " +
                                      std::to_string(most) + " printable characters, no blanks");
}

}  // namespace cli::db
