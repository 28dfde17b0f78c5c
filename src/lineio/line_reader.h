// The library's own reader of message files: lines by view and length, nothing dropped, nothing
// hidden behind a NUL.
//
// It gives the same pieces as the exported getline (a line feed ends a piece, and so do 1024
// bytes), reads in large blocks, keeps the last piece of every file and copies nothing that stands
// whole in the block. Read errors are logged with getline's texts.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/os/file.h"

namespace qob {

inline constexpr std::size_t kPieceLimit = 1024;

class LineReader {
 public:
  enum class Status { kPiece, kEnd, kError };

  struct Piece {
    std::string_view text;       // good until the next call; line feed included
    std::int64_t start = 0;      // file position of its first byte
    std::int64_t end = 0;        // file position behind its last byte
    bool at_line_start = false;  // the byte before it is a line feed, or it is the first of the
                                 // file or after a Seek
  };

  LineReader() = default;
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // As fileopen opens for reading (shares read and write), with its log lines ("CreateFile failed:
  // %s, error %d" and the [Debug] LogFileIO lines); false when the file cannot be opened. Throws
  // std::bad_alloc.
  bool Open(const char* path);
  // The same; that there is no such file gets no line.
  bool OpenIfThere(const char* path);
  // Reads through a handle that stays the caller's, from its current position on. Throws
  // std::bad_alloc.
  void Attach(os::Handle file);

  // The file's size when it was opened; 0 where the system cannot tell.
  std::int64_t size() const { return size_; }
  // What is open is known to be a pipe, a device or another thing that no file's bytes stand in.
  bool IsNoFile() const;
  // Position of the next byte that Next gives.
  std::int64_t position() const { return block_start_ + static_cast<std::int64_t>(next_); }

  // On an error the position stays, and a later call asks the system again.
  Status Next(Piece* piece);
  // The next Next reads from `position` and takes it as a line start. False when the system
  // refuses.
  bool Seek(std::int64_t position);

  // For scanners that look at many lines at once: what stands in memory from position() on. Fill
  // makes it hold at least `wanted` bytes unless the file ends first (wanted at most kBlockSize /
  // 2); false on a read error.
  bool Fill(std::size_t wanted);
  std::string_view window() const { return {block_.get() + next_, valid_ - next_}; }
  bool at_end() const { return end_of_file_ && next_ == valid_; }
  void Consume(std::size_t count);

  static constexpr std::size_t kBlockSize = 64 * 1024;

 private:
  bool OpenPath(const char* path, bool tells_missing);
  void Start(os::Handle file, bool owned, std::int64_t at);
  void Close();
  bool ReadMore();

  os::Handle file_ = os::kNoHandle;
  bool owned_ = false;
  std::unique_ptr<char[]> block_;
  std::size_t next_ = 0;
  std::size_t valid_ = 0;
  std::int64_t block_start_ = 0;  // file position of block_[0]
  std::int64_t size_ = 0;
  bool end_of_file_ = false;
  bool line_start_ = true;
  bool read_before_ = false;
};

}  // namespace qob
