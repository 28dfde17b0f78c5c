// Finds line starts sixteen positions at a time, with the vectors every processor of the family
// has.
#include "mime/line_search.h"

#include <cstdint>
#include <cstring>

namespace qob {
namespace {

using Lanes [[gnu::vector_size(16)]] = signed char;
using Halves [[gnu::vector_size(16)]] = std::uint64_t;
constexpr std::size_t kLanes = 16;
constexpr std::size_t kStride = 4 * kLanes;

inline Lanes Load(const char* from) {
  Lanes lanes;
  std::memcpy(&lanes, from, sizeof lanes);
  return lanes;
}

inline Lanes All(char c) {
  const signed char s = static_cast<signed char>(c);
  return Lanes{s, s, s, s, s, s, s, s, s, s, s, s, s, s, s, s};
}

inline bool Any(Lanes lanes) {
  Halves halves;
  std::memcpy(&halves, &lanes, sizeof halves);
  return (halves[0] | halves[1]) != 0;
}

// What a search looks for: Hits marks the places of the 16 bytes at `at` (at[-1] can be read), Is
// asks about one place.
struct OneStart {
  explicit OneStart(const LineStarts& starts)
      : first(starts.bytes[0]), wanted(All(first)), feed(All('\n')) {}
  Lanes Hits(const char* at) const { return (Load(at) == wanted) & (Load(at - 1) == feed); }
  bool Is(const char* at) const { return *at == first && at[-1] == '\n'; }
  char first;
  Lanes wanted, feed;
};

struct AnyStart {
  explicit AnyStart(const LineStarts& all)
      : starts(all),
        a(All(all.bytes[0])),
        b(All(all.bytes[1])),
        c(All(all.bytes[2])),
        d(All(all.bytes[3])),
        feed(All('\n')) {}
  Lanes Hits(const char* at) const {
    const Lanes here = Load(at);
    return ((here == a) | (here == b) | (here == c) | (here == d)) & (Load(at - 1) == feed);
  }
  bool Is(const char* at) const { return at[-1] == '\n' && starts.Has(*at); }
  LineStarts starts;
  Lanes a, b, c, d, feed;
};

struct ColonOrHyphen {
  Lanes Hits(const char* at) const {
    const Lanes here = Load(at);
    return (here == colon) | ((here == hyphen) & (Load(at - 1) == feed));
  }
  bool Is(const char* at) const { return *at == ':' || (*at == '-' && at[-1] == '\n'); }
  Lanes colon = All(':'), hyphen = All('-'), feed = All('\n');
};

// The first place from 1 on.
template <class Wanted>
std::size_t Find(std::string_view text, const Wanted& wanted) {
  const char* base = text.data();
  std::size_t at = 1;
  while (text.size() >= at && text.size() - at >= kStride) {
    const char* p = base + at;
    const Lanes first = wanted.Hits(p) | wanted.Hits(p + kLanes);
    const Lanes second = wanted.Hits(p + 2 * kLanes) | wanted.Hits(p + 3 * kLanes);
    if (Any(first | second)) break;
    at += kStride;
  }
  for (; at < text.size(); ++at) {
    if (wanted.Is(base + at)) return at;
  }
  return kNotFound;
}

}  // namespace

std::size_t FindLineStart(std::string_view text, const LineStarts& starts) {
  return starts.only_first ? Find(text, OneStart(starts)) : Find(text, AnyStart(starts));
}

std::size_t FindColonOrHyphenLine(std::string_view text) {
  if (!text.empty() && text[0] == ':') return 0;
  return Find(text, ColonOrHyphen());
}

}  // namespace qob
