// Encoded words (RFC 1522) of a header text back to bytes.
//
// This system reads more than the RFC allows and callers rely on it: words may stand anywhere in
// the text, hold blanks and be of any length; "_" is itself; blanks between adjacent words stay.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace qob {

struct DecodingSettings {
  std::string local_charset =
      "US-ASCII";  // words whose charset is a prefix of it are decoded, ASCII case ignored
  bool every_charset = false;
};

// Writes the decoded text to `out`, which has room for text.size() bytes; returns its length. An
// encoded word that is not closed, and one in a foreign charset, stays as it is.
std::size_t DecodeWords(std::string_view text, const DecodingSettings& settings, char* out);
std::string DecodeWords(std::string_view text, const DecodingSettings& settings);

// The charset of the first encoded word: what stands between the first "=?" and the marker. Of the
// markers behind it
// "?b?" is taken before "?B?", that before "?q?", that before "?Q?", wherever they stand. False
// when there is no word.
bool FirstCharset(std::string_view text, std::string_view* charset);

}  // namespace qob
