// Fresh files in the temporary directory.
#pragma once
#include <string>
#include <string_view>
#include <utility>

#include "frame/heap.h"

namespace qob {

// New path "<temporary directory>\<prefix laid over the counter>" of a file that does not exist, or
// "". The file is not made. Throws std::bad_alloc.
std::string TempName(std::string_view prefix);

// The name of a temporary file under construction: removed from disk unless it is handed out.
class TempFile {
 public:
  TempFile() = default;
  explicit TempFile(std::string path) : path_(std::move(path)) {}
  TempFile(TempFile&&) = default;
  TempFile& operator=(TempFile&&) = delete;
  ~TempFile();

  const std::string& path() const { return path_; }
  explicit operator bool() const { return !path_.empty(); }
  // The caller's heap copy; from then on the file is the caller's. Null (and the file stays ours)
  // without memory.
  char* HandOut();
  void RemoveNow();
  // The file has gone elsewhere: there is nothing to remove any more.
  void Forget() { path_.clear(); }

 private:
  std::string path_;
};

}  // namespace qob
