// The exported calls of the file type database and of the banned users.
#include <qob3xapi/magic.h>

#include "db/banned_users.h"
#include "db/file_types.h"
#include "db/relation.h"
#include "frame/guard.h"
#include "frame/report.h"

namespace {

namespace db = qob::db;

constexpr char kModule[] = "Libmagic";

// 0 when `match` takes a record, which `take` then gets; -1 otherwise.
template <class Match, class Take>
int32_t LookUp(Match&& match, Take&& take) {
  return qob::Guarded(-1, [&] { return db::LookUpFileType(match, take) ? 0 : -1; });
}

// At most its width and a NUL: the room that the contract asks for.
template <std::size_t kWidth>
void CopyField(const char (&field)[kWidth], char* out) {
  const std::string_view text = db::FieldText(field);
  std::memcpy(out, text.data(), text.size());
  out[text.size()] = '\0';
}

}  // namespace

extern "C" {

QOBAPI void libmagic_init(void) {
  if (qob::Guarded(false, [] { return db::OpenFileTypes(); })) {
    qob::ReportAs(kModule, qob::kDetail, "magic db opened");
  } else {
    qob::ReportAs(kModule, qob::kFailure, "magic db not opened");
  }
}

QOBAPI void libmagic_fini(void) { db::CloseFileTypes(); }

QOBAPI int32_t InsMagicRecord(const MagicRecord* record) {
  return record != nullptr ? db::AddFileType(*record) : db::kMisused;
}

QOBAPI int32_t UpdateMagicRecord(const MagicRecord* record) {
  return record != nullptr ? db::ReplaceFileType(*record) : db::kMisused;
}

QOBAPI int32_t DelMagicRecord(const char* extension) {
  return extension != nullptr ? db::DeleteFileType(extension) : db::kMisused;
}

QOBAPI int32_t FindMagicRecord(MagicRecord* out, const char* extension) {
  if (out == nullptr || extension == nullptr) return db::kMisused;
  return db::FindFileType(extension, out);
}

QOBAPI int32_t GetFirstMagicRecord(MagicRecord* out) {
  return out != nullptr ? db::FirstFileType(out) : db::kMisused;
}

QOBAPI int32_t GetNextMagicRecord(MagicRecord* out) {
  return out != nullptr ? db::NextFileType(out) : db::kMisused;
}

QOBAPI int32_t GetMagicFromExtension(const char* extension, MagicRecord* out) {
  if (extension == nullptr || out == nullptr) return -1;
  const std::string_view wanted = extension;
  return LookUp([&](const db::MagicRow& row) { return db::HasExtension(row, wanted); },
                [&](const db::MagicRow& row) { db::TakeMagic(row, out); });
}

QOBAPI int32_t GetMagicFromMacTypes(MagicRecord* out, const char* type, const char* creator) {
  if (out == nullptr || type == nullptr || creator == nullptr) return -1;
  const std::string_view wanted_type = type;
  const std::string_view wanted_creator = creator;
  return LookUp(
      [&](const db::MagicRow& row) { return db::HasMacTypes(row, wanted_type, wanted_creator); },
      [&](const db::MagicRow& row) { db::TakeMagic(row, out); });
}

QOBAPI int32_t GetDosExtFromCTandCST(char* extensionOut, const char* contentType,
                                     const char* contentSubtype) {
  if (extensionOut == nullptr || contentType == nullptr || contentSubtype == nullptr) return -1;
  const std::string_view type = contentType;
  const std::string_view subtype = contentSubtype;
  return LookUp([&](const db::MagicRow& row) { return db::HasContentType(row, type, subtype); },
                [&](const db::MagicRow& row) { CopyField(row.fields.extension, extensionOut); });
}

QOBAPI int32_t GetTypeCreatorfromDosExt(const char* extension, char* typeCreatorOut) {
  if (extension == nullptr || typeCreatorOut == nullptr) return -1;
  const std::string_view wanted = extension;
  return LookUp(
      [&](const db::MagicRow& row) { return db::HasExtension(row, wanted); },
      [&](const db::MagicRow& row) { CopyField(row.fields.macTypeCreator, typeCreatorOut); });
}

QOBAPI int32_t BanUserExist(const char* address) {
  if (address == nullptr) return 0;
  return qob::Guarded(0, [&] { return db::IsBanned(address) ? 1 : 0; });
}

}  // extern "C"
