// Line I/O through the shared library, from C and from C++.
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

#include <gtest/gtest.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/lineio.h>

#include "support/temp_spool.h"

extern "C" {
int CWritesAndReadsBack(const char* path);
int CUsesTheObjectFace(const char* path);
int CCallsTheLibraryOfC(const char* path);
}

namespace qob::testing {
namespace {

class LineIoContract : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(InitQOBDll_NOMQ("contract"), 1); }
  void TearDown() override { TerminateQOBDll(); }

  TempSpool spool_;
};

TEST_F(LineIoContract, FromC) {
  EXPECT_EQ(CWritesAndReadsBack(spool_.path("a").c_str()), 0);
  EXPECT_EQ(CUsesTheObjectFace(spool_.path("b").c_str()), 0);
  EXPECT_EQ(CCallsTheLibraryOfC(spool_.path("c").c_str()), 0);
}

TEST_F(LineIoContract, CppCallersKeepTheShortName) {
  const int handle = fileopen(spool_.File("in", "abc\n").c_str(), 0, 1);
  char* line = nullptr;
  EXPECT_EQ(getline(handle, &line), 1);
  EXPECT_STREQ(line, "abc\n");
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* file = std::fopen(spool_.path("in").c_str(), "r");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(getline(&text, &size, file), 4);
  std::free(text);
  std::fclose(file);
  fileclose(handle);
}

TEST_F(LineIoContract, TheNameGetlineIsFoundUnderItsVersionAlone) {
  using Getline = int32_t (*)(int32_t, char**);
  void* library = dlopen("libqob3xapi.so.1", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  const Getline versioned = reinterpret_cast<Getline>(dlvsym(library, "getline", "QOB3X_1"));
  ASSERT_NE(versioned, nullptr);
  const int handle = fileopen(spool_.File("in", "abc\n").c_str(), 0, 1);
  char* line = nullptr;
  EXPECT_EQ(versioned(handle, &line), 1);
  EXPECT_STREQ(line, "abc\n");
  EXPECT_EQ(versioned(handle, &line), 0);
  EXPECT_EQ(versioned(-1, &line), -1);
  fileclose(handle);
  EXPECT_NE(dlsym(RTLD_DEFAULT, "getline"), reinterpret_cast<void*>(versioned));
  dlclose(library);
}

}  // namespace
}  // namespace qob::testing
