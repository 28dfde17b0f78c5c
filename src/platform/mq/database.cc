#include "platform/mq/database.h"

#include <string>

#include "platform/spool/message_record.h"
#include "platform/spool/site.h"
#include "platform/spool/store_settings.h"

namespace qob::mq {
namespace {

std::string QueueDirectory() {
  const spool::Site& site = spool::TheSite();
  if (site.queue_dir[0] != '\0') return site.queue_dir;
  spool::Site configured;
  spool::FillSite(configured);
  return configured.queue_dir;
}

}  // namespace

store::Status OpenDatabase(std::shared_ptr<store::RecordFile>* file) {
  const std::string directory = QueueDirectory();
  if (directory.empty()) return store::kNoSuchFile;
  const std::string path = directory + '\\' + spool::kDatabaseName;
  const store::OpenOptions options = spool::StoreOpenOptions();
  const store::Status status = store::RecordFile::Open(path, options, file);
  if (status != store::kNoSuchFile) return status;
  // Another process may be quicker; what counts is that the file can be opened then.
  store::RecordFile::Create(path, spool::DatabaseDescription(), spool::StoreCreateOptions());
  return store::RecordFile::Open(path, options, file);
}

}  // namespace qob::mq
