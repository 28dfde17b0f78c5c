#include "platform/spool/message_files.h"

#include <algorithm>
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
  entries_.clear();
  const int error = view_.ForEachName([this](const char* name) {
    Add(name);
    return true;
  });
  std::sort(entries_.begin(), entries_.end(),
            [](const Entry& a, const Entry& b) { return a.id < b.id; });
  std::size_t kept = 0;
  for (const Entry& entry : entries_) {
    if (kept > 0 && entries_[kept - 1].id == entry.id) {
      entries_[kept - 1].kinds |= entry.kinds;
    } else {
      entries_[kept++] = entry;
    }
  }
  entries_.resize(kept);
  good_ = error == 0;
  return error;
}

void MessageFiles::Add(const char* name) {
  const auto id = IdOfName(name);
  if (!id.has_value()) return;
  const char* const extension = name + kDigits;
  if (std::strcmp(extension, kMessageFile) == 0) entries_.push_back({*id, kMessage, kNotLooked});
  if (std::strcmp(extension, kLockFile) == 0) entries_.push_back({*id, kLock, kNotLooked});
}

void MessageFiles::LookAtAll() {
  for (Entry& entry : entries_) {
    if ((entry.kinds & kMessage) != 0) entry.size = LookAtSize(entry.id).value_or(kNotLooked);
  }
}

const MessageFiles::Entry* MessageFiles::Find(std::uint32_t id) const {
  const auto found =
      std::lower_bound(entries_.begin(), entries_.end(), id,
                       [](const Entry& entry, std::uint32_t wanted) { return entry.id < wanted; });
  return found != entries_.end() && found->id == id ? &*found : nullptr;
}

bool MessageFiles::Has(std::uint32_t id, std::uint8_t kind) const {
  const Entry* const entry = Find(id);
  return entry != nullptr && (entry->kinds & kind) != 0;
}

std::optional<std::int64_t> MessageFiles::LookAtSize(std::uint32_t id) const {
  char name[kDigits + kExtension + 1];
  WriteName(id, kMessageFile, name);
  const auto status = view_.Status(name);
  if (!status || status.value.kind != os::FileKind::kFile) return std::nullopt;
  return status.value.size;
}

std::optional<std::int64_t> MessageFiles::Size(std::uint32_t id) const {
  const Entry* const entry = Find(id);
  if (entry != nullptr && entry->size != kNotLooked) return entry->size;
  return LookAtSize(id);
}

}  // namespace qob::spool
