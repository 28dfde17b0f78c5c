#include "file_drop.h"

#include "failure.h"

namespace cli {
namespace {

// Some file systems keep less than 255 bytes of a name.
constexpr std::size_t kCautiousLength = 120;

}  // namespace

std::string FileDrop::Shown(const std::string& name) const {
  return folder_.ends_with('/') ? folder_ + name : folder_ + "/" + name;
}

void FileDrop::Open() {
  if (opened_.has_value()) return;
  opened_.emplace(folder_);
  if (*opened_) return;
  const int error = opened_->error();
  const ExitCode code = sys::IsPermission(error) ? ExitCode::kNoPermission : ExitCode::kCantCreate;
  throw FatalFailure(code, folder_ + ": cannot be used as output folder: " + sys::ErrorText(error) +
                               ": give another one with -o");
}

std::string FileDrop::Drop(const std::string& source, const std::string& wanted,
                           const std::string& fallback, const std::string& prefix) {
  Open();
  std::string base = SafeName(wanted);
  if (base.empty()) base = fallback;
  base = prefix + base;
  for (;;) {
    if (const auto name = TryNext(source, base)) return Shown(*name);
  }
}

std::optional<std::string> FileDrop::TryNext(const std::string& source, const std::string& base) {
  std::size_t& number = next_number_[base];
  const std::string name = NumberedName(base, ++number, longest_);
  if (used_.count(name) != 0) return std::nullopt;
  switch (opened_->Place(source, name, force_)) {
    case sys::Placed::kDone:
      used_.insert(name);
      return name;
    case sys::Placed::kExists:
      return std::nullopt;
    case sys::Placed::kNameTooLong:
      if (longest_ == kCautiousLength) break;
      longest_ = kCautiousLength;
      number = 0;
      return std::nullopt;
    case sys::Placed::kFailed:
      break;
  }
  const int error = opened_->error();
  const ExitCode code = sys::IsPermission(error) ? ExitCode::kNoPermission : ExitCode::kIo;
  throw FatalFailure(code, Shown(name) + ": cannot be written: " + sys::ErrorText(error) +
                               ": free some space there, or give another folder with -o");
}

}  // namespace cli
