// A place of its own for a test: configuration directory with "twmta.ini", queue directory,
// temporary directory, scratch files. Removed at the end. QOB_CONFIG_DIR points at it while it
// lives.
#pragma once
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace qob::testing {

class TempSpool {
 public:
  TempSpool() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qobtest-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    root_ = pattern;
    for (const char* name : {"config", "queue", "temp"}) {
      std::filesystem::create_directory(std::filesystem::path(root_) / name);
    }
    setenv("QOB_CONFIG_DIR", config().c_str(), 1);
    SetIni("");
  }
  ~TempSpool() {
    unsetenv("QOB_CONFIG_DIR");
    // Start-up points TMP at this spool's temporary directory, which ends here.
    const char* temporary = std::getenv("TMP");
    if (temporary != nullptr && temporary == temp()) unsetenv("TMP");
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  TempSpool(const TempSpool&) = delete;
  TempSpool& operator=(const TempSpool&) = delete;

  const std::string& root() const { return root_; }
  std::string config() const { return root_ + "/config"; }
  std::string queue() const { return root_ + "/queue"; }
  std::string temp() const { return root_ + "/temp"; }
  std::string ini() const { return config() + "/twmta.ini"; }
  std::string path(std::string_view name) const { return root_ + "/" + std::string(name); }

  // Writes "twmta.ini": the directories of this spool, TimeZone=xxx, then `more` (whole sections).
  void SetIni(std::string_view more) const {
    Write(ini(), "[Gateway]\nTimeZone=xxx\nQueueDirectory=" + queue() + "\nTemporaryDirectory=" +
                     temp() + "\n[Config]\nInstallDirectory=" + root_ + "\n" + std::string(more));
  }
  // Writes "twmta.ini" exactly so.
  void SetWholeIni(std::string_view text) const { Write(ini(), text); }

  // A scratch file below root(); returns its path.
  std::string File(std::string_view name, std::string_view bytes) const {
    const std::string full = path(name);
    Write(full, bytes);
    return full;
  }
  static void Write(const std::string& full, std::string_view bytes) {
    std::ofstream out(full, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  // Takes either separator.
  static std::string Read(std::string full) {
    for (char& c : full) {
      if (c == '\\') c = '/';
    }
    std::ifstream in(full, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
  }
  // Names in the temporary directory, the counter files and the log left out.
  std::vector<std::string> TempFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(temp())) {
      const std::string name = entry.path().filename().string();
      if (name != "tmpcnt.$$$" && name != "unique.$$$" && name != "twmta.log")
        names.push_back(name);
    }
    return names;
  }

 private:
  std::string root_;
};

}  // namespace qob::testing
