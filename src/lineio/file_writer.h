// The library's own writer of files: by length, through a large buffer, every failure kept until
// Close.
#pragma once
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/os/file.h"

namespace qob {

class FileWriter {
 public:
  FileWriter() = default;
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;
  ~FileWriter();  // closes; an unclosed writer's buffered bytes are lost

  // As filecreate opens (created or truncated, shares reading, never through a link); false when
  // that fails. With `log` failures are told with the texts of filecreate, putline and fileclose
  // ("open failed", "putline: WriteFile failed.", "fileclose: WriteFile failed."). Throws
  // std::bad_alloc.
  bool Create(const char* path, bool log = false);
  // Writes to a handle that stays the caller's, without a message. Throws std::bad_alloc.
  void Attach(os::Handle file);

  // False once anything failed; later writes do nothing.
  bool Write(std::string_view bytes);
  bool Put(char byte);
  // Room of at least `size` bytes (at most kBufferSize) to fill in place, then told with Advance;
  // null after a failure.
  char* Reserve(std::size_t size);
  void Advance(std::size_t count) { used_ += count; }
  bool Flush();
  // Flushes and closes; true when every byte was written and the close succeeded.
  bool Close();
  bool failed() const { return failed_; }
  os::Handle handle() const { return file_; }

  static constexpr std::size_t kBufferSize = 64 * 1024;

 private:
  void Start(os::Handle file, bool owned, bool log);
  bool Release();
  bool WriteOut(std::string_view bytes, const char* failure_text);

  os::Handle file_ = os::kNoHandle;
  bool owned_ = false;
  bool failed_ = false;
  bool log_ = false;
  std::unique_ptr<char[]> buffer_;
  std::size_t used_ = 0;
};

}  // namespace qob
