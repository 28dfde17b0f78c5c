#include "site.h"

#include <qob3xapi/frame.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "workload.h"

namespace bench {

Site::Site() : directory_(OutputDirectory() / ("site." + std::to_string(getpid()))) {
  std::filesystem::create_directories(directory_);
  std::ofstream(directory_ / "twmta.ini")
      << "[Gateway]\r\nTimeZone=xxx\r\nLocalCharSet=ISO-8859-1\r\n"
      << "TemporaryDirectory=" << OutputDirectory().string() << "\r\n"
      << "[Options]\r\nForce1522Decoding=YES\r\n";
  setenv("QOB_CONFIG_DIR", directory_.c_str(), 1);
  InitQOBDll_NOMQ("bench");
}

Site::~Site() {
  TerminateQOBDll();
  std::filesystem::remove_all(directory_);
}

}  // namespace bench
