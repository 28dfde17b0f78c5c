// Records as they stand on disk: their zero runs squeezed, with a checksum over all.
//
// offset  size  meaning
//      0     4  CRC-32C, little-endian, of everything behind it and of the record number
//      4     .  pieces until the end: count of bytes that follow (varint), those bytes, count of
//               zero bytes (varint); the last piece may lack its zeros; what is missing to the
//               record's length is zero
//
// A varint is seven bits per byte, least significant first, the top bit set on all but the last.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace qob::store {

// Replaces *squeezed.
void Squeeze(std::span<const std::byte> record, std::int64_t number, std::string* squeezed);
// False for bytes that are no squeezed record of that length and number; `record` is then
// undefined.
bool Unsqueeze(std::span<const std::byte> squeezed, std::int64_t number,
               std::span<std::byte> record);

}  // namespace qob::store
