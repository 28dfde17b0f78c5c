// Numbers as they stand in files: least significant byte first, whatever the machine.
#pragma once
#include <concepts>
#include <cstddef>
#include <span>

namespace qob::store {

template <std::unsigned_integral Number>
constexpr Number LoadLittle(const std::byte* from) {
  Number value = 0;
  for (std::size_t i = sizeof(Number); i-- > 0;) {
    value = static_cast<Number>((value << (sizeof(Number) > 1 ? 8 : 0)) |
                                std::to_integer<Number>(from[i]));
  }
  return value;
}

template <std::unsigned_integral Number>
constexpr void StoreLittle(Number value, std::byte* to) {
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    to[i] = static_cast<std::byte>(static_cast<unsigned char>(value >> (8 * i)));
  }
}

}  // namespace qob::store
