// Japanese conversions: the exported calls, worked examples, and both machines against a plain
// model and the system's own converter.
#include <iconv.h>
#include <sys/stat.h>

#include <cstdlib>
#include <random>

#include <qob3xapi/frame.h>
#include <qob3xapi/japanese.h>

#include "charset/japanese_model.h"
#include "charset/japanese_text.h"
#include "charset/jis_to_shift_jis.h"
#include "charset/shift_jis.h"
#include "charset/shift_jis_to_jis.h"
#include "support/captured_log.h"
#include "support/failing_allocator.h"
#include "support/faults.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

using testing::CapturedLog;
using testing::TempSpool;
using namespace std::string_literals;

// A started library in a spool of its own.
class Japanese : public ::testing::Test {
 protected:
  Japanese() { Start(""); }
  ~Japanese() override { TerminateQOBDll(); }
  // `more`: whole sections. [Gateway] keys are put into the section that the spool writes.
  void Start(const std::string& more, const std::string& charset = "") {
    spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nQueueDirectory=" + spool_.queue() +
                       "\nTemporaryDirectory=" + spool_.temp() + "\n" +
                       (charset.empty() ? "" : "LocalCharSet=" + charset + "\n") + more);
    InitQOBDll_NOMQ("test");
  }
  // Of a text as bufJIS2ShiftJIS_wmc; "<null>" for null.
  static std::string Take(char* text) {
    if (text == nullptr) return "<null>";
    const std::string copy = text;
    std::free(text);
    return copy;
  }
  static std::string Decode(const std::string& text) {
    return Take(bufJIS2ShiftJIS_wmc(text.c_str()));
  }
  static std::string Encode(const std::string& text) { return Take(bufShiftJIS2JIS(text.c_str())); }
  // The file converters on any bytes.
  std::string EncodeFile(std::string_view bytes, std::optional<std::string_view> mark) {
    Fill(bytes);
    const os::FileHandle in(os::OpenFile(spool_.path("in"), {}).value);
    EXPECT_TRUE(ShiftJisFileToJis(in.get(), mark, spool_.path("out").c_str()));
    return TempSpool::Read(spool_.path("out"));
  }
  std::string DecodeFile(std::string_view bytes, bool repair, std::int64_t limit = INT64_MAX) {
    Fill(bytes);
    LineReader reader;
    FileWriter writer;
    EXPECT_TRUE(reader.Open(spool_.path("in").c_str()) &&
                writer.Create(spool_.path("out").c_str()));
    EXPECT_TRUE(JisToShiftJis(reader, limit, repair, writer));
    EXPECT_TRUE(writer.Close());
    return TempSpool::Read(spool_.path("out"));
  }

  // New files each time: replacing one in place makes the file system flush it.
  void Fill(std::string_view bytes) {
    for (const char* name : {"in", "out"}) std::filesystem::remove(spool_.path(name));
    spool_.File("in", bytes);
  }

  TempSpool spool_;
};

TEST_F(Japanese, HeadersAreConvertedOnlyOnAJapaneseSite) {
  EXPECT_EQ(bufJIS2ShiftJIS("\x1B$B0!\x1B(B"), nullptr);
  EXPECT_EQ(Decode("\x1B$B0!\x1B(B"), "\x88\x9F");
  Start("", "iso-2022-jp");
  EXPECT_EQ(Take(bufJIS2ShiftJIS("\x1B$B0!\x1B(B")), "\x88\x9F");
  Start("", "Shift_JIS");
  EXPECT_EQ(bufJIS2ShiftJIS("\x1B$B0!\x1B(B"), nullptr);
}

TEST_F(Japanese, HeadersCanBeLeftAlone) {
  Start("[Options]\nDisableJISinHeaders=yes\n", "ISO-2022-JP");
  EXPECT_EQ(bufJIS2ShiftJIS("\x1B$B0!\x1B(B"), nullptr);
  EXPECT_EQ(Decode("\x1B$B0!\x1B(B"), "\x88\x9F");
}

TEST_F(Japanese, RunsWithoutEscapesAreRepairedUnlessSwitchedOff) {
  EXPECT_EQ(Decode("$B0!(B"), "\x88\x9F");
  EXPECT_EQ(Decode("a$@0!(Jb"),
            "a\x88\x9F"
            "b");
  Start("[Options]\nRepairDamagedJISinHeaders=NO\n");
  EXPECT_EQ(Decode("$B0!(B"), "$B0!(B");
}

TEST_F(Japanese, DecodesTheWorkedTexts) {
  EXPECT_EQ(Decode("$B0!(B\r\n"), "\x88\x9F\r\n");
  EXPECT_EQ(Decode("$B0!(((B"), "\x88\x9F\x84\xA6");  // a doubled parenthesis is a character
  EXPECT_EQ(Decode("$B%((B"), "\x83\x47");            // a parenthesis as second byte is none
  EXPECT_EQ(Decode("$B0!\x1B(B"), "\x88\x9F");        // only the first escape was lost
  EXPECT_EQ(Decode("$Bill (Boo)\r\n"), "$Bill (Boo)\r\n");
  EXPECT_EQ(Decode("\x1B$B0!\r\n0!\x1B(B"), "\x88\x9F\r\n\x88\x9F");
  EXPECT_EQ(Decode("\x1B$B\x1B(Ba"), "a");
  EXPECT_EQ(Decode("\x1BNab"), "ab");
  EXPECT_EQ(Decode("\x1B(Ia"), "a");
  EXPECT_EQ(Decode("\x1B$Aab"), "ab");
  EXPECT_EQ(Decode("\x1B$\r\nab\x1B(\n\x1B\r\n"), "\r\nab\n\r\n");
  EXPECT_EQ(Decode("$5"), "$5");
}

TEST_F(Japanese, AnEmptyRunInTheFirstLineDoesNotEndTheText) {
  EXPECT_EQ(Decode("\x1B$B\x1B(Ba\r\nsecond\r\n"), "a\r\nsecond\r\n");
}

TEST_F(Japanese, LineEndsComeOutAsTheyShould) {
  EXPECT_EQ(Decode("a\r\nb\nc\rd\r"), "a\r\nb\nc\rd\r\n");
}

TEST_F(Japanese, EncodesTheWorkedTexts) {
  EXPECT_EQ(Encode("\x88\x9F"
                   "a"),
            "\x1B$B0!\x1B(Ja");
  EXPECT_EQ(Encode("a\xB6\xDE"), "a\x1B$B%,\x1B(J");
  EXPECT_EQ(Encode("\xB6\xDE"), "\xB6\x1B$B!+\x1B(J");
  EXPECT_EQ(Encode("a\xCA\xDF"), "a\x1B$B%Q\x1B(J");
  EXPECT_EQ(Encode("a\xB3\xDE"), "a\x1B$B%t\x1B(J");
  EXPECT_EQ(Encode("a\xB6\xB1"), "a\x1B$B%+\x1B(J\xB1");
  EXPECT_EQ(Encode("a\xB6"), "a\x1B$B%+\x1B(J");
  EXPECT_EQ(Encode("\x88\x9F\x88\x9F\r\n"), "\x1B$B0!0!\x1B(J\r\n");
  EXPECT_EQ(Encode("a\xFF\x88\x9F"), "a\xFF\x1B$B0!\x1B(J");
  EXPECT_EQ(Encode("\x81"), "\x81");
  EXPECT_EQ(Encode("\x81\r\n"), "\x81\r\n");
  EXPECT_EQ(Encode(""), "<null>");
}

TEST_F(Japanese, MarksInvalidBytes) {
  EXPECT_EQ(EncodeFile("a\xFF\x80"
                       "b\x88\x9F",
                       "?"),
            "a??b\x1B$B0!\x1B(J");
  EXPECT_EQ(EncodeFile("a\xFF"
                       "b",
                       ""),
            "ab");
  EXPECT_EQ(EncodeFile("\xFF\xFF", "<bad>"), "<bad><bad>");
  EXPECT_EQ(EncodeFile("\x88\x9F\xB6", "?"), "\x1B$B0!\x1B(J?");
}

TEST_F(Japanese, ANulIsAnOrdinaryByte) {
  EXPECT_EQ(EncodeFile("a\0\x88\x9F\0b"s, "?"), "a\0\x1B$B0!\x1B(J\0b"s);
  EXPECT_EQ(DecodeFile("a\0\x1B$B0!\0b"s, true), "a\0\x88\x9F\0b"s);
}

TEST_F(Japanese, ConversionEndsAtTheByteCount) {
  EXPECT_EQ(DecodeFile("abcdef", true, 3), "abc");
  EXPECT_EQ(DecodeFile("$B0!(B", true, 5), "$B0!(");
}

TEST_F(Japanese, EveryCharacterIsThatOfTheSystemsConverter) {
  const iconv_t to_sjis = iconv_open("SHIFT_JIS", "ISO-2022-JP");
  ASSERT_NE(to_sjis, reinterpret_cast<iconv_t>(-1));
  int known = 0;
  for (int row = 0x21; row <= 0x7E; ++row) {
    for (int cell = 0x21; cell <= 0x7E; ++cell) {
      std::string jis = "\x1B$B" + std::string{static_cast<char>(row), static_cast<char>(cell)};
      char* from = jis.data();
      std::size_t from_left = jis.size();
      char wide[8] = "";
      char* to = wide;
      std::size_t to_left = sizeof wide;
      iconv(to_sjis, nullptr, nullptr, nullptr, nullptr);
      if (iconv(to_sjis, &from, &from_left, &to, &to_left) != 0 || to - wide != 2) continue;
      ++known;
      const OctetPair pair = {static_cast<Octet>(wide[0]), static_cast<Octet>(wide[1])};
      const OctetPair ours = ShiftJisOf({static_cast<Octet>(row), static_cast<Octet>(cell)});
      EXPECT_EQ(ours.first, pair.first);
      EXPECT_EQ(ours.second, pair.second);
      EXPECT_EQ(JisOf(pair).first, row);
      EXPECT_EQ(JisOf(pair).second, cell);
    }
  }
  iconv_close(to_sjis);
  // 6,879 characters less the backslash, which that converter gives as one byte.
  EXPECT_GE(known, 6878);
}

std::string RandomText(std::mt19937& random, std::size_t pieces) {
  static const std::string kPieces[] = {
      "\x1B$B", "\x1B$@",   "\x1B(B",   "\x1B(J",   "\x1B(I", "\x1B",     "$B",
      "$@",     "(B",       "(J",       "((",       "0!",     "%,",       "%(",
      "\r\n",   "\n",       "\r",       "a",        " ",      "\x88\x9F", "\xE0\x40",
      "\x81",   "\xB6\xDE", "\xCA\xDF", "\xB3\xDE", "\xB1",   "\xDE",     "\xFF",
      "\x80",   "\xF0\x40", "$",        "\0"s,      "zz"};
  std::uniform_int_distribution<std::size_t> pick(0, std::size(kPieces) - 1);
  std::string text;
  for (std::size_t i = 0; i < pieces; ++i) text += kPieces[pick(random)];
  return text;
}

TEST_F(Japanese, BothMachinesDoWhatTheModelDoes) {
  std::mt19937 random(20261121);
  for (int i = 0; i < 3000; ++i) {
    const std::string text = RandomText(random, 1 + static_cast<std::size_t>(i) % 24);
    ASSERT_EQ(EncodeFile(text, std::nullopt), testing::ModelEncode(text, std::nullopt)) << i;
    ASSERT_EQ(EncodeFile(text, "?"), testing::ModelEncode(text, "?")) << i;
    ASSERT_EQ(DecodeFile(text, true), testing::ModelDecode(text, true)) << i;
    ASSERT_EQ(DecodeFile(text, false), testing::ModelDecode(text, false)) << i;
  }
}

TEST_F(Japanese, BlockBordersChangeNothing) {
  std::mt19937 random(8);
  // Reading goes in blocks of 64 KB and looks ahead within halves of them.
  for (std::size_t border : {std::size_t{32768}, std::size_t{65536}}) {
    for (std::size_t before = 0; before < 24; ++before) {
      const std::string text = std::string(border - before, 'x') + RandomText(random, 16);
      ASSERT_EQ(EncodeFile(text, "?"), testing::ModelEncode(text, "?")) << border - before;
      ASSERT_EQ(DecodeFile(text, true), testing::ModelDecode(text, true)) << border - before;
    }
  }
  std::string wide = "b";
  for (int i = 0; i < 60000; ++i) wide += i % 7 == 0 ? "\xB6\xDE" : "\x88\x9F";
  for (int i = 0; i < 4; ++i) {
    wide.insert(0, "y");
    ASSERT_EQ(EncodeFile(wide, "?"), testing::ModelEncode(wide, "?"));
  }
}

TEST_F(Japanese, ALostKanjiOutIsFoundHoweverFar) {
  std::string run;
  for (int i = 0; i < 100000; ++i) run += i % 2 == 0 ? "0!" : "((";
  for (const char* tail : {"(B tail\r\n", " no end\r\n", "", "\x1B(J", "0"}) {
    const std::string text = "head $B" + run + tail;
    ASSERT_EQ(DecodeFile(text, true), testing::ModelDecode(text, true)) << tail;
  }
}

TEST_F(Japanese, MessageFilesAreConvertedInPlace) {
  const std::string path = spool_.File("message", "Subject: \x1B$B0!\x1B(B\r\n\r\n$B0!(B\r\n");
  EXPECT_EQ(CheckJapanese(path.c_str()), 0);  // not a Japanese site: left alone
  EXPECT_NE(TempSpool::Read(path).find('\x1B'), std::string::npos);
  Start("", "ISO-2022-JP");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_EQ(CheckJapanese(path.c_str()), 0);
  EXPECT_EQ(TempSpool::Read(path), "Subject: \x88\x9F\r\n\r\n\x88\x9F\r\n");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(Japanese, ScanningIsSwitchedByItself) {
  const std::string text = "\x1B$B0!\x1B(B $B0!(B\r\n";
  const std::string path = spool_.File("message", text);
  Start("[Options]\nScanForJIS=no\n", "ISO-2022-JP");
  EXPECT_EQ(CheckJapanese(path.c_str()), 0);
  EXPECT_EQ(TempSpool::Read(path), text);
  Start("[Options]\nScanForJIS=maybe\nRepairDamagedJIS=no\n");
  EXPECT_EQ(CheckJapanese(path.c_str()), 0);
  EXPECT_EQ(TempSpool::Read(path), "\x88\x9F $B0!(B\r\n");
}

TEST_F(Japanese, AFailedConversionTellsAndLeavesTheMessage) {
  Start("[Options]\nScanForJIS=YES\n");
  CapturedLog log;
  EXPECT_EQ(CheckJapanese(spool_.path("missing").c_str()), -1);
  EXPECT_TRUE(log.Has(1, "fileopen failed."));
  EXPECT_EQ(CheckJapanese(nullptr), -1);
  const std::string text = "\x1B$B0!\x1B(B";
  const std::string path = spool_.File("message", text);
  for (const os::Call call : {os::Call::kOpen, os::Call::kRead, os::Call::kWrite, os::Call::kMode,
                              os::Call::kRename, os::Call::kAccess, os::Call::kStat}) {
    int result = 0;
    testing::FailEachCall(
        call, [&] { result = CheckJapanese(path.c_str()); },
        [&](bool) {
          // A configuration that cannot be read switches nothing on.
          const std::string found = TempSpool::Read(path);
          EXPECT_TRUE(found == text || (found == "\x88\x9F" && result == 0)) << found;
          EXPECT_TRUE(spool_.TempFiles().empty());
          TempSpool::Write(path, text);
        });
  }
}

TEST_F(Japanese, WithoutATemporaryDirectoryNothingIsConverted) {
  spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" + spool_.path("none") +
                     "\n[Options]\nScanForJIS=YES\n");
  InitQOBDll_NOMQ("test");
  CapturedLog log;
  EXPECT_EQ(bufShiftJIS2JIS("a"), nullptr);
  EXPECT_EQ(bufJIS2ShiftJIS_wmc("a"), nullptr);
  const std::string path = spool_.File("message", "a");
  EXPECT_EQ(CheckJapanese(path.c_str()), -1);
  EXPECT_TRUE(log.Has(1, "out of memory"));
  unsetenv("TMP");
}

TEST_F(Japanese, EveryFailureGivesNullAndLeavesNoFile) {
  const std::string wide = "a\x88\x9F";
  std::string result;
  const auto check = [&](bool triggered) {
    EXPECT_TRUE(result == "a\x1B$B0!\x1B(J" || (triggered && result == "<null>")) << result;
    EXPECT_TRUE(spool_.TempFiles().empty());
  };
  char* raw = nullptr;
  testing::FailEachAllocation([&] { raw = bufShiftJIS2JIS(wide.c_str()); },
                              [&](bool triggered) {
                                result = Take(raw);
                                check(triggered);
                              });
  for (const os::Call call :
       {os::Call::kOpen, os::Call::kRead, os::Call::kWrite, os::Call::kStat}) {
    testing::FailEachCall(
        call, [&] { raw = bufShiftJIS2JIS(wide.c_str()); },
        [&](bool triggered) {
          result = Take(raw);
          check(triggered);
        });
  }
}

TEST_F(Japanese, NullGivesNull) {
  EXPECT_EQ(bufJIS2ShiftJIS(nullptr), nullptr);
  EXPECT_EQ(bufJIS2ShiftJIS_wmc(nullptr), nullptr);
  EXPECT_EQ(bufShiftJIS2JIS(nullptr), nullptr);
}

}  // namespace
}  // namespace qob
