// The layer between SQLite and the files: SQLite's own, but that a record file is looked at before
// SQLite sees it. The look goes through the descriptor that SQLite will use: opening the file a
// second time and closing it would drop every lock of this process on it.
#pragma once
#include <cstdint>

namespace qob::store {

// The registered name of our layer on the base layer in force; null when there is no memory or no
// such base.
const char* LayerName();

// While it lives, files that this thread opens share nothing with what SQLite knows of files that
// this process's parent opened.
class ApartFromParent {
 public:
  explicit ApartFromParent(std::uint64_t generation);
  ~ApartFromParent();
  ApartFromParent(const ApartFromParent&) = delete;
  ApartFromParent& operator=(const ApartFromParent&) = delete;
};

}  // namespace qob::store
