// Tabs of a file replaced by blanks.
#include "util/tab_expand.h"

#include <sys/stat.h>

#include "support/two_processes.h"
#include "util/util_support.h"

namespace qob::testing {
namespace {

class TabExpand : public StartedLibrary {
 protected:
  void SetTabSize(const std::string& value) { spool_.SetIni("[Options]\nTabSize=" + value + "\n"); }
  std::string Expanded(std::string_view bytes) {
    const std::string path = spool_.File("in", bytes);
    EXPECT_EQ(tabExpand(path.c_str()), 0);
    EXPECT_TRUE(spool_.TempFiles().empty());
    return TempSpool::Read(path);
  }
};

TEST_F(TabExpand, FillsToTheNextStop) {
  SetTabSize("4");
  EXPECT_EQ(Expanded("a\tb\n"), "a   b\n");
  EXPECT_EQ(Expanded("\tb\n"), "    b\n");
  EXPECT_EQ(Expanded("abc\td\n"), "abc d\n");
  EXPECT_EQ(Expanded("abcd\te\n"), "abcd    e\n");
  EXPECT_EQ(Expanded("abcde\tf\tg\n"), "abcde   f   g\n");
  EXPECT_EQ(Expanded("\t\t\n"), "        \n");
}

TEST_F(TabExpand, StartsEachLineAtColumnZero) {
  SetTabSize("4");
  EXPECT_EQ(Expanded("ab\n\tc\r\nd\te"), "ab\n    c\r\nd   e");
}

TEST_F(TabExpand, SaysSoAtTheDetailLevel) {
  SetTabSize("4");
  Expanded("a");
  const std::vector<LogLine> expected = {
      {6, "util", "Expanding tab in text attachment, tabsize = 4"}};
  EXPECT_EQ(log_.lines(), expected);
}

TEST_F(TabExpand, UsesEightAndAtMostEighty) {
  EXPECT_EQ(Expanded("a\tb\n"), "a       b\n");
  SetTabSize("81");
  EXPECT_EQ(Expanded("a\tb\n"), "a" + std::string(79, ' ') + "b\n");
  SetTabSize("99999999999");
  EXPECT_EQ(Expanded("\tb\n"), std::string(80, ' ') + "b\n");
  SetTabSize("1");
  EXPECT_EQ(Expanded("a\tb\n"), "a b\n");
}

TEST_F(TabExpand, ZeroNegativeAndOtherTextLeaveTheFile) {
  const std::string path = spool_.File("in", "a\tb\n");
  for (const char* size : {"0", "-4", "none", "", "  "}) {
    SetTabSize(size);
    EXPECT_EQ(tabExpand(path.c_str()), 0) << size;
    EXPECT_EQ(tabExpand("/no/such/file"), 0) << size;
    EXPECT_EQ(tabExpand(nullptr), 0) << size;
  }
  EXPECT_EQ(TempSpool::Read(path), "a\tb\n");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(TabExpand, CarriesTheColumnOverPiecesOfALine) {
  SetTabSize("7");
  const std::string head(1500, 'x');
  EXPECT_EQ(Expanded(head + "\ty\n"), head + std::string(7 - 1500 % 7, ' ') + "y\n");
  const std::string tabbed = "\t" + std::string(1100, 'x');
  EXPECT_EQ(Expanded(tabbed + "\ty\n"),
            "       " + std::string(1100, 'x') + std::string(7 - 1100 % 7, ' ') + "y\n");
}

TEST_F(TabExpand, LosesNoByte) {
  SetTabSize("8");
  const std::string nul("a\0b\tc\0\n", 7);
  EXPECT_EQ(Expanded(nul), std::string("a\0b     c\0\n", 11));
  EXPECT_EQ(Expanded(std::string(4096, 'a')), std::string(4096, 'a'));
  EXPECT_EQ(Expanded(""), "");
}

TEST_F(TabExpand, KeepsThePermissions) {
  SetTabSize("8");
  const std::string path = spool_.File("in", "a\tb\n");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_EQ(tabExpand(path.c_str()), 0);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(TabExpand, AMissingFileFails) {
  const std::string path = spool_.path("missing");
  EXPECT_EQ(tabExpand(path.c_str()), -1);
  EXPECT_EQ(log_.texts(), (Texts{"CreateFile failed: " + path + ", error 2", "fileopen failed"}));
  EXPECT_TRUE(spool_.TempFiles().empty());
  log_.Clear();
  EXPECT_EQ(tabExpand(nullptr), -1);
  EXPECT_TRUE(log_.texts().empty());
}

TEST_F(TabExpand, WithoutATemporaryDirectoryFails) {
  const std::string path = spool_.File("in", "a\tb\n");
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\n");
  InitQOBDll_NOMQ("util");
  EXPECT_EQ(tabExpand(path.c_str()), -1);
  EXPECT_EQ(log_.texts(), Texts{"_qobtempnam failed"});
  EXPECT_EQ(TempSpool::Read(path), "a\tb\n");
}

TEST_F(TabExpand, ADirectoryThatCannotBeWrittenFails) {
  const std::string path = spool_.File("in", "a\tb\n");
  TempSpool::Write(spool_.temp() + "/tmpcnt.$$$", std::string(4, '\0'));
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod((spool_.temp() + "/tmpcnt.$$$").c_str(), 0666), 0);
  ASSERT_EQ(chmod(spool_.temp().c_str(), 0555), 0);
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  const int result = WithoutPrivileges([&] {
    if (tabExpand(path.c_str()) != -1) return 1;
    return log_.texts() == Texts{"open failed", "filecreate failed"} ? 7 : 2;
  });
  EXPECT_TRUE(result == 7 || result == kNotPossible) << result;
  chmod(spool_.temp().c_str(), 0700);
  EXPECT_EQ(TempSpool::Read(path), "a\tb\n");
}

}  // namespace
}  // namespace qob::testing
