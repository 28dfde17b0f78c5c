#include "platform/store/crc32c.h"

#include <array>
#include <cstring>

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

namespace qob::store {
namespace {

constexpr std::uint32_t kPolynomial = 0x82F63B78;  // bit-reversed

constexpr std::array<std::uint32_t, 256> MakeTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? kPolynomial : 0);
    table[i] = value;
  }
  return table;
}
constexpr std::array<std::uint32_t, 256> kTable = MakeTable();

#if defined(__x86_64__)
__attribute__((target("sse4.2"))) std::uint32_t Crc32cByInstruction(
    std::uint32_t before, std::span<const std::byte> bytes) {
  std::uint64_t crc = ~before;
  const std::byte* at = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= 8; left -= 8, at += 8) {
    std::uint64_t word;
    std::memcpy(&word, at, 8);
    crc = _mm_crc32_u64(crc, word);
  }
  auto small = static_cast<std::uint32_t>(crc);
  for (; left > 0; --left, ++at) small = _mm_crc32_u8(small, std::to_integer<unsigned char>(*at));
  return ~small;
}
#endif

}  // namespace

std::uint32_t Crc32cByTable(std::uint32_t before, std::span<const std::byte> bytes) {
  std::uint32_t crc = ~before;
  for (const std::byte byte : bytes) {
    crc = kTable[(crc ^ std::to_integer<std::uint32_t>(byte)) & 0xFF] ^ (crc >> 8);
  }
  return ~crc;
}

std::uint32_t Crc32c(std::uint32_t before, std::span<const std::byte> bytes) {
#if defined(__x86_64__)
  static const bool has_instruction = __builtin_cpu_supports("sse4.2");
  if (has_instruction) return Crc32cByInstruction(before, bytes);
#endif
  return Crc32cByTable(before, bytes);
}

}  // namespace qob::store
