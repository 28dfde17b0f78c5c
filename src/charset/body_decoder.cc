// Reads a range of a file in large pieces, decodes each straight into the writer's buffer.
#include "charset/body_decoder.h"

#include <algorithm>
#include <memory>

#include "charset/base64_decoder.h"
#include "charset/quoted_printable_decoder.h"
#include "frame/guard.h"

namespace qob {
namespace {

constexpr std::size_t kReckonedBlock = 256;
// Whole blocks whose decoded form fits the writer's buffer in the worst case.
constexpr std::size_t kBase64Piece = 64 * 1024;
constexpr std::size_t kQuotedPrintablePiece = 30 * 1024;
static_assert(kBase64Piece % kReckonedBlock == 0 && kQuotedPrintablePiece % kReckonedBlock == 0);
static_assert(Base64Decoder::Room(kBase64Piece) <= FileWriter::kBufferSize);
static_assert(QuotedPrintableDecoder::Room(kQuotedPrintablePiece) <= FileWriter::kBufferSize);

constexpr int kDone = 1;
constexpr int kCutEscape = 0;
constexpr int kFailed = -1;

// `count` bytes of a file, piece by piece.
class RangeReader {
 public:
  RangeReader(os::Handle file, std::int64_t count, std::size_t piece)
      : file_(file),
        left_(count),
        piece_(std::min(piece, static_cast<std::size_t>(std::min<std::int64_t>(count, 1 << 20)))),
        buffer_(std::make_unique_for_overwrite<char[]>(piece_)) {}

  bool done() const { return left_ == 0; }
  // False on a failed read. A piece that is shorter than wanted is cut to its whole blocks and sets
  // cut_short().
  bool Next(std::string_view* piece) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::int64_t>(left_, static_cast<std::int64_t>(piece_)));
    const os::Result<std::size_t> got = os::ReadFile(file_, buffer_.get(), wanted);
    if (!got) return false;
    cut_short_ = got.value < wanted;
    left_ -= static_cast<std::int64_t>(got.value);
    *piece = {buffer_.get(), cut_short_ ? got.value - got.value % kReckonedBlock : got.value};
    return true;
  }
  bool cut_short() const { return cut_short_; }

 private:
  os::Handle file_;
  std::int64_t left_;
  std::size_t piece_;
  std::unique_ptr<char[]> buffer_;
  bool cut_short_ = false;
};

template <class Decode>
int ToHandle(QOB_OSHANDLE in, std::int64_t count, QOB_OSHANDLE out, Decode decode) {
  return Guarded(kFailed, [&] {
    FileWriter writer;
    writer.Attach(out);
    return decode(in, count, &writer);
  });
}

}  // namespace

int DecodeBase64Body(os::Handle in, std::int64_t count, FileWriter* out) {
  if (count < 1) return kFailed;
  RangeReader reader(in, count, kBase64Piece);
  Base64Decoder decoder;
  while (!reader.done()) {
    std::string_view piece;
    if (!reader.Next(&piece)) return kFailed;
    char* const to = out->Reserve(Base64Decoder::Room(piece.size()));
    if (to == nullptr) return kFailed;
    std::size_t written = 0;
    const Base64Decoder::Status status = decoder.Feed(piece, to, &written);
    out->Advance(written);
    if (status == Base64Decoder::Status::kEnd) break;
    if (status == Base64Decoder::Status::kInvalid || reader.cut_short()) return kFailed;
  }
  return out->Flush() ? kDone : kFailed;
}

int DecodeQuotedPrintableBody(os::Handle in, std::int64_t count, FileWriter* out) {
  if (count < 1) return kFailed;
  RangeReader reader(in, count, kQuotedPrintablePiece);
  QuotedPrintableDecoder decoder;
  while (!reader.done()) {
    std::string_view piece;
    if (!reader.Next(&piece) || reader.cut_short()) return kFailed;
    char* const to = out->Reserve(QuotedPrintableDecoder::Room(piece.size()));
    if (to == nullptr) return kFailed;
    out->Advance(decoder.Feed(piece, to));
  }
  if (!decoder.complete()) return kCutEscape;
  return out->Flush() ? kDone : kFailed;
}

int DecodeBase64File(QOB_OSHANDLE in, std::int64_t count, QOB_OSHANDLE out) {
  return ToHandle(in, count, out, DecodeBase64Body);
}

int DecodeQPFile(QOB_OSHANDLE in, std::int64_t count, QOB_OSHANDLE out) {
  return ToHandle(in, count, out, DecodeQuotedPrintableBody);
}

}  // namespace qob
