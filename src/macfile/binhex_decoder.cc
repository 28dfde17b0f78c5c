#include "macfile/binhex_decoder.h"

namespace qob::binhex {

Decoder::Status Decoder::Feed(std::string_view text) {
  while (!text.empty() && status_ == Status::kMore) {
    text = stream_ ? DecodePiece(text) : FindStart(text);
  }
  return status_;
}

Decoder::Status Decoder::Finish() {
  if (status_ == Status::kMore && stream_) {
    const std::size_t packed_size = stream_->six_bit.Finish(packed_.data());
    if (Unpack(packed_size) == ForkSections::Verdict::kDone) status_ = Status::kDone;
  }
  if (status_ == Status::kMore) status_ = Status::kFailed;
  return status_;
}

void Decoder::Take(std::string_view text, std::size_t count) {
  if (count == 0) return;
  line_start_ = text[count - 1] == '\n' || text[count - 1] == '\r';
  taken_ += static_cast<std::int64_t>(count);
}

// Takes the text up to and with the colon that starts a stream; all of it when there is none.
std::string_view Decoder::FindStart(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    Take(text, text.size());
    return {};
  }
  Take(text, colon);
  if (first_colon_ < 0) first_colon_ = taken_;
  if (line_start_) {
    tried_ = true;
    stream_.emplace(writers_);
  }
  Take(text.substr(colon), 1);
  return text.substr(colon + 1);
}

std::string_view Decoder::DecodePiece(std::string_view text) {
  const std::string_view piece = text.substr(0, kTextPiece);
  const SixBitReader::Step step = stream_->six_bit.Decode(piece, packed_.data());
  std::size_t packed_size = step.made;
  if (step.stop != SixBitReader::Stop::kTextUsedUp) {
    packed_size += stream_->six_bit.Finish(packed_.data() + packed_size);
  }
  Take(piece, step.used);
  Judge(Unpack(packed_size), step.stop);
  return text.substr(step.used);
}

ForkSections::Verdict Decoder::Unpack(std::size_t packed_size) {
  std::string_view packed(packed_.data(), packed_size);
  ForkSections::Verdict verdict = ForkSections::Verdict::kMore;
  while (verdict == ForkSections::Verdict::kMore && (!packed.empty() || stream_->runs.pending())) {
    const std::size_t made = stream_->runs.Expand(&packed, unpacked_.data(), unpacked_.size());
    if (stream_->runs.broken()) return ForkSections::Verdict::kFailed;
    verdict = stream_->sections.Feed({unpacked_.data(), made});
  }
  return verdict;
}

// The bytes before a stop have been judged first: a stream that was complete by then is good
// whatever follows it.
void Decoder::Judge(ForkSections::Verdict verdict, SixBitReader::Stop stop) {
  switch (verdict) {
    case ForkSections::Verdict::kDone:
      status_ = Status::kDone;
      return;
    case ForkSections::Verdict::kFailed:
      status_ = Status::kFailed;
      return;
    case ForkSections::Verdict::kNoHeader:
      stream_.reset();
      return;
    case ForkSections::Verdict::kMore:
      break;
  }
  if (stop == SixBitReader::Stop::kColon) {
    status_ = Status::kFailed;
  } else if (stop == SixBitReader::Stop::kForeign) {
    if (stream_->sections.header_verified()) {
      status_ = Status::kFailed;
    } else {
      stream_.reset();
    }
  }
}

}  // namespace qob::binhex
