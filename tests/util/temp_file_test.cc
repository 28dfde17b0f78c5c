// Unique numbers and temporary names.
#include "util/temp_file.h"

#include <sys/stat.h>

#include <set>

#include "frame/config.h"
#include "support/two_processes.h"
#include "util/util_support.h"

namespace qob::testing {
namespace {

class Names : public StartedLibrary {
 protected:
  std::string Unique() const { return spool_.temp() + "/unique.$$$"; }
  std::string Counter() const { return spool_.temp() + "/tmpcnt.$$$"; }
  // The last part of a new name; "" for null.
  std::string Name(const char* prefix) {
    HeapText path(QOBGetTempFileName("ignored", prefix));
    if (!path) return "";
    const std::string text = path.get();
    const std::string directory = spool_.temp() + "\\";
    EXPECT_EQ(text.rfind(directory, 0), 0U) << text;
    return text.substr(directory.size());
  }
};

std::string LittleEndian(std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(value >> (8 * i) & 255U));
  return bytes;
}

TEST_F(Names, UniqueNumbersStartAtZero) {
  EXPECT_EQ(GetUniqueId(), 0);
  EXPECT_EQ(TempSpool::Read(Unique()), LittleEndian(0));
  EXPECT_EQ(GetUniqueId(), 1);
  EXPECT_EQ(GetUniqueId(), 2);
  EXPECT_EQ(TempSpool::Read(Unique()), LittleEndian(2));
}

TEST_F(Names, UniqueNumbersWrapBelowTheHighest) {
  TempSpool::Write(Unique(), LittleEndian(0x7FFFFFFD));
  EXPECT_EQ(GetUniqueId(), 0x7FFFFFFE);
  EXPECT_EQ(GetUniqueId(), 0);
  TempSpool::Write(Unique(), LittleEndian(0xFFFFFFF0));
  EXPECT_EQ(GetUniqueId(), 0);
}

TEST_F(Names, ADamagedUniqueFileGivesMinusOneAndIsLeft) {
  TempSpool::Write(Unique(), "abc");
  EXPECT_EQ(GetUniqueId(), -1);
  EXPECT_EQ(TempSpool::Read(Unique()), "abc");
}

TEST_F(Names, ProcessesNeverGetTheSameNumber) {
  constexpr int kEach = 10000;
  const std::vector<int> ends = InChildren(2, [&](int child) {
    std::string numbers;
    for (int i = 0; i < kEach; ++i) numbers += std::to_string(GetUniqueId()) + "\n";
    TempSpool::Write(spool_.path("numbers" + std::to_string(child)), numbers);
    return 0;
  });
  EXPECT_EQ(ends, (std::vector<int>{0, 0}));
  std::set<int> all;
  for (const char* name : {"numbers0", "numbers1"}) {
    std::istringstream in(TempSpool::Read(spool_.path(name)));
    for (int number = 0; in >> number;) all.insert(number);
  }
  ASSERT_EQ(all.size(), 2U * kEach);
  EXPECT_EQ(*all.begin(), 0);
  EXPECT_EQ(*all.rbegin(), 2 * kEach - 1);
}

TEST_F(Names, TemporaryNamesStartAtOne) {
  EXPECT_EQ(Name("MIME"), "MIME0001");
  EXPECT_EQ(Name("MIME"), "MIME0002");
  EXPECT_EQ(TempSpool::Read(Counter()), LittleEndian(2));
}

TEST_F(Names, ThePrefixLiesOverTheFirstDigits) {
  TempSpool::Write(Counter(), LittleEndian(122));
  EXPECT_EQ(Name("MIME"), "MIME0123");
  EXPECT_EQ(Name("ab"), "ab000124");
  EXPECT_EQ(Name("abcdef"), "abcd0125");
  EXPECT_EQ(Name(""), "00000126");
  EXPECT_EQ(Name(nullptr), "00000127");
  TempSpool::Write(Counter(), LittleEndian(12345677));
  EXPECT_EQ(Name("MIME"), "MIME5678");
}

TEST_F(Names, TheTemporaryCounterWraps) {
  TempSpool::Write(Counter(), LittleEndian(99999997));
  EXPECT_EQ(Name(""), "99999998");
  EXPECT_EQ(Name(""), "00000000");
  TempSpool::Write(Counter(), LittleEndian(0xFFFFFFFF));
  EXPECT_EQ(Name(""), "00000000");
}

TEST_F(Names, ADamagedTemporaryCounterIsDeleted) {
  TempSpool::Write(Counter(), "ab");
  EXPECT_EQ(Name("MIME"), "");
  EXPECT_FALSE(std::filesystem::exists(Counter()));
  EXPECT_EQ(Name("MIME"), "MIME0001");
}

TEST_F(Names, NamesInUseAreSkipped) {
  TempSpool::Write(spool_.temp() + "/MIME0001", "");
  std::filesystem::create_directory(spool_.temp() + "/MIME0002");
  EXPECT_EQ(Name("MIME"), "MIME0003");
}

TEST_F(Names, AHundredNamesInUseAreTheEnd) {
  for (int i = 1; i <= 100; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "MIME%04d", i);
    TempSpool::Write(spool_.temp() + "/" + name, "");
  }
  EXPECT_EQ(Name("MIME"), "");
  EXPECT_EQ(Name("MIME"), "MIME0101");
}

TEST_F(Names, NoFileIsMadeForAName) {
  Name("MIME");
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(Names, AnUnsetDirectoryGivesNothing) {
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\n");
  InitQOBDll_NOMQ("util");
  EXPECT_EQ(GetUniqueId(), -1);
  EXPECT_EQ(QOBGetTempFileName(nullptr, "MIME"), nullptr);
  EXPECT_FALSE(std::filesystem::exists("/unique.$$$"));
  EXPECT_FALSE(std::filesystem::exists("/tmpcnt.$$$"));
}

TEST_F(Names, AMissingDirectoryGivesNothing) {
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" + spool_.path("none") + "\n");
  InitQOBDll_NOMQ("util");
  EXPECT_EQ(GetUniqueId(), -1);
  EXPECT_EQ(QOBGetTempFileName(nullptr, "MIME"), nullptr);
}

TEST_F(Names, ADirectoryThatCannotBeWrittenGivesNothing) {
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool_.temp().c_str(), 0555), 0);
  const int result = WithoutPrivileges(
      [] { return GetUniqueId() == -1 && QOBGetTempFileName(nullptr, "MIME") == nullptr ? 7 : 1; });
  EXPECT_TRUE(result == 7 || result == kNotPossible) << result;
  chmod(spool_.temp().c_str(), 0700);
}

TEST_F(Names, ATemporaryFileGoesUnlessHandedOut) {
  std::string path;
  {
    TempFile file(TempName("MIME"));
    ASSERT_TRUE(file);
    path = file.path();
    TempSpool::Write(spool_.temp() + "/MIME0001", "x");
  }
  EXPECT_TRUE(spool_.TempFiles().empty());
  {
    TempFile file(TempName("MIME"));
    TempSpool::Write(spool_.temp() + "/MIME0002", "x");
    const HeapText name(file.HandOut());
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name.get(), spool_.temp() + "\\MIME0002");
    EXPECT_FALSE(file);
    EXPECT_EQ(file.HandOut(), nullptr);
  }
  EXPECT_EQ(spool_.TempFiles(), Texts{"MIME0002"});
  TempFile moved{TempFile(spool_.temp() + "\\MIME0002")};
  EXPECT_TRUE(moved);
  moved.RemoveNow();
  EXPECT_TRUE(spool_.TempFiles().empty());
  EXPECT_FALSE(moved);
}

}  // namespace
}  // namespace qob::testing
