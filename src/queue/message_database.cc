#include "queue/message_database.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>

#include <qobplatform/btrcall.h>

#include "frame/report.h"
#include "platform/os/ascii.h"
#include "platform/spool/message_record.h"

namespace qob::mesgdb {
namespace {

// Where the key of a record or the second reading of an update is cut.
constexpr std::size_t kKeyCharacters = 15;
constexpr std::int8_t kNormal = 0;

// A value as BTRCALL takes it: text with its NUL, at most the 255 bytes that a key buffer may have.
struct KeyText {
  std::array<char, 255> text{};
  std::uint8_t size = 1;
};

enum class Case { kAsGiven, kLowered };

// A longer value would never equal what an index holds: cut to the index's length less the NUL. An
// index that does not exist is BTRCALL's to refuse.
std::size_t LongestValue(int index) {
  const auto& keys = spool::DatabaseDescription().keys;
  const auto at = static_cast<std::size_t>(std::clamp(index, 0, spool::kStateIndex));
  return keys[at].length - std::size_t{1};
}

KeyText Prepared(int index, std::string_view value, Case letters) {
  KeyText key;
  value = value.substr(0, LongestValue(index));
  std::transform(value.begin(), value.end(), key.text.begin(), [&](char c) {
    return letters == Case::kAsGiven
               ? c
               : static_cast<char>(ascii::Lower(static_cast<unsigned char>(c)));
  });
  key.size = static_cast<std::uint8_t>(value.size() + 1);
  return key;
}

void LowerKey(MesgRecord* record) {
  for (char& c : record->key) {
    if (c == '\0') return;
    c = static_cast<char>(ascii::Lower(static_cast<unsigned char>(c)));
  }
}

// An index number that BTRCALL's eight bits cannot carry is one that does not exist.
std::int8_t KeyNumber(int index) {
  constexpr std::int8_t kNone = 127;
  return index < 0 || index > kNone ? kNone : static_cast<std::int8_t>(index);
}

int OnRecord(std::uint16_t operation, MesgHandle* db, MesgRecord* record, KeyText* key, int index) {
  std::uint32_t length = sizeof *record;
  return BTRCALL(operation, db, record, &length, key != nullptr ? key->text.data() : nullptr,
                 key != nullptr ? key->size : std::uint8_t{0}, KeyNumber(index));
}

int SeekRecord(MesgHandle* db, int index, Seek seek, KeyText key, MesgRecord* record) {
  switch (seek) {
    case Seek::kEqual:
      return OnRecord(B_GET_EQUAL, db, record, &key, index);
    case Seek::kGreater:
      return OnRecord(B_GET_GREATER, db, record, &key, index);
    case Seek::kGreaterOrEqual:
      return OnRecord(B_GET_GREATER_OR_EQUAL, db, record, &key, index);
    case Seek::kFirst:
      break;
  }
  return OnRecord(B_GET_FIRST, db, record, nullptr, index);
}

// For %.*s.
int Length(std::string_view text) { return static_cast<int>(text.size()); }

// Without a directory the name would be one in the root of the file system.
template <class Work>
int OnPath(std::string_view directory, Work&& work) {
  if (directory.empty()) return store::kBadFileName;
  try {
    std::string path(directory);
    path.append("\\").append(spool::kDatabaseName);
    return work(path);
  } catch (const std::bad_alloc&) {
    return store::kNoMemory;
  }
}

int CreateAt(std::string& path) {
  std::string description = store::WriteDescription(spool::DatabaseDescription());
  auto length = static_cast<std::uint32_t>(description.size());
  MesgHandle unused{};
  constexpr std::int8_t kNeverReplace = -1;
  return BTRCALL(B_CREATE, &unused, description.data(), &length, path.data(), 255, kNeverReplace);
}

int OpenAt(std::string& path, MesgHandle* db) {
  return BTRCALL(B_OPEN, db, nullptr, nullptr, path.data(), 255, kNormal);
}

}  // namespace

int Create(std::string_view directory) { return OnPath(directory, CreateAt); }

int Open(std::string_view directory, MesgHandle* db) {
  if (db == nullptr) return store::kNotOpen;
  std::memset(db->block, 0, sizeof(std::uint32_t));
  return OnPath(directory, [db](std::string& path) {
    const int status = OpenAt(path, db);
    if (status != B_FILE_NOT_FOUND) return status;
    // Another process may have been quicker: what counts is that the file opens now.
    CreateAt(path);
    return OpenAt(path, db);
  });
}

int Close(MesgHandle* db) { return BTRCALL(B_CLOSE, db, nullptr, nullptr, nullptr, 0, 0); }

int Insert(MesgHandle* db, MesgRecord* record) {
  if (record != nullptr) LowerKey(record);
  return OnRecord(B_INSERT, db, record, nullptr, spool::kKeyIndex);
}

int Find(MesgHandle* db, std::string_view key, MesgRecord* record) {
  return FindByIndex(db, spool::kKeyIndex, Seek::kEqual, key, record);
}

int FindByIndex(MesgHandle* db, int index, Seek seek, std::string_view value, MesgRecord* record) {
  return SeekRecord(db, index, seek, Prepared(index, value, Case::kLowered), record);
}

int FindAsGiven(MesgHandle* db, int index, Seek seek, std::string_view value, MesgRecord* record) {
  return SeekRecord(db, index, seek, Prepared(index, value, Case::kAsGiven), record);
}

int Next(MesgHandle* db, int index, MesgRecord* record) {
  return OnRecord(B_GET_NEXT, db, record, nullptr, index);
}

int UpdateCurrent(MesgHandle* db, int index, const MesgRecord& record) {
  MesgRecord lowered = record;
  LowerKey(&lowered);
  return OnRecord(B_UPDATE, db, &lowered, nullptr, index);
}

int DeleteCurrent(MesgHandle* db, int index) {
  return BTRCALL(B_DELETE, db, nullptr, nullptr, nullptr, 0, KeyNumber(index));
}

int Update(MesgHandle* db, int index, std::string_view value, const MesgRecord& record) {
  MesgRecord found;
  int status = FindByIndex(db, index, Seek::kEqual, value, &found);
  if (status != B_OK) return status;
  status = UpdateCurrent(db, index, record);
  if (status != B_CONFLICT) return status;
  Report(kFailure, "UpdateMesgRecord %.*s failed: %d", Length(value), value.data(), status);
  status = FindByIndex(db, index, Seek::kEqual, value.substr(0, kKeyCharacters), &found);
  return status == B_OK ? UpdateCurrent(db, index, record) : status;
}

int Remove(MesgHandle* db, std::string_view key, MesgRecord* record) {
  int status = Find(db, key, record);
  if (status != B_OK) {
    Report(kDetail, "RemoveMesgRecord: %.*s", Length(key), key.data());
    return status;
  }
  status = DeleteCurrent(db, spool::kKeyIndex);
  if (status == B_OK) return status;
  Report(kFailure, "RemoveMesgRecord %.*s failed: %d", Length(key), key.data(), status);
  if (status != B_CONFLICT) return status;
  status = Find(db, key, record);
  if (status != B_OK) return status;
  Report(kFailure, "RemoveMesgRecord %.*s", Length(key), key.data());
  return DeleteCurrent(db, spool::kKeyIndex);
}

}  // namespace qob::mesgdb
