// Every allocation and every system call of line I/O fails once, alone and from then on: the result
// and the line of the log are the documented ones, and nothing stays open.
#include <cerrno>

#include "lineio/file_writer.h"
#include "lineio/line_reader.h"
#include "lineio/lineio_support.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

using Faults = LineIo;

TEST(LineIoPoolFaults, StartWithoutMemoryGivesMinusOne) {
  int result = 0;
  FailEachAllocation([&] { result = InitLineIO(); },
                     [&](bool failed) {
                       EXPECT_EQ(result, failed ? -1 : 0);
                       TerminateLineIO();
                     });
}

// Restarts the pool for each attempt, so that its first page is among the allocations that fail.
template <class Open>
void OpenWithoutMemory(Open&& open, const std::vector<Texts>& allowed) {
  CapturedLog log;
  const int before = OpenDescriptors();
  int handle = 0;
  InitLineIO();
  FailEachAllocation([&] { handle = open(); },
                     [&](bool) {
                       if (handle == -1) {
                         EXPECT_NE(std::find(allowed.begin(), allowed.end(), log.texts()),
                                   allowed.end());
                         // A pool that never held a file.
                         EXPECT_EQ(fileclose(3), 1);
                       } else {
                         EXPECT_TRUE(log.lines().empty());
                         EXPECT_EQ(fileclose(handle), 1);
                       }
                       EXPECT_EQ(OpenDescriptors(), before);
                       log.Clear();
                       TerminateLineIO();
                       InitLineIO();
                     });
  EXPECT_NE(handle, -1);
  TerminateLineIO();
}

TEST(LineIoPoolFaults, OpenWithoutMemoryIsSilent) {
  TempSpool spool;
  const std::string path = spool.File("in", "a");
  OpenWithoutMemory([&] { return fileopen(path.c_str(), 0, 1); }, {Texts{}});
}

TEST(LineIoPoolFaults, CreateWithoutMemorySaysWhatIsMissing) {
  TempSpool spool;
  const std::string path = spool.path("out");
  OpenWithoutMemory([&] { return filecreate(path.c_str(), 0, 1); },
                    {Texts{"Unable to allocate QOB_FILE object"},
                     Texts{"Unable to insert QOB_FILE object to memory pool"}});
}

TEST_F(Faults, ObjectFaceWithoutMemory) {
  const std::string path = spool_.File("in", "a");
  const std::string out = OutPath();
  const int before = OpenDescriptors();
  QOB_FILE* file = nullptr;
  const auto attempt = [&](auto&& open, const Texts& texts) {
    FailEachAllocation([&] { file = open(); },
                       [&](bool) {
                         EXPECT_EQ(log_.texts(), file == nullptr ? texts : Texts{});
                         if (file != nullptr) FileClose(file);
                         log_.Clear();
                         EXPECT_EQ(OpenDescriptors(), before);
                       });
    EXPECT_NE(file, nullptr);
  };
  attempt([&] { return FileOpen(path.c_str(), 0, 1); }, {"Unable to allocate new file objcet."});
  attempt([&] { return FileCreate(out.c_str(), 0, 1); }, {});
}

TEST_F(Faults, LineCallsAllocateNothing) {
  const int in = OpenBytes(std::string(9000, 'a') + "\nb\n");
  const int out = filecreate(OutPath().c_str(), 0, 1);
  const std::string text(9000, 'x');
  const std::uint64_t before = AllocationCount();
  char* line = nullptr;
  while (QOB_getline(in, &line) == 1) {
  }
  uninch(0, in);
  inch(in);
  setfpos(in, 0);
  putline(out, text.c_str());
  outch('a', out);
  EXPECT_EQ(AllocationCount(), before);
  fileclose(in);
  fileclose(out);
}

TEST_F(Faults, OpenErrorsAreTold) {
  const std::string path = spool_.File("in", "a");
  const int before = OpenDescriptors();
  for (const os::Call call : {os::Call::kOpen, os::Call::kStat}) {
    for (const int error : {EACCES, EMFILE, ENOSPC}) {
      log_.Clear();
      {
        FailCalls fail(call, 1, Failing::kFromThenOn, error, "/in");
        EXPECT_EQ(fileopen(path.c_str(), 0, 1), -1);
        EXPECT_EQ(FileOpen(path.c_str(), 0, 1), nullptr);
      }
      EXPECT_EQ(log_.texts(),
                (Texts{"CreateFile failed: " + path + ", error " + std::to_string(error),
                       "CreateFile failed."}));
    }
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(Faults, FirstAndLaterReadErrorsOfLines) {
  const int handle = OpenBytes(std::string(5000, 'a') + "\nlast\n");
  char* line = nullptr;
  {
    FailCalls fail(os::Call::kRead, 1, Failing::kOnce);
    EXPECT_EQ(QOB_getline(handle, &line), -1);
    EXPECT_EQ(line, nullptr);
  }
  EXPECT_EQ(log_.texts(), Texts{"ReadFile failed."});
  log_.Clear();
  for (int i = 0; i < 3; ++i) ASSERT_EQ(QOB_getline(handle, &line), 1);
  line = nullptr;
  {
    FailCalls fail(os::Call::kRead, 1, Failing::kOnce);
    EXPECT_EQ(QOB_getline(handle, &line), -1);
    EXPECT_EQ(line, nullptr);
  }
  EXPECT_EQ(log_.texts(), Texts{"getline: ReadFile failed."});
  // The read is tried again, from where the system stands.
  ASSERT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_EQ(getfpos(handle), 5001);
}

TEST_F(Faults, ReadErrorsOfBytes) {
  const int handle = OpenBytes(std::string(5000, 'a'));
  {
    FailCalls fail(os::Call::kRead, 1, Failing::kOnce);
    EXPECT_EQ(inch(handle), -1);
  }
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(inch(handle), 'a');
  {
    FailCalls fail(os::Call::kRead, 1, Failing::kOnce);
    EXPECT_EQ(inch(handle), -1);
  }
  EXPECT_EQ(log_.texts(), (Texts{"inch: ReadFile failed.", "inch: ReadFile failed."}));
  EXPECT_EQ(inch(handle), 'a');
  EXPECT_EQ(getfpos(handle), 4097);
}

TEST_F(Faults, InterruptedReadsGoOn) {
  const int handle = OpenBytes("abc\n");
  FailCalls fail(os::Call::kRead, 1, Failing::kOnce, EINTR);
  char* line = nullptr;
  EXPECT_EQ(QOB_getline(handle, &line), 1);
  EXPECT_STREQ(line, "abc\n");
  EXPECT_TRUE(fail.triggered());
}

// Writing stops at the failure; what was collected before it can be written by a later call.
TEST_F(Faults, EveryWriteOfTextFails) {
  const std::string text(3 * 4096 + 5, 'x');
  bool failed_write = false;
  const int before = OpenDescriptors();
  FailEachCall(
      os::Call::kWrite,
      [&] {
        const int handle = filecreate(OutPath().c_str(), 0, 1);
        failed_write =
            handle == -1 || putline(handle, "a") == -1 || putline(handle, text.c_str()) == -1;
        fileclose(handle);
      },
      [&](bool failed) {
        if (!failed) {
          EXPECT_TRUE(log_.lines().empty());
          EXPECT_EQ(Written(), "a" + text);
        } else if (failed_write) {
          EXPECT_FALSE(log_.texts().empty());
          const std::string first = log_.texts().front();
          EXPECT_TRUE(first == "open failed" || first == "putline: WriteFile failed.") << first;
        } else {
          EXPECT_EQ(log_.texts(), Texts{"fileclose: WriteFile failed."});
        }
        log_.Clear();
        EXPECT_EQ(OpenDescriptors(), before);
      },
      ENOSPC);
}

TEST_F(Faults, AFailedFlushOfBytesCanBeTriedAgain) {
  const int handle = filecreate(OutPath().c_str(), 0, 1);
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(outch('a', handle), 1);
  {
    FailCalls fail(os::Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
    EXPECT_EQ(outch('b', handle), -1);
    EXPECT_EQ(outch('b', handle), -1);
  }
  EXPECT_EQ(getfpos(handle), 4096);
  EXPECT_EQ(outch('b', handle), 1);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_EQ(Written(), std::string(4096, 'a') + "b");
  EXPECT_EQ(log_.texts(), (Texts{"outch: WriteFile failed.", "outch: WriteFile failed."}));
}

TEST_F(Faults, UnbufferedWritesFailWithoutAMessage) {
  const int handle = filecreate(OutPath().c_str(), 0, 0);
  FailCalls fail(os::Call::kWrite, 1, Failing::kFromThenOn, ENOSPC);
  EXPECT_EQ(putline(handle, "abc"), -1);
  EXPECT_EQ(outch('a', handle), -1);
  EXPECT_EQ(getfpos(handle), 0);
  EXPECT_EQ(fileclose(handle), 1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Faults, AFailedSeekChangesNothing) {
  const int handle = OpenBytes("abc");
  inch(handle);
  {
    FailCalls fail(os::Call::kSeek, 1, Failing::kOnce);
    EXPECT_EQ(setfpos(handle, 2), -1);
  }
  EXPECT_EQ(log_.texts(), Texts{"setfpos: Internal file I/O error"});
  EXPECT_EQ(getfpos(handle), 1);
  EXPECT_EQ(inch(handle), 'b');
}

TEST_F(Faults, ACloseErrorDoesNotKeepTheFile) {
  const int before = OpenDescriptors();
  const int handle = OpenBytes("abc");
  {
    FailCalls fail(os::Call::kClose, 1, Failing::kOnce);
    EXPECT_EQ(fileclose(handle), 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(fileclose(handle), 0);
}

TEST_F(Faults, ReaderTellsEveryReadError) {
  const std::string bytes(3 * LineReader::kBlockSize, '\n');
  const std::string path = spool_.File("in", bytes);
  const int before = OpenDescriptors();
  int errors = 0;
  LineReader::Status status = LineReader::Status::kPiece;
  FailEachCall(
      os::Call::kRead,
      [&] {
        LineReader reader;
        ASSERT_TRUE(reader.Open(path.c_str()));
        LineReader::Piece piece;
        while ((status = reader.Next(&piece)) == LineReader::Status::kPiece) {
        }
      },
      [&](bool failed) {
        // The first reads are those of the settings, which never fail for their reader.
        const bool told = status == LineReader::Status::kError;
        EXPECT_TRUE(failed || !told);
        EXPECT_EQ(log_.texts().size(), told ? 1u : 0u);
        if (told) ++errors;
        log_.Clear();
        EXPECT_EQ(OpenDescriptors(), before);
      });
  EXPECT_GE(errors, 2 * 4);
}

TEST_F(Faults, ReaderGoesOnAfterAReadError) {
  std::string bytes;
  for (int i = 0; bytes.size() < 3 * LineReader::kBlockSize; ++i) bytes += std::to_string(i) + "\n";
  const std::string path = spool_.File("in", bytes);
  for (std::uint64_t nth = 1; nth < 5; ++nth) {
    LineReader reader;
    ASSERT_TRUE(reader.Open(path.c_str()));
    FailCalls fail(os::Call::kRead, nth, Failing::kOnce);
    std::string all;
    LineReader::Piece piece;
    LineReader::Status status;
    while ((status = reader.Next(&piece)) != LineReader::Status::kEnd) {
      if (status == LineReader::Status::kPiece) all += piece.text;
    }
    EXPECT_TRUE(fail.triggered());
    EXPECT_EQ(all, bytes);
  }
  EXPECT_EQ(log_.Count(1, "ReadFile failed."), 1u);
  EXPECT_EQ(log_.Count(1, "getline: ReadFile failed."), 3u);
}

TEST_F(Faults, ReaderAndWriterWithoutMemoryThrowAndCloseTheirFiles) {
  const std::string path = spool_.File("in", "a");
  const int before = OpenDescriptors();
  bool thrown = false;
  FailEachAllocation(
      [&] {
        thrown = false;
        try {
          LineReader reader;
          reader.Open(path.c_str());
          FileWriter writer;
          writer.Create(OutPath().c_str());
        } catch (const std::bad_alloc&) {
          thrown = true;
        }
      },
      [&](bool failed) {
        EXPECT_TRUE(failed || !thrown);
        EXPECT_EQ(OpenDescriptors(), before);
      });
}

TEST_F(Faults, WriterTellsEveryWriteError) {
  const std::string text(3 * FileWriter::kBufferSize, 'x');
  bool good = true;
  FailEachCall(
      os::Call::kWrite,
      [&] {
        FileWriter writer;
        good = writer.Create(OutPath().c_str(), true);
        for (std::size_t i = 0; i < text.size(); i += 1000) writer.Write(text.substr(i, 1000));
        good = writer.Close() && good;
      },
      [&](bool failed) {
        EXPECT_EQ(good, !failed);
        EXPECT_EQ(log_.texts().size(), failed ? 1u : 0u);
        log_.Clear();
        EXPECT_TRUE(failed || Written() == text);
      },
      ENOSPC);
}

TEST_F(Faults, WriterTellsACloseError) {
  FileWriter writer;
  ASSERT_TRUE(writer.Create(OutPath().c_str()));
  FailCalls fail(os::Call::kClose, 1, Failing::kFromThenOn);
  EXPECT_FALSE(writer.Close());
}

}  // namespace
}  // namespace qob::testing
