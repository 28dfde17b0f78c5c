#include "queue/move_message.h"

#include "platform/os/directory.h"
#include "platform/os/file_status.h"
#include "platform/os/path.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "platform/spool/store_settings.h"
#include "queue/envelope.h"
#include "queue/path_text.h"

namespace qob {
namespace {

bool NameDirectory(std::string_view queue_path, std::string_view name, const MesgHandle& db) {
  MesgHandle aside = db;
  MesgRecord record;
  const auto set = [&](MesgRecord& fresh) { spool::SetField(fresh.directoryName, name); };
  return envelope::ChangeMessage(queue_path, &aside, &record, set).status == store::kOk;
}

void MoveFile(std::string_view queue_path, std::string_view new_directory) {
  const PathText from({queue_path, spool::kMessageFile});
  const PathText to({new_directory, "\\", os::FileNamePart(queue_path), spool::kMessageFile});
  // What stands at the new place is never replaced, and what cannot be moved stays where it is.
  if (os::RenameFile(from.view(), to.view(), false) != 0) return;
  if (spool::StoreOpenOptions().durability != store::Durability::kCommit) return;
  const std::size_t directory = os::LastSeparator(queue_path);
  os::FlushDirectory(new_directory);
  os::FlushDirectory(directory == 0 ? queue_path.substr(0, 1) : queue_path.substr(0, directory));
}

}  // namespace

bool MoveMessage(std::string_view queue_path, std::string_view new_directory,
                 const MesgHandle& db) {
  const std::string_view name = spool::DirectoryName(new_directory);
  if (spool::SeparatorRuns(queue_path) == 0 || os::FileNamePart(queue_path).empty()) return false;
  if (spool::SeparatorRuns(new_directory) == 0 || name.empty()) return false;
  if (!NameDirectory(queue_path, name, db)) return false;
  MoveFile(queue_path, new_directory);
  return true;
}

}  // namespace qob
