// The sections of a decompressed BinHex stream: header, data fork, resource fork, each with its
// CRC.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <qob3xapi/macfile.h>

#include "macfile/binhex_format.h"
#include "macfile/crc16.h"

namespace qob::binhex {

// Where the forks go: the two functions get `context` unchanged.
struct ForkWriters {
  void* context = nullptr;
  BinHexForkWriter data = nullptr;
  BinHexForkWriter resource = nullptr;
};

class ForkSections {
 public:
  enum class Verdict {
    kMore,
    kNoHeader,  // the name length is none; what was read is no BinHex stream
    kFailed,    // a CRC that differs (logged for a fork), or a writer that failed
    kDone,      // both forks and their CRCs; bytes behind them do not matter
  };

  explicit ForkSections(const ForkWriters& writers) : writers_(writers) {}

  Verdict Feed(std::string_view bytes);
  // Its CRC was right.
  bool header_verified() const { return section_ != Section::kHeader; }
  // Whole once header_verified().
  const Header& header() const { return header_; }

 private:
  enum class Section { kHeader, kData, kDataCrc, kResource, kResourceCrc, kDone };

  Verdict FeedHeader(std::string_view* bytes);
  bool ReadHeader();
  Verdict FeedFork(std::string_view* bytes, BinHexForkWriter writer, Section crc_section);
  Verdict FeedCrc(std::string_view* bytes);
  void BeginFork(Section section, std::uint32_t length);

  ForkWriters writers_;
  Section section_ = Section::kHeader;
  // Header, then each fork's CRC.
  std::array<char, kFixedHeaderSize + kNameLimit + kCrcSize> held_;
  std::size_t held_size_ = 0;
  Header header_;
  std::uint32_t fork_left_ = 0;
  std::uint32_t fork_length_ = 0;
  std::uint32_t fork_total_ = 0;  // the writer's running total
  Crc16 fork_crc_;
};

}  // namespace qob::binhex
