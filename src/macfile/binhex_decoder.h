// Reads BinHex 4.0 text that comes in pieces and hands out its forks as they come.
//
// The stream starts behind the first colon at the start of a line; the first byte fed counts as a
// line's first. Bytes up to 0x20 and 0x7F are passed over anywhere, a colon ends it. Before the
// header's CRC has proved that this is a BinHex stream, a foreign character or a name length that
// is none starts the search again at the next line that begins with a colon; afterwards a foreign
// character is the end. The closing colon may be missing when everything else is there.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "macfile/binhex_format.h"
#include "macfile/fork_sections.h"
#include "macfile/run_expander.h"
#include "macfile/six_bit_reader.h"

namespace qob::binhex {

class Decoder {
 public:
  enum class Status { kMore, kFailed, kDone };

  explicit Decoder(const ForkWriters& writers) : writers_(writers) {}

  // Once it is not kMore it stays so.
  Status Feed(std::string_view text);
  // The text is over: kDone or kFailed.
  Status Finish();

  // Whole with kDone.
  const Header& header() const { return stream_->sections.header(); }
  // Place in the text of its first colon when no line began with one, else -1. A second decoder fed
  // from there takes it.
  std::int64_t stray_colon() const { return tried_ ? -1 : first_colon_; }

 private:
  struct Stream {
    explicit Stream(const ForkWriters& writers) : sections(writers) {}
    SixBitReader six_bit;
    RunExpander runs;
    ForkSections sections;
  };

  std::string_view FindStart(std::string_view text);
  void Take(std::string_view text, std::size_t count);
  std::string_view DecodePiece(std::string_view text);
  ForkSections::Verdict Unpack(std::size_t packed_size);
  void Judge(ForkSections::Verdict verdict, SixBitReader::Stop stop);

  static constexpr std::size_t kTextPiece = 16 * 1024;
  static constexpr std::size_t kUnpacked = 32 * 1024;

  ForkWriters writers_;
  Status status_ = Status::kMore;
  std::optional<Stream> stream_;  // empty while the start is looked for
  bool line_start_ = true;
  bool tried_ = false;
  std::int64_t taken_ = 0;
  std::int64_t first_colon_ = -1;
  std::array<char, SixBitReader::MaxBytes(kTextPiece) + 2> packed_;
  std::array<char, kUnpacked> unpacked_;
};

}  // namespace qob::binhex
