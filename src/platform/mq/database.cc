#include "platform/mq/database.h"

#include <span>

#include "platform/spool/names.h"
#include "platform/spool/site.h"
#include "platform/spool/store_settings.h"

namespace qob::mq {

std::string QueueDirectory() {
  const spool::Site& site = spool::TheSite();
  if (site.queue_dir[0] != '\0') return site.queue_dir;
  spool::Site configured;
  spool::FillSite(configured);
  return configured.queue_dir;
}

store::Status OpenDatabase(std::string_view directory, std::shared_ptr<store::RecordFile>* file) {
  if (directory.empty()) return store::kNoSuchFile;
  std::string path(directory);
  path += '\\';
  path += spool::kDatabaseName;
  const store::OpenOptions options = spool::StoreOpenOptions();
  const store::Status status = store::RecordFile::Open(path, options, file);
  if (status != store::kNoSuchFile) return status;
  // Another process may be quicker; what counts is that the file can be opened then.
  store::RecordFile::Create(path, spool::DatabaseDescription(), spool::StoreCreateOptions());
  return store::RecordFile::Open(path, options, file);
}

store::Status FindMessage(store::RecordFile& file, std::uint32_t id, spool::MessageRecord* record) {
  const std::string key = spool::RecordKey(id, spool::kMessageKind);
  const store::KeyDescription& index = file.description().keys[spool::kKeyIndex];
  store::Entry entry;
  return file.Find(spool::kKeyIndex, store::Seek::kEqual,
                   store::IndexKey(index, std::as_bytes(std::span(key))), &entry,
                   spool::Bytes(*record));
}

}  // namespace qob::mq
