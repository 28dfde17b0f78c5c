// Any bytes as an AppleSingle file: refused without a trace, or written as BinHex text that can be
// read again.
#include <qob3xapi/lineio.h>
#include <qob3xapi/macfile.h>

#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/os/file.h"
#include "platform/spool/site.h"

namespace {

std::string Native(const char* path) {
  std::string native = path;
  for (char& c : native) c = c == '\\' ? '/' : c;
  return native;
}

// A directory of this process, in memory where there is such a place.
class PrivateDirectory {
 public:
  PrivateDirectory()
      : path_(access("/dev/shm", W_OK) == 0 ? "/dev/shm/qobfuzz-XXXXXX" : "/tmp/qobfuzz-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
    std::snprintf(qob::spool::TheSite().temp_dir, sizeof(qob::spool::Site::temp_dir), "%s",
                  path_.c_str());
    InitLineIO();
  }
  ~PrivateDirectory() {
    for (const char* name : {"/in.as", "/tmpcnt.$$$", ""}) std::remove((path_ + name).c_str());
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

void Write(const std::string& path, const std::uint8_t* data, std::size_t size) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr || std::fwrite(data, 1, size, file) != size) std::abort();
  std::fclose(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const PrivateDirectory directory;
  const std::string path = directory.path() + "/in.as";
  Write(path, data, size);
  char* text = nullptr;
  if (ConvertASToBinHex(path.c_str(), "name", &text) != 0) return 0;
  const std::string text_path = Native(text);
  const int32_t handle = fileopen(text, 0, 1);
  char* back = nullptr;
  char* name = nullptr;
  if (ConvertBinHexToAS(text, handle, INT32_MAX, &back, &name) != 0) std::abort();
  fileclose(handle);
  std::remove(text_path.c_str());
  std::remove(Native(back).c_str());
  std::free(text);
  std::free(back);
  std::free(name);
  return 0;
}
