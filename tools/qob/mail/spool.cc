#include "spool.h"

#include "../failure.h"

namespace cli::mail {
namespace {

constexpr std::size_t kFlushBytes = 64 * 1024;
constexpr std::int64_t kLargest = 0x7FFFFFFF;

Failure CannotWrite(const std::string& folder, int error) {
  return Failure(ExitCode::kIo,
                 folder + ": no temporary file can be written there: " + sys::ErrorText(error) +
                     ": free some space, or set TMPDIR to another directory");
}

}  // namespace

Spool::Spool(bool raw, Look look) : raw_(raw), look_(look) {
  int error = 0;
  file_ = sys::OpenScratch(&folder_, &error);
  if (!file_) throw CannotWrite(folder_, error);
  if (sys::StatusOf(path()).kind != sys::Kind::kRegular)
    throw Failure(ExitCode::kCantCreate,
                  path() + ": cannot be opened again: the file system /proc must be mounted");
}

void Spool::Write(std::string_view block) {
  if (raw_) {
    text_ += block;
  } else {
    ends_.Take(block, &text_);
  }
  if (text_.size() >= kFlushBytes) Flush();
}

void Spool::Flush() {
  if (look_ == Look::kAtAll) scan_.Take(text_);
  size_bytes_ += static_cast<std::int64_t>(text_.size());
  if (!file_.Write(text_)) throw CannotWrite(folder_, file_.error());
  text_.clear();
}

void Spool::Finish() {
  Flush();
  traits_ = scan_.Finish();
  traits_.size_bytes = size_bytes_;
  if (traits_.size_bytes > kLargest)
    throw Failure(ExitCode::kData,
                  "the text is larger than 2147483647 bytes, the most that a message can have: "
                  "split it first");
}

}  // namespace cli::mail
