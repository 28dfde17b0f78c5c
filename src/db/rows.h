// The records of the three relations as they stand on disk; numbers little-endian, texts end at
// their NUL or at the end of their place.
//
// magicdb, 380 bytes                    peerdb, 180 bytes             banuserdb, 240 bytes
// offset size                           offset size                   offset size
//      0    4  key; not used here            0    4  not used here         0  240  address, the key
//      4   10  extension                     4   48  twelve numbers
//     14   50  MIME type                    52  128  domain, the key
//     64  128  MIME subtype
//    192   50  text A: transfer encoding
//    242  128  text B: what it is
//    370   10  Macintosh type, creator
//
// The leading four bytes of the first two are zero in what is added here, and are neither changed nor
// looked at otherwise: a record keeps what another program has put there.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>

namespace qob::db {

struct MagicRow {
  std::int32_t key;
  MagicRecord fields;
};
static_assert(sizeof(MagicRow) == 380 && offsetof(MagicRow, fields) == 4);

inline constexpr std::size_t kPeerValues = 12;
inline constexpr std::size_t kDomainBytes = 128;

struct PeerRow {
  std::int32_t unused;
  std::int32_t values[kPeerValues];
  char domain[kDomainBytes];
};
static_assert(sizeof(PeerRow) == 180 && offsetof(PeerRow, domain) == 52);
static_assert(sizeof(PeerRecord) - offsetof(PeerRecord, flag0) == sizeof(PeerRow::values));

struct BanRow {
  char address[240];
};

// A text of a record or of a caller's.
template <std::size_t kWidth>
std::string_view FieldText(const char (&field)[kWidth]) {
  return {field, strnlen(field, kWidth)};
}

// Writes as much as fits before a NUL and clears the rest.
template <std::size_t kWidth>
void SetKey(char (&field)[kWidth], std::string_view text) {
  std::memset(field, 0, kWidth);
  const std::size_t size = text.size() < kWidth ? text.size() : kWidth - 1;
  if (size != 0) std::memcpy(field, text.data(), size);
}

// The six texts, each up to its NUL, what is behind that cleared: nothing that happens to lie in a
// caller's record gets on disk.
void StoreMagic(const MagicRecord& from, MagicRow* to);
// Field by field in ascending order, each with its NUL, which may fall on the next one's first
// byte; 377 bytes.
void TakeMagic(const MagicRow& from, MagicRecord* out);

// The twelve numbers alone.
void StorePeerValues(const PeerRecord& from, PeerRow* to);
// Domain and numbers; `reserved` stays.
void TakePeer(const PeerRow& from, PeerRecord* out);

}  // namespace qob::db
