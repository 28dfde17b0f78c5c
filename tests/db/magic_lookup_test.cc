// Look-ups that open the file type database for themselves.
#include <thread>

#include "db/db_fixture.h"
#include "support/exact_copy.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

class MagicLookup : public Databases {
 protected:
  void SetUp() override {
    StartMagic({Magic("txt", "text", "plain", "TEXTttxt", "base64"),
                Magic("jpg", "image", "jpeg", "JPEGogle", "base64"),
                Magic("JPEG", "IMAGE", "JPEG", "JPEGogle"), Magic("ab", "x", "y", "AB  CD  "),
                Magic("none", "x", "none")});
    libmagic_fini();
  }
  static std::string Extension(const char* type, const char* subtype) {
    const ExactCopy out(std::string(11, 'z'));
    char* const text = const_cast<char*>(out.view().data());
    return GetDosExtFromCTandCST(text, type, subtype) == 0 ? std::string(text) : "-1";
  }
  static std::string MacOf(const char* extension) {
    const ExactCopy out(std::string(11, 'z'));
    char* const text = const_cast<char*>(out.view().data());
    return GetTypeCreatorfromDosExt(extension, text) == 0 ? std::string(text) : "-1";
  }
  static std::string ByMac(const char* type, const char* creator) {
    MagicRecordBuffer out{};
    return GetMagicFromMacTypes(&out.record, type, creator) == 0 ? out.record.extension : "-1";
  }
  static std::string ByExtension(const char* extension) {
    MagicRecordBuffer out{};
    return GetMagicFromExtension(extension, &out.record) == 0 ? out.record.extension : "-1";
  }
};

TEST_F(MagicLookup, FindsAnExtensionInAnyCase) {
  EXPECT_EQ(ByExtension("txt"), "txt");
  EXPECT_EQ(ByExtension("TXT"), "txt");
  EXPECT_EQ(ByExtension("jpeg"), "JPEG");
}

TEST_F(MagicLookup, FillsTheWholeRecord) {
  MagicRecordBuffer out{};
  ASSERT_EQ(GetMagicFromExtension("txt", &out.record), 0);
  EXPECT_STREQ(out.record.contentType, "text");
  EXPECT_STREQ(out.record.contentSubtype, "plain");
  EXPECT_STREQ(out.record.textA, "base64");
  EXPECT_STREQ(out.record.textB, "");
  EXPECT_STREQ(out.record.macTypeCreator, "TEXTttxt");
}

TEST_F(MagicLookup, LeavesTheBufferWhereNothingIsFound) {
  MagicRecordBuffer out{};
  std::memset(&out, 'z', sizeof out);
  EXPECT_EQ(GetMagicFromExtension("png", &out.record), -1);
  EXPECT_EQ(GetMagicFromMacTypes(&out.record, "PNGf", "ogle"), -1);
  EXPECT_EQ(std::string(out.bytes, sizeof out.bytes), std::string(377, 'z'));
  char text[11] = "kept";
  EXPECT_EQ(GetDosExtFromCTandCST(text, "image", "png"), -1);
  EXPECT_EQ(GetTypeCreatorfromDosExt("png", text), -1);
  EXPECT_STREQ(text, "kept");
}

TEST_F(MagicLookup, FindsNoExtensionByAPartOfIt) {
  for (const char* wanted : {"tx", "txtt", "t", "", "txt "}) {
    EXPECT_EQ(ByExtension(wanted), "-1") << wanted;
  }
}

TEST_F(MagicLookup, FindsMacintoshTypesExactly) {
  EXPECT_EQ(ByMac("TEXT", "ttxt"), "txt");
  EXPECT_EQ(ByMac("text", "ttxt"), "-1");
  EXPECT_EQ(ByMac("TEXT", "TTXT"), "-1");
}

TEST_F(MagicLookup, TakesTheFirstOfSeveral) {
  EXPECT_EQ(ByMac("JPEG", "ogle"), "jpg");
  EXPECT_EQ(Extension("image", "jpeg"), "jpg");
}

TEST_F(MagicLookup, PadsShortCodesWithBlanks) {
  EXPECT_EQ(ByMac("AB", "CD"), "ab");
  EXPECT_EQ(ByMac("AB  ", "CD"), "ab");
  EXPECT_EQ(ByMac("AB ", "CD  "), "ab");
  EXPECT_EQ(ByMac("A", "CD"), "-1");
}

TEST_F(MagicLookup, FindsNoRecordWithoutCodesByEmptyOnes) {
  EXPECT_EQ(ByMac("", ""), "-1");
  EXPECT_EQ(ByMac("TEXT", ""), "-1");
}

TEST_F(MagicLookup, DoesNotCutLongCodes) {
  EXPECT_EQ(ByMac("TEXTttxt", ""), "-1");  // eight characters and four blanks
  EXPECT_EQ(ByMac("TEXTttxtmore", "more"), "-1");
  EXPECT_EQ(ByMac(std::string(100000, 'T').c_str(), "ttxt"), "-1");
  libmagic_init();
  const MagicRecord wide = Magic("wide", "", "", "ABCDEFGHIJ");
  ASSERT_EQ(InsMagicRecord(&wide), 0);
  EXPECT_EQ(ByMac("ABCDE", "FGHIJ"), "wide");
  EXPECT_EQ(ByMac("ABCDEF", "GHIJ"), "wide");
}

TEST_F(MagicLookup, FindsATypeInAnyCase) {
  EXPECT_EQ(Extension("text", "plain"), "txt");
  EXPECT_EQ(Extension("TEXT", "Plain"), "txt");
}

TEST_F(MagicLookup, NeedsBothHalvesOfAType) {
  for (const char* subtype : {"jpeg", "", "plainer", "plai"}) {
    EXPECT_EQ(Extension("text", subtype), "-1") << subtype;
  }
  EXPECT_EQ(Extension("image", "plain"), "-1");
}

TEST_F(MagicLookup, GivesTheCodesOfAnExtension) {
  EXPECT_EQ(MacOf("TXT"), "TEXTttxt");
  EXPECT_EQ(MacOf("ab"), "AB  CD  ");
  EXPECT_EQ(MacOf("none"), "");
  EXPECT_EQ(MacOf("other"), "-1");
}

TEST_F(MagicLookup, WritesATextThatFillsItsPlaceWithItsNul) {
  libmagic_init();
  const MagicRecord wide = Magic("abcdefghij", "wide", "wide", "ABCDEFGHIJ");
  ASSERT_EQ(InsMagicRecord(&wide), 0);
  EXPECT_EQ(Extension("wide", "wide"), "abcdefghij");
  EXPECT_EQ(MacOf("ABCDEFGHIJ"), "ABCDEFGHIJ");
  EXPECT_EQ(MacOf("abcdefghijk"), "-1");
}

TEST_F(MagicLookup, TakesNoNull) {
  MagicRecordBuffer out{};
  char text[11];
  EXPECT_EQ(GetMagicFromExtension(nullptr, &out.record), -1);
  EXPECT_EQ(GetMagicFromExtension("txt", nullptr), -1);
  EXPECT_EQ(GetMagicFromMacTypes(nullptr, "TEXT", "ttxt"), -1);
  EXPECT_EQ(GetMagicFromMacTypes(&out.record, nullptr, "ttxt"), -1);
  EXPECT_EQ(GetMagicFromMacTypes(&out.record, "TEXT", nullptr), -1);
  EXPECT_EQ(GetDosExtFromCTandCST(nullptr, "text", "plain"), -1);
  EXPECT_EQ(GetDosExtFromCTandCST(text, nullptr, "plain"), -1);
  EXPECT_EQ(GetDosExtFromCTandCST(text, "text", nullptr), -1);
  EXPECT_EQ(GetTypeCreatorfromDosExt(nullptr, text), -1);
  EXPECT_EQ(GetTypeCreatorfromDosExt("txt", nullptr), -1);
}

TEST_F(MagicLookup, GivesMinusOneWithoutADatabase) {
  std::filesystem::remove(Queue("magicdb.db"));
  EXPECT_EQ(ByExtension("txt"), "-1");
  spool_.Write(Queue("magicdb.db"), "no database");
  EXPECT_EQ(ByExtension("txt"), "-1");
  EXPECT_EQ(TempSpool::Read(Queue("magicdb.db")), "no database");
  spool_.SetWholeIni("");
  EXPECT_EQ(ByExtension("txt"), "-1");
}

TEST_F(MagicLookup, GivesMinusOneForARelationOfOtherRecords) {
  spool_.SetWholeIni("[Gateway]\nQueueDirectory=" + spool_.temp() + "\n");
  ASSERT_EQ(tesRel::create(spool_.temp().c_str(), "magicdb", 376, 0, 4, true), 0);
  EXPECT_EQ(ByExtension("txt"), "-1");
}

TEST_F(MagicLookup, DoesNotSeed) {
  InstallSeeds();
  std::filesystem::remove(Queue("magicdb.db"));
  EXPECT_EQ(ByExtension("txt"), "-1");
  EXPECT_FALSE(std::filesystem::exists(Queue("magicdb.db")));
}

TEST_F(MagicLookup, SeesWhatAnotherProcessHasChanged) {
  EXPECT_EQ(ByExtension("new"), "-1");
  EXPECT_EQ(InChild([] {
              libmagic_init();
              const MagicRecord record = Magic("new");
              return InsMagicRecord(&record) | DelMagicRecord("txt");
            }),
            0);
  EXPECT_EQ(ByExtension("new"), "new");
  EXPECT_EQ(ByExtension("txt"), "-1");
}

// Who holds the lock is waited for.
TEST_F(MagicLookup, WaitsForTheLock) {
  tesseraBase session;
  RawMagic holder(session, spool_.queue(), "magicdb");
  ASSERT_EQ(holder.lock(false, kForever), 0);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    holder.Put(4, std::string_view("late\0", 5));
    EXPECT_EQ(holder.add(), 0);
    EXPECT_EQ(holder.unlock(), 0);
  });
  EXPECT_EQ(ByExtension("late"), "late");
  other.join();
}

TEST_F(MagicLookup, TakesTurnsInEveryDirection) {
  tesseraBase session;
  RawMagic holder(session, spool_.queue(), "magicdb");
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(ByExtension("txt"), "txt"); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(ByExtension("png"), "-1"); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(ByMac("TEXT", "ttxt"), "txt"); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(Extension("text", "plain"), "txt"); });
  ExpectToTakeTurns(holder, [] { EXPECT_EQ(MacOf("txt"), "TEXTttxt"); });
}

// Of a longer name as much counts as a buffer of 260 bytes holds.
TEST_F(MagicLookup, ReadsADirectoryOf259Characters) {
  std::string directory = spool_.root() + "/";
  directory.append(259 - directory.size(), 'd');
  std::filesystem::rename(spool_.queue(), directory);
  for (const char* more : {"", "d", "/elsewhere"}) {
    spool_.SetWholeIni("[Gateway]\nQueueDirectory=" + directory + more + "\n");
    EXPECT_EQ(ByExtension("txt"), "txt") << more;
  }
}

TEST_F(MagicLookup, LeavesNoLockBehind) {
  EXPECT_EQ(ByExtension("txt"), "txt");
  EXPECT_EQ(ByExtension("png"), "-1");
  EXPECT_EQ(InChild([&] {
              tesseraBase session;
              RawMagic other(session, spool_.queue(), "magicdb");
              return other.lock(false, 0);
            }),
            0);
}

}  // namespace
}  // namespace qob::testing
