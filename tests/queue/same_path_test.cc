// When two texts are one path.
#include "queue/same_path.h"

#include <string>

#include <gtest/gtest.h>

#include "queue/path_text.h"

namespace qob {
namespace {

TEST(SamePath, SeparatorsAreOneKindAndRunsAreOne) {
  EXPECT_TRUE(IsSamePath("/var/q", "/var/q"));
  EXPECT_TRUE(IsSamePath("/var/q", "\\var\\q"));
  EXPECT_TRUE(IsSamePath("/var//q", "/var/\\q"));
  EXPECT_TRUE(IsSamePath("C:\\q", "C:/q"));
}

TEST(SamePath, SeparatorsAtTheEndDoNotCount) {
  EXPECT_TRUE(IsSamePath("/var/q/", "/var/q"));
  EXPECT_TRUE(IsSamePath("/var/q", "/var/q\\\\"));
  EXPECT_TRUE(IsSamePath("/", "\\"));
  EXPECT_TRUE(IsSamePath("//", "/"));
  EXPECT_TRUE(IsSamePath("", ""));
}

TEST(SamePath, OthersAreOthers) {
  EXPECT_FALSE(IsSamePath("/var/q", "/var/Q"));
  EXPECT_FALSE(IsSamePath("/var/q", "/var/qq"));
  EXPECT_FALSE(IsSamePath("/var/qq", "/var/q"));
  EXPECT_FALSE(IsSamePath("/var/q", "var/q"));
  EXPECT_FALSE(IsSamePath("/var/q", "/varq"));
  EXPECT_FALSE(IsSamePath("/", ""));
  EXPECT_FALSE(IsSamePath("", "/q"));
}

TEST(PathText, IsThePartsInARow) {
  const PathText path({"/q", "\\", "0001A2B3"});
  EXPECT_EQ(path.view(), "/q\\0001A2B3");
  EXPECT_STREQ(PathText(path, ".msg").c_str(), "/q\\0001A2B3.msg");
  EXPECT_EQ(PathText({}).view(), "");
}

// Never a part of a path: that would be another file.
TEST(PathText, IsEmptyWhenItIsTooLong) {
  EXPECT_EQ(PathText({std::string(4095, 'x')}).view().size(), 4095u);
  EXPECT_EQ(PathText({std::string(4096, 'x')}).view(), "");
  EXPECT_EQ(PathText({std::string(4090, 'x'), "\\", "0001A2B3"}).view(), "");
  EXPECT_EQ(PathText({std::string(5000, 'x'), "a"}).view(), "") << "also with a short part behind";
}

}  // namespace
}  // namespace qob
