// Header values to their encoded form: free text with comments, and values that are one address.
#pragma once
#include <string>
#include <string_view>

namespace qob {

struct EncodingSettings {
  bool enabled = true;  // false: nothing is encoded
  bool base64 = false;  // B instead of Q
  bool tight_comments =
      false;  // "text(comment)" instead of "text (comment)", and also for text without 8-bit bytes
  std::string charset = "US-ASCII";
};

// The settings of calls that are given the charset: B, enabled, tight comments.
EncodingSettings SettingsForCharset(std::string_view charset);

// Text and the comments in it, each encoded for itself.
std::string EncodeHeaderText(std::string_view text, const EncodingSettings& settings);

// A value that is one address, comments and all, has its phrase, address and comment encoded and is
// put together anew from them; any other value is free text. A part whose encoding runs out of
// memory is kept as it is; putting the parts together throws std::bad_alloc.
std::string EncodeHeaderValue(std::string_view value, const EncodingSettings& settings);

}  // namespace qob
