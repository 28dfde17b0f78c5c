// A configuration of our own for the library while it is measured: temporary files go where the
// peers write.
#pragma once

#include <filesystem>

namespace bench {

class Site {
 public:
  // Writes "twmta.ini" beside the output directory, points QOB_CONFIG_DIR at it and starts the
  // library.
  Site();
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;
  ~Site();

 private:
  std::filesystem::path directory_;
};

}  // namespace bench
