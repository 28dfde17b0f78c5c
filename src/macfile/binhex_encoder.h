// Writes BinHex 4.0 text: compresses bytes, turns them into six-bit characters, breaks lines.
#pragma once
#include <array>
#include <cstddef>
#include <string_view>

#include "lineio/file_writer.h"
#include "macfile/binhex_format.h"

namespace qob::binhex {

// Begin, then Add and EndSection for each section, then Finish. A failed write shows in the writer,
// nowhere else.
class Encoder {
 public:
  explicit Encoder(FileWriter* out) : out_(out) {}

  // Banner and opening colon.
  void Begin();
  void Add(std::string_view bytes);
  // Writes the pending run, so that no run spans two sections. Pieces handed to Add may split a run
  // freely.
  void EndSection();
  // The padded last group and the trailer.
  void Finish();

 private:
  void Emit(unsigned char byte) {
    packed_[packed_size_++] = byte;
    if (packed_size_ == packed_.size()) EncodePacked();
  }
  void EncodePacked();
  void WriteCharacters(std::string_view text);

  static constexpr std::size_t kGroups = 1024;

  FileWriter* out_;
  unsigned run_length_ = 0;
  unsigned char run_byte_ = 0;
  std::array<unsigned char, 3 * kGroups> packed_;
  std::size_t packed_size_ = 0;
  std::array<char, 4 * kGroups> text_;
  std::size_t column_ = 0;
};

}  // namespace qob::binhex
