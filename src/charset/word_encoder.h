// Header text with 8-bit bytes to encoded words (RFC 1522), folded into lines.
//
// What is encoded is decided word by word, words being what stands between single blanks:
// neighbours with 8-bit bytes make one run and are encoded together, blanks between them included;
// everything else stays as it is. Lines are filled by a column counter that starts at 0 for every
// text, because the caller alone knows what stands before it.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

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
  // Appends to *out, which is the caller's and outlives the encoder.
  WordEncoder(const WordStyle& style, std::string* out) : style_(style), out_(out) {}

  // Appends the text, encoded where it must be. Text without 8-bit bytes is appended unchanged;
  // other text loses its trailing blanks and line ends.
  void Append(std::string_view text);

 private:
  void AppendWords(std::string_view text);
  void AppendRun(std::string_view run);
  void EncodeQ(std::string_view run);
  void EncodeB(std::string_view run);
  void Emit(std::string_view encoded);
  std::ptrdiff_t PieceLength(std::string_view encoded) const;
  void Fold();

  const WordStyle& style_;
  std::string* out_;
  std::string encoded_;
  std::ptrdiff_t column_ = 0;
};

}  // namespace qob
