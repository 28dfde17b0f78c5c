#include "site.h"

#include <qob3xapi/frame.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "workload.h"

namespace bench {

Site::Site() {
  const std::filesystem::path directory = OutputDirectory() / "site";
  if (!std::filesystem::exists(directory / "twmta.ini")) {
    throw std::runtime_error("no " + directory.string() + "/twmta.ini: run bench/compare");
  }
  setenv("QOB_CONFIG_DIR", directory.c_str(), 1);
  InitQOBDll_NOMQ("bench");
}

Site::~Site() { TerminateQOBDll(); }

}  // namespace bench
