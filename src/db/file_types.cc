#include "db/file_types.h"

#include <algorithm>

#include "db/relation.h"
#include "platform/os/ascii.h"

namespace qob::db {
namespace {

using MagicRelation = Relation<MagicRow>;
constexpr char kName[] = "magicdb";

// The session lives as long as the library is loaded.
ProcessRelation<MagicRow> g_file_types(kName);

dbError FirstWithExtension(MagicRelation& relation, std::string_view extension) {
  return FirstMatch(relation, [&](const MagicRow& row) { return HasExtension(row, extension); });
}

// Takes `padded to four` off the front of *rest.
bool TakePadded(std::string_view* rest, std::string_view text) {
  constexpr std::size_t kWidth = 4;
  if (!rest->starts_with(text)) return false;
  rest->remove_prefix(text.size());
  for (std::size_t size = text.size(); size < kWidth; ++size) {
    if (!rest->starts_with(' ')) return false;
    rest->remove_prefix(1);
  }
  return true;
}

}  // namespace

bool OpenFileTypes() { return g_file_types.Open().status == kOk; }

void CloseFileTypes() { g_file_types.Close(); }

std::int32_t AddFileType(const MagicRecord& record) {
  return g_file_types.Change([&](MagicRelation& relation) {
    relation.row = {};
    StoreMagic(record, &relation.row);
    return relation.add();
  });
}

// The pass is over before the record is written: it stays the relation's current one.
std::int32_t ReplaceFileType(const MagicRecord& record) {
  return g_file_types.Change([&](MagicRelation& relation) {
    const dbError found = FirstWithExtension(relation, FieldText(record.extension));
    relation.end();
    if (found != kOk) return found;
    StoreMagic(record, &relation.row);
    return relation.put();
  });
}

std::int32_t DeleteFileType(std::string_view extension) {
  return g_file_types.Change([&](MagicRelation& relation) {
    dbError result = FirstWithExtension(relation, extension);
    if (result == kOk) result = relation.del();
    relation.end();
    return result;
  });
}

std::int32_t FindFileType(std::string_view extension, MagicRecord* out) {
  return g_file_types.Change([&](MagicRelation& relation) {
    const dbError result = FirstWithExtension(relation, extension);
    if (result == kOk) TakeMagic(relation.row, out);
    relation.end();
    return result;
  });
}

std::int32_t FirstFileType(MagicRecord* out) {
  return g_file_types.Walk([&](MagicRelation& relation) {
    const Held held(relation);
    if (held.result() != kOk) return held.result();
    relation.end();
    dbError result = relation.begin(0);
    if (result == kOk) result = relation.first();
    if (result == kOk) TakeMagic(relation.row, out);
    return result;
  });
}

std::int32_t NextFileType(MagicRecord* out) {
  return g_file_types.Walk([&](MagicRelation& relation) -> std::int32_t {
    if (relation.status() != kOk) return kMisused;
    const Held held(relation);
    if (held.result() != kOk) return held.result();
    dbError result = relation.next();
    if (result == kNoPlace) {
      result = relation.begin(0);
      if (result == kOk) result = relation.first();
    }
    if (result == kOk) TakeMagic(relation.row, out);
    return result;
  });
}

bool LookUpFileType(const FileTypeMatch& match, const FileTypeUse& take) {
  tesseraBase session;
  MagicRelation relation(session, QueuePlace(), kName);
  if (relation.status() != kOk) return false;
  const Held held(relation);
  const bool found = FirstMatch(relation, match) == kOk;
  if (found) take(relation.row);
  relation.end();
  return found;
}

bool HasExtension(const MagicRow& row, std::string_view extension) {
  return ascii::EqualFold(FieldText(row.fields.extension), extension);
}

bool HasContentType(const MagicRow& row, std::string_view type, std::string_view subtype) {
  return ascii::EqualFold(FieldText(row.fields.contentSubtype), subtype) &&
         ascii::EqualFold(FieldText(row.fields.contentType), type);
}

bool HasMacTypes(const MagicRow& row, std::string_view type, std::string_view creator) {
  std::string_view rest = FieldText(row.fields.macTypeCreator);
  return TakePadded(&rest, type) && TakePadded(&rest, creator) && rest.empty();
}

}  // namespace qob::db
