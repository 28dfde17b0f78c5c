// What replaces a user's file: the new text whole, or the old file as it was.
#include "system_replace.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli::sys {
namespace {

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class ReplaceOriginalTest : public testing::Test {
 protected:
  ReplaceOriginalTest() {
    std::filesystem::create_directories(folder_);
    Write(file_, "old text");
    Write(source_, "new");
    int error = 0;
    original_ = *LookAtOriginal(file_, &error);
  }
  ~ReplaceOriginalTest() override { std::filesystem::remove_all(folder_); }

  // Nothing but the two files lies in the folder.
  std::ptrdiff_t Names() const {
    return std::distance(std::filesystem::directory_iterator(folder_), {});
  }

  const std::string folder_ = testing::TempDir() + "/qob-replace-test-" + std::to_string(getpid());
  const std::string file_ = folder_ + "/file";
  const std::string source_ = folder_ + "/source";
  Original original_;
};

TEST_F(ReplaceOriginalTest, GivesTheNewTextAndKeepsTheMode) {
  ASSERT_EQ(chmod(file_.c_str(), 0604), 0);
  EXPECT_EQ(ReplaceOriginal(original_, source_), 0);
  EXPECT_EQ(Read(file_), "new");
  struct stat entry {};
  ASSERT_EQ(stat(file_.c_str(), &entry), 0);
  EXPECT_EQ(entry.st_mode & 07777, 0604u);
  EXPECT_EQ(Names(), 2);
}

TEST_F(ReplaceOriginalTest, LeavesAFileThatGrewSinceItWasLookedAt) {
  std::ofstream(file_, std::ios::app) << " and more";
  EXPECT_TRUE(IsChangedMeanwhile(ReplaceOriginal(original_, source_)));
  EXPECT_EQ(Read(file_), "old text and more");
  EXPECT_EQ(Names(), 2);
}

TEST_F(ReplaceOriginalTest, LeavesAnotherFileOfTheSameName) {
  std::filesystem::remove(file_);
  Write(folder_ + "/other", "old text");
  std::filesystem::rename(folder_ + "/other", file_);
  EXPECT_TRUE(IsChangedMeanwhile(ReplaceOriginal(original_, source_)));
  EXPECT_EQ(Read(file_), "old text");
}

TEST_F(ReplaceOriginalTest, MakesNoFileThatIsGone) {
  std::filesystem::remove(file_);
  EXPECT_NE(ReplaceOriginal(original_, source_), 0);
  EXPECT_FALSE(std::filesystem::exists(file_));
  EXPECT_EQ(Names(), 1);
}

TEST_F(ReplaceOriginalTest, LeavesTheFileWithoutItsSource) {
  std::filesystem::remove(source_);
  EXPECT_NE(ReplaceOriginal(original_, source_), 0);
  EXPECT_EQ(Read(file_), "old text");
  EXPECT_EQ(Names(), 1);
}

TEST(LookAtOriginal, TellsAFolderFromAMissingFile) {
  int error = -1;
  EXPECT_FALSE(LookAtOriginal(testing::TempDir(), &error).has_value());
  EXPECT_EQ(error, 0);
  EXPECT_FALSE(LookAtOriginal("/nowhere/at/all", &error).has_value());
  EXPECT_NE(error, 0);
}

}  // namespace
}  // namespace cli::sys
