#include "macfile/fork_sections.h"

#include <algorithm>
#include <cstring>

#include "frame/report.h"
#include "macfile/big_endian.h"

namespace qob::binhex {

ForkSections::Verdict ForkSections::Feed(std::string_view bytes) {
  Verdict verdict = section_ == Section::kDone ? Verdict::kDone : Verdict::kMore;
  while (!bytes.empty() && verdict == Verdict::kMore) {
    switch (section_) {
      case Section::kHeader:
        verdict = FeedHeader(&bytes);
        break;
      case Section::kData:
        verdict = FeedFork(&bytes, writers_.data, Section::kDataCrc);
        break;
      case Section::kResource:
        verdict = FeedFork(&bytes, writers_.resource, Section::kResourceCrc);
        break;
      case Section::kDataCrc:
      case Section::kResourceCrc:
        verdict = FeedCrc(&bytes);
        break;
      case Section::kDone:
        verdict = Verdict::kDone;
        break;
    }
  }
  return verdict;
}

ForkSections::Verdict ForkSections::FeedHeader(std::string_view* bytes) {
  if (held_size_ == 0) {
    const std::size_t name_length = static_cast<unsigned char>(bytes->front());
    if (name_length == 0 || name_length > kNameLimit) return Verdict::kNoHeader;
    held_[held_size_++] = bytes->front();
    bytes->remove_prefix(1);
  }
  const std::size_t whole = kFixedHeaderSize + static_cast<unsigned char>(held_[0]) + kCrcSize;
  const std::size_t count = std::min(bytes->size(), whole - held_size_);
  std::memcpy(held_.data() + held_size_, bytes->data(), count);
  held_size_ += count;
  bytes->remove_prefix(count);
  if (held_size_ < whole) return Verdict::kMore;
  if (!ReadHeader()) return Verdict::kFailed;
  BeginFork(Section::kData, header_.data_length);
  return Verdict::kMore;
}

bool ForkSections::ReadHeader() {
  const std::size_t checked = held_size_ - kCrcSize;
  Crc16 crc;
  crc.Update({held_.data(), checked});
  if (crc.value() != BigEndian16(held_.data() + checked)) return false;
  const std::size_t name_length = static_cast<unsigned char>(held_[0]);
  header_.name.assign(held_.data() + 1, name_length);
  const char* at = held_.data() + 1 + name_length + 1;  // behind the version
  header_.type = BigEndian32(at);
  header_.creator = BigEndian32(at + 4);
  header_.flags = static_cast<std::uint16_t>(BigEndian16(at + 8));
  header_.data_length = BigEndian32(at + 10);
  header_.resource_length = BigEndian32(at + 14);
  return true;
}

// An empty fork goes straight on to its CRC; its writer is not called.
void ForkSections::BeginFork(Section section, std::uint32_t length) {
  section_ = section;
  if (length == 0) section_ = section == Section::kData ? Section::kDataCrc : Section::kResourceCrc;
  fork_left_ = length;
  fork_length_ = length;
  fork_total_ = 0;
  fork_crc_ = Crc16();
  held_size_ = 0;
}

ForkSections::Verdict ForkSections::FeedFork(std::string_view* bytes, BinHexForkWriter writer,
                                             Section crc_section) {
  const std::string_view piece = bytes->substr(0, fork_left_);
  bytes->remove_prefix(piece.size());
  fork_crc_.Update(piece);
  const std::uint32_t count = static_cast<std::uint32_t>(piece.size());
  if (writer(writers_.context, piece.data(), count, &fork_total_) != 0) return Verdict::kFailed;
  fork_left_ -= count;
  if (fork_left_ == 0) section_ = crc_section;
  return Verdict::kMore;
}

ForkSections::Verdict ForkSections::FeedCrc(std::string_view* bytes) {
  held_[held_size_++] = bytes->front();
  bytes->remove_prefix(1);
  if (held_size_ < kCrcSize) return Verdict::kMore;
  const bool is_data = section_ == Section::kDataCrc;
  if (BigEndian16(held_.data()) != fork_crc_.value()) {
    if (fork_length_ == 0) {
      Report(kFailure, "Empty fork CRC not null.");
    } else {
      Report(kFailure, is_data ? "Data fork CRC error." : "Resource fork CRC error.");
    }
    return Verdict::kFailed;
  }
  if (is_data) {
    BeginFork(Section::kResource, header_.resource_length);
    return Verdict::kMore;
  }
  section_ = Section::kDone;
  return Verdict::kDone;
}

}  // namespace qob::binhex
