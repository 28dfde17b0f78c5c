// The step that every quoted-printable kernel shares.
#pragma once
#include "charset/hex.h"

namespace qob {

// At a "=" with two more bytes behind it: an escape of two digits is decoded, a soft line break
// dropped. False at anything else, with nothing moved.
inline bool CopyEscape(const char** from, char** to) {
  const unsigned high = HexValue((*from)[1]);
  const unsigned low = HexValue((*from)[2]);
  if ((high | low) < 16) {
    *(*to)++ = static_cast<char>(high << 4 | low);
  } else if ((*from)[1] != '\r' || (*from)[2] != '\n') {
    return false;
  }
  *from += 3;
  return true;
}

}  // namespace qob
