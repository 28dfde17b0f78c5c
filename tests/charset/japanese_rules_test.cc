// The conversions rule by rule, each row with the bytes that it must give; and the exported calls'
// settings and log lines one by one.
#include <cstdlib>
#include <filesystem>
#include <ostream>

#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/japanese.h>

#include "charset/japanese_text.h"
#include "charset/jis_to_shift_jis.h"
#include "charset/shift_jis_to_jis.h"
#include "support/captured_log.h"
#include "support/faults.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

using testing::CapturedLog;
using testing::FailCalls;
using testing::Failing;
using testing::TempSpool;

std::string Bytes(const char* hex) {
  std::string bytes;
  for (; *hex != '\0'; ++hex) {
    if (*hex == ' ') continue;
    const char two[] = {hex[0], hex[1], '\0'};
    bytes += static_cast<char>(std::strtol(two, nullptr, 16));
    ++hex;
  }
  return bytes;
}

struct Row {
  const char* name;
  const char* text;
  const char* converted;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }
std::string NameOf(const ::testing::TestParamInfo<Row>& row) { return row.param.name; }

class Conversion : public ::testing::TestWithParam<Row> {
 protected:
  template <class Convert>
  std::string Through(Convert&& convert) {
    const std::string in = spool_.File("in", Bytes(GetParam().text));
    LineReader reader;
    FileWriter writer;
    EXPECT_TRUE(reader.Open(in.c_str()) && writer.Create(spool_.path("out").c_str()));
    EXPECT_TRUE(convert(reader, writer) && writer.Close());
    return TempSpool::Read(spool_.path("out"));
  }
  std::string Decoded(bool repair) {
    return Through([&](auto& in, auto& out) { return JisToShiftJis(in, INT64_MAX, repair, out); });
  }

  TempSpool spool_;
};

// ---- JIS to Shift-JIS: with and without the repair the same

class JisText : public Conversion {};
TEST_P(JisText, Becomes) {
  EXPECT_EQ(Decoded(true), Bytes(GetParam().converted));
  EXPECT_EQ(Decoded(false), Bytes(GetParam().converted));
}
INSTANTIATE_TEST_SUITE_P(
    Rules, JisText,
    ::testing::Values(
        Row{"AWholeRun", "1B2442 3021 1B2842", "889F"},
        Row{"TheOlderKanjiIn", "1B2440 3021 1B284A", "889F"},
        Row{"AnEmptyRun", "1B2442 1B2842 61", "61"},
        Row{"AnEmptyRunDoesNotEndTheText", "1B2442 1B2842 61 0D0A 62 0D0A", "61 0D0A 62 0D0A"},
        Row{"TwoByteModeLastsOverLines", "1B2442 3021 0D0A 3021 1B2842", "889F 0D0A 889F"},
        Row{"ALineFeedBehindKanjiIn", "1B2442 0A 3021 1B2842", "0A 889F"},
        Row{"ABlankInTwoByteText", "1B2442 3021 20 3021 1B2842", "889F 20 889F"},
        Row{"TheEndWithinAPair", "1B2442 3021 30", "889F 30"},
        Row{"AnotherKanjiInWithinARun", "1B2442 3021 1B2440 3022 1B2842", "889F 88A0"},
        Row{"AnotherCharsetIsDropped", "1B2441 61", "61"},
        Row{"KatakanaInIsDropped", "1B2849 61", "61"},
        Row{"KatakanaInKeepsTwoByteMode", "1B2442 3021 1B2849 3021 1B2842", "889F 889F"},
        Row{"AnotherEscapeTakesOneByte", "1B4E 61 62", "61 62"},
        Row{"AnotherEscapeEndsTwoByteMode", "1B2442 3021 1B4E 61 62", "889F 61 62"},
        Row{"TheByteBehindAnEscapeIsWrittenAsItIs", "1B4E 1B 2442", "1B 2442"},
        Row{"NoLineEndIsDropped", "1B24 0D0A 61 1B28 0A 1B 0D0A", "0D0A 61 0A 0D0A"},
        Row{"NoNulIsDropped", "1B24 00 1B28 00 1B 00 61", "00 00 00 61"},
        Row{"AnEscapeAtTheEnd", "61 1B", "61"}, Row{"HalfAKanjiInAtTheEnd", "61 1B24", "61"},
        Row{"HalfAKanjiOutAtTheEnd", "61 1B28", "61"},
        Row{"ABareCrIsAByte", "61 0D 62 0D0A", "61 0D 62 0D0A"},
        Row{"ABareCrInTwoByteText", "1B2442 0D 3021 1B2842", "0D 889F"},
        Row{"ACrAtTheEndGetsItsLineFeed", "61 0D", "61 0D0A"},
        Row{"BareLineFeedsStay", "61 0A 62 0A", "61 0A 62 0A"},
        Row{"EightBitBytesStay", "61 889F B6 62", "61 889F B6 62"},
        Row{"TheFirstRow", "1B2442 2121 217E 1B2842", "8140 819E"},
        Row{"TheLastRowBelowTheGap", "1B2442 5E21 5E7E 1B2842", "9F9F 9FFC"},
        Row{"TheFirstRowBehindTheGap", "1B2442 5F21 5F7E 1B2842", "E040 E09E"},
        Row{"TheLastRow", "1B2442 7E21 7E7E 1B2842", "EF9F EFFC"},
        Row{"TheTrailByteLeavesOut7F", "1B2442 215F 2160 1B2842", "817E 8180"}),
    NameOf);

// ---- with the repair

class DamagedText : public Conversion {};
TEST_P(DamagedText, IsRepaired) { EXPECT_EQ(Decoded(true), Bytes(GetParam().converted)); }
TEST_P(DamagedText, StaysWithoutTheRepair) {
  // But for an escape sequence that is still whole.
  std::string kept = Bytes(GetParam().text);
  if (const std::size_t at = kept.find("\x1B(B"); at != std::string::npos) kept.erase(at, 3);
  EXPECT_EQ(Decoded(false), kept);
}
INSTANTIATE_TEST_SUITE_P(
    Rules, DamagedText,
    ::testing::Values(
        Row{"ALineOfOneRun", "2442 3021 2842 0D0A", "889F 0D0A"},
        Row{"TheOtherLetters", "2440 3021 284A 0D0A", "889F 0D0A"},
        Row{"TextAroundTheRun", "61 2442 3021 3022 2842 62 0D0A", "61 889F88A0 62 0D0A"},
        Row{"TwoRunsOfALine", "2442 3021 2842 61 2442 3022 2842 0D0A", "889F 61 88A0 0D0A"},
        Row{"ADoubledParenthesis", "2442 3021 2828 2842", "889F 84A6"},
        Row{"AParenthesisAsSecondByte", "2442 2528 2842", "8347"},
        Row{"OnlyTheFirstEscapeWasLost", "2442 3021 1B2842", "889F"},
        Row{"NoPairBeforeTheMarker", "2442 2842 0D0A", "2442 2842 0D0A"},
        Row{"TheMarkerAtAnOddPlace", "2442 302130 2842 0D0A", "2442 302130 2842 0D0A"},
        Row{"ABlankWithinTheRun", "2442696C6C20 28426F6F29 0D0A", "2442696C6C20 28426F6F29 0D0A"},
        Row{"TheLineEndsBeforeTheMarker", "2442 3021 0D0A 2842", "2442 3021 0D0A 2842"},
        Row{"TheRestOfTheLineIsNotSearchedAgain", "2442 20 2442 3021 2842 0D0A",
            "2442 20 2442 3021 2842 0D0A"},
        Row{"TheNextLineIs", "2442 20 0D0A 2442 3021 2842 0D0A", "2442 20 0D0A 889F 0D0A"},
        Row{"ALineFeedAlone", "2442 3021 0A 2842", "2442 3021 0A 2842"},
        Row{"NoLineEnd", "2442 3021", "2442 3021"},
        Row{"AnotherLetter", "2443 3021 2842", "2443 3021 2842"},
        Row{"ADollarAtTheEnd", "61 24", "61 24"}),
    NameOf);

TEST(RepairOfJis, LeavesTwoByteTextAlone) {
  TempSpool spool;
  const std::string in = spool.File("in", "\x1B$B$B0!\x1B(B");
  LineReader reader;
  FileWriter writer;
  ASSERT_TRUE(reader.Open(in.c_str()) && writer.Create(spool.path("out").c_str()));
  ASSERT_TRUE(JisToShiftJis(reader, INT64_MAX, true, writer) && writer.Close());
  EXPECT_EQ(TempSpool::Read(spool.path("out")), "\x82\xC0\x88\x9F");  // 2442 is a character there
}

// ---- Shift-JIS to JIS

class ShiftJisText : public Conversion {};
TEST_P(ShiftJisText, Becomes) {
  EXPECT_EQ(Through([](auto& in, auto& out) { return ShiftJisToJis(in, std::nullopt, out); }),
            Bytes(GetParam().converted));
}
INSTANTIATE_TEST_SUITE_P(
    Rules, ShiftJisText,
    ::testing::Values(
        Row{"ACharacterAndALetter", "889F 61", "1B2442 3021 1B284A 61"},
        Row{"ARunOverALineEnd", "889F 889F 0D0A", "1B2442 3021 3021 1B284A 0D0A"},
        Row{"AVoicedKatakana", "61 B6DE", "61 1B2442 252C 1B284A"},
        Row{"ASemiVoicedKatakana", "61 CADF", "61 1B2442 2551 1B284A"},
        Row{"TheVoicedU", "61 B3DE", "61 1B2442 2574 1B284A"},
        Row{"AKatakanaAtTheVeryBeginning", "B6DE", "B6 1B2442 212B 1B284A"},
        Row{"AKatakanaAsTheLastByteOfARun", "61 B6B1", "61 1B2442 252B 1B284A B1"},
        Row{"AKatakanaAtTheEndIsReadOnce", "61 B6", "61 1B2442 252B 1B284A"},
        Row{"AMarkThatDoesNotFitStandsAlone", "61 B1DE 61", "61 1B2442 2522 212B 1B284A 61"},
        Row{"ASemiVoicedMarkThatDoesNotFit", "61 B6DF 61", "61 1B2442 252B 212C 1B284A 61"},
        Row{"KatakanaAndKanji", "61 B1889FB1 61", "61 1B2442 2522 3021 2522 1B284A 61"},
        Row{"InvalidBytesStay", "61 FF 889F", "61 FF 1B2442 3021 1B284A"},
        Row{"ALeadByteAtTheEnd", "81", "81"}, Row{"ALeadByteBeforeALineEnd", "81 0D0A", "81 0D0A"},
        Row{"ALeadByteWithoutTrailByte", "61 8820 889F", "61 8820 1B2442 3021 1B284A"},
        Row{"LeadBytesBeyondTheRows", "61 F040 FC40", "61 F040 FC40"},
        Row{"AByteBehindAnInvalidOneIsJudgedAfresh", "61 80 889F", "61 80 1B2442 3021 1B284A"},
        Row{"ANulIsAByte", "61 00 889F 00 62", "61 00 1B2442 3021 1B284A 00 62"},
        Row{"Nothing", "", ""}),
    NameOf);

class MarkedText : public Conversion {};
TEST_P(MarkedText, Becomes) {
  EXPECT_EQ(Through([](auto& in, auto& out) { return ShiftJisToJis(in, "?", out); }),
            Bytes(GetParam().converted));
}
INSTANTIATE_TEST_SUITE_P(
    Rules, MarkedText,
    ::testing::Values(Row{"EachInvalidByte", "61 FF80 62 889F", "61 3F3F 62 1B2442 3021 1B284A"},
                      Row{"AKatakanaAtTheVeryBeginning", "B6 61", "3F 61"},
                      Row{"TheLastByteOfARun", "889F B6", "1B2442 3021 1B284A 3F"},
                      Row{"AsciiStays", "00 61 7F", "00 61 7F"}),
    NameOf);

// ---- the exported calls

class JapaneseSettings : public ::testing::Test {
 protected:
  ~JapaneseSettings() override { TerminateQOBDll(); }
  void Start(const std::string& gateway, const std::string& options) {
    spool_.SetWholeIni("[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" + spool_.temp() + "\n" +
                       gateway + "[Options]\n" + options);
    InitQOBDll_NOMQ("test");
  }
  static std::string Take(char* text) {
    if (text == nullptr) return "<null>";
    const std::string copy = text;
    std::free(text);
    return copy;
  }
  // What a message file holds after the call.
  std::string Checked(std::string_view text) {
    const std::string path = spool_.File("message", text);
    EXPECT_EQ(CheckJapanese(path.c_str()), 0);
    return TempSpool::Read(path);
  }

  TempSpool spool_;
  static constexpr char kJis[] = "\x1B$B0!\x1B(B";
  static constexpr char kDamaged[] = "$B0!(B\r\n";
};

TEST_F(JapaneseSettings, OnlyYesLeavesHeadersAlone) {
  for (const char* value : {"NO", "maybe", ""}) {
    Start("LocalCharSet=ISO-2022-JP\n", "DisableJISinHeaders=" + std::string(value) + "\n");
    EXPECT_EQ(Take(bufJIS2ShiftJIS(kJis)), "\x88\x9F") << value;
  }
  Start("LocalCharSet=ISO-2022-JP\n", "DisableJISinHeaders=Yes\n");
  EXPECT_EQ(Take(bufJIS2ShiftJIS(kJis)), "<null>");
}

TEST_F(JapaneseSettings, HeadersAreRepairedByDefaultInBothCalls) {
  Start("LocalCharSet=ISO-2022-JP\n", "");
  EXPECT_EQ(Take(bufJIS2ShiftJIS(kDamaged)), "\x88\x9F\r\n");
  EXPECT_EQ(Take(bufJIS2ShiftJIS_wmc(kDamaged)), "\x88\x9F\r\n");
}

TEST_F(JapaneseSettings, TheRepairOfHeadersCanBeSwitchedOffInBothCalls) {
  Start("LocalCharSet=ISO-2022-JP\n", "RepairDamagedJISinHeaders=No\nRepairDamagedJIS=YES\n");
  EXPECT_EQ(Take(bufJIS2ShiftJIS(kDamaged)), kDamaged);
  EXPECT_EQ(Take(bufJIS2ShiftJIS_wmc(kDamaged)), kDamaged);
}

TEST_F(JapaneseSettings, MessagesAreScannedByDefaultOnAJapaneseSiteOnly) {
  Start("LocalCharSet=iso-2022-jp\n", "");
  EXPECT_EQ(Checked(kJis), "\x88\x9F");
  Start("LocalCharSet=US-ASCII\n", "");
  EXPECT_EQ(Checked(kJis), kJis);
  Start("", "");
  EXPECT_EQ(Checked(kJis), kJis);
}

TEST_F(JapaneseSettings, MessagesAreRepairedByDefault) {
  Start("", "ScanForJIS=YES\nRepairDamagedJISinHeaders=NO\n");
  EXPECT_EQ(Checked(kDamaged), "\x88\x9F\r\n");
}

TEST_F(JapaneseSettings, AnEmptyTextToEncodeGivesNull) {
  Start("", "");
  EXPECT_EQ(bufShiftJIS2JIS(""), nullptr);
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(JapaneseSettings, ATextThatBecomesNothingGivesNull) {
  Start("", "");
  EXPECT_EQ(bufJIS2ShiftJIS_wmc(""), nullptr);
  EXPECT_EQ(bufJIS2ShiftJIS_wmc("\x1B$B\x1B(B"), nullptr);
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(JapaneseSettings, EncodingReadsNoSetting) {
  Start("LocalCharSet=US-ASCII\n", "InvalidCharacterMark=?\nDisableJISinHeaders=YES\n");
  EXPECT_EQ(Take(bufShiftJIS2JIS("\x88\x9F\xFF")), "\x1B$B0!\x1B(J\xFF");
}

TEST_F(JapaneseSettings, AMessageWithoutJisPassesThrough) {
  Start("", "ScanForJIS=YES\n");
  const std::string text =
      std::string("Subject: x\r\n\r\na\0b\x88\x9F\n", 19) + std::string(5000, 'l');
  EXPECT_EQ(Checked(text), text);
  EXPECT_EQ(Checked(""), "");
}

// ---- what is told when it fails

class JapaneseFailure : public JapaneseSettings {
 protected:
  void SetUp() override {
    Start("", "ScanForJIS=YES\n");
    path_ = spool_.File("message", kJis);
    Take(bufShiftJIS2JIS("a"));  // the first name makes the counter's file
  }
  // Some call of that kind, failing alone, gives that message; others may be the counter's.
  void ExpectFailure(os::Call call, const char* path_part, const char* told) {
    for (std::uint64_t nth = 1;; ++nth) {
      CapturedLog log;
      const FailCalls fail(call, nth, Failing::kOnce, EIO, path_part);
      const int result = CheckJapanese(path_.c_str());
      ASSERT_TRUE(fail.triggered()) << "no failure gives " << told;
      EXPECT_TRUE(spool_.TempFiles().empty());
      if (!log.Has(1, told)) {
        spool_.File("message", kJis);
        continue;
      }
      EXPECT_EQ(result, -1);
      EXPECT_EQ(log.lines().back(), (testing::LogLine{1, "test", told}));
      EXPECT_EQ(TempSpool::Read(path_), kJis);
      return;
    }
  }

  std::string path_;
};

TEST_F(JapaneseFailure, ACopyThatCannotBeMadeIsTold) {
  ExpectFailure(os::Call::kOpen, "MIME", "filecreate failed.");
}
TEST_F(JapaneseFailure, AMessageThatCannotBeOpenedIsTold) {
  ExpectFailure(os::Call::kOpen, "message", "fileopen failed.");
}
TEST_F(JapaneseFailure, AMessageThatCannotBeMeasuredIsTold) {
  ExpectFailure(os::Call::kStat, "message", "JIS2ShiftJIS conversion failed.");
}
TEST_F(JapaneseFailure, ACopyThatDoesNotReachTheDiskIsTold) {
  ExpectFailure(os::Call::kFlush, "", "JIS2ShiftJIS conversion failed.");
}
TEST_F(JapaneseFailure, ACopyThatCannotTakeItsPlaceIsTold) {
  ExpectFailure(os::Call::kRename, "", "JIS2ShiftJIS conversion failed.");
}

}  // namespace
}  // namespace qob
