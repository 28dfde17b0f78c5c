// The texts that the file type database is seeded from.
#include "db/seed/type_list.h"

#include <gtest/gtest.h>

namespace qob::testing {
namespace {

using namespace db;

FileType Pdf() { return {"pdf", "application", "pdf", "base64", "PDF CARO", "portable document"}; }

std::vector<FileType> Own(std::string_view text) {
  std::vector<FileType> types;
  EXPECT_EQ(ReadOwnTypes(text, &types), "");
  return types;
}

std::string OwnFault(std::string_view text) {
  std::vector<FileType> types;
  return ReadOwnTypes(text, &types);
}

std::vector<std::string> Registered(std::string_view text, std::vector<FileType> types = {}) {
  const std::size_t before = types.size();
  ReadRegisteredTypes(text, &types);
  std::vector<std::string> lines;
  for (std::size_t i = before; i < types.size(); ++i) {
    const FileType& type = types[i];
    lines.push_back(type.extension + " " + type.type + "/" + type.subtype + " " + type.encoding);
  }
  return lines;
}
using Lines = std::vector<std::string>;

TEST(OwnTypes, AreReadFromTheirColumns) {
  EXPECT_EQ(Own("pdf; application/pdf; base64; PDF CARO; portable document\n"),
            std::vector<FileType>{Pdf()});
}

TEST(OwnTypes, PadMacintoshCodes) {
  EXPECT_EQ(Own("zip; application/zip; base64; ZIP ZIP; archive")[0].mac, "ZIP ZIP ");
  EXPECT_EQ(Own("x; a/b; base64; A B; c")[0].mac, "A   B   ");
}

TEST(OwnTypes, NeedNoMacintoshCodesOrDescription) {
  EXPECT_EQ(Own("x; a/b; 8bit; ;"), (std::vector<FileType>{{"x", "a", "b", "8bit", "", ""}}));
}

TEST(OwnTypes, PassOverCommentsAndEmptyLines) {
  EXPECT_EQ(
      Own("# pdf; nothing\n\n  \r\npdf; application/pdf; base64; PDF CARO; portable document"),
      std::vector<FileType>{Pdf()});
}

TEST(OwnTypes, TellTheLineOfAFault) {
  EXPECT_EQ(OwnFault("#\nx; a/b; base64; ;\nX; a/b; base64; ;\n"),
            "3: no extension of at most nine small letters and digits");
  EXPECT_EQ(OwnFault("x; a/b; base64; ;\nx; c/d; base64; ;"), "2: an extension met before");
  EXPECT_EQ(OwnFault("x\n"), "1: no MIME type");
  EXPECT_EQ(OwnFault("x; a; base64; ;"), "1: no MIME subtype");
  EXPECT_EQ(OwnFault("x; a/b; rot13; ;"), "1: no transfer encoding");
  EXPECT_EQ(OwnFault("x; a/b; base64; TEXT; d"),
            "1: no Macintosh type and creator of four characters each");
  EXPECT_EQ(OwnFault("x; a/b; base64; TEXTS ttxt; d"),
            "1: no Macintosh type and creator of four characters each");
}

TEST(FileTypeRules, HoldTheWidthsOfTheRecord) {
  FileType type = Pdf();
  EXPECT_EQ(Fault(type), "");
  type.extension = "ninechars";
  type.type = std::string(49, 't');
  type.subtype = std::string(127, 's');
  type.description = std::string(127, 'd');
  EXPECT_EQ(Fault(type), "");
  for (std::string FileType::*const field :
       {&FileType::extension, &FileType::type, &FileType::subtype, &FileType::description}) {
    FileType wide = type;
    wide.*field += 'x';
    EXPECT_NE(Fault(wide), "");
  }
}

TEST(FileTypeRules, HoldTheSyntaxOfTypes) {
  for (const char* wrong : {"", "a b", "a/b", "a;b", "a\"", "a=b", "\xE9", "a\x7F"}) {
    FileType type = Pdf();
    type.type = wrong;
    EXPECT_NE(Fault(type), "") << wrong;
    type = Pdf();
    type.subtype = wrong;
    EXPECT_NE(Fault(type), "") << wrong;
  }
}

TEST(FileTypeRules, HoldTheSyntaxOfExtensions) {
  for (const char* wrong : {"", "PDF", "a.b", "a b", "~", "%", "-a", "\xE9"}) {
    FileType type = Pdf();
    type.extension = wrong;
    EXPECT_NE(Fault(type), "") << wrong;
  }
  for (const char* right : {"7z", "h++", "x_t", "123", "a-b"}) {
    FileType type = Pdf();
    type.extension = right;
    EXPECT_EQ(Fault(type), "") << right;
  }
}

TEST(RegisteredTypes, GiveOneForEachExtension) {
  EXPECT_EQ(Registered("image/jpeg\t\t\tjpeg jpg jpe\ntext/html html\n"),
            (Lines{"jpeg image/jpeg base64", "jpg image/jpeg base64", "jpe image/jpeg base64",
                   "html text/html base64"}));
}

TEST(RegisteredTypes, GiveNothingForWhatHasNoExtension) {
  EXPECT_EQ(Registered("# comment x\n\napplication/none\n  \t\nimage/x y # z\n"),
            Lines{"y image/x base64"});
}

TEST(RegisteredTypes, GiveWayToThoseThatStandThere) {
  EXPECT_EQ(Registered("application/x-pdf pdf PDF other\n", {Pdf()}),
            Lines{"other application/x-pdf base64"});
}

TEST(RegisteredTypes, TakeTheFirstOfSeveralForAnExtension) {
  EXPECT_EQ(Registered("a/b x X\nc/d X y\n"), (Lines{"x a/b base64", "y c/d base64"}));
}

TEST(RegisteredTypes, LeaveOutWhatBreaksARule) {
  EXPECT_EQ(Registered("a/b webmanifest tm.json ~ ok\nnonsense x\n/b y\na/ z\na;b/c w\n"),
            Lines{"ok a/b base64"});
}

TEST(RegisteredTypes, LeaveOutTypesWithParts) {
  EXPECT_EQ(Registered("multipart/voice-message vpm\nMultipart/x y\n"), Lines{});
}

TEST(RegisteredTypes, EncodeNoMessages) {
  EXPECT_EQ(Registered("message/rfc822 eml\n"), Lines{"eml message/rfc822 8bit"});
}

}  // namespace
}  // namespace qob::testing
