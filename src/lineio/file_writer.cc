// Collects bytes and writes them in large blocks; what is larger than the buffer goes out directly.
#include "lineio/file_writer.h"

#include <cstring>
#include <utility>

#include "frame/report.h"
#include "lineio/open_file.h"

namespace qob {
namespace {

constexpr const char* kPutFailed = "putline: WriteFile failed.";
constexpr const char* kCloseFailed = "fileclose: WriteFile failed.";

}  // namespace

FileWriter::~FileWriter() { Release(); }

bool FileWriter::Release() {
  const os::Handle file = std::exchange(file_, os::kNoHandle);
  if (!std::exchange(owned_, false)) return true;
  TraceClose(file);
  return os::CloseFile(file) == 0;
}

void FileWriter::Start(os::Handle file, bool owned, bool log) {
  Release();
  file_ = file;
  owned_ = owned;
  log_ = log;
  failed_ = false;
  used_ = 0;
}

bool FileWriter::Create(const char* path, bool log) {
  if (path == nullptr || *path == '\0') return false;
  if (!buffer_) buffer_.reset(new char[kBufferSize]);
  const os::Result<os::Handle> file = os::OpenFile(path, CreateMode());
  if (!file) {
    if (log) Report(kFailure, "open failed");
    return false;
  }
  Start(file.value, true, log);
  TraceCreate(path, file.value);
  return true;
}

void FileWriter::Attach(os::Handle file) {
  if (!buffer_) buffer_.reset(new char[kBufferSize]);
  Start(file, false, false);
}

bool FileWriter::WriteOut(std::string_view bytes, const char* failure_text) {
  if (failed_ || bytes.empty()) return !failed_;
  if (os::WriteAll(file_, bytes.data(), bytes.size())) return true;
  failed_ = true;
  if (log_) Report(kFailure, "%s", failure_text);
  return false;
}

bool FileWriter::Flush() { return WriteOut({buffer_.get(), std::exchange(used_, 0)}, kPutFailed); }

bool FileWriter::Write(std::string_view bytes) {
  if (failed_) return false;
  if (bytes.size() > kBufferSize - used_) {
    if (!Flush()) return false;
    if (bytes.size() >= kBufferSize) return WriteOut(bytes, kPutFailed);
  }
  if (!bytes.empty()) std::memcpy(buffer_.get() + used_, bytes.data(), bytes.size());
  used_ += bytes.size();
  return true;
}

bool FileWriter::Put(char byte) {
  char* room = Reserve(1);
  if (room == nullptr) return false;
  *room = byte;
  Advance(1);
  return true;
}

char* FileWriter::Reserve(std::size_t size) {
  if (failed_) return nullptr;
  if (size > kBufferSize - used_ && !Flush()) return nullptr;
  return buffer_.get() + used_;
}

bool FileWriter::Close() {
  if (file_ == os::kNoHandle) return !failed_;
  WriteOut({buffer_.get(), std::exchange(used_, 0)}, kCloseFailed);
  if (!Release()) failed_ = true;
  return !failed_;
}

}  // namespace qob
