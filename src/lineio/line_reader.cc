// One block in memory; what is left of it moves to its front before the next read.
#include "lineio/line_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "frame/report.h"
#include "lineio/open_file.h"
#include "platform/os/file_status.h"

namespace qob {

LineReader::~LineReader() { Close(); }

void LineReader::Close() {
  if (owned_) {
    TraceClose(file_);
    os::CloseFile(file_);
  }
  owned_ = false;
  file_ = os::kNoHandle;
}

void LineReader::Start(os::Handle file, bool owned, std::int64_t at) {
  Close();
  file_ = file;
  owned_ = owned;
  next_ = valid_ = 0;
  block_start_ = at;
  end_of_file_ = read_before_ = false;
  line_start_ = true;
  const os::Result<std::int64_t> size = os::FileSize(file);
  size_ = size ? size.value : 0;
}

bool LineReader::Open(const char* path) { return OpenPath(path, true); }

bool LineReader::OpenIfThere(const char* path) { return OpenPath(path, false); }

bool LineReader::OpenPath(const char* path, bool tells_missing) {
  if (path == nullptr || *path == '\0') return false;
  if (!block_) block_.reset(new char[kBlockSize]);
  const os::Result<os::Handle> file = os::OpenFile(path, ReadMode(os::Share::kReadWrite));
  if (!file) {
    if (tells_missing || file.error != os::kNotFound) {
      Report(kFailure, "CreateFile failed: %s, error %d", path, file.error);
    }
    return false;
  }
  Start(file.value, true, 0);
  TraceOpen(path, file.value);
  return true;
}

void LineReader::Attach(os::Handle file) {
  if (!block_) block_.reset(new char[kBlockSize]);
  const os::Result<std::int64_t> at = os::SeekFile(file, 0, os::From::kCurrent);
  Start(file, false, at ? at.value : 0);
}

bool LineReader::IsNoFile() const {
  const os::Result<os::FileStatus> status = os::StatusOfOpenFile(file_);
  return status && status.value.kind != os::FileKind::kFile;
}

bool LineReader::ReadMore() {
  const std::size_t kept = valid_ - next_;
  if (kept > 0 && next_ > 0) std::memmove(block_.get(), block_.get() + next_, kept);
  block_start_ += static_cast<std::int64_t>(next_);
  next_ = 0;
  valid_ = kept;
  const std::size_t wanted = kBlockSize - kept;
  const os::Result<std::size_t> got = os::ReadFile(file_, block_.get() + kept, wanted);
  const bool first = !std::exchange(read_before_, true);
  if (!got) {
    Report(kFailure, first ? "ReadFile failed." : "getline: ReadFile failed.");
    return false;
  }
  valid_ += got.value;
  end_of_file_ = got.value < wanted;
  return true;
}

LineReader::Status LineReader::Next(Piece* piece) {
  for (;;) {
    const char* from = block_.get() + next_;
    const std::size_t span = std::min(valid_ - next_, kPieceLimit);
    const void* line_feed = span == 0 ? nullptr : std::memchr(from, '\n', span);
    std::size_t length = span;
    if (line_feed != nullptr) {
      length = static_cast<std::size_t>(static_cast<const char*>(line_feed) - from) + 1;
    } else if (span < kPieceLimit) {
      if (!end_of_file_) {
        if (!ReadMore()) return Status::kError;
        continue;
      }
      if (span == 0) return Status::kEnd;
    }
    piece->text = {from, length};
    piece->start = position();
    piece->end = piece->start + static_cast<std::int64_t>(length);
    piece->at_line_start = line_start_;
    next_ += length;
    line_start_ = line_feed != nullptr;
    return Status::kPiece;
  }
}

bool LineReader::Seek(std::int64_t position) {
  if (position < 0) return false;
  const std::int64_t in_block = position - block_start_;
  if (in_block >= 0 && in_block <= static_cast<std::int64_t>(valid_)) {
    next_ = static_cast<std::size_t>(in_block);
  } else {
    if (!os::SeekFile(file_, position, os::From::kStart)) return false;
    next_ = valid_ = 0;
    block_start_ = position;
    end_of_file_ = false;
  }
  line_start_ = true;
  return true;
}

bool LineReader::Fill(std::size_t wanted) {
  while (valid_ - next_ < wanted && !end_of_file_) {
    if (!ReadMore()) return false;
  }
  return true;
}

void LineReader::Consume(std::size_t count) {
  if (count == 0) return;
  next_ += count;
  line_start_ = block_[next_ - 1] == '\n';
}

}  // namespace qob
