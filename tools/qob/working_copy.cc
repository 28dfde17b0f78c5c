#include "working_copy.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "failure.h"
#include "line_ends.h"
#include "system.h"

namespace cli {
namespace {

constexpr std::size_t kBlockBytes = 256 * 1024;
constexpr std::size_t kHeadBytes = 64 * 1024;
constexpr std::int64_t kLargest = 0x7FFFFFFF;

bool IsNameSign(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_' || c == '.';
}

// "Name:" or "Name :", a From line, or a queue's envelope line.
bool IsHeaderLine(std::string_view line) {
  if (line.starts_with("From ") || line.starts_with("#F") || line.starts_with("#R")) return true;
  std::size_t end = 0;
  while (end < line.size() && IsNameSign(line[end])) ++end;
  const std::size_t colon = line.find_first_not_of(" \t", end);
  return end > 0 && colon != std::string_view::npos && line[colon] == ':';
}

std::string_view FirstLine(std::string_view text) { return text.substr(0, text.find('\n')); }

bool IsEmptyLine(std::string_view line) { return line.empty() || line == "\r"; }

// Does one line of the header block look like a header field?
bool HasHeaderLine(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = FirstLine(text);
    if (IsEmptyLine(line)) return false;
    if (IsHeaderLine(line)) return true;
    text.remove_prefix(std::min(text.size(), line.size() + 1));
  }
  return false;
}

// A message begins with a header field, or with the empty line that ends an empty header; text of
// another kind may come before the first field, but no binary data.
bool LooksLikeMessage(std::string_view head) {
  const std::string_view first = FirstLine(head);
  if (IsEmptyLine(first) || IsHeaderLine(first)) return true;
  return head.find('\0') == std::string_view::npos && HasHeaderLine(head);
}

Failure ReadFailure(const sys::File& file) {
  return Failure(ExitCode::kIo, "reading failed: " + sys::ErrorText(file.error()) +
                                    ": check the disk or the connection to it");
}

Failure CopyFailure(const std::string& path, int error) {
  return Failure(ExitCode::kIo, "a temporary copy cannot be written to " + path + ": " +
                                    sys::ErrorText(error) +
                                    ": free some space, or set TMPDIR to another directory");
}

Failure TooLarge() {
  return Failure(
      ExitCode::kData,
      "larger than 2147483647 bytes, which is the most that one message can have: split it first");
}

// Hands the bytes of a range to a function, block by block; false when reading fails or the range
// is longer than the file.
template <typename Take>
bool ForEachBlock(sys::File* file, ByteRange range, Take take) {
  std::string block(kBlockBytes, '\0');
  if (!file->Seek(range.start)) return false;
  for (std::int64_t left = range.end - range.start; left > 0;) {
    const std::size_t most = static_cast<std::size_t>(std::min<std::int64_t>(left, kBlockBytes));
    const std::ptrdiff_t got = file->Read(block.data(), most);
    if (got < 0) return false;
    if (got == 0) return true;  // the file became shorter meanwhile
    if (!take(std::string_view(block.data(), static_cast<std::size_t>(got)))) return true;
    left -= got;
  }
  return true;
}

std::string ReadRange(sys::File* file, ByteRange range) {
  std::string bytes;
  if (!ForEachBlock(file, range, [&](std::string_view block) {
        bytes += block;
        return true;
      })) {
    throw ReadFailure(*file);
  }
  return bytes;
}

}  // namespace

WorkingCopy::WorkingCopy(const PrivateSite& site, const std::string& path, ByteRange range,
                         std::int64_t size_bytes)
    : user_path_(path), range_(range), path_(path), size_bytes_(range.end - range.start) {
  sys::File file = sys::File::OpenToRead(path);
  if (!file) throw ReadFailure(file);
  Judge(ReadRange(
      &file, {range.start, std::min<std::int64_t>(
                               range.end, range.start + static_cast<std::int64_t>(kHeadBytes))}));
  if (size_bytes_ > kLargest) throw TooLarge();
  converted_ = FirstLineIsBare(&file);
  const bool whole = range.start == 0 && range.end == size_bytes;
  if (converted_ || !whole) {
    Copy(site, &file);
  } else if (path.find('\\') != std::string::npos) {
    Link(site);
  }
}

WorkingCopy::~WorkingCopy() {
  if (owned_) sys::Remove(path_);
}

void WorkingCopy::Judge(const std::string& head) const {
  if (head.empty())
    throw Failure(ExitCode::kData, "empty: a message has at least a header; give another file");
  if (!LooksLikeMessage(head)) {
    throw Failure(ExitCode::kData,
                  "not a mail message (no header field at its start): give a message file, an mbox "
                  "or a maildir");
  }
}

bool WorkingCopy::FirstLineIsBare(sys::File* file) const {
  bool bare = false;
  char before = '\0';
  const bool read = ForEachBlock(file, range_, [&](std::string_view block) {
    const std::size_t feed = block.find('\n');
    if (feed == std::string_view::npos) {
      before = block.back();
      return true;
    }
    bare = (feed == 0 ? before : block[feed - 1]) != '\r';
    return false;
  });
  if (!read) throw ReadFailure(*file);
  return bare;
}

void WorkingCopy::Copy(const PrivateSite& site, sys::File* file) {
  path_ = site.PathOf("message");
  sys::Remove(path_);
  sys::File copy = sys::File::CreateNew(path_);
  owned_ = true;
  LineEndWriter ends;
  std::string text;
  bool written = static_cast<bool>(copy);
  size_bytes_ = 0;
  const bool read = ForEachBlock(file, range_, [&](std::string_view block) {
    text.clear();
    if (converted_) {
      ends.Take(block, &text);
    } else {
      text = block;
    }
    size_bytes_ += static_cast<std::int64_t>(text.size());
    written = written && copy.Write(text);
    return written && size_bytes_ <= kLargest;
  });
  written = written && copy.Close();
  if (!written || !read || size_bytes_ > kLargest) sys::Remove(path_);
  if (!written) throw CopyFailure(path_, copy.error());
  if (!read) throw ReadFailure(*file);
  if (size_bytes_ > kLargest) throw TooLarge();
}

// The library takes a backslash for a separator, so a file with one in its name is reached through
// a link without.
void WorkingCopy::Link(const PrivateSite& site) {
  path_ = site.PathOf("message");
  sys::Remove(path_);
  owned_ = true;
  if (!sys::MakeSymlink(sys::AbsolutePath(user_path_), path_)) {
    throw Failure(ExitCode::kCantCreate, "a link to it cannot be made at " + path_ +
                                             ": rename the file, its name holds a backslash");
  }
}

std::vector<std::int64_t> WorkingCopy::InUserFile(
    const std::vector<std::int64_t>& positions) const {
  std::vector<std::int64_t> result(positions);
  if (!converted_) {
    for (std::int64_t& position : result) position += range_.start;
    return result;
  }
  std::vector<std::size_t> order(positions.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
    return positions[left] < positions[right];
  });
  std::vector<std::int64_t> ascending;
  for (const std::size_t at : order) ascending.push_back(positions[at]);
  LineEndMap map(std::move(ascending));
  sys::File file = sys::File::OpenToRead(user_path_);
  const bool read = file && ForEachBlock(&file, range_, [&](std::string_view block) {
                      map.Take(block);
                      return true;
                    });
  if (!read) throw ReadFailure(file);
  const std::vector<std::int64_t> answers = map.Finish();
  for (std::size_t i = 0; i < order.size(); ++i) result[order[i]] = range_.start + answers[i];
  return result;
}

std::string WorkingCopy::Bytes(std::int64_t start, std::int64_t end) const {
  sys::File file = sys::File::OpenToRead(path_);
  if (!file) throw ReadFailure(file);
  return ReadRange(&file, {start, end});
}

std::string WorkingCopy::HeaderBlock() const {
  for (std::int64_t most = kHeadBytes;; most *= 8) {
    std::string block = Bytes(0, std::min(most, size_bytes_));
    if (most >= size_bytes_ || block.find("\r\n\r\n") != std::string::npos) return block;
  }
}

}  // namespace cli
