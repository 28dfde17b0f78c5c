#include "charset/shift_jis.h"

namespace qob {
namespace {

constexpr Octet kFirstKana = 0xA1;
constexpr Octet kVoiced = 0xDE;
constexpr Octet kSemiVoiced = 0xDF;
constexpr Octet kHalfU = 0xB3;
constexpr OctetPair kVu = {0x83, 0x94};

constexpr std::uint16_t kWide[] = {
#include "charset/kana_table.inc"
};
static_assert(sizeof kWide / sizeof kWide[0] == 0xDF - 0xA1 + 1);

constexpr bool Within(Octet c, Octet first, Octet last) { return c >= first && c <= last; }

}  // namespace

WideKana WideKanaOf(Octet kana, Octet next) {
  const std::uint16_t code = kWide[kana - kFirstKana];
  const OctetPair plain = {static_cast<Octet>(code >> 8), static_cast<Octet>(code)};
  const bool ha_row = Within(kana, 0xCA, 0xCE);
  const bool trail_of_ha = Within(plain.second, 0x6E, 0x7A);
  if (next == kVoiced && kana == kHalfU) return {kVu, true};
  if (next == kVoiced && (ha_row || Within(kana, 0xB6, 0xC4))) {
    const bool raised = trail_of_ha || Within(plain.second, 0x4A, 0x67);
    return {{plain.first, static_cast<Octet>(plain.second + (raised ? 1 : 0))}, true};
  }
  if (next == kSemiVoiced && ha_row) {
    return {{plain.first, static_cast<Octet>(plain.second + (trail_of_ha ? 2 : 0))}, true};
  }
  return {plain, false};
}

}  // namespace qob
