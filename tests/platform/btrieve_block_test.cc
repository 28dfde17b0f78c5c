// The position block: its layout, copies, garbage, forks, threads; null pointers; how many may be
// open.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "btrieve_support.h"
#include "platform/btrieve/block.h"
#include "platform/btrieve/hooks.h"
#include "support/two_processes.h"

namespace {

using namespace qob::testing;

class BtrcallBlock : public ::testing::Test {
 protected:
  void SetUp() override {
    spool_.SetIni("[Store]\nDurability=system\n");
    ASSERT_EQ(machine_.Do(CreateFile(path())).status, 0);
    ASSERT_EQ(machine_.Do(OpenFile(0, path())).status, 0);
    ASSERT_EQ(machine_.Do(InsertRecord(0, TestRecord("a", 1, "t", 1))).status, 0);
    ASSERT_EQ(machine_.Do(InsertRecord(0, TestRecord("b", 2, "u", 2))).status, 0);
    ASSERT_EQ(machine_.Do(GetRecord(B_GET_FIRST, 0, 0)).status, 0);
  }
  std::string path() const { return spool_.queue() + "\\block.btr"; }
  char* bytes(int cursor = 0) { return static_cast<char*>(machine_.cursor(cursor).block()); }
  int Status(const Command& command) { return machine_.Do(command).status; }

  TempSpool spool_;
  Machine machine_{3};
};

TEST_F(BtrcallBlock, HoldsACursorAtTheDocumentedOffsets) {
  const std::string_view block(bytes(), 128);
  EXPECT_EQ(block.substr(0, 4), "QPOS");
  EXPECT_EQ(Read32(block, 16), static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(block[20], 0) << "index";
  EXPECT_EQ(block[21], 1) << "has a place";
  EXPECT_EQ(block[22], 1) << "length of the key";
  EXPECT_EQ(Read32(block, 24), Read32(machine_.Do(PositionOf(0)).data, 0));
  EXPECT_EQ(block.substr(48, 2), std::string("a\0", 2));
  EXPECT_GE(qob::btrieve::kKeptKeyBytes, 64U);
}

TEST_F(BtrcallBlock, KnowsNothingOfItsAddress) {
  Cursor copy = machine_.cursor(0);
  std::array<char, 200> elsewhere{};
  for (std::size_t shift = 0; shift < 17; ++shift) {
    std::memcpy(elsewhere.data() + shift, copy.block(), 128);
    std::vector<char> record(kTestRecord);
    std::uint32_t length = kTestRecord;
    EXPECT_EQ(BTRCALL(B_GET_NEXT, elsewhere.data() + shift, record.data(), &length, nullptr, 0, 0),
              0);
    EXPECT_EQ(Read32({record.data(), record.size()}, kTagAt), 2U);
  }
}

TEST_F(BtrcallBlock, CopyUsedAfterTheOriginalWasClosedGivesNotOpen) {
  machine_.Do(CopyBlock(1, 0));
  ASSERT_EQ(Status(CloseFile(0)), 0);
  EXPECT_EQ(Status(NextRecord(1)), 3);
  EXPECT_EQ(Status(UpdateRecord(1, TestRecord("a", 1, "t", 9))), 3);
  EXPECT_EQ(Status(InsertRecord(1, TestRecord("c", 1, "t", 9))), 3);
  EXPECT_EQ(Status({.operation = B_STAT, .cursor = 1, .room = 64}), 3);
  EXPECT_EQ(Status(PositionOf(1)), 3);
  EXPECT_EQ(Status(CloseFile(1)), 3);
}

TEST_F(BtrcallBlock, OfZerosOrAnyBytesIsNotOpen) {
  EXPECT_EQ(Status(NextRecord(1)), 3);
  EXPECT_EQ(Status(CloseFile(1)), 3);
  unsigned state = 1;
  for (int round = 0; round < 200; ++round) {
    for (char& c : machine_.cursor(1).bytes) {
      state = state * 1103515245U + 12345U;
      c = static_cast<char>(state >> 16);
    }
    EXPECT_EQ(Status(NextRecord(1)), 3);
  }
}

// Whatever bytes a caller spoils, the call ends with a status.
TEST_F(BtrcallBlock, SpoiltBytesNeverCrash) {
  Cursor good = machine_.cursor(0);
  for (std::size_t at = 1; at < 129; ++at) {
    for (const int value : {0, 1, 2, 3, 0x7F, 0x80, 0xFF}) {
      machine_.cursor(0) = good;
      machine_.cursor(0).bytes[at] = static_cast<char>(value);
      const int next = Status(NextRecord(0));
      EXPECT_TRUE(next == 0 || next == 3 || next == 7 || next == 8 || next == 9 || next == 82)
          << at << " " << value << " " << next;
      machine_.cursor(0) = good;
      machine_.cursor(0).bytes[at] = static_cast<char>(value);
      const int update = Status(UpdateRecord(0, TestRecord("a", 1, "t", 1)));
      EXPECT_TRUE(update == 0 || update == 3 || update == 8 || update == 80) << at << " " << update;
      machine_.cursor(0) = good;
      ASSERT_EQ(Status(GetRecord(B_GET_FIRST, 0, 0)), 0);
      good = machine_.cursor(0);
    }
  }
}

TEST_F(BtrcallBlock, AFailedOpenLeavesItAlone) {
  const Cursor before = machine_.cursor(0);
  EXPECT_EQ(Status(OpenFile(0, spool_.queue() + "\\missing.btr")), 12);
  EXPECT_TRUE(before.bytes == machine_.cursor(0).bytes);
  EXPECT_EQ(Status(NextRecord(0)), 0);
}

TEST_F(BtrcallBlock, OpeningWhatIsMissingCreatesNothing) {
  EXPECT_EQ(Status(OpenFile(1, spool_.queue() + "/missing.btr")), 12);
  EXPECT_EQ(Status(OpenFile(1, spool_.queue() + "/missing.btr", -2)), 12);
  EXPECT_FALSE(std::filesystem::exists(spool_.queue() + "/missing.btr"));
  EXPECT_EQ(Status(OpenFile(1, spool_.path("nowhere") + "\\x.btr")), 12);
}

TEST_F(BtrcallBlock, ReadOnlyReadsAndRefusesChanges) {
  ASSERT_EQ(Status(OpenFile(1, path(), -2)), 0);
  EXPECT_EQ(TagOf(machine_.Do(GetRecord(B_GET_FIRST, 1, 0))), 1U);
  EXPECT_EQ(Status(UpdateRecord(1, TestRecord("a", 1, "t", 9))), 46);
  EXPECT_EQ(Status(DeleteRecord(1)), 46);
  EXPECT_EQ(Status(InsertRecord(1, TestRecord("c", 1, "t", 9))), 46);
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(1))), 2U);
  EXPECT_EQ(Status(NextRecord(1)), 9);
  // The other block of the same process still may.
  EXPECT_EQ(Status(InsertRecord(0, TestRecord("c", 1, "t", 3))), 0);
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(1))), 3U);
}

TEST_F(BtrcallBlock, CarriedOverAForkGivesNotOpenAndTheChildOpensAnew) {
  machine_.Do(CopyBlock(1, 0));
  const int failed = InChild([&] {
    int step = 0;
    for (const Command& command :
         {NextRecord(0), GetRecord(B_GET_FIRST, 1, 0), CloseFile(0), DeleteRecord(1),
          InsertRecord(0, TestRecord("x", 1, "", 5)), PositionOf(0)}) {
      ++step;
      if (Status(command) != 3) return step;
    }
    // The new block's slot may be the old one's: the old block still is not its copy.
    if (Status(OpenFile(2, path())) != 0) return 20;
    if (Status(NextRecord(0)) != 3 || Status(CloseFile(1)) != 3) return 21;
    if (TagOf(machine_.Do(GetRecord(B_GET_FIRST, 2, 0))) != 1) return 22;
    if (Status(InsertRecord(2, TestRecord("c", 3, "", 3))) != 0) return 23;
    // And a child of the child once more.
    const int grandchild = InChild([&] {
      if (Status(NextRecord(0)) != 3 || Status(NextRecord(2)) != 3) return 1;
      if (Status(OpenFile(1, path())) != 0) return 2;
      return Status(NextRecord(2)) == 3 && Status(GetRecord(B_GET_FIRST, 1, 0)) == 0 ? 0 : 3;
    });
    if (grandchild != 0) return 30 + grandchild;
    return Status(CloseFile(2)) == 0 ? 0 : 24;
  });
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(0))), 2U);
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(0))), 3U) << "the parent goes on and sees the child's";
}

TEST_F(BtrcallBlock, ForkedWhileOtherThreadsWork) {
  std::atomic<bool> stop{false};
  std::thread busy([&] {
    Machine own(1);
    while (!stop) {
      own.Do(OpenFile(0, path()));
      own.Do(GetRecord(B_GET_FIRST, 0, 0));
      own.Do(CloseFile(0));
    }
  });
  for (int round = 0; round < 50; ++round) {
    EXPECT_EQ(InChild([&] { return Status(NextRecord(0)) == 3 ? 0 : 1; }), 0);
  }
  stop = true;
  busy.join();
}

TEST_F(BtrcallBlock, TooManyOpenIsAStatusAndClosingMakesRoom) {
  constexpr int kMany = 1100;
  Machine many(kMany);
  int opened = 0;
  int status = 0;
  while (opened < kMany && (status = many.Do(OpenFile(opened, path())).status) == 0) ++opened;
  EXPECT_EQ(status, 87);
  EXPECT_EQ(opened, 1023) << "this test's own block is the other one";
  EXPECT_EQ(many.Do(CloseFile(500)).status, 0);
  EXPECT_EQ(many.Do(OpenFile(opened, path())).status, 0);
  EXPECT_EQ(many.Do(OpenFile(opened + 1, path())).status, 87);
  EXPECT_EQ(TagOf(many.Do(GetRecord(B_GET_FIRST, opened, 0))), 1U);
  for (int i = 0; i <= opened; ++i) EXPECT_EQ(many.Do(CloseFile(i)).status, i == 500 ? 3 : 0);
  EXPECT_EQ(Status(NextRecord(0)), 0);
}

TEST_F(BtrcallBlock, NullPointersGiveAStatus) {
  std::vector<char> record(kTestRecord);
  std::uint32_t length = kTestRecord;
  char key[] = "a";
  const int operations[] = {B_OPEN,
                            B_CLOSE,
                            B_INSERT,
                            B_UPDATE,
                            B_DELETE,
                            B_GET_EQUAL,
                            B_GET_NEXT,
                            B_GET_FIRST,
                            B_STAT,
                            B_GET_GREATER,
                            B_GET_GREATER_OR_EQUAL,
                            B_GET_POSITION,
                            B_GET_DIRECT};
  for (const int operation : operations) {
    EXPECT_EQ(
        BTRCALL(static_cast<std::uint16_t>(operation), nullptr, record.data(), &length, key, 2, 0),
        3)
        << operation;
  }
  for (const int operation : {B_INSERT, B_UPDATE, B_GET_EQUAL, B_GET_NEXT, B_GET_FIRST, B_STAT,
                              B_GET_POSITION, B_GET_DIRECT}) {
    const auto code = static_cast<std::uint16_t>(operation);
    EXPECT_EQ(BTRCALL(code, bytes(), nullptr, &length, key, 2, 0), 22) << operation;
    EXPECT_EQ(BTRCALL(code, bytes(), record.data(), nullptr, key, 2, 0), 22) << operation;
  }
  for (const int operation : {B_GET_EQUAL, B_GET_GREATER, B_GET_GREATER_OR_EQUAL}) {
    EXPECT_EQ(BTRCALL(static_cast<std::uint16_t>(operation), bytes(), record.data(), &length,
                      nullptr, 0, 0),
              41);
  }
  EXPECT_EQ(BTRCALL(B_OPEN, bytes(1), nullptr, nullptr, nullptr, 0, 0), 11);
  EXPECT_EQ(Status(OpenFile(1, "")), 11);
  std::string description = TestDescription();
  auto size = static_cast<std::uint32_t>(description.size());
  EXPECT_EQ(BTRCALL(B_CREATE, nullptr, description.data(), &size, nullptr, 0, -1), 11);
  std::string name = path() + "2";
  EXPECT_EQ(BTRCALL(B_CREATE, nullptr, nullptr, &size, name.data(), 255, -1), 41);
  EXPECT_EQ(BTRCALL(B_CREATE, nullptr, description.data(), nullptr, name.data(), 255, -1), 41);
  EXPECT_EQ(BTRCALL(B_CREATE, nullptr, description.data(), &size, name.data(), 255, -1), 0);
  // The place is where it was.
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(0))), 2U);
}

TEST_F(BtrcallBlock, AShortBufferIsRefusedAndLosesNoPlace) {
  for (const int operation :
       {B_GET_EQUAL, B_GET_NEXT, B_GET_FIRST, B_GET_GREATER, B_GET_GREATER_OR_EQUAL}) {
    Command command = GetRecord(static_cast<std::uint16_t>(operation), 0, 0, "a");
    command.room = kTestRecord - 1;
    EXPECT_EQ(Status(command), 22) << operation;
  }
  EXPECT_EQ(Status(UpdateRecord(0, std::string(kTestRecord - 1, 'x'))), 22);
  EXPECT_EQ(Status(InsertRecord(0, std::string(kTestRecord - 1, 'x'))), 22);
  EXPECT_EQ(Status({.operation = B_GET_POSITION, .cursor = 0, .room = 3}), 22);
  EXPECT_EQ(Status({.operation = B_STAT, .cursor = 0, .room = 63}), 22);
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(0))), 2U);
}

TEST_F(BtrcallBlock, ALargerBufferIsFilledAsFarAsTheRecordGoes) {
  Command command = GetRecord(B_GET_FIRST, 0, 0);
  command.data = std::string(kTestRecord + 50, 'y');
  const Answer answer = machine_.Do(command);
  EXPECT_EQ(answer.status, 0);
  EXPECT_EQ(answer.data, TestRecord("a", 1, "t", 1)) << "and the length says so";
  std::string longer = TestRecord("c", 7, "", 7) + "behind the record";
  EXPECT_EQ(Status(InsertRecord(0, longer)), 0);
  EXPECT_EQ(TagOf(machine_.Do(GetRecord(B_GET_EQUAL, 0, 0, "c"))), 7U);
}

TEST_F(BtrcallBlock, TheKeyBufferIsNeitherWrittenNorReadBehindItsNul) {
  ExactText key("a");
  std::vector<char> record(kTestRecord);
  std::uint32_t length = kTestRecord;
  EXPECT_EQ(BTRCALL(B_GET_EQUAL, bytes(), record.data(), &length, key.get(), 255, 0), 0);
  EXPECT_STREQ(key.get(), "a");
  // And not behind its length.
  ExactCopy bare("ab");
  EXPECT_EQ(BTRCALL(B_GET_EQUAL, bytes(), record.data(), &length, bare.data(), 1, 0), 0);
  EXPECT_EQ(BTRCALL(B_GET_EQUAL, bytes(), record.data(), &length, bare.data(), 2, 0), 4);
  // An integer key shorter than the index is no key.
  ExactCopy number(std::string_view("\1\0\0\0", 4));
  EXPECT_EQ(BTRCALL(B_GET_EQUAL, bytes(), record.data(), &length, number.data(), 4, 1), 0);
  EXPECT_EQ(BTRCALL(B_GET_EQUAL, bytes(), record.data(), &length, number.data(), 3, 1), 41);
}

TEST_F(BtrcallBlock, UnknownOperationsAreNotAllowed) {
  for (const int operation : {7, 10, 11, 13, 16, 19, 24, 100, 105, 65535}) {
    EXPECT_EQ(Status({.operation = static_cast<std::uint16_t>(operation), .room = 64}), 41)
        << operation;
  }
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(0))), 2U);
}

TEST_F(BtrcallBlock, ANumberBeyondFourBytesHasNoPosition) {
  auto block = qob::btrieve::Block::Load(bytes());
  block.number = std::int64_t{1} << 32;
  block.Save(bytes());
  EXPECT_EQ(Status(PositionOf(0)), 43);
  block.number = (std::int64_t{1} << 32) - 1;
  block.Save(bytes());
  EXPECT_EQ(machine_.Do(PositionOf(0)).data, "\xFF\xFF\xFF\xFF");
}

TEST_F(BtrcallBlock, CreateNeverReplacesWhateverTheKeyNumber) {
  for (const int key_number : {-1, 0, 1, -2}) EXPECT_EQ(Status(CreateFile(path(), key_number)), 59);
  EXPECT_EQ(TagOf(machine_.Do(NextRecord(0))), 2U);
  EXPECT_EQ(Status(OpenFile(1, path())), 0);
  EXPECT_EQ(TagOf(machine_.Do(GetRecord(B_GET_FIRST, 1, 0))), 1U);
}

TEST_F(BtrcallBlock, ADescriptionOfNoFileCreatesNothing) {
  const std::string name = spool_.queue() + "\\bad.btr";
  std::string none = TestDescription();
  Put16(&none, 0, 0);
  std::string outside = TestDescription();
  Put16(&outside, 16, kTestRecord);
  std::string lacking = TestDescription();
  Put16(&lacking, 4, 4);
  for (const std::string& description : {none, outside, lacking, std::string("short")}) {
    EXPECT_EQ(Status({.operation = B_CREATE, .key_number = -1, .key = name, .data = description}),
              41);
  }
  std::string type = TestDescription();
  type[16 + 10] = 9;
  EXPECT_EQ(Status({.operation = B_CREATE, .key_number = -1, .key = name, .data = type}), 49);
  EXPECT_EQ(Status(OpenFile(1, name)), 12);
}

TEST_F(BtrcallBlock, StatTellsTheFileItsCountAndItsIndexes) {
  std::string expected = TestDescription();
  Put32(&expected, 6, 2);
  const Command stat{.operation = B_STAT, .cursor = 0, .room = 500};
  EXPECT_EQ(machine_.Do(stat).data, expected);
  ASSERT_EQ(Status(DeleteRecord(0)), 0);
  Put32(&expected, 6, 1);
  EXPECT_EQ(machine_.Do(stat).data, expected);
}

// The hook stands between reading and writing: what another block does there is a conflict.
Machine* g_other = nullptr;
TEST_F(BtrcallBlock, TheHookRunsBeforeAWriteAndOutsideOfLocks) {
  ASSERT_EQ(Status(OpenFile(1, path())), 0);
  ASSERT_EQ(Status(GetRecord(B_GET_FIRST, 1, 0)), 0);
  g_other = &machine_;
  qob::btrieve::TestBeforeWrite([] {
    qob::btrieve::TestBeforeWrite(nullptr);
    EXPECT_EQ(g_other->Do(UpdateRecord(1, TestRecord("a", 1, "t", 50))).status, 0);
  });
  EXPECT_EQ(Status(UpdateRecord(0, TestRecord("a", 1, "t", 60))), 80);
  EXPECT_EQ(TagOf(machine_.Do(GetRecord(B_GET_FIRST, 0, 0))), 50U);
  EXPECT_EQ(Status(UpdateRecord(0, TestRecord("a", 1, "t", 60))), 0);
}

TEST_F(BtrcallBlock, ThreadsWithBlocksOfTheirOwnShareTheFile) {
  constexpr int kThreads = 4;
  constexpr int kEach = 50;
  std::vector<std::thread> threads;
  std::vector<std::vector<int>> statuses(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      Machine own(2);
      auto& mine = statuses[static_cast<std::size_t>(t)];
      mine.push_back(own.Do(OpenFile(0, path())).status);
      for (int i = 0; i < kEach; ++i) {
        const auto tag = static_cast<std::uint32_t>(1000 * (t + 1) + i);
        mine.push_back(own.Do(InsertRecord(0, TestRecord("th", t, "", tag))).status);
        mine.push_back(own.Do(OpenFile(1, path())).status);
        mine.push_back(own.Do(GetRecord(B_GET_FIRST, 1, 0)).status);
        mine.push_back(own.Do(CloseFile(1)).status);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::vector<int>& each : statuses) {
    EXPECT_EQ(each, std::vector<int>(1 + 4 * kEach, 0));
  }
  std::vector<std::uint32_t> met;
  Answer answer = machine_.Do(GetRecord(B_GET_EQUAL, 0, 0, "th"));
  for (; answer.status == 0; answer = machine_.Do(NextRecord(0))) met.push_back(TagOf(answer));
  std::sort(met.begin(), met.end());
  EXPECT_EQ(met.size(), std::size_t{kThreads * kEach});
  EXPECT_EQ(std::unique(met.begin(), met.end()), met.end());
}

TEST_F(BtrcallBlock, PathsTakeEitherSeparator) {
  EXPECT_EQ(Status(OpenFile(1, spool_.queue() + "/block.btr")), 0);
  EXPECT_EQ(TagOf(machine_.Do(GetRecord(B_GET_FIRST, 1, 0))), 1U);
  ASSERT_EQ(Status(DeleteRecord(1)), 0);
  EXPECT_EQ(TagOf(machine_.Do(GetRecord(B_GET_FIRST, 0, 0))), 2U);
}

}  // namespace
