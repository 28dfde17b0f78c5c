// Encoded words back to bytes, and the charset a text names.
#include "charset/word_decoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/exact_copy.h"

namespace qob {
namespace {

using testing::ExactCopy;

std::string Decode(std::string_view text, const DecodingSettings& settings) {
  const ExactCopy in(text);
  ExactCopy out{std::string(text.size(), '?')};  // exactly the promised room
  return {out.data(), DecodeWords(in.view(), settings, out.data())};
}
std::string All(std::string_view text) { return Decode(text, {"", true}); }
std::string Local(std::string_view text) { return Decode(text, {"ISO-8859-1", false}); }

TEST(DecodedWords, ReadBothEncodings) {
  EXPECT_EQ(Local("=?ISO-8859-1?Q?Gr=FC=DFe?= aus =?iso-8859-1?q?K=f6ln?="),
            "Gr\xFC\xDF"
            "e aus K\xF6ln");
  EXPECT_EQ(Local("=?ISO-8859-1?B?R3L832U=?= x =?iso-8859-1?b?S/Zsbg==?="),
            "Gr\xFC\xDF"
            "e x K\xF6ln");
}

TEST(DecodedWords, KeepUnderscores) { EXPECT_EQ(All("=?x?Q?a_b?="), "a_b"); }

TEST(DecodedWords, KeepBlanksBetweenAdjacentWords) {
  EXPECT_EQ(All("=?x?Q?a?= =?x?Q?b?="), "a b");
  EXPECT_EQ(All("=?x?Q?a?=\r\n =?x?Q?b?="), "a\r\n b");
  EXPECT_EQ(All("=?x?Q?a?==?x?Q?b?="), "ab");
}

TEST(DecodedWords, AreDecodedForAPrefixOfTheLocalCharset) {
  EXPECT_EQ(Local("=?ISO?Q?a?="), "a");
  EXPECT_EQ(Local("=?iso-8859-1?Q?a?="), "a");
  EXPECT_EQ(Local("=??Q?a?="), "a");
  EXPECT_EQ(Local("=?ISO-8859-15?Q?a?="), "=?ISO-8859-15?Q?a?=");
  EXPECT_EQ(Local("=?KOI8-R?Q?a?= =?ISO?Q?b?="), "=?KOI8-R?Q?a?= b");
  EXPECT_EQ(Decode("=?KOI8-R?Q?a?=", {"ISO-8859-1", true}), "a");
}

TEST(DecodedWords, StayWhenNotClosed) {
  for (const char* text : {"=?", "=?x", "=?x?Q?", "=?x?Q?a", "=?x?Q?a?",
                           "a =?x?Z?b?=", "?Q?a?=", "=?x?B", "=? ?= ?Q?"}) {
    EXPECT_EQ(All(text), text);
  }
  EXPECT_EQ(All("=?x?Q?a?= =?x?Q?b"), "a =?x?Q?b");
}

TEST(DecodedWords, EndBehindTheirMarkerNotInIt) {
  EXPECT_EQ(All("=?x?Q?=41?="), "A");
  EXPECT_EQ(All("=?x?Q?"
                "?="),
            "");
  EXPECT_EQ(All("=?x?Q?=?="), "=");
}

TEST(DecodedWords, PreferTheQMarkerWhereverItStands) {
  EXPECT_EQ(All("=?a?B?QQ==?= =?c?Q?b?="), "b");
  EXPECT_EQ(All("=?a?q?A?= =?c?Q?b?="), "b");
  EXPECT_EQ(All("=?a?b?QQ==?= =?c?B?Qg==?="), "B");
  EXPECT_EQ(All("=?a?B?QQ==?= =?c?B?Qg==?="), "A B");
}

TEST(DecodedWords, ReadAMarkerInTheOpeningAsAWordWithoutCharset) {
  EXPECT_EQ(All("=?Q?abc?="), "abc");
  EXPECT_EQ(Local("=?Q?abc?="), "abc");
  EXPECT_EQ(All("=?b?QUJD?= d"), "ABC d");
}

TEST(DecodedWords, CopySignsThatAreNoEscape) {
  EXPECT_EQ(All("=?x?Q?=4?="), "=4");
  EXPECT_EQ(All("=?x?Q?=4G=g1==41?="), "=4G=g1=A");
  EXPECT_EQ(All("=?x?Q?=e9=E9=Fc?="), "\xE9\xE9\xFC");
}

TEST(DecodedWords, EndBase64AtTheFirstOtherCharacter) {
  EXPECT_EQ(All("=?x?B?QUJD?="), "ABC");
  EXPECT_EQ(All("=?x?B?QUI=?="), "AB");
  EXPECT_EQ(All("=?x?B?QQ==?="), "A");
  EXPECT_EQ(All("=?x?B?QUI?="), "AB");
  EXPECT_EQ(All("=?x?B?R?="), "");
  EXPECT_EQ(All("=?x?B?QUJD*QUJD?= y"), "ABC y");
  EXPECT_EQ(All("=?x?B?QU JD?="), "A");
  EXPECT_EQ(All("=?x?B?QUJD=QUJD?="), "ABC");
  EXPECT_EQ(All("=?x?B?QUJD\xE9QUJD?="), "ABC");
}

TEST(DecodedWords, TakeWordsOfAnyLengthAnywhere) {
  const std::string long_word(5000, 'x');
  EXPECT_EQ(All("a=?x?Q?" + long_word + "?=b"), "a" + long_word + "b");
  EXPECT_EQ(All("(=?x?Q?a b?=)"), "(a b)");
}

TEST(DecodedWords, LeavePlainTextAlone) {
  for (const char* text : {"", "plain", "8-bit \xE9\xFC", "a = b ? c", "\r\n"})
    EXPECT_EQ(All(text), text);
  EXPECT_EQ(All(std::string_view("a\0=?x?Q?b?=", 11)), std::string("a\0b", 3));
}

// The rules once more, every search from scratch.
std::string Model(std::string_view text, const DecodingSettings& settings) {
  std::string result;
  std::size_t at = 0;
  for (;;) {
    const std::size_t start = text.find("=?", at);
    if (start == text.npos) break;
    std::size_t marker = text.npos;
    char kind = 0;
    for (const char* wanted : {"?Q?", "?q?", "?B?", "?b?"}) {
      if (marker == text.npos) {
        marker = text.find(wanted, start);
        kind = wanted[1];
      }
    }
    if (marker == text.npos) break;
    const std::size_t close = text.find("?=", marker + 3);
    if (close == text.npos) break;
    result += text.substr(at, start - at);
    at = close + 2;
    std::string charset;
    for (std::size_t i = start + 2; i < marker; ++i) charset += text[i];
    if (!settings.every_charset &&
        (charset.size() > settings.local_charset.size() ||
         strncasecmp(charset.c_str(), settings.local_charset.c_str(), charset.size()) != 0)) {
      result += text.substr(start, at - start);
      continue;
    }
    const std::string_view word = text.substr(marker + 3, close - marker - 3);
    if (kind == 'Q' || kind == 'q') {
      for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] == '=' && i + 2 < word.size() &&
            isxdigit(static_cast<unsigned char>(word[i + 1])) != 0 &&
            isxdigit(static_cast<unsigned char>(word[i + 2])) != 0) {
          result += static_cast<char>(std::stoi(std::string(word.substr(i + 1, 2)), nullptr, 16));
          i += 2;
        } else {
          result += word[i];
        }
      }
    } else {
      static const char kAlphabet[] =
          "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
      std::string bits;
      for (char c : word) {
        const char* found = c == '\0' ? nullptr : std::strchr(kAlphabet, c);
        if (found == nullptr) break;
        for (int bit = 5; bit >= 0; --bit)
          bits += ((found - kAlphabet) >> bit & 1) != 0 ? '1' : '0';
      }
      for (std::size_t i = 0; i + 8 <= bits.size(); i += 8) {
        result += static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
      }
    }
  }
  result += text.substr(at);
  return result;
}

TEST(DecodedWords, AgreeWithTheRulesTakenStepByStep) {
  std::minstd_rand random(2047);
  const std::string_view pieces[] = {
      "=?",      "?=",   "?Q?",  "?q?", "?B?", "?b?", "ISO-8859-1", "iso",  "x", "=41",
      "=E",      "QUJD", "QQ==", " ",   "?",   "=",   "*",          "\xE9", "_", "=?ISO-8859-1?Q?",
      "=?iso?b?"};
  for (int round = 0; round < 30000; ++round) {
    std::string text;
    for (auto n = random() % 30; n > 0; --n) text += pieces[random() % std::size(pieces)];
    for (const bool every : {false, true}) {
      const DecodingSettings settings = {"ISO-8859-1", every};
      ASSERT_EQ(Decode(text, settings), Model(text, settings)) << text;
    }
  }
}

std::string Charset(std::string_view text) {
  const ExactCopy copy(text);
  std::string_view charset;
  return FirstCharset(copy.view(), &charset) ? std::string(charset) : "none";
}

TEST(FirstCharset, NamesTheCharsetOfTheFirstWord) {
  EXPECT_EQ(Charset("Subject: =?ISO-2022-JP?B?GyRC?= x"), "ISO-2022-JP");
  EXPECT_EQ(Charset("=?utf-8?q?a?="), "utf-8");
  EXPECT_EQ(Charset("=??Q?a?="), "");
}

TEST(FirstCharset, TakesTheLastKindOfMarkerNotTheFirstInTheText) {
  EXPECT_EQ(Charset("=?A?B?x?= =?C?q?y?="), "A");
  EXPECT_EQ(Charset("=?A?q?x?= =?C?B?y?="), "A?q?x?= =?C");
  EXPECT_EQ(Charset("=?A?Q?x?= =?C?q?y?="), "A?Q?x?= =?C");
  EXPECT_EQ(Charset("=?A?B?x?= =?C?b?y?="), "A?B?x?= =?C");
  EXPECT_EQ(Charset("=?A?b?x?= =?C?Q?y?="), "A");
}

TEST(FirstCharset, NeedsAWholeWord) {
  for (const char* text :
       {"", "plain", "=?", "=?x?Q?", "=?x?Q?a", "=?x?Z?a?=", "?Q?a?=", "=?Q?a?=", "=?x?Q?="}) {
    EXPECT_EQ(Charset(text), "none") << text;
  }
  EXPECT_EQ(Charset("=?x?Q?"
                    "?="),
            "x");
}

}  // namespace
}  // namespace qob
