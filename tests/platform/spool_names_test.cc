// Names around a message: paths, keys, directories.
#include "platform/spool/names.h"

#include <string>

#include <gtest/gtest.h>

#include "support/exact_copy.h"

namespace qob::spool {
namespace {

using testing::ExactCopy;
using Id = std::optional<std::uint32_t>;

TEST(QueueNames, AQueuePathEndsInEightUpperCaseDigits) {
  EXPECT_EQ(QueuePath("C:\\queue", 0x1A2B3), "C:\\queue\\0001A2B3");
  EXPECT_EQ(QueuePath("/var/spool/qob", 0), "/var/spool/qob\\00000000");
  EXPECT_EQ(QueuePath("q", 0xFFFFFFFF), "q\\FFFFFFFF");
}

TEST(QueueNames, KeysOfAnIdAreItsDigitsAndTheKind) {
  EXPECT_EQ(RecordKey(0x1A2B3, kMessageKind), "0001A2B3F");
  EXPECT_EQ(RecordKey(0x1A2B3, kRecipientKind), "0001A2B3R");
  EXPECT_EQ(StoredKey(0x1A2B3, kMessageKind), "0001a2b3f");
  EXPECT_EQ(StoredKey(0xABCDEF01, kRecipientKind), "abcdef01r");
}

TEST(QueueNames, KeysOfAPathTakeWhatStandsBehindTheLastSeparator) {
  EXPECT_EQ(RecordKeyOf("C:\\q\\0001A2B3", 'F'), "0001A2B3F");
  EXPECT_EQ(RecordKeyOf("/q/0001A2B3", 'R'), "0001A2B3R");
  EXPECT_EQ(RecordKeyOf("/q\\a/b\\c", 'R'), "cR");
  EXPECT_EQ(RecordKeyOf("\\", 'F'), "F");
}

TEST(QueueNames, ANameIsCutToFourteenCharactersBeforeItsKind) {
  EXPECT_EQ(RecordKeyOf("/q/12345678901234", 'F'), "12345678901234F");
  EXPECT_EQ(RecordKeyOf("/q/123456789012345", 'F'), "12345678901234F");
  EXPECT_EQ(RecordKeyOf("/q/" + std::string(128, 'x'), 'R'), "xxxxxxxxxxxxxxR");
}

TEST(QueueNames, AnIdIsEightDigitsOfEitherCaseAndNothingElse) {
  EXPECT_EQ(ReadId("0001A2B3"), Id(0x1A2B3));
  EXPECT_EQ(ReadId("0001a2b3"), Id(0x1A2B3));
  EXPECT_EQ(ReadId("FFFFFFFF"), Id(0xFFFFFFFF));
  EXPECT_EQ(ReadId("00000000"), Id(0));
  for (const char* other : {"", "0001A2B", "0001A2B3F", "0001A2BG", "0x01A2B3", " 001A2B3",
                            "-0001A2B", "0001A2B/", "0001A2B:", "0001A2B@", "0001A2B`"}) {
    EXPECT_EQ(ReadId(other), std::nullopt) << other;
  }
  EXPECT_EQ(ReadId(ExactCopy("0001A2B3").view()), Id(0x1A2B3));
}

TEST(QueueNames, TheKindIsNoDigitOfTheIdThoughItReadsLikeOne) {
  EXPECT_EQ(IdOfKey("0001a2b3f"), Id(0x1A2B3));
  EXPECT_EQ(IdOfKey("0001A2B3R"), Id(0x1A2B3));
  EXPECT_EQ(IdOfKey("fffffffff"), Id(0xFFFFFFFF));
  EXPECT_EQ(IdOfKey("12F"), Id(0x12));
  for (const char* other : {"", "F", "xyzF", "1234567890F", "12x4F"}) {
    EXPECT_EQ(IdOfKey(other), std::nullopt) << other;
  }
}

TEST(QueueNames, ARunOfSeparatorsCountsOnce) {
  EXPECT_EQ(SeparatorRuns(""), 0);
  EXPECT_EQ(SeparatorRuns("abc"), 0);
  EXPECT_EQ(SeparatorRuns("/abc"), 1);
  EXPECT_EQ(SeparatorRuns("q\\id"), 1);
  EXPECT_EQ(SeparatorRuns("q//id"), 1);
  EXPECT_EQ(SeparatorRuns("q\\/id"), 1);
  EXPECT_EQ(SeparatorRuns("a\\\\b//c"), 2);
  EXPECT_EQ(SeparatorRuns("C:\\q\\id"), 2);
  EXPECT_EQ(SeparatorRuns("/q/id"), 2);
  EXPECT_EQ(SeparatorRuns("///"), 1);
}

TEST(QueueNames, ADirectoryIsNamedByItsLastComponentCutToFifteen) {
  EXPECT_EQ(DirectoryName("C:\\gate\\Queue"), "Queue");
  EXPECT_EQ(DirectoryName("/var/spool/qob/"), "qob");
  EXPECT_EQ(DirectoryName("/var/spool/qob\\/\\"), "qob");
  EXPECT_EQ(DirectoryName("queue"), "queue");
  EXPECT_EQ(DirectoryName("/a/123456789012345"), "123456789012345");
  EXPECT_EQ(DirectoryName("/a/1234567890123456"), "123456789012345");
  EXPECT_EQ(DirectoryName("/"), "");
  EXPECT_EQ(DirectoryName(""), "");
}

struct Holding {
  const char* path;
  const char* directory;
};

TEST(QueueNames, TheHoldingDirectoryIsTheComponentBeforeTheName) {
  constexpr Holding kRows[] = {
      {"C:\\q\\0001A2B3", "q"},
      {"/q/0001A2B3", "q"},
      {"/spool/out/0001A2B3", "out"},
      {"/spool/out//0001A2B3", "out"},
      {"/spool\\out\\/id", "out"},
      {"a/1234567890123456/id", "123456789012345"},
      {"a/b/", "b"},
      {"//host/id", "host"},
  };
  for (const Holding& row : kRows)
    EXPECT_EQ(HoldingDirectoryName(row.path), row.directory) << row.path;
}

TEST(QueueNames, APathDividedOnceHasNoHoldingDirectory) {
  for (const char* path : {"", "id", "/id", "//id", "q/id", "q\\id", "q\\\\id", "q//", "/"}) {
    EXPECT_EQ(HoldingDirectoryName(path), "") << path;
  }
}

}  // namespace
}  // namespace qob::spool
