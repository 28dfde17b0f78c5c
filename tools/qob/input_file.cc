#include "input_file.h"

#include <array>

namespace cli {

Failure Unreadable(int error) {
  const std::string text = sys::ErrorText(error);
  if (sys::IsPermission(error))
    return {ExitCode::kNoPermission, text + ": ask its owner for the right to read it"};
  if (sys::IsNoSuchFile(error)) return {ExitCode::kNoInput, text + ": check the name"};
  return {ExitCode::kNoInput, text + ": give another file"};
}

void Spool(sys::File from, const std::string& path) {
  std::array<char, 65536> block;
  sys::File to = sys::File::CreateNew(path);
  std::ptrdiff_t got = 0;
  bool written = static_cast<bool>(to);
  while (written && (got = from.Read(block.data(), block.size())) > 0) {
    written = to.Write({block.data(), static_cast<std::size_t>(got)});
  }
  if (got < 0)
    throw Failure(ExitCode::kIo, "reading failed: " + sys::ErrorText(from.error()) +
                                     ": check where the input comes from");
  if (!written || !to.Close()) {
    throw Failure(ExitCode::kIo, "a temporary copy cannot be written to " + path + ": " +
                                     sys::ErrorText(to.error()) +
                                     ": free some space, or set TMPDIR to another directory");
  }
}

std::string LibraryPath(const PrivateSite& site, const std::string& operand) {
  const std::string copy = site.PathOf("input");
  sys::Remove(copy);
  try {
    const sys::Status status = sys::StatusOf(operand);
    if (operand == "-") {
      Spool(sys::File::StandardInput(), copy);
      return copy;
    }
    if (status.kind == sys::Kind::kMissing) throw Unreadable(status.error);
    if (status.kind != sys::Kind::kRegular && status.kind != sys::Kind::kPipe) {
      throw Failure(ExitCode::kNoInput, "not a file: give a file, or - for standard input");
    }
    sys::File file = sys::File::OpenToRead(operand);
    if (!file) throw Unreadable(file.error());
    if (status.kind == sys::Kind::kPipe) {
      Spool(std::move(file), copy);
      return copy;
    }
    constexpr std::int64_t kLargest = 0x7FFFFFFF;
    if (status.size_bytes > kLargest)
      throw Failure(ExitCode::kData,
                    "larger than 2147483647 bytes, the most that is read: split it first");
  } catch (const Failure& failure) {
    throw Failure(failure.code(), operand + ": " + failure.what());
  }
  if (operand.find('\\') == std::string::npos) return operand;
  if (!sys::MakeSymlink(sys::AbsolutePath(operand), copy)) {
    throw Failure(ExitCode::kCantCreate,
                  operand + ": no link to it can be made: rename it, its name holds a backslash");
  }
  return copy;
}

}  // namespace cli
