// Every allocation and every system call of the utilities fails once, alone and from then on: the
// documented result and log line, nothing open, nothing left behind.
#include <dirent.h>

#include <cerrno>

#include <qob3xapi/lineio.h>

#include "support/faults.h"
#include "util/util_support.h"

namespace qob::testing {
namespace {

int OpenDescriptors() {
  int count = 0;
  DIR* directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}

constexpr os::Call kEveryCall[] = {os::Call::kOpen,   os::Call::kClose,  os::Call::kRead,
                                   os::Call::kWrite,  os::Call::kSeek,   os::Call::kStat,
                                   os::Call::kRename, os::Call::kRemove, os::Call::kLock,
                                   os::Call::kAccess, os::Call::kFlush};

using UtilFaults = StartedLibrary;

TEST_F(UtilFaults, UniqueNumbersAreNeverGivenTwice) {
  std::vector<int> given;
  for (const os::Call call : kEveryCall) {
    int number = -1;
    FailEachCall(
        call, [&] { number = GetUniqueId(); },
        [&](bool) {
          if (number != -1) given.push_back(number);
        });
  }
  ASSERT_GE(given.size(), 11U);
  for (std::size_t i = 1; i < given.size(); ++i) EXPECT_LT(given[i - 1], given[i]);
}

TEST_F(UtilFaults, ANameOrNull) {
  const int before = OpenDescriptors();
  for (const os::Call call : kEveryCall) {
    HeapText name;
    FailEachCall(
        call, [&] { name.reset(QOBGetTempFileName(nullptr, "MIME")); },
        [&](bool failed) {
          EXPECT_TRUE(failed || name);
          EXPECT_TRUE(spool_.TempFiles().empty());
          EXPECT_EQ(OpenDescriptors(), before);
        });
  }
  HeapText name;
  FailEachAllocation([&] { name.reset(QOBGetTempFileName(nullptr, "MIME")); },
                     [&](bool failed) { EXPECT_EQ(failed, !name); });
}

// tabExpand leaves the file as it was or expanded, never in between, and no temporary file.
class TabFaults : public StartedLibrary {
 protected:
  void SetUp() override {
    StartedLibrary::SetUp();
    descriptors_ = OpenDescriptors();  // the log is open by now
  }
  void Write() { path_ = spool_.File("in", text_); }
  void Check(int result, bool failed) {
    const std::string now = TempSpool::Read(path_);
    EXPECT_TRUE(spool_.TempFiles().empty());
    EXPECT_EQ(OpenDescriptors(), descriptors_);
    if (result == 0) {
      EXPECT_EQ(now, expanded_);
      EXPECT_TRUE(log_.texts().empty());
    } else {
      EXPECT_TRUE(failed);
      EXPECT_EQ(now, text_);
      ++failures_;
      last_texts_.push_back(log_.texts().empty() ? "" : log_.texts().back());
    }
    log_.Clear();
    Write();
  }

  const std::string text_ = "a\tb\n" + std::string(200000, 'x') + "\n";
  const std::string expanded_ = "a       b\n" + std::string(200000, 'x') + "\n";
  std::string path_;
  int descriptors_ = 0;
  int failures_ = 0;
  Texts last_texts_;
};

TEST_F(TabFaults, EveryAllocation) {
  Write();
  int result = 0;
  FailEachAllocation([&] { result = tabExpand(path_.c_str()); },
                     [&](bool failed) { Check(result, failed); });
  EXPECT_GT(failures_, 4);
}

TEST_F(TabFaults, EveryCall) {
  Write();
  for (const os::Call call :
       {os::Call::kOpen, os::Call::kRead, os::Call::kWrite, os::Call::kStat, os::Call::kRename,
        os::Call::kLock, os::Call::kSeek, os::Call::kAccess}) {
    int result = 0;
    FailEachCall(
        call, [&] { result = tabExpand(path_.c_str()); },
        [&](bool failed) { Check(result, failed); }, ENOSPC);
  }
  const std::vector<std::string> told = {"_qobtempnam failed", "filecreate failed",
                                         "fileopen failed", "getline failed", "putline failed"};
  for (const std::string& text : told) {
    EXPECT_NE(std::find(last_texts_.begin(), last_texts_.end(), text), last_texts_.end()) << text;
  }
}

TEST_F(UtilFaults, UudecodeWithoutMemoryGivesNothing) {
  const std::string path =
      spool_.File("in", "begin 644 a name that needs memory of its own\n#0V%T\n`\nend\n");
  const int in = fileopen(path.c_str(), 0, 1);
  const int out = filecreate(spool_.path("out").c_str(), 0, 1);
  int result = 0;
  char* name = nullptr;
  FailEachAllocation(
      [&] {
        setfpos(in, 0);
        result = uudecode(in, 0, out, &name);
      },
      [&](bool failed) {
        EXPECT_EQ(result, failed ? 0 : 1);
        EXPECT_EQ(name != nullptr, !failed);
        FreeString(name);
        name = nullptr;
      });
  fileclose(in);
  fileclose(out);
}

TEST_F(UtilFaults, UudecodeTellsReadAndWriteErrors) {
  std::string text = "begin 644 n\n";
  for (int i = 0; i < 5000; ++i) text += "M" + std::string(60, '5') + "\n";
  text += "`\nend\n";
  const std::string path = spool_.File("in", text);
  for (const os::Call call : {os::Call::kRead, os::Call::kWrite}) {
    int result = 0;
    char* name = nullptr;
    const int in = fileopen(path.c_str(), 0, 1);
    const int out = filecreate(spool_.path("out").c_str(), 0, 1);
    FailEachCall(
        call,
        [&] {
          setfpos(in, 0);
          result = uudecode(in, 0, out, &name);
        },
        [&](bool failed) {
          EXPECT_EQ(result, failed ? 0 : 1);
          if (failed && call == os::Call::kWrite) {
            EXPECT_EQ(log_.texts(), Texts{"putline: WriteFile failed."});
            EXPECT_EQ(name, nullptr);
          } else if (failed) {
            EXPECT_EQ(log_.texts().size(), 1U);
          }
          log_.Clear();
          FreeString(name);
          name = nullptr;
        },
        ENOSPC);
    fileclose(in);
    fileclose(out);
  }
}

}  // namespace
}  // namespace qob::testing
