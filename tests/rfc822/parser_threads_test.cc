// Many threads parse at once; the locks keep those out that their holder wants out.
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "rfc822/header_support.h"
#include "rfc822/parser_locks.h"

namespace qob::testing {
namespace {

TEST(ParserThreads, EachGetsItsOwnResult) {
  TempSpool spool;
  InitLineIO();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&, id] {
      const std::string name = std::to_string(id);
      const std::string path =
          spool.File(name, "To: t" + name + "@x, Joe <j" + name + "@x>\r\nSubject: s" + name +
                               "\r\nX-n: " + name + "\r\n\r\n");
      for (int round = 0; round < 200; ++round) {
        const int32_t file = fileopen(path.c_str(), 0, 1);
        addr822 record{};
        const bool locked = round % 2 == 0;
        int32_t lines = 0;
        const int32_t result = locked ? ParseHdr(file, &record, &lines, nullptr)
                                      : ST_ParseHdr(file, &record, &lines, nullptr);
        if (result != 1 || lines != 4 || Text(record.subject) != "s" + name ||
            AddressesOf(record.to) !=
                std::vector<std::string>{"t" + name + "@x", "j" + name + "@x"}) {
          ++wrong;
        }
        Free822Header(&record);
        fileclose(file);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  TerminateLineIO();
  EXPECT_EQ(wrong, 0);
}

// Whether `call` ends while this thread holds `lock`, tried for a moment; it always ends
// afterwards.
template <class Call>
bool EndsBeside(std::recursive_mutex& lock, Call call) {
  std::atomic<bool> ended{false};
  std::thread other;
  bool before = false;
  {
    std::scoped_lock hold(lock);
    other = std::thread([&] {
      call();
      ended = true;
    });
    for (int i = 0; i < 50 && !ended; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    before = ended;
  }
  other.join();
  return before;
}

void Parse(int32_t (*parse)(char*, RecipTbl*, int32_t)) {
  RecipTbl table{};
  char list[] = "a@b";
  parse(list, &table, 1);
  Clear_RT(&table);
}

TEST(ParserLocks, AddressLockKeepsRecipParseOut) {
  EXPECT_FALSE(EndsBeside(AddressParserLock(), [] { Parse(&RecipParse); }));
  EXPECT_FALSE(EndsBeside(AddressParserLock(), [] { Parse(&QOB_RecipParse); }));
  EXPECT_TRUE(EndsBeside(AddressParserLock(), [] { Parse(&ST_RecipParse); }));
  EXPECT_TRUE(EndsBeside(HeaderParserLock(), [] { Parse(&RecipParse); }));
}

TEST(ParserLocks, HolderMayParse) {
  std::scoped_lock hold(HeaderParserLock(), AddressParserLock());
  Parse(&RecipParse);
}

TEST(ParserLocks, HeaderLockKeepsParseHdrOutAndStParseHdrTakesTheAddressLockForAddresses) {
  TempSpool spool;
  InitLineIO();
  const auto parse = [&](auto* call, const char* header) {
    return [&, call, header] {
      const int32_t file = fileopen(spool.File("m", header).c_str(), 0, 1);
      addr822 record{};
      call(file, &record, nullptr, nullptr);
      Free822Header(&record);
      fileclose(file);
    };
  };
  EXPECT_FALSE(EndsBeside(HeaderParserLock(), parse(&ParseHdr, "Subject: x\r\n\r\n")));
  EXPECT_FALSE(EndsBeside(HeaderParserLock(), parse(&QOB_ParseHdr, "Subject: x\r\n\r\n")));
  EXPECT_TRUE(EndsBeside(HeaderParserLock(), parse(&ST_ParseHdr, "To: x@y\r\n\r\n")));
  EXPECT_TRUE(EndsBeside(AddressParserLock(), parse(&ParseHdr, "Subject: x\r\n\r\n")));
  EXPECT_FALSE(EndsBeside(AddressParserLock(), parse(&ST_ParseHdr, "To: x@y\r\n\r\n")));
  TerminateLineIO();
}

TEST(ParserLocks, StartAndStopMayBeRepeatedInAnyOrder) {
  Terminate822Parser();
  Init822Parser();
  Init822Parser();
  Parse(&RecipParse);
  Terminate822Parser();
  Terminate822Parser();
  Init822Parser();
  Parse(&RecipParse);
  Terminate822Parser();
}

TEST(ParserLocks, SecondStartDoesNotForgetWhoHoldsALock) {
  EXPECT_FALSE(EndsBeside(AddressParserLock(), [] {
    Init822Parser();
    Parse(&RecipParse);
  }));
}

}  // namespace
}  // namespace qob::testing
