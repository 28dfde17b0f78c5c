// Quoted-printable text from bytes, piece by piece.
//
// A unit, one byte as it is or one "=XX", is begun only on a line of at most 72 characters; before
// it a longer one is broken softly, so that lines have at most 76. "." at the start of an output
// line is encoded, in text also the F of "From ". In text LF and CR LF stay as they are and nothing
// else that is a line end; in binary form all of them are encoded.
#pragma once
#include <cstddef>
#include <string_view>

namespace qob {

enum class QuotedForm {
  kText,    // line ends stay as they are; blanks and tabs too
  kBinary,  // every byte below 33 is encoded, line ends too
};

class QuotedPrintableEncoder {
 public:
  explicit QuotedPrintableEncoder(QuotedForm form) : form_(form) {}

  // Bytes of output that `size` bytes of input need at most, and what is stored behind them.
  static constexpr std::size_t Room(std::size_t size) { return 4 * size + 64; }

  // Encodes what can be judged of `in`, all of it when it is the last; moves *out behind what was
  // written. The count taken: at most four bytes are left of a piece that is not the last.
  std::size_t Feed(std::string_view in, bool last, char** out);

 private:
  template <class Kind>
  std::size_t Encode(const Kind& kind, std::string_view in, bool last, char** out);

  QuotedForm form_;
  std::size_t column_ = 0;  // of the output line
};

}  // namespace qob
