#include "platform/spool/message_files.h"

#include <cstring>
#include <utility>

#include "platform/spool/names.h"

namespace qob::spool {
namespace {

constexpr std::size_t kDigits = 8;
constexpr std::size_t kExtension = 4;

// The id of a name as the system writes it: eight upper-case digits and an extension.
std::optional<std::uint32_t> IdOfName(const char* name) {
  if (std::strlen(name) != kDigits + kExtension) return std::nullopt;
  for (std::size_t i = 0; i < kDigits; ++i) {
    if (name[i] >= 'a' && name[i] <= 'f') return std::nullopt;
  }
  return ReadId({name, kDigits});
}

void WriteName(std::uint32_t id, const char* extension, char* name) {
  for (int shift = 28; shift >= 0; shift -= 4) *name++ = "0123456789ABCDEF"[id >> shift & 15];
  std::memcpy(name, extension, kExtension + 1);
}

}  // namespace

int MessageFiles::Open(std::string_view directory) {
  auto opened = os::DirectoryView::Open(directory);
  if (!opened) return opened.error;
  view_ = std::move(opened.value);
  seen_.clear();
  const int error = view_.ForEachName([this](const char* name) {
    const auto id = IdOfName(name);
    if (!id.has_value()) return true;
    const char* const extension = name + kDigits;
    if (std::strcmp(extension, kMessageFile) == 0) seen_[*id] |= kMessage;
    if (std::strcmp(extension, kLockFile) == 0) seen_[*id] |= kLock;
    if (std::strcmp(extension, kReasonFile) == 0) seen_[*id] |= kReasons;
    return true;
  });
  good_ = error == 0;
  return error;
}

bool MessageFiles::Has(std::uint32_t id, std::uint8_t kind) const {
  const auto found = seen_.find(id);
  return found != seen_.end() && (found->second & kind) != 0;
}

std::optional<os::FileStatus> MessageFiles::Look(std::uint32_t id, const char* extension) const {
  char name[kDigits + kExtension + 1];
  WriteName(id, extension, name);
  const auto status = view_.Status(name);
  return status ? std::optional(status.value) : std::nullopt;
}

std::optional<std::int64_t> MessageFiles::Size(std::uint32_t id) const {
  if (!HasMessage(id)) return std::nullopt;
  const auto status = Look(id, kMessageFile);
  if (!status.has_value() || status->kind != os::FileKind::kFile) return std::nullopt;
  return status->size;
}

std::optional<os::FileStatus> MessageFiles::Lock(std::uint32_t id) const {
  return IsLocked(id) ? Look(id, kLockFile) : std::nullopt;
}

}  // namespace qob::spool
