// A file and its directory flushed together: who is asked, and whose failure is told.
#include "platform/os/flush.h"

#include <sys/resource.h>

#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/os/fault.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::os {
namespace {

using testing::FailCalls;
using testing::Failing;
using testing::TempSpool;

std::vector<std::string> g_flushed;
int Note(Call call, std::string_view path) {
  if (call == Call::kFlush) g_flushed.emplace_back(path);
  return 0;
}

TEST(Flush, AsksForTheFileThenForTheDirectory) {
  const TempSpool spool;
  const std::string file = spool.File("queue/a", "x");
  g_flushed.clear();
  SetFaultHook(&Note);
  const FlushErrors errors = FlushWithDirectory(file, spool.queue());
  SetFaultHook(nullptr);
  EXPECT_EQ(errors.file, 0);
  EXPECT_EQ(errors.directory, 0);
  EXPECT_EQ(g_flushed, (std::vector<std::string>{file, spool.queue()}));
}

TEST(Flush, TakesLibraryPaths) {
  const TempSpool spool;
  spool.File("queue/a", "x");
  const FlushErrors errors = FlushWithDirectory(spool.queue() + "\\a", spool.root() + "\\queue");
  EXPECT_EQ(errors.file, 0);
  EXPECT_EQ(errors.directory, 0);
}

TEST(Flush, AMissingFileIsTheFilesError) {
  const TempSpool spool;
  const FlushErrors errors = FlushWithDirectory(spool.path("none"), spool.queue());
  EXPECT_EQ(errors.file, ENOENT);
  EXPECT_EQ(errors.directory, 0);
}

TEST(Flush, AMissingDirectoryIsTheDirectorysError) {
  const TempSpool spool;
  const FlushErrors errors = FlushWithDirectory(spool.File("a", "x"), spool.path("none"));
  EXPECT_EQ(errors.file, 0);
  EXPECT_EQ(errors.directory, ENOENT);
}

TEST(Flush, AFileIsNoDirectory) {
  const TempSpool spool;
  const std::string file = spool.File("a", "x");
  EXPECT_EQ(FlushWithDirectory(file, file).directory, ENOTDIR);
}

TEST(Flush, AFailureOfTheFileIsItsOwn) {
  const TempSpool spool;
  const std::string file = spool.File("a", "x");
  const FailCalls fail(Call::kFlush, 1, Failing::kOnce);
  const FlushErrors errors = FlushWithDirectory(file, spool.queue());
  EXPECT_EQ(errors.file, EIO);
  EXPECT_EQ(errors.directory, 0);
}

TEST(Flush, AFailureOfTheDirectoryIsItsOwn) {
  const TempSpool spool;
  const std::string file = spool.File("a", "x");
  const FailCalls fail(Call::kFlush, 2, Failing::kOnce);
  const FlushErrors errors = FlushWithDirectory(file, spool.queue());
  EXPECT_EQ(errors.file, 0);
  EXPECT_EQ(errors.directory, EIO);
}

TEST(Flush, AFileSystemThatCannotFlushDirectoriesIsNoFailure) {
  const TempSpool spool;
  const std::string file = spool.File("a", "x");
  const FailCalls fail(Call::kFlush, 2, Failing::kOnce, EINVAL);
  EXPECT_EQ(FlushWithDirectory(file, spool.queue()).directory, 0);
}

TEST(Flush, WithoutAThreadBothAreFlushedAllTheSame) {
  const TempSpool spool;
  const std::string file = spool.File("queue/a", "x");
  for (const std::string& open : {spool.root(), spool.queue(), file}) {
    std::filesystem::permissions(open, std::filesystem::perms::all);
  }
  const int result = testing::WithoutPrivileges([&] {
    const rlimit none{1, 1};
    if (setrlimit(RLIMIT_NPROC, &none) != 0) return 1;
    const FlushErrors errors = FlushWithDirectory(file, spool.queue());
    return errors.file == 0 && errors.directory == 0 ? 0 : 2;
  });
  EXPECT_TRUE(result == 0 || result == testing::kNotPossible) << result;
}

}  // namespace
}  // namespace qob::os
