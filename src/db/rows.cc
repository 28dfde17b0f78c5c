#include "db/rows.h"

namespace qob::db {
namespace {

struct Field {
  std::size_t offset;
  std::size_t width;
};
#define QOB_MAGIC_FIELD(name) \
  { offsetof(MagicRecord, name), sizeof(MagicRecord::name) }
constexpr Field kMagicFields[] = {QOB_MAGIC_FIELD(extension),      QOB_MAGIC_FIELD(contentType),
                                  QOB_MAGIC_FIELD(contentSubtype), QOB_MAGIC_FIELD(textA),
                                  QOB_MAGIC_FIELD(textB),          QOB_MAGIC_FIELD(macTypeCreator)};
#undef QOB_MAGIC_FIELD

}  // namespace

void StoreMagic(const MagicRecord& from, MagicRow* to) {
  const char* source = reinterpret_cast<const char*>(&from);
  char* target = reinterpret_cast<char*>(&to->fields);
  std::memset(target, 0, sizeof to->fields);
  for (const Field& field : kMagicFields) {
    std::memcpy(target + field.offset, source + field.offset,
                strnlen(source + field.offset, field.width));
  }
}

void TakeMagic(const MagicRow& from, MagicRecord* out) {
  const char* source = reinterpret_cast<const char*>(&from.fields);
  char* target = reinterpret_cast<char*>(out);
  for (const Field& field : kMagicFields) {
    const std::size_t length = strnlen(source + field.offset, field.width);
    std::memcpy(target + field.offset, source + field.offset, length);
    target[field.offset + length] = '\0';
  }
}

void StorePeerValues(const PeerRecord& from, PeerRow* to) {
  std::memcpy(to->values, reinterpret_cast<const char*>(&from) + offsetof(PeerRecord, flag0),
              sizeof to->values);
}

void TakePeer(const PeerRow& from, PeerRecord* out) {
  SetKey(out->domain, FieldText(from.domain));
  std::memcpy(reinterpret_cast<char*>(out) + offsetof(PeerRecord, flag0), from.values,
              sizeof from.values);
}

}  // namespace qob::db
