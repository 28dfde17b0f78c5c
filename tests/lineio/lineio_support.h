// What the tests of line I/O share: a started pool, a spool of their own, the log lines, and short
// ways to read and write.
#pragma once
#include <cstdint>
#include <cstring>
#include <dirent.h>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/lineio.h>

#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

class LineIo : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(InitLineIO(), 0); }
  void TearDown() override { TerminateLineIO(); }

  int OpenBytes(std::string_view bytes) { return fileopen(spool_.File("in", bytes).c_str(), 0, 1); }
  std::string OutPath() const { return spool_.path("out"); }
  std::string Written() const { return TempSpool::Read(OutPath()); }

  TempSpool spool_;
  CapturedLog log_;
};

// The results of getline until one is not 1: the length of each piece, then that result.
inline std::vector<int> PieceLengths(int handle, std::string* all = nullptr) {
  std::vector<int> lengths;
  for (;;) {
    char* line = nullptr;
    const int before = getfpos(handle);
    const int result = QOB_getline(handle, &line);
    if (result != 1) {
      lengths.push_back(result);
      return lengths;
    }
    const int length = getfpos(handle) - before;
    lengths.push_back(length);
    if (all != nullptr) all->append(line, static_cast<std::size_t>(length));
  }
}

// Files this process has open.
inline int OpenDescriptors() {
  int count = 0;
  DIR* directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}

using Texts = std::vector<std::string>;

}  // namespace qob::testing
