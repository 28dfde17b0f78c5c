// Big-endian integers in byte strings.
#pragma once
#include <cstdint>
#include <string>

namespace qob {

inline std::uint32_t BigEndian16(const char* at) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(at[0])) << 8 |
         static_cast<unsigned char>(at[1]);
}
inline std::uint32_t BigEndian32(const char* at) {
  return BigEndian16(at) << 16 | BigEndian16(at + 2);
}
inline void AppendBigEndian16(std::string* to, std::uint32_t value) {
  to->push_back(static_cast<char>(value >> 8 & 0xFF));
  to->push_back(static_cast<char>(value & 0xFF));
}
inline void AppendBigEndian32(std::string* to, std::uint32_t value) {
  AppendBigEndian16(to, value >> 16);
  AppendBigEndian16(to, value & 0xFFFF);
}

}  // namespace qob
