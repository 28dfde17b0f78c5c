// peak_memory [FILE]: the process's highest resident size in bytes, after parsing FILE when one is
// given.
//
// Run without a file it is the idle process that the other run is compared with.
#include <qob3xapi/qob3xapi.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "site.h"

namespace {

long PeakBytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6)) * 1024;
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Site site;
  if (argc > 1) {
    MimeMessagePool* pool = nullptr;
    if (MimeParseMessage(argv[1], 1, &pool) < 1) {
      std::fprintf(stderr, "peak_memory: %s cannot be parsed\n", argv[1]);
      return 65;
    }
    MimeFreeMessage(&pool);
  }
  std::printf("%ld\n", PeakBytes());
  return 0;
}
