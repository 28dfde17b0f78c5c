#include "platform/spool/message_record.h"

namespace qob::spool {
namespace {

using store::KeyDescription;
using store::kTypeInteger;
using store::kTypeText;

constexpr std::uint16_t kExact =
    store::kKeyDuplicates | store::kKeyModifiable | store::kKeyExtendedType;
constexpr std::uint16_t kAnyCase = kExact | store::kKeyAnyCase;

// Only the first three form indexes. The others are written as they stand and have no effect: their
// positions are a mixture of offsets from 0 and from 1, and files in the field carry them so.
constexpr KeyDescription kKeys[] = {
    {1, 16, kAnyCase, kTypeText},    {17, 16, kExact, kTypeText},
    {33, 255, kAnyCase, kTypeText},  {288, 4, kExact, kTypeInteger},
    {292, 512, kExact, kTypeText},   {804, 4, kExact, kTypeInteger},
    {808, 4, kExact, kTypeInteger},  {812, 4, kExact, kTypeInteger},
    {816, 4, kExact, kTypeInteger},  {820, 4, kExact, kTypeInteger},
    {824, 4, kExact, kTypeInteger},  {828, 256, kExact, kTypeText},
    {1084, 512, kExact, kTypeText},  {1596, 100, kExact, kTypeText},
    {1696, 4, kExact, kTypeInteger}, {1700, 4, kExact, kTypeInteger},
    {1704, 512, kExact, kTypeText},  {2216, 4, kExact, kTypeInteger},
    {2220, 4, kExact, kTypeInteger},
};

constexpr std::uint16_t kPageBytes = 4096;
constexpr std::uint16_t kIndexes = 3;
constexpr std::uint16_t kFileFlags = 14;

}  // namespace

const store::FileDescription& DatabaseDescription() {
  static const store::FileDescription description{
      .record_bytes = kRecordBytes,
      .page_bytes = kPageBytes,
      .index_count = kIndexes,
      .flags = kFileFlags,
      .preallocated_pages = 0,
      .keys = {std::begin(kKeys), std::end(kKeys)},
  };
  return description;
}

}  // namespace qob::spool
