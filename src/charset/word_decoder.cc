// Finds encoded words and decodes them, in one pass: every marker is looked for from where it was
// found last.
#include "charset/word_decoder.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "charset/base64.h"
#include "charset/hex.h"
#include "platform/os/ascii.h"

namespace qob {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kMarkerLength = 3;
// In the order in which the decoder prefers them.
constexpr std::array<std::string_view, 4> kMarkers = {"?Q?", "?q?", "?B?", "?b?"};
constexpr std::size_t kFirstBase64Marker = 2;

class MarkerFinder {
 public:
  explicit MarkerFinder(std::string_view text) : text_(text) {}

  // First position of marker `kind` at or behind `from`; calls for one kind come with growing
  // positions.
  std::size_t Find(std::size_t kind, std::size_t from) {
    std::size_t& next = next_[kind];
    if (next != kNone && (next < from || !searched_[kind])) next = text_.find(kMarkers[kind], from);
    searched_[kind] = true;
    return next;
  }

 private:
  std::string_view text_;
  std::array<std::size_t, kMarkers.size()> next_{};
  std::array<bool, kMarkers.size()> searched_{};
};

char* Put(std::string_view bytes, char* to) {
  std::memmove(to, bytes.data(), bytes.size());
  return to + bytes.size();
}

char* DecodeQ(std::string_view word, char* to) {
  for (std::size_t at = 0; at < word.size(); ++at) {
    if (word[at] == '=' && word.size() - at > 2) {
      const unsigned high = HexValue(word[at + 1]);
      const unsigned low = HexValue(word[at + 2]);
      if ((high | low) < 16) {
        *to++ = static_cast<char>(high << 4 | low);
        at += 2;
        continue;
      }
    }
    *to++ = word[at];
  }
  return to;
}

// Ends at the first byte outside the alphabet; a group cut short gives the bytes it completes.
char* DecodeB(std::string_view word, char* to) {
  for (; word.size() >= 4; word.remove_prefix(4), to += 3) {
    const std::uint32_t group = Base64Group(word.data());
    if ((group & kInvalidBase64Group) != 0) break;
    PutBase64Bytes(group, to);
  }
  unsigned previous = 0;
  unsigned position = 0;
  for (char c : word) {
    const unsigned value = kBase64Values[static_cast<unsigned char>(c)];
    if (value == kNotBase64) break;
    if (position != 0)
      *to++ = static_cast<char>(previous << (2 * position) | value >> (6 - 2 * position));
    previous = value;
    position = (position + 1) % 4;
  }
  return to;
}

bool IsDecoded(std::string_view charset, const DecodingSettings& settings) {
  return settings.every_charset || ascii::StartsWithFold(settings.local_charset, charset);
}

}  // namespace

std::size_t DecodeWords(std::string_view text, const DecodingSettings& settings, char* out) {
  MarkerFinder markers(text);
  char* to = out;
  std::size_t at = 0;
  for (;;) {
    const std::size_t start = text.find("=?", at);
    if (start == kNone) break;
    std::size_t kind = 0;
    std::size_t marker = kNone;
    for (; kind < kMarkers.size(); ++kind) {
      marker = markers.Find(kind, start);
      if (marker != kNone) break;
    }
    if (marker == kNone) break;
    const std::size_t body = marker + kMarkerLength;
    const std::size_t close = text.find("?=", body);
    if (close == kNone) break;
    to = Put(text.substr(at, start - at), to);
    at = close + 2;
    // "=?Q?" has its marker in the opening itself: no charset at all.
    const std::string_view charset =
        marker < start + 2 ? std::string_view() : text.substr(start + 2, marker - start - 2);
    const std::string_view word = text.substr(body, close - body);
    if (!IsDecoded(charset, settings)) {
      to = Put(text.substr(start, at - start), to);
    } else {
      to = kind < kFirstBase64Marker ? DecodeQ(word, to) : DecodeB(word, to);
    }
  }
  to = Put(text.substr(at), to);
  return static_cast<std::size_t>(to - out);
}

std::string DecodeWords(std::string_view text, const DecodingSettings& settings) {
  std::string decoded(text.size(), '\0');
  decoded.resize(DecodeWords(text, settings, decoded.data()));
  return decoded;
}

bool FirstCharset(std::string_view text, std::string_view* charset) {
  const std::size_t open = text.find("=?");
  if (open == kNone) return false;
  const std::size_t start = open + 2;
  std::size_t marker = kNone;
  for (std::string_view kind : kMarkers) {
    const std::size_t found = text.find(kind, start);
    if (found != kNone) marker = found;
  }
  if (marker == kNone || text.find("?=", marker + kMarkerLength) == kNone) return false;
  *charset = text.substr(start, marker - start);
  return true;
}

}  // namespace qob
