// Names in the file system: existence, copy, rename, remove, list.
#include "platform/os/directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::os {
namespace {

using testing::FailCalls;
using testing::Failing;
using testing::TempSpool;

class Names : public ::testing::Test {
 protected:
  std::vector<std::string> All(const std::string& directory) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::vector<std::string> List(std::string_view suffix) const {
    std::vector<std::string> names = ListNames(spool_.queue(), suffix).value;
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string queue(std::string_view name) const {
    return spool_.queue() + "\\" + std::string(name);
  }
  static void Make(std::string path, std::string_view bytes) {
    std::replace(path.begin(), path.end(), '\\', '/');
    TempSpool::Write(path, bytes);
  }

  TempSpool spool_;
};

TEST_F(Names, TellWhatStandsThere) {
  Make(queue("file"), "12345");
  EXPECT_TRUE(Exists(queue("file")));
  EXPECT_TRUE(Exists(spool_.queue()));
  EXPECT_FALSE(Exists(queue("none")));
  EXPECT_FALSE(Exists(""));
  EXPECT_TRUE(IsReadableFile(queue("file")));
  EXPECT_FALSE(IsReadableFile(spool_.queue()));
  EXPECT_FALSE(IsReadableFile(queue("none")));
  EXPECT_TRUE(IsDirectory(spool_.queue()));
  EXPECT_FALSE(IsDirectory(queue("file")));
  EXPECT_TRUE(IsWritableDirectory(spool_.queue()));
  EXPECT_FALSE(IsWritableDirectory(queue("file")));
  EXPECT_FALSE(IsWritableDirectory(queue("none")));
  EXPECT_EQ(SizeOf(queue("file")).value, 5);
  EXPECT_EQ(SizeOf(queue("none")).error, ENOENT);
}

TEST_F(Names, AreJudgedWithThePresentRights) {
  Make(queue("file"), "x");
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool_.queue().c_str(), 0755), 0);
  ASSERT_EQ(chmod((spool_.queue() + "/file").c_str(), 0600), 0);
  const int result = testing::WithoutPrivileges([&] {
    if (geteuid() != 65534) return testing::kNotPossible;
    if (!Exists(queue("file")) || IsReadableFile(queue("file"))) return 1;
    return IsWritableDirectory(spool_.queue()) || RemoveFile(queue("file")) != EACCES ? 2 : 0;
  });
  EXPECT_TRUE(result == 0 || result == testing::kNotPossible) << result;
}

TEST_F(Names, AreRemoved) {
  Make(queue("file"), "x");
  EXPECT_EQ(RemoveFile(queue("file")), 0);
  EXPECT_EQ(RemoveFile(queue("file")), ENOENT);
  EXPECT_NE(RemoveFile(spool_.queue()), 0);
  EXPECT_TRUE(IsDirectory(spool_.queue()));
}

TEST_F(Names, AreRenamedOverATargetOrNot) {
  Make(queue("a"), "A");
  Make(queue("b"), "B");
  EXPECT_EQ(RenameFile(queue("a"), queue("b"), false), EEXIST);
  EXPECT_EQ(TempSpool::Read(queue("b")), "B");
  EXPECT_EQ(RenameFile(queue("a"), queue("b"), true), 0);
  EXPECT_EQ(TempSpool::Read(queue("b")), "A");
  EXPECT_EQ(RenameFile(queue("b"), queue("c"), false), 0);
  EXPECT_EQ(RenameFile(queue("none"), queue("c"), true), ENOENT);
  EXPECT_EQ(All(spool_.queue()), std::vector<std::string>{"c"});
}

TEST_F(Names, ARenameWithoutTheExclusiveCallStillSparesTheTarget) {
  Make(queue("a"), "A");
  Make(queue("b"), "B");
  {
    const FailCalls old_system(Call::kRename, 1, Failing::kOnce, EINVAL);
    EXPECT_EQ(RenameFile(queue("a"), queue("b"), false), EEXIST);
  }
  const FailCalls old_system(Call::kRename, 1, Failing::kOnce, EINVAL);
  EXPECT_EQ(RenameFile(queue("a"), queue("c"), false), 0);
  EXPECT_EQ(All(spool_.queue()), (std::vector<std::string>{"b", "c"}));
}

TEST_F(Names, AreMovedBetweenFileSystemsByACopy) {
  for (const bool replace : {true, false}) {
    Make(queue("a"), std::string(200000, 'A'));
    std::filesystem::remove(spool_.queue() + "/b");
    const FailCalls other(Call::kRename, 1, Failing::kOnce, EXDEV);
    EXPECT_EQ(RenameFile(queue("a"), queue("b"), replace), 0);
    EXPECT_EQ(All(spool_.queue()), std::vector<std::string>{"b"});
    EXPECT_EQ(TempSpool::Read(queue("b")), std::string(200000, 'A'));
  }
}

TEST_F(Names, AMoveBetweenFileSystemsNeverLosesTheSource) {
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kFlush, Call::kClose, Call::kRemove}) {
    Make(queue("a"), "A");
    std::filesystem::remove(spool_.queue() + "/b");
    static Call failing;
    failing = call;
    SetFaultHook([](Call now, std::string_view path) {
      if (now == Call::kRename && path.ends_with("/a")) return EXDEV;
      return now == failing ? EIO : 0;
    });
    EXPECT_EQ(RenameFile(queue("a"), queue("b"), true), EIO);
    SetFaultHook(nullptr);
    EXPECT_EQ(TempSpool::Read(queue("a")), "A");
    for (const std::string& name : All(spool_.queue())) {
      EXPECT_TRUE(name == "a" || name == "b") << name << " was left behind";
    }
  }
}

TEST_F(Names, AreCopiedWholeWithTheirMode) {
  const std::string bytes(300000, 'x');
  Make(queue("a"), bytes);
  ASSERT_EQ(chmod((spool_.queue() + "/a").c_str(), 0640), 0);
  EXPECT_EQ(CopyFile(queue("a"), queue("b"), false), 0);
  EXPECT_EQ(TempSpool::Read(queue("b")), bytes);
  struct stat status {};
  ASSERT_EQ(stat((spool_.queue() + "/b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  Make(queue("b"), "kept");
  EXPECT_EQ(CopyFile(queue("a"), queue("b"), false), EEXIST);
  EXPECT_EQ(TempSpool::Read(queue("b")), "kept");
  EXPECT_EQ(CopyFile(queue("a"), queue("b"), true), 0);
  EXPECT_EQ(TempSpool::Read(queue("b")), bytes);
  EXPECT_EQ(CopyFile(spool_.queue(), queue("c"), true), EISDIR);
  EXPECT_EQ(CopyFile(queue("none"), queue("c"), true), ENOENT);
  EXPECT_EQ(All(spool_.queue()), (std::vector<std::string>{"a", "b"}));
}

TEST_F(Names, AreCopiedByHandWhereTheSystemCannot) {
  const std::string bytes(300000, 'x');
  Make(queue("a"), bytes);
  const FailCalls cannot(Call::kWrite, 1, Failing::kOnce, EXDEV);
  EXPECT_EQ(CopyFile(queue("a"), queue("b"), true), 0);
  EXPECT_EQ(TempSpool::Read(queue("b")), bytes);
}

TEST_F(Names, ACopyThatFailsLeavesNothing) {
  Make(queue("a"), "A");
  Make(queue("b"), "B");
  const FailCalls full(Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
  EXPECT_EQ(CopyFile(queue("a"), queue("b"), true), ENOSPC);
  EXPECT_EQ(All(spool_.queue()), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(TempSpool::Read(queue("b")), "B");
}

TEST_F(Names, AFileOfMadeUpBytesIsCopiedToo) {
  EXPECT_EQ(CopyFile("/proc/self/status", queue("status"), true), 0);
  EXPECT_EQ(TempSpool::Read(queue("status")).substr(0, 5), "Name:");
}

TEST_F(Names, DirectoriesAreMadeForTheirOwnerOnly) {
  EXPECT_EQ(MakeDirectory(queue("d")), 0);
  EXPECT_EQ(MakeDirectory(queue("d")), EEXIST);
  struct stat status {};
  ASSERT_EQ(stat((spool_.queue() + "/d").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
}

TEST_F(Names, AFileAppearsWithItsBytesOrNotAtAll) {
  EXPECT_EQ(MakeFileWith(queue("f"), "1234"), 0);
  EXPECT_EQ(TempSpool::Read(queue("f")), "1234");
  EXPECT_EQ(MakeFileWith(queue("f"), "5678"), EEXIST);
  EXPECT_EQ(TempSpool::Read(queue("f")), "1234");
  {
    const FailCalls full(Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
    EXPECT_EQ(MakeFileWith(queue("g"), "1234"), ENOSPC);
  }
  {
    const FailCalls no_links(Call::kRename, 1, Failing::kOnce, EPERM);
    EXPECT_EQ(MakeFileWith(queue("h"), "1234"), 0);
  }
  {
    const FailCalls no_links(Call::kRename, 1, Failing::kOnce, EPERM);
    EXPECT_EQ(MakeFileWith(queue("f"), "5678"), EEXIST);
  }
  EXPECT_EQ(All(spool_.queue()), (std::vector<std::string>{"f", "h"}));
}

TEST_F(Names, AnEmptyFileIsMadeByOneOnly) {
  EXPECT_EQ(MakeEmptyFile(queue("f")), 0);
  EXPECT_EQ(MakeEmptyFile(queue("f")), EEXIST);
  EXPECT_EQ(SizeOf(queue("f")).value, 0);
  std::filesystem::create_symlink(spool_.queue() + "/none", spool_.queue() + "/link");
  EXPECT_EQ(MakeEmptyFile(queue("link")), EEXIST) << "a link is not followed";
  EXPECT_FALSE(Exists(queue("none")));
}

TEST_F(Names, AreListedBySuffixInAnyCase) {
  for (const char* name : {"a.lck", "b.LCK", "c.lck.x", "d.msg", ".lck"}) Make(queue(name), "");
  ASSERT_EQ(MakeDirectory(queue("e.Lck")), 0);
  EXPECT_EQ(List(".lck"), (std::vector<std::string>{".lck", "a.lck", "b.LCK", "e.Lck"}));
  EXPECT_EQ(List("").size(), 6u);
  EXPECT_EQ(ListNames(queue("none"), "").error, ENOENT);
  const FailCalls fails(Call::kList, 1, Failing::kOnce, EIO);
  EXPECT_EQ(ListNames(spool_.queue(), "").error, EIO);
}

}  // namespace
}  // namespace qob::os
