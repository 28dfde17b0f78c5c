// Every allocation and every system call of the exported calls fails once, and from then on: the
// whole result or none, nothing open, no file left behind, the message as it was.
#include <dirent.h>

#include <cstdlib>

#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/japanese.h>

#include "support/captured_log.h"
#include "support/faults.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

int OpenDescriptors() {
  int count = 0;
  DIR* directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}

constexpr os::Call kEveryCall[] = {
    os::Call::kOpen, os::Call::kClose,  os::Call::kRead,   os::Call::kWrite, os::Call::kSeek,
    os::Call::kStat, os::Call::kFlush,  os::Call::kRename, os::Call::kList,  os::Call::kAccess,
    os::Call::kLock, os::Call::kRemove, os::Call::kMode};

class JapaneseFaults : public ::testing::Test {
 protected:
  JapaneseFaults() {
    spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" + spool_.temp() +
                       "\nLocalCharSet=ISO-2022-JP\n");
    InitQOBDll_NOMQ("test");
  }
  ~JapaneseFaults() override { TerminateQOBDll(); }

  // convert(text) with each failure; `expected` without.
  void Try(char* (*convert)(const char*), const char* text, const std::string& expected) {
    char* result = nullptr;
    const auto attempt = [&] { result = convert(text); };
    const auto check = [&](bool triggered, bool may_leave_files) {
      if (result == nullptr) {
        EXPECT_TRUE(triggered);
      } else {
        EXPECT_EQ(result, expected);
        std::free(result);
      }
      EXPECT_TRUE(may_leave_files || spool_.TempFiles().empty());
      Sweep();
    };
    ForEachFailure(attempt, check);
  }

  template <class Attempt, class Check>
  void ForEachFailure(Attempt&& attempt, Check&& check) {
    const CapturedLog quiet;
    attempt();  // what is opened once stays
    check(false, false);
    const int open = OpenDescriptors();
    FailEachAllocation(attempt, [&](bool triggered) { check(triggered, false); });
    for (const os::Call call : kEveryCall) {
      // A file that cannot be removed is left.
      const bool remains = call == os::Call::kRemove;
      FailEachCall(call, attempt, [&](bool triggered) { check(triggered, triggered && remains); });
    }
    EXPECT_EQ(OpenDescriptors(), open);
  }
  void Sweep() {
    for (const std::string& name : spool_.TempFiles()) {
      std::filesystem::remove(spool_.temp() + "/" + name);
    }
  }

  TempSpool spool_;
};

TEST_F(JapaneseFaults, DecodingAHeaderIsWholeOrNothing) {
  Try(&bufJIS2ShiftJIS, "a\x1B$B0!\x1B(B", "a\x88\x9F");
}

TEST_F(JapaneseFaults, DecodingAnywhereIsWholeOrNothing) {
  Try(&bufJIS2ShiftJIS_wmc, "a\x1B$B0!\x1B(B", "a\x88\x9F");
}

TEST_F(JapaneseFaults, EncodingIsWholeOrNothing) {
  Try(&bufShiftJIS2JIS, "a\x88\x9F", "a\x1B$B0!\x1B(J");
}

TEST_F(JapaneseFaults, AMessageIsConvertedOrAsItWas) {
  const std::string text = "\x1B$B0!\x1B(B\r\n";
  const std::string path = spool_.File("message", text);
  int result = 0;
  ForEachFailure([&] { result = CheckJapanese(path.c_str()); },
                 [&](bool triggered, bool may_leave_files) {
                   // A site whose settings cannot be read converts nothing.
                   const std::string found = TempSpool::Read(path);
                   EXPECT_TRUE(found == "\x88\x9F\r\n" ? result == 0 : triggered && found == text)
                       << found << " " << result;
                   EXPECT_TRUE(may_leave_files || spool_.TempFiles().empty());
                   Sweep();
                   std::filesystem::remove(path);
                   TempSpool::Write(path, text);
                 });
}

}  // namespace
}  // namespace qob::testing
