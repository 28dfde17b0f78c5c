#include "macfile/run_expander.h"

#include <algorithm>
#include <cstring>

#include "macfile/binhex_format.h"

namespace qob::binhex {

std::size_t RunExpander::Expand(std::string_view* packed, char* out, std::size_t room) {
  std::size_t made = 0;
  while (made < room && !broken_) {
    if (repeats_ > 0) {
      const std::size_t count = std::min(repeats_, room - made);
      std::memset(out + made, last_, count);
      made += count;
      repeats_ -= count;
      continue;
    }
    if (packed->empty()) break;
    if (after_marker_) {
      TakeRunCode(static_cast<unsigned char>(packed->front()), out, &made);
      packed->remove_prefix(1);
      continue;
    }
    const std::string_view window = packed->substr(0, room - made);
    const std::size_t marker = window.find(static_cast<char>(kRunMarker));
    const std::size_t literal = marker == std::string_view::npos ? window.size() : marker;
    if (literal > 0) {
      std::memcpy(out + made, window.data(), literal);
      made += literal;
      last_ = static_cast<unsigned char>(window[literal - 1]);
      has_last_ = true;
    }
    after_marker_ = marker != std::string_view::npos;
    packed->remove_prefix(literal + (after_marker_ ? 1 : 0));
  }
  return made;
}

// A run code may follow a literal 0x90 and then repeats that.
void RunExpander::TakeRunCode(unsigned char code, char* out, std::size_t* made) {
  after_marker_ = false;
  if (code == 0) {
    last_ = kRunMarker;
    has_last_ = true;
    out[(*made)++] = static_cast<char>(last_);
  } else if (has_last_) {
    repeats_ = code - 1U;
  } else {
    broken_ = true;
  }
}

}  // namespace qob::binhex
