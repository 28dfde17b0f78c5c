// The reasons of a message: appended one by one, read as a chain.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include <qob3xapi/lineio.h>

#include "platform/os/file.h"
#include "queue/queueid_support.h"
#include "support/faults.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

struct FreeChain {
  void operator()(ms* chain) const { freeStringChain(chain); }
};
using ChainPtr = std::unique_ptr<ms, FreeChain>;

class Reasons : public QueueTest {
 protected:
  std::int32_t Add(const char* text) { return AddBounceReason(path_.c_str(), text); }
  // False for null; the lines otherwise.
  bool Get(Texts* lines) {
    lines->clear();
    const ChainPtr chain(GetBounceReason(path_.c_str()));
    for (const ms* at = chain.get(); at != nullptr; at = at->next) lines->push_back(at->text);
    return chain != nullptr;
  }
  Texts Lines() {
    Texts lines;
    Get(&lines);
    return lines;
  }
  std::string file() const { return queue() + "/0001A2B3.rea"; }

  const std::string path_ = Path("0001A2B3");
};

TEST_F(Reasons, TheSecondComesBehindTheFirst) {
  EXPECT_EQ(Add("550 No such user\r\n"), 0);
  EXPECT_EQ(TempSpool::Read(file()), "550 No such user\r\n");
  EXPECT_EQ(Add("Tried twice\n"), 0);
  EXPECT_EQ(TempSpool::Read(file()), "550 No such user\r\nTried twice\n");
  EXPECT_EQ(Lines(), (Texts{"550 No such user\r\n", "Tried twice\n"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Reasons, TextIsWrittenAsItIs) {
  EXPECT_EQ(Add("no line end"), 0);
  EXPECT_EQ(Add(""), 0);
  EXPECT_EQ(Add(", 100% \xE9"), 0);
  EXPECT_EQ(TempSpool::Read(file()), "no line end, 100% \xE9");
  EXPECT_EQ(Lines(), (Texts{"no line end, 100% \xE9"}));
}

TEST_F(Reasons, AreForTheirOwnerOnly) {
  Add("x\n");
  struct stat status {};
  ASSERT_EQ(stat(file().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(Reasons, NeedAPathAndAText) {
  EXPECT_EQ(AddBounceReason(nullptr, "x"), -1);
  EXPECT_EQ(AddBounceReason("", "x"), -1);
  EXPECT_EQ(Add(nullptr), -1);
  EXPECT_EQ(GetBounceReason(nullptr), nullptr);
  EXPECT_EQ(GetBounceReason(""), nullptr);
  EXPECT_FALSE(Stands(file()));
}

TEST_F(Reasons, OfAMessageWithoutAreNullSilently) {
  Texts lines;
  EXPECT_FALSE(Get(&lines));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Reasons, AnEmptyFileIsNull) {
  TempSpool::Write(file(), "");
  Texts lines;
  EXPECT_FALSE(Get(&lines));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Reasons, ALongLineComesInPieces) {
  TempSpool::Write(file(), std::string(1500, 'a') + "\nb\n");
  EXPECT_EQ(Lines(), (Texts{std::string(1024, 'a'), std::string(476, 'a') + "\n", "b\n"}));
}

TEST_F(Reasons, TheLastLineOfAFullBlockIsNotLost) {
  const std::string line = std::string(1023, 'x') + "\n";
  TempSpool::Write(file(), line + line + line + std::string(1024, 'y'));
  EXPECT_EQ(Lines(), (Texts{line, line, line, std::string(1024, 'y')}));
}

TEST_F(Reasons, ManyLinesAreReadInOrder) {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += std::to_string(i) + "\n";
  TempSpool::Write(file(), text);
  const Texts lines = Lines();
  ASSERT_EQ(lines.size(), 20000u);
  for (std::size_t i = 0; i < lines.size(); ++i) ASSERT_EQ(lines[i], std::to_string(i) + "\n");
}

TEST_F(Reasons, CannotGoIntoAMissingDirectory) {
  EXPECT_EQ(AddBounceReason(spool_.path("none\\L").c_str(), "x\n"), -1);
  EXPECT_EQ(log_.texts(1), Texts{"CreateFile failed: " + spool_.path("none\\L.rea") + ", error 2"});
}

TEST_F(Reasons, AreNeverWrittenThroughADirectory) {
  std::filesystem::create_directory(file());
  EXPECT_EQ(Add("x\n"), -1);
  Texts lines;
  EXPECT_FALSE(Get(&lines));
}

TEST_F(Reasons, AreNotMadeThroughALinkThatLeadsNowhere) {
  const std::string target = spool_.path("target");
  std::filesystem::create_symlink(target, file());
  EXPECT_EQ(Add("x\n"), -1);
  EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(Reasons, AreRefusedWhileSomebodyWritesThem) {
  ASSERT_EQ(Add("first\n"), 0);
  const os::OpenMode writer{os::Access::kWrite, os::Share::kRead};
  os::FileHandle holder(os::OpenFile(file(), writer).value);
  ASSERT_TRUE(holder);
  EXPECT_EQ(Add("second\n"), -1);
  EXPECT_EQ(Lines(), Texts{"first\n"});
  holder.Reset();
  EXPECT_EQ(Add("second\n"), 0);
  EXPECT_EQ(Lines(), (Texts{"first\n", "second\n"}));
}

TEST_F(Reasons, WorkBeforeStartUp) {
  TerminateQOBDll();
  EXPECT_EQ(Add("x\n"), 0);
  EXPECT_EQ(Lines(), Texts{"x\n"});
}

TEST_F(Reasons, AFileWithoutAnEndStaysOpenUnderTheHandleInTheLog) {
  ASSERT_EQ(Add("first\n"), 0);
  {
    const FailCalls fails(os::Call::kSeek, 1, Failing::kOnce, ESPIPE);
    EXPECT_EQ(Add("second\n"), -1);
  }
  const Texts told = log_.texts(1);
  ASSERT_EQ(told.size(), 1u);
  int handle = 0;
  int error = 0;
  ASSERT_EQ(
      std::sscanf(told[0].c_str(), "AddBounceReason: setfpos failed, FileHandle #%d, error #%d",
                  &handle, &error),
      2)
      << told[0];
  EXPECT_EQ(error, ESPIPE);
  EXPECT_EQ(Add("third\n"), -1) << "still open for writing";
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(Add("third\n"), 0);
  EXPECT_EQ(Lines(), (Texts{"first\n", "third\n"}));
}

TEST_F(Reasons, OfATextThatDoesNotFitNothingIsKept) {
  ASSERT_EQ(Add("first\n"), 0);
  EXPECT_EQ(InChild([&] {
              signal(SIGXFSZ, SIG_IGN);
              const rlimit limit{12, 12};
              if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 1;
              return Add("second and more\n") == -1 ? 0 : 2;
            }),
            0);
  EXPECT_EQ(TempSpool::Read(file()), "first\n");
  EXPECT_EQ(Add("third\n"), 0);
  EXPECT_EQ(Lines(), (Texts{"first\n", "third\n"}));
}

TEST_F(Reasons, AFullDiskIsTold) {
  const FailCalls full(os::Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
  EXPECT_EQ(Add("x\n"), -1);
}

TEST_F(Reasons, FailingCallsAreToldAndLoseNothingWrittenBefore) {
  for (const os::Call call : {os::Call::kOpen, os::Call::kClose, os::Call::kWrite, os::Call::kStat,
                              os::Call::kLock, os::Call::kMode}) {
    std::int32_t result = 0;
    FailEachCall(
        call,
        [&] {
          TempSpool::Write(file(), "first\n");
          result = Add("second\n");
        },
        [&](bool failed) {
          ASSERT_TRUE(TempSpool::Read(file()).starts_with("first\n"));
          // What failed may have been the switch of the trace.
          if (result == 0) {
            ASSERT_EQ(TempSpool::Read(file()), "first\nsecond\n");
          }
          if (!failed) {
            ASSERT_EQ(result, 0);
          }
        },
        EIO, 100);
  }
}

TEST_F(Reasons, AReadErrorIsNullAndNeverAPart) {
  TempSpool::Write(file(), "first\n" + std::string(200000, 'x') + "\n");
  Texts lines;
  bool got = false;
  int refused = 0;
  FailEachCall(
      os::Call::kRead, [&] { got = Get(&lines); },
      [&](bool) {
        if (!got) ++refused;
        ASSERT_EQ(lines.size(), got ? 197u : 0u);
      },
      EIO, 100);
  EXPECT_TRUE(got);
  EXPECT_GE(refused, 4);
}

TEST_F(Reasons, WithoutMemoryThereIsNothing) {
  TempSpool::Write(file(), "a\nb\n");
  std::size_t count = 0;
  int refused = 0;
  FailEachAllocation(
      [&] {
        const ChainPtr chain(GetBounceReason(path_.c_str()));
        count = 0;
        for (const ms* at = chain.get(); at != nullptr; at = at->next) ++count;
      },
      [&](bool failed) {
        ASSERT_TRUE(count == 0 || count == 2);
        if (count == 0) ++refused;
        if (!failed) {
          ASSERT_EQ(count, 2u);
        }
      },
      1000);
  EXPECT_GE(refused, 5) << "one block, two nodes, two texts";
}

TEST_F(Reasons, AppendingNeedsNoMemory) {
  std::int32_t result = -1;
  FailEachAllocation(
      [&] {
        SuspendFailing(true);
        std::filesystem::remove(file());
        SuspendFailing(false);
        result = Add("x\n");
      },
      [&](bool) {
        if (result == 0) {
          ASSERT_EQ(TempSpool::Read(file()), "x\n");
        }
      },
      1000);
}

TEST_F(Reasons, OpensAreTracedAsLineFilesAre) {
  spool_.SetIni("[Debug]\nLogFileIO=TRUE\n");
  Add("x\n");
  Add("y\n");
  const Texts told = log_.texts(1);
  ASSERT_EQ(told.size(), 4u);
  EXPECT_TRUE(told[0].starts_with("filecreate: " + path_ + ".rea, FileHandle #")) << told[0];
  EXPECT_TRUE(told[1].starts_with("fileclose: FileHandle #")) << told[1];
  EXPECT_TRUE(told[2].starts_with("fileopen: " + path_ + ".rea, FileHandle #")) << told[2];
  EXPECT_TRUE(told[3].starts_with("fileclose: FileHandle #")) << told[3];
}

// Two that make the file at once must not wipe each other's text.
TEST_F(Reasons, OfSeveralProcessesAreAllThereOnce) {
  constexpr int kProcesses = 4;
  constexpr int kEach = 200;
  const std::vector<int> results = InChildren(kProcesses, [&](int index) {
    for (int i = 0; i < kEach;) {
      const std::string line = std::to_string(index) + "." + std::to_string(i) + "\n";
      if (Add(line.c_str()) == 0) ++i;
    }
    return 0;
  });
  EXPECT_EQ(results, std::vector<int>(kProcesses, 0));
  Texts lines = Lines();
  EXPECT_EQ(lines.size(), std::size_t{kProcesses * kEach});
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(std::unique(lines.begin(), lines.end()), lines.end());
}

}  // namespace
}  // namespace qob::testing
