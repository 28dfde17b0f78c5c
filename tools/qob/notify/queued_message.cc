#include "queued_message.h"

#include <qob3xapi/errors.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/queueid.h>
#include <qob3xapi/util.h>

#include "../library_log.h"
#include "../system.h"

namespace cli::notify {
namespace {

constexpr std::size_t kIdDigits = 8;

std::string Id(const std::string& word) {
  std::string id;
  for (const char c : word) {
    const char upper = c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c;
    if ((upper < '0' || upper > '9') && (upper < 'A' || upper > 'F')) break;
    id += upper;
  }
  if (id.size() != kIdDigits || id.size() != word.size())
    throw Failure(ExitCode::kUsage, word +
                                        ": no id: give eight hexadecimal digits, as 'qob queue "
                                        "list' shows them");
  return id;
}

std::string Native(const std::string& path) {
  char* const native = QOBNativePath(path.c_str());
  const std::string text = native == nullptr ? "" : native;
  FreeString(native);
  return text;
}

}  // namespace

Database::Database() {
  if (const std::int32_t status = OpenMesgFile(nullptr, &handle_); status != 0)
    throw Failure(ExitCode::kTemporary, std::string(GetQueueDir()) +
                                            ": its message database cannot be opened: " +
                                            ShowBtrError(status) + ": see 'qob queue check'");
}

Database::~Database() { CloseMesgFile(&handle_); }

QueuedMessage::QueuedMessage(const std::string& id)
    : id_(Id(id)), path_(std::string(GetQueueDir()) + "\\" + id_) {
  const std::string file = Native(path_) + ".msg";
  if (sys::StatusOf(file).kind != sys::Kind::kRegular)
    throw Failure(ExitCode::kNoInput,
                  file + ": there is no such message: 'qob queue list' shows those that are there");
  if (CreateLockFile(path_.c_str()) != 0)
    throw Failure(ExitCode::kTemporary,
                  id_ + ": another process works on it: try again later, and see 'qob queue show " +
                      id_ + "'");
}

QueuedMessage::~QueuedMessage() { DeleteLockFile(path_.c_str()); }

Failure Refused(const std::string& what) {
  return Failure(ExitCode::kTemporary,
                 what + ": " + LibraryLog::Get().LastProblem("the queue did not take it") +
                     ": see to the space and the rights in the queue's directories, and try again");
}

}  // namespace cli::notify
