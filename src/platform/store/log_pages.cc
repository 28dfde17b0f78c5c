#include "platform/store/log_pages.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "platform/store/schema.h"

namespace qob::store {
namespace {

constexpr std::uint32_t kMagic = 0x377F0682;
constexpr std::uint32_t kVersion = 3007000;
constexpr int kHeaderBytes = 32;
constexpr int kFrameHeaderBytes = 24;
constexpr int kFrameBytes = kFrameHeaderBytes + static_cast<int>(kPageBytes);

std::uint32_t LoadBig32(const unsigned char* from) {
  return std::uint32_t{from[0]} << 24 | std::uint32_t{from[1]} << 16 | std::uint32_t{from[2]} << 8 |
         from[3];
}
std::uint32_t LoadLittle32(const unsigned char* from) {
  return std::uint32_t{from[3]} << 24 | std::uint32_t{from[2]} << 16 | std::uint32_t{from[1]} << 8 |
         from[0];
}

struct Sums {
  bool big_words = false;
  std::uint32_t a = 0;
  std::uint32_t b = 0;

  void Add(const unsigned char* bytes, int size) {
    for (int i = 0; i < size; i += 8) {
      const auto word = [&](int at) {
        return big_words ? LoadBig32(bytes + at) : LoadLittle32(bytes + at);
      };
      a += word(i) + b;
      b += word(i + 4) + a;
    }
  }
  bool Equal(const unsigned char* stored) const {
    return a == LoadBig32(stored) && b == LoadBig32(stored + 4);
  }
};

// The log, open for reading.
class LogFile {
 public:
  LogFile(sqlite3_vfs* base)
      : base_(base),
        file_(
            static_cast<sqlite3_file*>(std::calloc(1, static_cast<std::size_t>(base->szOsFile)))) {}
  ~LogFile() {
    if (file_ != nullptr && file_->pMethods != nullptr) file_->pMethods->xClose(file_);
    std::free(file_);
  }
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  int Open(sqlite3_filename path) {
    if (file_ == nullptr) return SQLITE_NOMEM;
    int flags = SQLITE_OPEN_WAL | SQLITE_OPEN_READONLY;
    return base_->xOpen(base_, path, file_, flags, &flags);
  }
  int Size(sqlite3_int64* size) { return file_->pMethods->xFileSize(file_, size); }
  // SQLITE_IOERR_SHORT_READ at the end.
  int Read(unsigned char* to, int size, sqlite3_int64 offset) {
    return file_->pMethods->xRead(file_, to, size, offset);
  }

 private:
  sqlite3_vfs* base_;
  sqlite3_file* file_;
};

// Pages first..last that were seen, and how many of them a commit has made count.
class Wanted {
 public:
  Wanted(std::uint32_t first, std::uint32_t last)
      : first_(first), last_(last), seen_(std::size_t{last} - first + 1) {}
  void See(std::uint32_t page) {
    if (page < first_ || page > last_ || seen_[page - first_]) return;
    seen_[page - first_] = true;
    ++count_;
  }
  void Commit() { committed_ = count_; }
  bool All() const { return committed_ == seen_.size(); }

 private:
  std::uint32_t first_;
  std::uint32_t last_;
  std::vector<bool> seen_;
  std::size_t count_ = 0;
  std::size_t committed_ = 0;
};

int ReadFrames(LogFile& log, Wanted* wanted) {
  unsigned char header[kHeaderBytes];
  int rc = log.Read(header, kHeaderBytes, 0);
  if (rc != SQLITE_OK) return rc;
  Sums sums{.big_words = (LoadBig32(header) & 1) != 0};
  sums.Add(header, 24);
  if ((LoadBig32(header) & ~1U) != kMagic || LoadBig32(header + 4) != kVersion ||
      LoadBig32(header + 8) != kPageBytes || !sums.Equal(header + 24)) {
    return SQLITE_OK;
  }
  const auto frame = std::make_unique<unsigned char[]>(kFrameBytes);
  for (sqlite3_int64 at = kHeaderBytes; !wanted->All(); at += kFrameBytes) {
    rc = log.Read(frame.get(), kFrameBytes, at);
    if (rc != SQLITE_OK) return rc;
    sums.Add(frame.get(), 8);
    sums.Add(frame.get() + kFrameHeaderBytes, static_cast<int>(kPageBytes));
    if (std::memcmp(frame.get() + 8, header + 16, 8) != 0 || !sums.Equal(frame.get() + 16)) break;
    wanted->See(LoadBig32(frame.get()));
    if (LoadBig32(frame.get() + 4) != 0) wanted->Commit();
  }
  return SQLITE_OK;
}

int LookInLog(sqlite3_vfs* base, sqlite3_filename path, std::uint32_t first, std::uint32_t last,
              bool* all) {
  LogFile log(base);
  int rc = log.Open(path);
  if (rc != SQLITE_OK) return rc;
  sqlite3_int64 size = 0;
  rc = log.Size(&size);
  if (rc != SQLITE_OK || size / kFrameBytes < sqlite3_int64{last} - first + 1) return rc;
  Wanted wanted(first, last);
  rc = ReadFrames(log, &wanted);
  *all = wanted.All();
  return rc == SQLITE_IOERR_SHORT_READ ? SQLITE_OK : rc;
}

}  // namespace

int LogHoldsPages(sqlite3_vfs* base, sqlite3_filename path, std::uint32_t first, std::uint32_t last,
                  bool* all) {
  *all = false;
  int found = 0;
  const int rc = base->xAccess(base, path, SQLITE_ACCESS_EXISTS, &found);
  if (rc != SQLITE_OK || found == 0) return rc;
  try {
    return LookInLog(base, path, first, last, all);
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  }
}

}  // namespace qob::store
