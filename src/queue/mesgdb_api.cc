// The exported calls of the message database. Statuses go out as they are; a null key is 41, a null
// handle 3 and a null record 22, as BTRCALL has it.
#include <qob3xapi/mesgdb.h>

#include <string_view>

#include "frame/config.h"
#include "queue/message_database.h"

namespace {

using qob::mesgdb::Seek;
using qob::store::kBufferTooShort;
using qob::store::kNotAllowed;

std::string_view Directory(const char* dir) { return dir != nullptr ? dir : qob::QueueDir(); }

// Calls work with the text of a value; null has none.
template <class Work>
std::int32_t WithValue(const char* value, Work&& work) {
  return value != nullptr ? work(std::string_view(value)) : kNotAllowed;
}

std::int32_t Replace(MesgHandle* db, int index, const char* value, const MesgRecord* record) {
  if (record == nullptr) return kBufferTooShort;
  return WithValue(
      value, [&](std::string_view text) { return qob::mesgdb::Update(db, index, text, *record); });
}

}  // namespace

extern "C" {

QOBAPI int32_t CreateMesgFile(const char* dir) { return qob::mesgdb::Create(Directory(dir)); }

QOBAPI int32_t OpenMesgFile(const char* dir, MesgHandle* db) {
  return qob::mesgdb::Open(Directory(dir), db);
}

QOBAPI int32_t CloseMesgFile(MesgHandle* db) { return qob::mesgdb::Close(db); }

QOBAPI int32_t InsertMesgRecord(MesgHandle* db, MesgRecord* record) {
  return qob::mesgdb::Insert(db, record);
}

QOBAPI int32_t FindMesgRecord(MesgHandle* db, const char* key, MesgRecord* record) {
  return WithValue(key, [&](std::string_view text) { return qob::mesgdb::Find(db, text, record); });
}

QOBAPI int32_t GetNextMesgRecord(MesgHandle* db, const char* /*key*/, MesgRecord* record) {
  return qob::mesgdb::Next(db, 0, record);
}

QOBAPI int32_t UpdateMesgRecord(MesgHandle* db, const char* key, const MesgRecord* record) {
  return Replace(db, 0, key, record);
}

QOBAPI int32_t RemoveMesgRecord(MesgHandle* db, const char* key, MesgRecord* record) {
  return WithValue(key,
                   [&](std::string_view text) { return qob::mesgdb::Remove(db, text, record); });
}

QOBAPI int32_t FindMesgRecordByKey(MesgHandle* db, const char* keyValue, MesgRecord* record,
                                   int32_t index) {
  return WithValue(keyValue, [&](std::string_view text) {
    return qob::mesgdb::FindByIndex(db, index, Seek::kEqual, text, record);
  });
}

QOBAPI int32_t GetGreaterMesgRecordByKey(MesgHandle* db, const char* keyValue, MesgRecord* record,
                                         int32_t index) {
  return WithValue(keyValue, [&](std::string_view text) {
    return qob::mesgdb::FindByIndex(db, index, Seek::kGreater, text, record);
  });
}

QOBAPI int32_t GetFirstMesgRecordByKey(MesgHandle* db, MesgRecord* record, int32_t index) {
  return qob::mesgdb::FindByIndex(db, index, Seek::kFirst, {}, record);
}

QOBAPI int32_t GetNextMesgRecordByKey(MesgHandle* db, MesgRecord* record, int32_t index) {
  return qob::mesgdb::Next(db, index, record);
}

QOBAPI int32_t UpdateCurrentMesgRecordByKey(MesgHandle* db, const MesgRecord* record,
                                            int32_t index) {
  return record != nullptr ? qob::mesgdb::UpdateCurrent(db, index, *record) : kBufferTooShort;
}

QOBAPI int32_t DeleteCurrentMesgRecordByKey(MesgHandle* db, int32_t index) {
  return qob::mesgdb::DeleteCurrent(db, index);
}

QOBAPI int32_t UpdateMesgRecordByKey(MesgHandle* db, const char* keyValue, const MesgRecord* record,
                                     int32_t index) {
  return Replace(db, index, keyValue, record);
}

}  // extern "C"
