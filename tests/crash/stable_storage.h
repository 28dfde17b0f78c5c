// What of a directory has reached stable storage, and what a power cut may leave of the rest.
#pragma once
#include <sys/types.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "crash/fault_layer.h"
#include "crash/ledger.h"

namespace qob::crash {

class StableFile {
 public:
  explicit StableFile(std::string stable) : stable_(std::move(stable)) {}

  void Write(std::uint64_t order, std::int64_t offset, std::string_view bytes);
  void Truncate(std::uint64_t order, std::int64_t size);
  // Everything written so far is on stable storage.
  void Flush();
  // The system has reported a failed flush and forgotten which pages it was about: what was not
  // written by then never will be, though everyone still reads it.
  void FailFlush(Dice& dice);
  void SetStable(std::string bytes);

  std::size_t unflushed_writes() const {
    return static_cast<std::size_t>(std::count_if(
        pending_.begin(), pending_.end(), [](const Pending& one) { return !one.truncates; }));
  }
  std::uint64_t last_order() const { return pending_.empty() ? 0 : pending_.back().order; }
  // The bytes after a cut; `last` is the order of the last write of all files.
  std::string After(Loss loss, std::uint64_t last, Dice& dice) const;

 private:
  struct Pending {
    std::uint64_t order = 0;
    bool truncates = false;
    std::int64_t offset = 0;  // or the size
    std::string bytes;
  };
  static void Apply(const Pending& one, std::size_t begin, std::size_t end, std::string* to);
  static void ApplyByChance(const Pending& one, Dice& dice, std::string* to);

  std::string stable_;
  std::vector<Pending> pending_;
};

class StableStorage {
 public:
  explicit StableStorage(std::string directory);

  // The file under that path, known from its inode; null when nothing stands there.
  std::shared_ptr<StableFile> File(const std::string& path);
  std::uint64_t NextOrder() { return ++order_; }
  // By the name of a path: the directory's names, or the file's bytes as they are.
  void FlushByPath(const std::string& path);
  void FlushNames();
  // Writes since the last flush of files with that end of their name.
  std::size_t Unflushed(const std::string& suffix);
  void Cut(Loss loss, std::uint64_t seed, const std::string& image);

 private:
  bool IsLost(const std::string& name, ino_t inode, Loss loss, Dice& dice) const;
  std::string BytesAfter(const std::string& path, Loss loss, std::uint64_t last, Dice& dice);
  void BringBack(Loss loss, Dice& dice, const std::string& image) const;

  std::string directory_;
  std::map<ino_t, std::shared_ptr<StableFile>> files_;
  std::map<std::string, ino_t> names_;     // on stable storage
  std::map<std::string, ino_t> at_first_;  // with their bytes
  std::uint64_t order_ = 0;
};

}  // namespace qob::crash
