// Encoded words: which words are encoded, how, and where the lines break. Expected texts are worked
// out by hand from the widths: a new word starts a line from column 75 on, a cut word fills its
// line to 75, a fold leaves column 3.
#include "charset/word_encoder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/exact_copy.h"

namespace qob {
namespace {

const std::string kQ = "=?ISO-8859-1?Q?";  // 15 characters
const std::string kB = "=?ISO-8859-1?B?";
const std::string kNewLine = "\r\n ";

std::string Times(std::size_t count, std::string_view piece) {
  std::string text;
  for (; count > 0; --count) text += piece;
  return text;
}

std::string Encode(std::string_view text, bool base64 = false,
                   std::string_view charset = "ISO-8859-1") {
  const WordStyle style(charset, base64);
  TextBuffer out;
  WordEncoder(style, &out).Append(testing::ExactCopy(text).view());
  return std::string(out.view());
}
std::string EncodeB(std::string_view text, std::string_view charset = "ISO-8859-1") {
  return Encode(text, true, charset);
}

TEST(EncodedWords, LeaveTextWithoutEightBitBytesAlone) {
  for (const char* text : {"", " ", "plain", "two  blanks ", "=?x?Q?y?=", "\x1B$B8e\x1B(B",
                           "trail  \r\n", "tab\there"}) {
    EXPECT_EQ(Encode(text), text);
    EXPECT_EQ(EncodeB(text), text);
  }
}

TEST(EncodedWords, EncodeTheWordsThatNeedIt) {
  EXPECT_EQ(Encode("Gr\xFC\xDF"
                   "e aus K\xF6ln"),
            "=?ISO-8859-1?Q?Gr=FC=DFe?= aus =?ISO-8859-1?Q?K=F6ln?=");
}

TEST(EncodedWords, JoinNeighbours) {
  EXPECT_EQ(Encode("\xFC \xE4"), kQ + "=FC=20=E4?=");
  EXPECT_EQ(Encode("a \xFC \xE4 b \xF6"), "a " + kQ + "=FC=20=E4?= b " + kQ + "=F6?=");
  EXPECT_EQ(EncodeB("\xFC \xE4"), kB + "/CDk?=");
}

TEST(EncodedWords, KeepBlanksBetweenWords) {
  EXPECT_EQ(Encode("a  \xFC  b"), "a  " + kQ + "=FC?=  b");
  EXPECT_EQ(Encode("\xFC  \xE4"), kQ + "=FC?=  " + kQ + "=E4?=");
  EXPECT_EQ(Encode(" \xFC"), " " + kQ + "=FC?=");
  EXPECT_EQ(Encode("  \xFC"), "  " + kQ + "=FC?=");
}

TEST(EncodedWords, LoseTrailingBlanksAndLineEnds) {
  EXPECT_EQ(Encode("\xFC "), kQ + "=FC?=");
  EXPECT_EQ(Encode("\xFC    "), kQ + "=FC?=");
  EXPECT_EQ(Encode("\xFC x \r\n"), kQ + "=FC?= x");
  EXPECT_EQ(Encode("\xFC x\t"), kQ + "=FC?= x\t");
}

TEST(EncodedWords, TakeTabsAndLineEndsForPartsOfWords) {
  EXPECT_EQ(Encode("a\t\xFC"), kQ + "a=09=FC?=");
  EXPECT_EQ(Encode("\xFC\r\n x"), kQ + "=FC=0D=0A?= x");
}

TEST(EncodedWords, EscapeBlanksButNeitherUnderscoreNorDelete) {
  EXPECT_EQ(Encode("a_\x7F\xFC"), kQ + "a_\x7F=FC?=");
  EXPECT_EQ(Encode("a_\xFC b_\xFC"), kQ + "a_=FC=20b_=FC?=");
}

TEST(EncodedWords, EscapeEachSpecialAndNothingElse) {
  for (int c = 1; c < 256; ++c) {
    if (c == ' ') continue;  // ends the word
    const char byte = static_cast<char>(c);
    const bool escaped = c < 33 || c > 127 ||
                         std::string_view("=?()<>@,:;\\.\"[]").find(byte) != std::string_view::npos;
    char code[4];
    std::snprintf(code, sizeof code, "=%02X", static_cast<unsigned>(c));
    EXPECT_EQ(Encode(std::string("\xFC") + byte + "x"),
              kQ + "=FC" + (escaped ? code : std::string(1, byte)) + "x?=")
        << c;
  }
  EXPECT_EQ(Encode(std::string_view("\xFC\0x", 3)), kQ + "=FC=00x?=");
}

TEST(EncodedWords, PadTheLastGroup) {
  EXPECT_EQ(EncodeB("\xFC"), kB + "/A==?=");
  EXPECT_EQ(EncodeB("\xFC\xFC"), kB + "/Pw=?=");
  EXPECT_EQ(EncodeB("\xFC\xFC\xFC"), kB + "/Pz8?=");
}

TEST(EncodedWords, CutALongRunBeforeAnEscape) {
  EXPECT_EQ(Encode(Times(25, "\xFC")),
            kQ + Times(19, "=FC") + "?=" + kNewLine + kQ + Times(6, "=FC") + "?=");
  EXPECT_EQ(Encode("a" + Times(25, "\xFC")),
            kQ + "a" + Times(19, "=FC") + "?=" + kNewLine + kQ + Times(6, "=FC") + "?=");
}

TEST(EncodedWords, SplitAnEscapeWhoseSignIsTheLastCharacter) {
  EXPECT_EQ(Encode("aa" + Times(25, "\xFC")),
            kQ + "aa" + Times(19, "=FC") + "=?=" + kNewLine + kQ + "FC" + Times(5, "=FC") + "?=");
}

TEST(EncodedWords, CutBase64BetweenGroups) {
  EXPECT_EQ(EncodeB(Times(50, "\xFC")),
            kB + Times(15, "/Pz8") + "?=" + kNewLine + kB + "/Pz8/Pw=?=");
}

TEST(EncodedWords, MoveToANewLineWhenThePrefixDoesNotFit) {
  EXPECT_EQ(Encode(Times(64, "x") + " K\xF6ln"), Times(64, "x") + " " + kNewLine + kQ + "K=F6ln?=");
}

TEST(EncodedWords, CarryTheColumnFromPlainWords) {
  EXPECT_EQ(Encode(Times(50, "x") + " K\xF6ln und \xDC"
                                    "bung"),
            Times(50, "x") + " " + kQ + "K=F6ln?=" + kNewLine + "und " + kQ + "=DCbung?=");
}

TEST(EncodedWords, CutWhatFillsTheLineExactly) {
  // 57 + 15 + 0 + 3 = 75 is not below 75; the fold behind the whole text is trimmed.
  EXPECT_EQ(Encode(Times(19, "\xFC")), kQ + Times(19, "=FC") + "?=");
  // 56 + 15 + 0 + 3 = 74 is: the blank behind the word shows it.
  EXPECT_EQ(Encode("aa" + Times(18, "\xFC") + " b"), kQ + "aa" + Times(18, "=FC") + "?= b");
  EXPECT_EQ(Encode(Times(19, "\xFC") + " b"), kQ + Times(19, "=FC") + "?=" + kNewLine + "b");
}

TEST(EncodedWords, StartANewLineFromColumn75On) {
  // 74 x and the blank are column 75.
  EXPECT_EQ(Encode(Times(74, "x") + " \xFC"), Times(74, "x") + " " + kNewLine + kQ + "=FC?=");
  EXPECT_EQ(Encode(Times(200, "x") + " \xFC"), Times(200, "x") + " " + kNewLine + kQ + "=FC?=");
}

TEST(EncodedWords, NeverWriteAnEmptyWord) {
  for (std::size_t before = 50; before < 80; ++before) {
    for (const bool base64 : {false, true}) {
      const std::string text = Encode(Times(before, "x") + " \xFC\xFC\xFC", base64);
      EXPECT_EQ(text.find((base64 ? kB : kQ) + "?="), std::string::npos) << text;
    }
  }
}

TEST(EncodedWords, WriteAtLeastAGroupBehindAnEndlessCharsetName) {
  const std::string charset(100, 'c');
  const std::string q = "=?" + charset + "?Q?";
  EXPECT_EQ(Encode("\xFC\xE4", false, charset), q + "=FC?=" + kNewLine + q + "=E4?=");
  const std::string b = "=?" + charset + "?B?";
  EXPECT_EQ(EncodeB("\xFC\xE4\xF6x", charset), b + "/OT2?=" + kNewLine + b + "eA==?=");
}

TEST(EncodedWords, FillEveryLineTo77Columns) {
  const std::string text = Encode(Times(200, "\xFC"));
  EXPECT_EQ(text.find("\r\n"), 74u);  // 15 + 57 + 2
  // Later lines: the blank, then 15 + 54 + 2: 75 - 15 - 3 = 57, whose last escape moves on.
  const std::size_t second = text.find("\r\n", 76);
  EXPECT_EQ(text.substr(76, second - 76), " " + kQ + Times(18, "=FC") + "?=");
}

TEST(EncodedWords, StartEachTextAtColumnZero) {
  const WordStyle style("ISO-8859-1", false);
  TextBuffer out;
  WordEncoder encoder(style, &out);
  encoder.Append(Times(60, "x") + " \xFC");
  const std::size_t first = out.size();
  encoder.Append("\xFC");
  EXPECT_EQ(out.view().substr(first), kQ + "=FC?=");
}

TEST(EncodedWords, TrimOnlyTheirOwnText) {
  const WordStyle style("ISO-8859-1", false);
  TextBuffer out;
  out.Append("kept   ");
  WordEncoder encoder(style, &out);
  encoder.Append("   ");
  EXPECT_EQ(out.view(), "kept      ");
  encoder.Append("\xFC ");
  EXPECT_EQ(out.view(), "kept      " + kQ + "=FC?=");
}

// The rules once more, one step after the other with indexes into whole strings.
std::string Model(const std::string& text, const std::string& charset, bool base64) {
  const std::string prefix = "=?" + charset + (base64 ? "?B?" : "?Q?");
  const auto eight = [](const std::string& word) {
    for (char c : word) {
      if ((c & 0x80) != 0) return true;
    }
    return false;
  };
  if (!eight(text)) return text;
  std::vector<std::string> words(1);
  for (char c : text) {
    if (c == ' ') {
      words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  std::string result;
  int column = 0;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (!eight(words[i])) {
      result += words[i] + " ";
      column += static_cast<int>(words[i].size()) + 1;
      continue;
    }
    std::string run = words[i];
    while (i + 1 < words.size() && eight(words[i + 1])) run += " " + words[++i];
    std::string encoded;
    if (base64) {
      static const char kDigits[] =
          "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
      for (std::size_t at = 0; at < run.size(); at += 3) {
        unsigned long bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
          bits = bits * 256 + (at + k < run.size() ? static_cast<unsigned char>(run[at + k]) : 0u);
        for (std::size_t k = 0; k < 4; ++k) {
          encoded +=
              at + (k == 0 ? 0 : k - 1) < run.size() ? kDigits[bits >> (18 - 6 * k) & 63] : '=';
        }
      }
    } else {
      for (char c : run) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (byte < 33 || byte > 127 ||
            std::string("=?()<>@,:;\\.\"[]").find(c) != std::string::npos) {
          char code[8];
          std::snprintf(code, sizeof code, "=%02X", byte);
          encoded += code;
        } else {
          encoded += c;
        }
      }
    }
    const int width = static_cast<int>(prefix.size());
    for (;;) {
      if (column >= 75) {
        result += "\r\n ";
        column = 3;
      }
      const int rest = static_cast<int>(encoded.size());
      if (rest + width + column + 3 < 75) {
        result += prefix + encoded + "?= ";
        column += rest + width + 3;
        break;
      }
      int length = 75 - width - column;
      if (base64) {
        while (length > 0 && length % 4 != 0) --length;
      } else if (length >= 2 && length - 2 < rest &&
                 encoded[static_cast<std::size_t>(length - 2)] == '=') {
        length -= 2;
      } else if (length >= 3 && length - 3 < rest &&
                 encoded[static_cast<std::size_t>(length - 3)] == '=') {
        length -= 3;
      }
      if (length <= 0) {
        if (column > 3) {
          result += "\r\n ";
          column = 3;
          continue;
        }
        length = base64 ? 4 : 3;
      }
      if (length > rest) length = rest;
      result += prefix + encoded.substr(0, static_cast<std::size_t>(length)) + "?=\r\n ";
      encoded.erase(0, static_cast<std::size_t>(length));
      column = 3;
      if (encoded.empty()) break;
    }
  }
  while (result.size() > 1 && std::string(" \r\n").find(result.back()) != std::string::npos)
    result.pop_back();
  return result;
}

TEST(EncodedWords, AgreeWithTheRulesTakenStepByStep) {
  std::minstd_rand random(1522);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    const auto size = random() % 160;
    const auto eight_bit = random() % 8 + 1;
    const auto blank = random() % 20 + 2;
    while (text.size() < size) {
      if (random() % blank == 0) {
        text += ' ';
      } else if (random() % eight_bit == 0) {
        text += static_cast<char>(128 + random() % 128);
      } else {
        text += static_cast<char>(1 + random() % 127);
      }
    }
    const std::string charset = round % 4 == 0 ? std::string(random() % 90, 'c') : "ISO-8859-1";
    for (const bool base64 : {false, true})
      ASSERT_EQ(Encode(text, base64, charset), Model(text, charset, base64)) << text;
  }
}

TEST(EightBit, IsSeenInEveryPlace) {
  EXPECT_FALSE(HasEightBit(""));
  for (std::size_t size = 1; size < 40; ++size) {
    std::string text(size, '\x7F');
    EXPECT_FALSE(HasEightBit(testing::ExactCopy(text).view()));
    for (std::size_t at = 0; at < size; ++at) {
      text[at] = '\x80';
      EXPECT_TRUE(HasEightBit(testing::ExactCopy(text).view())) << size << ' ' << at;
      text[at] = '\x7F';
    }
  }
}

}  // namespace
}  // namespace qob
