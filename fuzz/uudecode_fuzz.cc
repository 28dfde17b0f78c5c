// Uuencoded blocks against the naive decoder, piece by piece from blocks of exactly their size.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/exact_copy.h"
#include "util/naive_uudecode.h"
#include "util/uudecode.h"

namespace {

using qob::UuDecoder;

std::string DecodePieces(std::string_view text, UuDecoder& decoder, std::size_t* consumed) {
  std::string bytes;
  bool at_line_start = true;
  while (!decoder.done() && *consumed < text.size()) {
    std::string_view piece = text.substr(*consumed, qob::kPieceLimit);
    piece = piece.substr(0, std::min(piece.find('\n'), piece.size() - 1) + 1);
    *consumed += piece.size();
    const qob::testing::ExactCopy copy(piece);
    std::array<char, qob::kUuRoom> room;
    const std::size_t count = decoder.Feed(copy.view(), at_line_start, room.data());
    bytes.append(room.data(), count);
    at_line_start = piece.back() == '\n';
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const qob::testing::NaiveBlock naive = qob::testing::NaiveUudecode::Decode(text);
  UuDecoder decoder;
  std::size_t consumed = 0;
  const std::string bytes = DecodePieces(text, decoder, &consumed);
  if (bytes != naive.bytes || decoder.name() != naive.name || consumed != naive.consumed)
    std::abort();
  if ((decoder.state() == UuDecoder::State::kComplete) != naive.complete) std::abort();
  return 0;
}
