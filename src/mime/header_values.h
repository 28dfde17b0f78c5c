// Addresses, parameters and texts as the builders put them into headers.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "charset/header_encoder.h"
#include "platform/spool/qualify.h"

namespace qob {

// The settings of one build, read at its beginning.
struct BuildSettings {
  EncodingSettings encoding;
  bool convert_jis = false;        // Shift-JIS in addresses becomes ISO-2022-JP
  spool::QualifySettings qualify;  // for recipients without a whole host part
};
BuildSettings ReadBuildSettings();

// rfc1522encoding with settings that are at hand.
std::string EncodedHeader(std::string_view text, const EncodingSettings& settings);

enum class Addressee { kSender, kRecipient };
// The header-ready form of one address. Recipients get a host part where they lack one; with
// angle brackets inside them, and "<>" stays.
std::string HeaderAddress(std::string_view address, Addressee who, const BuildSettings& settings);

// attribute="value" of attribute=value, whether quoted or not; nothing for a text without "=".
std::optional<std::string> HeaderParameter(std::string_view parameter,
                                           const EncodingSettings& settings);

}  // namespace qob
