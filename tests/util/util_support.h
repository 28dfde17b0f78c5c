// What the tests of the utilities share: a started library with a spool of its own.
#pragma once
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/util.h>

#include "frame/heap.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

class StartedLibrary : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(InitQOBDll_NOMQ("util"), 1); }
  void TearDown() override {
    TerminateQOBDll();
    unsetenv("TMP");  // whatever a start-up of this test made it
  }

  TempSpool spool_;
  CapturedLog log_;
};

using Texts = std::vector<std::string>;

}  // namespace qob::testing
