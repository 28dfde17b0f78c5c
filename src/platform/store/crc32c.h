// CRC-32C (Castagnoli): the processor's instruction where it has one, a table elsewhere.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace qob::store {

// `before` is the checksum of what stands before these bytes; 0 at the start.
std::uint32_t Crc32c(std::uint32_t before, std::span<const std::byte> bytes);
// The same by the table alone.
std::uint32_t Crc32cByTable(std::uint32_t before, std::span<const std::byte> bytes);

}  // namespace qob::store
