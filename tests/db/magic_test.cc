// The records of the file type database, kept through the process's relation.
#include <atomic>
#include <thread>

#include "db/db_fixture.h"
#include "support/captured_log.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using FileTypes = Databases;
using Names = std::vector<std::string>;

std::string TypeOf(const char* extension) {
  MagicRecordBuffer out{};
  return FindMagicRecord(&out.record, extension) == 0 ? out.record.contentType : "none";
}

TEST_F(FileTypes, ComeBackAsTheyWereAdded) {
  StartMagic({Magic("gif", "image", "gif", "GIFfogle", "base64", "picture")});
  MagicRecordBuffer out{};
  ASSERT_EQ(FindMagicRecord(&out.record, "gif"), 0);
  EXPECT_STREQ(out.record.extension, "gif");
  EXPECT_STREQ(out.record.contentType, "image");
  EXPECT_STREQ(out.record.contentSubtype, "gif");
  EXPECT_STREQ(out.record.textA, "base64");
  EXPECT_STREQ(out.record.textB, "picture");
  EXPECT_STREQ(out.record.macTypeCreator, "GIFfogle");
}

TEST_F(FileTypes, StandInTheRelationAsOthersReadIt) {
  StartMagic({Magic("gif", "image", "gif", "GIFfogle", "base64", "picture")});
  tesseraBase session;
  RawMagic raw(session, spool_.queue(), "magicdb");
  const Names all = raw.All();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(NumberAt(all[0], 0), 0);
  EXPECT_EQ(TextAt(all[0], 4, 10), "gif");
  EXPECT_EQ(TextAt(all[0], 14, 50), "image");
  EXPECT_EQ(TextAt(all[0], 64, 128), "gif");
  EXPECT_EQ(TextAt(all[0], 192, 50), "base64");
  EXPECT_EQ(TextAt(all[0], 242, 128), "picture");
  EXPECT_EQ(TextAt(all[0], 370, 10), "GIFfogle");
}

TEST_F(FileTypes, AreFoundInAnyCase) {
  StartMagic({Magic("gif", "image"), Magic("ZIP", "application")});
  EXPECT_EQ(TypeOf("GIF"), "image");
  EXPECT_EQ(TypeOf("zip"), "application");
}

TEST_F(FileTypes, AreNotFoundByAPartOfTheirExtension) {
  StartMagic({Magic("gif", "image")});
  for (const char* wanted : {"gi", "giff", "", ".gif"}) EXPECT_EQ(TypeOf(wanted), "none") << wanted;
}

TEST_F(FileTypes, ThatAreNotThereGive17AndLeaveTheBuffer) {
  StartMagic({Magic("gif")});
  MagicRecordBuffer out{};
  std::memset(&out, 'z', sizeof out);
  EXPECT_EQ(FindMagicRecord(&out.record, "png"), 17);
  EXPECT_EQ(std::string(out.bytes, sizeof out.bytes), std::string(377, 'z'));
  const MagicRecord png = Magic("png");
  EXPECT_EQ(UpdateMagicRecord(&png), 17);
  EXPECT_EQ(DelMagicRecord("png"), 17);
}

TEST_F(FileTypes, OfOneExtensionTheFirstCounts) {
  StartMagic({Magic("doc", "first"), Magic("DOC", "second")});
  EXPECT_EQ(TypeOf("doc"), "first");
  EXPECT_EQ(DelMagicRecord("Doc"), 0);
  EXPECT_EQ(TypeOf("doc"), "second");
  EXPECT_EQ(DelMagicRecord("doc"), 0);
  EXPECT_EQ(DelMagicRecord("doc"), 17);
}

TEST_F(FileTypes, AreReplacedWhereTheyStand) {
  StartMagic({Magic("a", "1"), Magic("b", "2"), Magic("B", "3"), Magic("c", "4")});
  const MagicRecord other = Magic("B", "new", "sub", "TEXTttxt");
  EXPECT_EQ(UpdateMagicRecord(&other), 0);
  EXPECT_EQ(AllExtensions(), (Names{"a", "B", "B", "c"}));
  EXPECT_EQ(TypeOf("b"), "new");
  EXPECT_EQ(DelMagicRecord("b"), 0);
  EXPECT_EQ(TypeOf("b"), "3");
}

// Writing acts on the record that the search has loaded, though its pass is over by then.
TEST_F(FileTypes, KeepTheirLeadingBytesWhenTheyAreReplaced) {
  MakeMagic();
  tesseraBase session;
  RawMagic raw(session, spool_.queue(), "magicdb");
  raw.Put(0, "k1");
  raw.Put(4, "one");
  ASSERT_EQ(raw.add(), 0);
  raw.Put(0, "k0");
  raw.Put(4, "two");
  ASSERT_EQ(raw.add(), 0);
  libmagic_init();
  const MagicRecord other = Magic("one", "new");
  EXPECT_EQ(UpdateMagicRecord(&other), 0);
  const Names all = raw.All();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(TextAt(all[0], 0, 4), "k0");
  EXPECT_EQ(TextAt(all[1], 0, 4), "k1");
  EXPECT_EQ(TextAt(all[1], 14, 50), "new");
}

TEST_F(FileTypes, AddedLaterHaveNoLeadingBytesOfOthers) {
  MakeMagic();
  tesseraBase session;
  RawMagic raw(session, spool_.queue(), "magicdb");
  raw.Put(0, "kkkk");
  raw.Put(4, "one");
  ASSERT_EQ(raw.add(), 0);
  libmagic_init();
  EXPECT_EQ(TypeOf("one"), "");
  const MagicRecord other = Magic("two");
  EXPECT_EQ(InsMagicRecord(&other), 0);
  EXPECT_EQ(NumberAt(raw.All()[0], 0), 0);
}

TEST_F(FileTypes, AreWalkedInTheOrderOfTheirAddition) {
  StartMagic({Magic("c"), Magic("a"), Magic("b"), Magic("a")});
  EXPECT_EQ(AllExtensions(), (Names{"c", "a", "b", "a"}));
  EXPECT_EQ(AllExtensions(), (Names{"c", "a", "b", "a"}));
}

TEST_F(FileTypes, EndWith17AgainAndAgain) {
  StartMagic({Magic("a")});
  MagicRecordBuffer out{};
  EXPECT_EQ(GetFirstMagicRecord(&out.record), 0);
  EXPECT_EQ(GetNextMagicRecord(&out.record), 17);
  EXPECT_EQ(GetNextMagicRecord(&out.record), 17);
}

TEST_F(FileTypes, OfAnEmptyRelationAreNone) {
  StartMagic();
  EXPECT_TRUE(AllExtensions().empty());
  MagicRecordBuffer out{};
  EXPECT_EQ(GetNextMagicRecord(&out.record), 17);
}

// Without a place the pass starts.
TEST_F(FileTypes, NextWithoutFirstGivesTheFirst) {
  StartMagic({Magic("a"), Magic("b")});
  MagicRecordBuffer out{};
  ASSERT_EQ(GetNextMagicRecord(&out.record), 0);
  EXPECT_STREQ(out.record.extension, "a");
  ASSERT_EQ(GetNextMagicRecord(&out.record), 0);
  EXPECT_STREQ(out.record.extension, "b");
  EXPECT_EQ(GetNextMagicRecord(&out.record), 17);
}

TEST_F(FileTypes, AWalkThatChangesWhatItMeetsEnds) {
  StartMagic({Magic("a"), Magic("b"), Magic("c"), Magic("d")});
  MagicRecordBuffer out{};
  int met = 0;
  int32_t result = GetFirstMagicRecord(&out.record);
  for (; result == 0 && met < 100; result = GetNextMagicRecord(&out.record), ++met) {
    const MagicRecord changed = Magic(out.record.extension, "changed");
    EXPECT_EQ(UpdateMagicRecord(&changed), 0);
  }
  EXPECT_EQ(result, 17);
  EXPECT_EQ(met, 4);
  EXPECT_EQ(TypeOf("d"), "changed");
}

TEST_F(FileTypes, AWalkThatDeletesWhatItMeetsEnds) {
  StartMagic({Magic("a"), Magic("b"), Magic("c"), Magic("d")});
  MagicRecordBuffer out{};
  int met = 0;
  int32_t result = GetFirstMagicRecord(&out.record);
  for (; result == 0 && met < 100; result = GetNextMagicRecord(&out.record), ++met) {
    EXPECT_EQ(DelMagicRecord(out.record.extension), 0);
  }
  EXPECT_EQ(met, 4);
  EXPECT_TRUE(AllExtensions().empty());
}

TEST_F(FileTypes, NeedStartUp) {
  MakeMagic();
  const MagicRecord record = Magic("a");
  MagicRecordBuffer out{};
  EXPECT_EQ(InsMagicRecord(&record), -1);
  EXPECT_EQ(UpdateMagicRecord(&record), -1);
  EXPECT_EQ(DelMagicRecord("a"), -1);
  EXPECT_EQ(FindMagicRecord(&out.record, "a"), -1);
  EXPECT_EQ(GetFirstMagicRecord(&out.record), -1);
  EXPECT_EQ(GetNextMagicRecord(&out.record), -1);
  libmagic_init();
  EXPECT_EQ(InsMagicRecord(&record), 0);
  libmagic_fini();
  libmagic_fini();
  EXPECT_EQ(InsMagicRecord(&record), -1);
}

TEST_F(FileTypes, TakeNoNull) {
  StartMagic({Magic("a")});
  MagicRecordBuffer out{};
  EXPECT_EQ(InsMagicRecord(nullptr), -1);
  EXPECT_EQ(UpdateMagicRecord(nullptr), -1);
  EXPECT_EQ(DelMagicRecord(nullptr), -1);
  EXPECT_EQ(FindMagicRecord(nullptr, "a"), -1);
  EXPECT_EQ(FindMagicRecord(&out.record, nullptr), -1);
  EXPECT_EQ(GetFirstMagicRecord(nullptr), -1);
  EXPECT_EQ(GetNextMagicRecord(nullptr), -1);
}

// The status is asked before anything else is done.
TEST_F(FileTypes, OfARelationThatDidNotOpenGiveItsStatusAndNextNone) {
  libmagic_init();
  const MagicRecord record = Magic("a");
  MagicRecordBuffer out{};
  EXPECT_EQ(InsMagicRecord(&record), 3);
  EXPECT_EQ(GetFirstMagicRecord(&out.record), 3);
  EXPECT_EQ(GetNextMagicRecord(&out.record), -1);
}

TEST_F(FileTypes, SayThatTheyWereOpened) {
  MakeMagic();
  CapturedLog log;
  libmagic_init();
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{6, "Libmagic", "magic db opened"}}));
}

TEST_F(FileTypes, SayThatTheyWereNotOpened) {
  CapturedLog log;
  libmagic_init();
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{1, "Libmagic", "magic db not opened"}}));
}

TEST_F(FileTypes, AreReachedUnderTheLockWhateverTheResult) {
  StartMagic({Magic("a"), Magic("b")});
  tesseraBase session;
  RawMagic holder(session, spool_.queue(), "magicdb");
  const MagicRecord record = Magic("c");
  const MagicRecord other = Magic("d");
  MagicRecordBuffer out{};
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(InsMagicRecord(&record), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(UpdateMagicRecord(&record), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(UpdateMagicRecord(&other), 17); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(FindMagicRecord(&out.record, "a"), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(FindMagicRecord(&out.record, "d"), 17); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(DelMagicRecord("c"), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(DelMagicRecord("d"), 17); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(GetFirstMagicRecord(&out.record), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(GetNextMagicRecord(&out.record), 0); });
  ExpectToTakeTurns(holder, [&] { EXPECT_EQ(GetNextMagicRecord(&out.record), 17); });
}

TEST_F(FileTypes, MayBeStartedTwice) {
  StartMagic({Magic("a")});
  libmagic_init();
  EXPECT_EQ(AllExtensions(), Names{"a"});
}

TEST_F(FileTypes, OfAnotherDirectoryAreOpenedByTheNextStart) {
  StartMagic({Magic("a")});
  std::filesystem::create_directory(spool_.path("other"));
  spool_.SetWholeIni("[Gateway]\nQueueDirectory=" + spool_.path("other") + "\n");
  EXPECT_EQ(AllExtensions(), Names{"a"});
  ASSERT_EQ(tesRel::create(spool_.path("other").c_str(), "magicdb", 380, 0, 4, true), 0);
  libmagic_init();
  EXPECT_TRUE(AllExtensions().empty());
}

TEST_F(FileTypes, AddedByAnotherProcessAreSeenAtOnce) {
  StartMagic({Magic("a")});
  EXPECT_EQ(TypeOf("b"), "none");
  EXPECT_EQ(InChild([] {
              libmagic_init();
              const MagicRecord record = Magic("b", "other");
              return InsMagicRecord(&record);
            }),
            0);
  EXPECT_EQ(TypeOf("b"), "other");
}

// A child has no relation until it starts anew; its parent's stays whole.
TEST_F(FileTypes, OfAParentGive3InItsChild) {
  StartMagic({Magic("a")});
  EXPECT_EQ(InChild([] {
              MagicRecordBuffer out{};
              return FindMagicRecord(&out.record, "a");
            }),
            3);
  EXPECT_EQ(TypeOf("a"), "");
}

// Whatever the parent's threads hold at that moment.
TEST_F(FileTypes, AreOpenedAnewByChildrenOfABusyParent) {
  StartMagic({Magic("a", "first")});
  std::atomic<bool> done = false;
  std::thread busy([&] {
    MagicRecordBuffer out{};
    while (!done) EXPECT_EQ(FindMagicRecord(&out.record, "a"), 0);
  });
  for (int i = 0; i < 30; ++i) {
    EXPECT_EQ(InChild([] {
                alarm(60);
                libmagic_init();
                return TypeOf("a") == "first" ? 0 : 1;
              }),
              0);
  }
  done = true;
  busy.join();
}

TEST_F(FileTypes, OfAParentThatHadNoneAreNoneInItsChild) {
  EXPECT_EQ(InChild([] {
              MagicRecordBuffer out{};
              return FindMagicRecord(&out.record, "a") == -1 ? 0 : 1;
            }),
            0);
}

TEST_F(FileTypes, OfManyProcessesAreAllAdded) {
  MakeMagic();
  const std::vector<int> results = InChildren(4, [](int who) {
    libmagic_init();
    for (int i = 0; i < 25; ++i) {
      const MagicRecord record = Magic(std::to_string(who * 100 + i).c_str());
      if (InsMagicRecord(&record) != 0) return 1;
    }
    return 0;
  });
  EXPECT_EQ(results, std::vector<int>(4, 0));
  libmagic_init();
  EXPECT_EQ(AllExtensions().size(), 100U);
}

TEST_F(FileTypes, OfOneProcessMayBeKeptByManyThreads) {
  StartMagic();
  std::vector<std::thread> threads;
  for (int who = 0; who < 4; ++who) {
    threads.emplace_back([who] {
      MagicRecordBuffer out{};
      for (int i = 0; i < 20; ++i) {
        const std::string name = std::to_string(who * 100 + i);
        const MagicRecord record = Magic(name.c_str(), "type");
        EXPECT_EQ(InsMagicRecord(&record), 0);
        EXPECT_EQ(FindMagicRecord(&out.record, name.c_str()), 0);
        GetFirstMagicRecord(&out.record);
        GetNextMagicRecord(&out.record);
        EXPECT_EQ(GetMagicFromExtension(name.c_str(), &out.record), 0);
        if (i % 2 == 0) {
          EXPECT_EQ(DelMagicRecord(name.c_str()), 0);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(AllExtensions().size(), 40U);
}

}  // namespace
}  // namespace qob::testing
