// Header text with 8-bit bytes to encoded words (RFC 1522), folded into lines.
//
// What is encoded is decided word by word, words being what stands between single blanks:
// neighbours with 8-bit bytes make one run and are encoded together, blanks between them included;
// everything else stays as it is. Lines are filled by a column counter that starts at 0 for every
// text, because the caller alone knows what stands before it.
#pragma once
#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "charset/text_buffer.h"

namespace qob {

// How the words of one call are written.
struct WordStyle {
  WordStyle(std::string_view charset, bool use_base64);

  std::string prefix;  // "=?charset?Q?"
  bool base64;
};

// A byte of 128 or more stands in the text.
bool HasEightBit(std::string_view text);

class WordEncoder {
 public:
  // Appends to *out. Both are the caller's and outlive the encoder.
  WordEncoder(const WordStyle& style, TextBuffer* out);

  // Appends the text, encoded where it must be. Text without 8-bit bytes is appended unchanged;
  // other text loses its trailing blanks and line ends.
  void Append(std::string_view text);

 private:
  static constexpr std::size_t kEncodedRoom = 3;  // for each byte of a run

  void AppendWords(std::string_view text);
  void AppendRun(std::string_view run);
  char* PutPrefix(char* to) const;
  void Emit(std::string_view encoded);
  void EmitPiece(std::string_view encoded, std::size_t size);
  std::ptrdiff_t PieceLength(std::string_view encoded) const;
  void Fold();
  // Room for all of a word but its encoded text.
  std::size_t style_room() const { return std::max(prefix_.size(), sizeof short_prefix_) + 8; }

  TextBuffer* out_;
  bool base64_;
  std::string_view prefix_;
  std::ptrdiff_t prefix_size_;
  char short_prefix_[16] = {};
  std::string encoded_;  // a run that must be cut
  std::ptrdiff_t column_ = 0;
};

}  // namespace qob
