#include "platform/os/profile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "platform/os/posix/profile_file.h"
#include "platform/os/profile_text.h"

namespace qob::os {
namespace {

using Parsed = std::shared_ptr<const ProfileText>;

// The few files that a process reads its settings from, each with the state it was parsed in.
class Cache {
 public:
  Parsed Find(std::string_view path, const FileState& state) {
    const std::scoped_lock hold(mutex_);
    for (const Item& item : items_) {
      if (item.text != nullptr && item.state == state && item.path == path) return item.text;
    }
    return nullptr;
  }

  void Keep(std::string_view path, const FileState& state, Parsed text) {
    Item fresh{std::string(path), state, std::move(text)};
    const std::scoped_lock hold(mutex_);
    Item* place = &items_[next_];
    for (Item& item : items_) {
      if (item.path == path) place = &item;
    }
    if (place == &items_[next_]) next_ = (next_ + 1) % items_.size();
    std::swap(*place, fresh);
  }

  void Drop() {
    const std::scoped_lock hold(mutex_);
    for (Item& item : items_) item = Item();
  }

 private:
  struct Item {
    std::string path;
    FileState state;
    Parsed text;
  };
  std::mutex mutex_;
  std::array<Item, 8> items_;
  std::size_t next_ = 0;
};

Cache& TheCache() {
  static Cache* const cache =
      new Cache;  // outlives every other static: settings are read until the end
  return *cache;
}

// Null when there is no such file or it cannot be read.
Parsed LoadProfile(std::string_view file) {
  const ProfileName name(file);
  const Result<FileState> state = StateOf(name);
  if (!state) return nullptr;
  if (Parsed known = TheCache().Find(name.view(), state.value); known != nullptr) return known;
  Result<LoadedFile> loaded = LoadFile(name, ProfileText::kLimit);
  if (!loaded) return nullptr;
  Parsed parsed = std::make_shared<const ProfileText>(std::move(loaded.value.bytes));
  if (loaded.value.still) TheCache().Keep(name.view(), loaded.value.state, parsed);
  return parsed;
}

std::string_view TextOrEmpty(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

std::uint32_t CopyCut(std::string_view text, char* buffer, std::uint32_t size) {
  const std::size_t count = std::min<std::size_t>(text.size(), size - 1);
  if (count > 0) std::memcpy(buffer, text.data(), count);
  buffer[count] = '\0';
  return static_cast<std::uint32_t>(count);
}

std::uint32_t CopyFallback(const char* fallback, char* buffer, std::uint32_t size) {
  std::string_view text = TextOrEmpty(fallback);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return CopyCut(text, buffer, size);
}

// Each name with its NUL and one more NUL; cut: two NULs at the buffer's end, size - 2.
std::uint32_t CopyList(const std::vector<std::string_view>& names, char* buffer,
                       std::uint32_t size) {
  if (size < 2) {
    buffer[0] = '\0';
    return 0;
  }
  std::size_t used = 0;
  for (std::string_view name : names) {
    const std::size_t room = size - 1 - used;  // the last byte is the list's own NUL
    const std::size_t count = std::min(name.size() + 1, room);
    std::memcpy(buffer + used, name.data(), std::min(name.size(), count));
    if (count < name.size() + 1) {
      buffer[size - 2] = '\0';
      buffer[size - 1] = '\0';
      return size - 2;
    }
    used += count;
    buffer[used - 1] = '\0';
  }
  buffer[used] = '\0';
  if (used == 0) buffer[1] = '\0';
  return static_cast<std::uint32_t>(used);
}

// As LoadProfile; memory exhausted is as no file.
Parsed TryLoadProfile(const char* file) noexcept {
  try {
    return LoadProfile(TextOrEmpty(file));
  } catch (...) {
    return nullptr;
  }
}

std::uint32_t ReadList(const ProfileText& text, const char* section, const char* fallback,
                       char* buffer, std::uint32_t size) {
  try {
    if (section == nullptr) return CopyList(text.Sections(), buffer, size);
    const std::vector<std::string_view> keys = text.Keys(section);
    if (!keys.empty()) return CopyList(keys, buffer, size);
  } catch (const std::bad_alloc&) {
  }
  return CopyFallback(fallback, buffer, size);
}

std::uint32_t ReadFrom(const ProfileText* text, const char* section, const char* key,
                       const char* fallback, char* buffer, std::uint32_t size) {
  if (text != nullptr && (section == nullptr || key == nullptr)) {
    return ReadList(*text, section, fallback, buffer, size);
  }
  std::string_view value;
  if (text != nullptr && text->Find(section, key, &value)) return CopyCut(value, buffer, size);
  return CopyFallback(fallback, buffer, size);
}

bool HasLineEnd(const char* text) {
  return TextOrEmpty(text).find_first_of("\r\n") != std::string_view::npos;
}

}  // namespace

std::string ProfilePath(std::string_view file) { return std::string(ProfileName(file).view()); }

std::uint32_t ReadProfile(const char* section, const char* key, const char* fallback, char* buffer,
                          std::uint32_t size, const char* file) {
  if (buffer == nullptr || size == 0) return 0;
  const Parsed text = TryLoadProfile(file);
  return ReadFrom(text.get(), section, key, fallback, buffer, size);
}

ProfileReader::ProfileReader(const char* file) : text_(TryLoadProfile(file)) {}
ProfileReader::~ProfileReader() = default;

std::uint32_t ProfileReader::Read(const char* section, const char* key, const char* fallback,
                                  char* buffer, std::uint32_t size) const {
  if (buffer == nullptr || size == 0) return 0;
  return ReadFrom(text_.get(), section, key, fallback, buffer, size);
}

std::uint32_t ReadProfileExact(const char* section, const char* key, const char* other,
                               const char* fallback, char* buffer, std::uint32_t size,
                               const char* file) {
  if (buffer == nullptr || size == 0) return 0;
  const Parsed text = TryLoadProfile(file);
  std::string_view value;
  if (text != nullptr &&
      text->FindExact(TextOrEmpty(section), TextOrEmpty(key), TextOrEmpty(other), &value)) {
    return CopyCut(value, buffer, size);
  }
  return CopyFallback(fallback, buffer, size);
}

bool WriteProfile(const char* section, const char* key, const char* value, const char* file) {
  if (section == nullptr || HasLineEnd(section) || HasLineEnd(key) || HasLineEnd(value)) {
    return false;
  }
  try {
    ProfileUpdate update;
    if (update.Begin(ProfileName(TextOrEmpty(file))) != 0) return false;
    const Result<LoadedFile> loaded = update.Load(ProfileText::kLimit);
    if (!loaded) return false;
    const std::string_view wanted = TextOrEmpty(key);
    const std::string_view written = TextOrEmpty(value);
    const std::string changed =
        EditProfile(loaded.value.bytes, section, key == nullptr ? nullptr : &wanted,
                    key == nullptr || value == nullptr ? nullptr : &written);
    TheCache().Drop();
    if (changed == loaded.value.bytes) return true;
    if (changed.size() > ProfileText::kLimit) return false;
    const bool done = update.Replace(changed) == 0;
    TheCache().Drop();
    return done;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace qob::os
