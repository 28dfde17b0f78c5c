#include "crash/stable_storage.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

namespace qob::crash {
namespace {

constexpr std::size_t kSector = 512;

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

void WriteAll(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

ino_t InodeOf(const std::filesystem::path& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

bool IsIndex(const std::string& name) { return name.ends_with("-shm"); }

}  // namespace

void StableFile::Write(std::uint64_t order, std::int64_t offset, std::string_view bytes) {
  pending_.push_back({order, false, offset, std::string(bytes)});
}

void StableFile::Truncate(std::uint64_t order, std::int64_t size) {
  pending_.push_back({order, true, size, {}});
}

void StableFile::Flush() {
  for (const Pending& one : pending_) Apply(one, 0, one.bytes.size(), &stable_);
  pending_.clear();
}

void StableFile::FailFlush(Dice& dice) {
  for (const Pending& one : pending_) ApplyByChance(one, dice, &stable_);
  pending_.clear();
}

void StableFile::SetStable(std::string bytes) {
  stable_ = std::move(bytes);
  pending_.clear();
}

void StableFile::Apply(const Pending& one, std::size_t begin, std::size_t end, std::string* to) {
  const auto offset = static_cast<std::size_t>(one.offset);
  if (one.truncates) {
    to->resize(offset);
    return;
  }
  if (begin >= end) return;
  if (to->size() < offset + end) to->resize(offset + end);
  std::copy(one.bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            one.bytes.begin() + static_cast<std::ptrdiff_t>(end),
            to->begin() + static_cast<std::ptrdiff_t>(offset + begin));
}

void StableFile::ApplyByChance(const Pending& one, Dice& dice, std::string* to) {
  const int fate = dice.Below(3);
  if (fate == 0) return;
  if (fate == 1 || one.truncates) return Apply(one, 0, one.bytes.size(), to);
  for (std::size_t at = 0; at < one.bytes.size(); at += kSector) {
    if (dice.Below(2) == 0) Apply(one, at, std::min(at + kSector, one.bytes.size()), to);
  }
}

std::string StableFile::After(Loss loss, std::uint64_t last, Dice& dice) const {
  std::string bytes = stable_;
  for (const Pending& one : pending_) {
    const std::size_t size = one.bytes.size();
    const auto torn = size == 0 ? 0 : dice.Next() % size;
    switch (loss) {
      case Loss::kAll:
        break;
      case Loss::kNone:
        Apply(one, 0, size, &bytes);
        break;
      case Loss::kSome:
        ApplyByChance(one, dice, &bytes);
        break;
      case Loss::kTornAtASector:
        Apply(one, 0, one.order == last ? torn / kSector * kSector : size, &bytes);
        break;
      case Loss::kTornAnywhere:
        Apply(one, 0, one.order == last ? torn : size, &bytes);
        break;
      case Loss::kOnlyTheLast:
        if (one.order == last) Apply(one, 0, size, &bytes);
        break;
    }
  }
  return bytes;
}

StableStorage::StableStorage(std::string directory) : directory_(std::move(directory)) {
  FlushNames();
  at_first_ = names_;
}

std::shared_ptr<StableFile> StableStorage::File(const std::string& path) {
  const ino_t inode = InodeOf(path);
  if (inode == 0) return nullptr;
  std::shared_ptr<StableFile>& file = files_[inode];
  if (file == nullptr) {
    // What stood here at the beginning is on stable storage; what was made since then is not.
    const bool old = std::any_of(names_.begin(), names_.end(),
                                 [&](const auto& name) { return name.second == inode; });
    file = std::make_shared<StableFile>(old ? ReadAll(path) : std::string());
  }
  return file;
}

void StableStorage::FlushNames() {
  names_.clear();
  for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
    names_[entry.path().filename().string()] = InodeOf(entry.path());
  }
}

void StableStorage::FlushByPath(const std::string& path) {
  if (std::filesystem::is_directory(path)) {
    if (std::filesystem::equivalent(path, directory_)) FlushNames();
  } else if (const std::shared_ptr<StableFile> file = File(path)) {
    file->SetStable(ReadAll(path));
  }
}

std::size_t StableStorage::Unflushed(const std::string& suffix) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
    if (!entry.path().string().ends_with(suffix)) continue;
    const auto known = files_.find(InodeOf(entry.path()));
    if (known != files_.end()) count += known->second->unflushed_writes();
  }
  return count;
}

bool StableStorage::IsLost(const std::string& name, ino_t inode, Loss loss, Dice& dice) const {
  const auto stable = names_.find(name);
  const bool is_stable = stable != names_.end() && stable->second == inode;
  const bool by_chance = loss == Loss::kSome && dice.Below(2) == 0;
  return (loss == Loss::kAll || by_chance) && (!is_stable || IsIndex(name));
}

// A file that nobody flushed and that was not there at first was written in the meantime, by calls
// that are not heard here.
std::string StableStorage::BytesAfter(const std::string& path, Loss loss, std::uint64_t last,
                                      Dice& dice) {
  const std::string name = std::filesystem::path(path).filename();
  const ino_t inode = InodeOf(path);
  const auto known = files_.find(inode);
  if (IsIndex(name)) return ReadAll(path);
  if (known != files_.end()) return known->second->After(loss, last, dice);
  const auto first = at_first_.find(name);
  if (first != at_first_.end() && first->second == inode) return ReadAll(path);
  StableFile unflushed("");
  unflushed.Write(last, 0, ReadAll(path));
  return unflushed.After(loss, last, dice);
}

// Names of a queue's files whose removal was not flushed.
void StableStorage::BringBack(Loss loss, Dice& dice, const std::string& image) const {
  if (loss != Loss::kAll && loss != Loss::kSome) return;
  for (const auto& [name, inode] : names_) {
    const bool is_ours = name.ends_with(".msg") || name.ends_with(".lck");
    if (!is_ours || InodeOf(std::filesystem::path(directory_) / name) == inode) continue;
    if (loss == Loss::kSome && dice.Below(2) == 0) continue;
    const auto known = files_.find(inode);
    const bool is_followed = known != files_.end();
    WriteAll(std::filesystem::path(image) / name,
             is_followed ? known->second->After(Loss::kAll, 0, dice) : std::string());
  }
}

void StableStorage::Cut(Loss loss, std::uint64_t seed, const std::string& image) {
  Dice dice(seed);
  std::uint64_t last = 0;
  for (const auto& [inode, file] : files_) last = std::max(last, file->last_order());
  std::filesystem::create_directories(image);
  std::map<std::string, std::filesystem::path> present;  // in an order that a seed repeats
  for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
    if (entry.is_regular_file()) present[entry.path().filename().string()] = entry.path();
  }
  for (const auto& [name, path] : present) {
    if (IsLost(name, InodeOf(path), loss, dice)) continue;
    WriteAll(std::filesystem::path(image) / name, BytesAfter(path, loss, last, dice));
  }
  BringBack(loss, dice, image);
}

}  // namespace qob::crash
