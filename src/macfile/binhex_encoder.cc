#include "macfile/binhex_encoder.h"

#include <algorithm>

namespace qob::binhex {

void Encoder::Begin() {
  out_->Write(kBanner);
  WriteCharacters(":");
}

void Encoder::Add(std::string_view bytes) {
  for (const char c : bytes) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (run_length_ > 0 && byte == run_byte_ && run_length_ < kRunLimit) {
      ++run_length_;
      continue;
    }
    EndSection();
    run_byte_ = byte;
    run_length_ = 1;
  }
}

void Encoder::EndSection() {
  if (run_byte_ == kRunMarker) {
    for (; run_length_ > 0; --run_length_) {
      Emit(kRunMarker);
      Emit(0);
    }
  } else if (run_length_ >= 3) {
    Emit(run_byte_);
    Emit(kRunMarker);
    Emit(static_cast<unsigned char>(run_length_));
  } else {
    for (; run_length_ > 0; --run_length_) Emit(run_byte_);
  }
  run_length_ = 0;
}

void Encoder::Finish() {
  EndSection();
  // Completed to a whole group behind the compression; a reader stops before these bytes.
  while (packed_size_ % 3 != 0) packed_[packed_size_++] = 0xFF;
  EncodePacked();
  out_->Write(":\r\n\r\n");
}

// packed_ holds whole groups here: it is full, or Finish has completed the last one.
void Encoder::EncodePacked() {
  char* to = text_.data();
  for (std::size_t i = 0; i < packed_size_; i += 3) {
    const unsigned group = static_cast<unsigned>(packed_[i]) << 16 |
                           static_cast<unsigned>(packed_[i + 1]) << 8 | packed_[i + 2];
    *to++ = kAlphabet[group >> 18];
    *to++ = kAlphabet[group >> 12 & 63];
    *to++ = kAlphabet[group >> 6 & 63];
    *to++ = kAlphabet[group & 63];
  }
  packed_size_ = 0;
  WriteCharacters({text_.data(), static_cast<std::size_t>(to - text_.data())});
}

// A line is ended as soon as it is full.
void Encoder::WriteCharacters(std::string_view text) {
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, kLineLength - column_);
    out_->Write(piece);
    text.remove_prefix(piece.size());
    column_ += piece.size();
    if (column_ == kLineLength) {
      out_->Write("\r\n");
      column_ = 0;
    }
  }
}

}  // namespace qob::binhex
