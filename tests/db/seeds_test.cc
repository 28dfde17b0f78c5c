// The seeds that the build made: whole, true to their rules, with what everybody expects of them.
#include <algorithm>
#include <fstream>
#include <set>

#include "db/db_fixture.h"
#include "db/seed/seed_file.h"
#include "db/seed/type_list.h"

namespace qob::testing {
namespace {

namespace fs = std::filesystem;

class Seeds : public Databases {
 protected:
  Seeds() { InstallSeeds(); }
  // Records of the relation as it was built, opened in a directory of the test's own.
  std::vector<std::string> Types() {
    tesseraBase session;
    RawMagic raw(session, spool_.path("srcdb"), "magicdb");
    EXPECT_EQ(raw.status(), 0);
    return raw.All();
  }
  static db::FileType TypeOf(const std::string& row) {
    return {TextAt(row, 4, 10),   TextAt(row, 14, 50),  TextAt(row, 64, 128),
            TextAt(row, 192, 50), TextAt(row, 370, 10), TextAt(row, 242, 128)};
  }
};

TEST_F(Seeds, HaveOneRowForEachExtension) {
  std::set<std::string> seen;
  for (const std::string& row : Types()) {
    EXPECT_TRUE(seen.insert(TextAt(row, 4, 10)).second) << TextAt(row, 4, 10);
  }
}

TEST_F(Seeds, HaveRowsThatKeepToTheRules) {
  for (const std::string& row : Types()) {
    EXPECT_EQ(db::Fault(TypeOf(row)), "") << TextAt(row, 4, 10);
    EXPECT_EQ(NumberAt(row, 0), 0);
    // Nothing behind a text's NUL.
    const std::size_t places[][2] = {{4, 10},   {14, 50},   {64, 128},
                                     {192, 50}, {242, 128}, {370, 10}};
    for (const auto& place : places) {
      const std::string field = row.substr(place[0], place[1]);
      EXPECT_EQ(field.find_first_not_of('\0', field.find('\0')), std::string::npos);
    }
  }
}

TEST_F(Seeds, KnowAThousandExtensionsWhereTheSystemHasItsList) {
  if (!fs::exists("/etc/mime.types")) GTEST_SKIP() << "no /etc/mime.types on this system";
  EXPECT_GE(Types().size(), 1000U);
}

// Whatever the system's list says of them.
TEST_F(Seeds, KnowTheCommonTypes) {
  const struct {
    const char* extension;
    const char* type;
    const char* subtype;
    const char* encoding;
    const char* mac;
  } known[] = {
      {"pdf", "application", "pdf", "base64", "PDF CARO"},
      {"png", "image", "png", "base64", "PNGfogle"},
      {"jpg", "image", "jpeg", "base64", "JPEGogle"},
      {"jpeg", "image", "jpeg", "base64", "JPEGogle"},
      {"gif", "image", "gif", "base64", "GIFfogle"},
      {"tif", "image", "tiff", "base64", "TIFFogle"},
      {"html", "text", "html", "base64", "TEXTMOSS"},
      {"txt", "text", "plain", "base64", "TEXTttxt"},
      {"csv", "text", "csv", "base64", "TEXTXCEL"},
      {"rtf", "application", "rtf", "base64", "RTF MSWD"},
      {"doc", "application", "msword", "base64", "W8BNMSWD"},
      {"xls", "application", "vnd.ms-excel", "base64", "XLS8XCEL"},
      {"ppt", "application", "vnd.ms-powerpoint", "base64", "SLD8PPT3"},
      {"docx", "application", "vnd.openxmlformats-officedocument.wordprocessingml.document",
       "base64", "WXBNMSWD"},
      {"odt", "application", "vnd.oasis.opendocument.text", "base64", ""},
      {"zip", "application", "zip", "base64", "ZIP ZIP "},
      {"sit", "application", "x-stuffit", "base64", "SIT!SIT!"},
      {"hqx", "application", "mac-binhex40", "base64", "TEXTSITx"},
      {"gz", "application", "gzip", "base64", "GzipGzip"},
      {"ps", "application", "postscript", "base64", "TEXTvgrd"},
      {"mp3", "audio", "mpeg", "base64", "MPG3TVOD"},
      {"wav", "audio", "x-wav", "base64", "WAVETVOD"},
      {"mov", "video", "quicktime", "base64", "MooVTVOD"},
      {"mpg", "video", "mpeg", "base64", "MPEGTVOD"},
      {"exe", "application", "x-msdos-program", "base64", "BINAmdos"},
      {"eml", "message", "rfc822", "8bit", "TEXTttxt"},
      {"ics", "text", "calendar", "base64", "TEXTttxt"},
      {"vcf", "text", "vcard", "base64", "TEXTttxt"},
      {"p7s", "application", "pkcs7-signature", "base64", ""}};
  const std::vector<std::string> rows = Types();
  for (const auto& wanted : known) {
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const std::string& one) {
      return TextAt(one, 4, 10) == wanted.extension;
    });
    ASSERT_NE(row, rows.end()) << wanted.extension;
    EXPECT_EQ(TextAt(*row, 14, 50), wanted.type) << wanted.extension;
    EXPECT_EQ(TextAt(*row, 64, 128), wanted.subtype) << wanted.extension;
    EXPECT_EQ(TextAt(*row, 192, 50), wanted.encoding) << wanted.extension;
    EXPECT_EQ(TextAt(*row, 370, 10), wanted.mac) << wanted.extension;
  }
}

TEST_F(Seeds, GiveATypeItsUsualExtension) {
  libmagic_init();
  const struct {
    const char* type;
    const char* subtype;
    const char* extension;
  } usual[] = {{"text", "plain", "txt"},
               {"text", "html", "htm"},
               {"image", "jpeg", "jpg"},
               {"image", "tiff", "tif"},
               {"video", "mpeg", "mpg"},
               {"video", "quicktime", "mov"},
               {"application", "msword", "doc"},
               {"application", "postscript", "ps"},
               {"application", "gzip", "gz"},
               {"message", "rfc822", "eml"},
               {"application", "zip", "zip"},
               {"APPLICATION", "PDF", "pdf"},
               {"application", "octet-stream", "bin"}};
  for (const auto& wanted : usual) {
    char extension[11] = "";
    EXPECT_EQ(GetDosExtFromCTandCST(extension, wanted.type, wanted.subtype), 0);
    EXPECT_STREQ(extension, wanted.extension) << wanted.type << "/" << wanted.subtype;
  }
}

TEST_F(Seeds, AreWalkedToTheEnd) {
  libmagic_init();
  EXPECT_EQ(AllExtensions().size(), Types().size());
}

TEST_F(Seeds, HaveOnePeerAndNoBannedUser) {
  tesseraBase session;
  RawPeers peers(session, spool_.path("srcdb"), "peerdb");
  const std::vector<std::string> all = peers.All();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(TextAt(all[0], 52, 128), "default");
  const std::int32_t wanted[] = {1, 1, 1, 1, 0, 0, 0, 0, 15, 72, 5, 6};
  for (std::size_t i = 0; i < 12; ++i) EXPECT_EQ(NumberAt(all[0], 4 + i * 4), wanted[i]) << i;
  RawBans bans(session, spool_.path("srcdb"), "banuserdb");
  EXPECT_TRUE(bans.All().empty());
}

TEST_F(Seeds, AreTwoFilesForEachRelation) {
  std::set<std::string> names;
  for (const auto& seed : fs::directory_iterator(QOB_SEEDS)) {
    names.insert(seed.path().filename().string());
  }
  EXPECT_EQ(names, (std::set<std::string>{"banuserdb.db", "banuserdb.id0", "magicdb.db",
                                          "magicdb.id0", "peerdb.db", "peerdb.id0"}));
}

TEST_F(Seeds, AreTheSameBytesEachTime) {
  std::vector<db::FileType> types;
  ASSERT_EQ(db::ReadOwnTypes(TempSpool::Read(std::string(std::getenv("QOB_SOURCE_DIR")) +
                                             "/data/types/common.txt"),
                             &types),
            "");
  const std::vector<PeerRecord> peers = {Peer("default", {1, 2, 3}), Peer("example.org")};
  for (const char* folder : {"one", "two"}) {
    fs::create_directory(spool_.path(folder));
    EXPECT_EQ(db::WriteMagicSeed(spool_.path(folder), types), "");
    EXPECT_EQ(db::WritePeerSeed(spool_.path(folder), peers), "");
    EXPECT_EQ(db::WriteBanSeed(spool_.path(folder)), "");
  }
  for (const auto& seed : fs::directory_iterator(spool_.path("one"))) {
    const std::string other = spool_.path("two") + "/" + seed.path().filename().string();
    EXPECT_TRUE(TempSpool::Read(seed.path().string()) == TempSpool::Read(other)) << other;
  }
}

TEST_F(Seeds, AreWrittenOverThoseOfAnEarlierBuild) {
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(db::WritePeerSeed(spool_.path("srcdb"), {Peer("example.org")}), "");
  }
  tesseraBase session;
  RawPeers peers(session, spool_.path("srcdb"), "peerdb");
  EXPECT_EQ(peers.All().size(), 1U);
}

TEST_F(Seeds, SayWhatFailed) {
  EXPECT_NE(db::WriteBanSeed(spool_.path("missing")), "");
  EXPECT_NE(db::WritePeerSeed(spool_.path("srcdb"), {Peer("a"), Peer("A")}), "");
}

}  // namespace
}  // namespace qob::testing
