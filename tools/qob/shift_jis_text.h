// Shift-JIS to UTF-8 and back, for people whose files are in UTF-8: block by block, in memory that
// does not grow with the text.
//
// ASCII bytes stand for themselves. Two-byte characters are taken as JIS X 0208 has them; codes and
// characters that it lacks are looked up in the vendors' larger set, as far as those codes exist in
// two bytes of ISO-2022-JP (the circled digits, for instance).
#ifndef TOOLS_QOB_SHIFT_JIS_TEXT_H
#define TOOLS_QOB_SHIFT_JIS_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// All two-byte codes, made once from what the system knows.
class ShiftJisTable {
 public:
  // Throws Failure when the system knows no Shift-JIS.
  ShiftJisTable();

  // The character of a two-byte code, or 0.
  std::uint32_t CharacterOf(std::uint16_t code) const { return characters_[code]; }
  // The code of a character beyond ASCII, or 0; one byte of a half-width katakana is below 0x100.
  std::uint16_t CodeOf(std::uint32_t character) const;

 private:
  void Take(const std::string& charset, bool wider);

  std::vector<std::uint32_t> characters_;  // by code
  std::vector<std::uint16_t> codes_;       // by character, those below U+10000
};

// What stood in a text that the other character set has no place for.
struct Misfits {
  std::size_t count = 0;
  std::size_t first_line = 0;  // counted from 1
  std::string first;           // "U+1F600", or "the byte FF"
};

// UTF-8 to Shift-JIS. A byte order mark at the start is dropped.
class Utf8ToShiftJis {
 public:
  // mark stands for each character that has no place.
  Utf8ToShiftJis(const ShiftJisTable& table, std::string mark)
      : table_(table), mark_(std::move(mark)) {}

  // Appends to *out; a character that the block cuts in two is kept for the next call.
  void Take(std::string_view block, std::string* out);
  // To be called at the end of the text.
  void Finish(std::string* out);
  const Misfits& misfits() const { return misfits_; }

 private:
  void Convert(std::string_view* text, bool last, std::string* out);
  void Misfit(const std::string& what, std::string* out);

  const ShiftJisTable& table_;
  std::string mark_;
  std::string left_;
  std::size_t line_ = 1;
  bool at_start_ = true;
  Misfits misfits_;
};

// Shift-JIS to UTF-8; what is no character becomes U+FFFD, a byte or a pair each.
class ShiftJisToUtf8 {
 public:
  explicit ShiftJisToUtf8(const ShiftJisTable& table) : table_(table) {}

  void Take(std::string_view block, std::string* out);
  void Finish(std::string* out);
  const Misfits& misfits() const { return misfits_; }

 private:
  void Misfit(std::uint32_t code, std::string* out);

  const ShiftJisTable& table_;
  unsigned char lead_ = 0;  // of a pair that the block before cut in two
  std::size_t line_ = 1;
  Misfits misfits_;
};

}  // namespace cli

#endif
