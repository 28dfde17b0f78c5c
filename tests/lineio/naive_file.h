// Line I/O as a description would have it: one byte at a time, over files that are vectors. Slow
// and simple on purpose, it is what the real one is compared with.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qob::testing {

class NaiveFile {
 public:
  NaiveFile(std::string* disk, bool reads, int buffered)
      : disk_(disk), reads_(reads), buffered_(buffered) {}

  int GetLine(std::string* line) {
    if (!primed_) ReadBlock();
    if (count_ == 0 || (at_ == count_ && count_ < kBlock)) return 0;
    std::string piece;
    for (;;) {
      if (at_ == count_) {
        ReadBlock();
        if (count_ == 0) return 0;
      }
      const char byte = block_[at_++];
      ++position_;
      piece.push_back(byte);
      if (byte == '\n') break;
      if (at_ == count_) {
        if (count_ < kBlock) break;
        ReadBlock();
        if (count_ == 0) return 0;
      }
      if (piece.size() == 1024) break;
    }
    *line = piece;
    return 1;
  }

  int InCh() {
    if (!primed_) ReadBlock();
    if (primed_ && count_ == kBlock && at_ == count_) ReadBlock();
    if (count_ == 0 || at_ == count_) return -1;
    ++position_;
    return static_cast<unsigned char>(block_[at_++]);
  }

  void UninCh() {
    if (position_ == 0) return;
    --position_;
    if (primed_ && at_ > 0) {
      --at_;
      return;
    }
    system_ -= (primed_ ? count_ : 0) + 1;
    primed_ = false;
    count_ = 0;
  }

  int PutText(std::string_view text) {
    if (buffered_ == 0) {
      WriteDisk(text);
      position_ += text.size();
      return 1;
    }
    if (!primed_) PrimeOutput();
    if (text.size() < free_) {
      for (char c : text) Store(c);
      return 1;
    }
    const std::size_t head = free_;
    for (std::size_t i = 0; i < head; ++i) block_[at_++] = text[i];
    WriteDisk({block_, kBlock});
    position_ = system_;
    PrimeOutput();
    std::size_t done = head;
    while (text.size() - done >= kBlock) {
      WriteDisk(text.substr(done, kBlock));
      position_ += kBlock;
      done += kBlock;
    }
    for (; done < text.size(); ++done) Store(text[done]);
    return 1;
  }

  int OutCh(char byte) {
    if (buffered_ == 0) return PutText({&byte, 1});
    if (!primed_) PrimeOutput();
    if (free_ == 0) {
      WriteDisk({block_, kBlock});
      position_ += kBlock;
      PrimeOutput();
    }
    Store(byte);
    return 1;
  }

  void Seek(std::size_t position) {
    primed_ = false;
    if (reads_) count_ = 0;
    system_ = position_ = position;
  }

  void Close() {
    if (!reads_ && buffered_ == 1 && primed_ && at_ > 0) WriteDisk({block_, kBlock - free_});
  }

  std::size_t position() const { return position_; }

 private:
  static constexpr std::size_t kBlock = 4096;

  void ReadBlock() {
    count_ = 0;
    while (count_ < kBlock && system_ < disk_->size()) block_[count_++] = (*disk_)[system_++];
    at_ = 0;
    primed_ = true;
  }
  void WriteDisk(std::string_view bytes) {
    if (!bytes.empty() && disk_->size() < system_ + bytes.size()) {
      disk_->resize(system_ + bytes.size(), '\0');
    }
    for (char c : bytes) (*disk_)[system_++] = c;
  }
  void PrimeOutput() {
    at_ = 0;
    free_ = kBlock;
    primed_ = true;
  }
  void Store(char byte) {
    block_[at_++] = byte;
    --free_;
    ++position_;
  }

  std::string* disk_;
  bool reads_;
  int buffered_;
  bool primed_ = false;
  std::size_t at_ = 0;
  std::size_t count_ = 0;
  std::size_t free_ = 0;
  std::size_t position_ = 0;
  std::size_t system_ = 0;
  char block_[kBlock];
};

}  // namespace qob::testing
