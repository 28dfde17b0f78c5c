// The exported calls for encoded words: configuration, pointers, ownership, exhausted memory.
#include <qob3xapi/rfc1522.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "platform/os/fault.h"
#include "support/exact_copy.h"
#include "support/failing_allocator.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

using testing::ExactText;
using testing::TempSpool;

// Takes a heap result over; "null" for none.
std::string Take(char* text) {
  if (text == nullptr) return "null";
  const std::string copy = text;
  std::free(text);
  return copy;
}

class Rfc1522 : public ::testing::Test {
 protected:
  void Configure(const std::string& options, const std::string& charset = "ISO-8859-1") {
    spool_.SetWholeIni("[Gateway]\nLocalCharSet=" + charset + "\n[Options]\n" + options);
  }
  TempSpool spool_;
};

TEST_F(Rfc1522, UsesQuotedPrintableByDefault) {
  Configure("");
  EXPECT_EQ(Take(rfc1522encoding("Gr\xFC\xDF"
                                 "e aus K\xF6ln")),
            "=?ISO-8859-1?Q?Gr=FC=DFe?= aus =?ISO-8859-1?Q?K=F6ln?=");
  Configure("RFC1522codingMethod=QUOTED-printable\n");
  EXPECT_EQ(Take(rfc1522encoding2(ExactText("\xFC"))), "=?ISO-8859-1?Q?=FC?=");
}

TEST_F(Rfc1522, NamesUsAsciiWithoutConfiguration) {
  spool_.SetWholeIni("");
  EXPECT_EQ(Take(rfc1522encoding("\xFC")), "=?US-ASCII?Q?=FC?=");
  EXPECT_EQ(Take(rfc1522decoding("=?us-ascii?Q?a?= =?ISO-8859-1?Q?b?=")), "a =?ISO-8859-1?Q?b?=");
}

TEST_F(Rfc1522, UsesBase64ForEveryOtherMethod) {
  for (const char* method : {"base64", "Quoted", "Quoted-printable-not", ""}) {
    Configure(std::string("RFC1522codingMethod=") + method + "\n");
    EXPECT_EQ(Take(rfc1522encoding("\xFC")), "=?ISO-8859-1?B?/A==?=") << method;
    EXPECT_EQ(Take(rfc1522encoding2(ExactText("\xFC"))), "=?ISO-8859-1?B?/A==?=") << method;
  }
}

// How often the profile file was opened; it is too young in a test to be used again.
int profile_opens = 0;
int CountProfileOpens(os::Call call, std::string_view path) {
  if (call == os::Call::kOpen && path.find("twmta.ini") != std::string_view::npos) ++profile_opens;
  return 0;
}

TEST_F(Rfc1522, LooksAtTheProfileFileOncePerCall) {
  Configure("");
  profile_opens = 0;
  os::SetFaultHook(CountProfileOpens);
  const std::string encoded = Take(rfc1522encoding2(ExactText("\xFC")));
  const int for_encoding = profile_opens;
  const std::string decoded = Take(rfc1522decoding(encoded.c_str()));
  os::SetFaultHook(nullptr);
  EXPECT_EQ(for_encoding, 1);
  EXPECT_EQ(profile_opens, 2);
  EXPECT_EQ(decoded, "\xFC");
}

TEST_F(Rfc1522, ReadsItsSettingsForEveryCall) {
  for (int round = 0; round < 3; ++round) {
    Configure("EnableRFC1522Encoding=NO\n");
    EXPECT_EQ(Take(rfc1522encoding("\xFC")), "\xFC");
    Configure("EnableRFC1522Encoding=YES\n");
    EXPECT_EQ(Take(rfc1522encoding("\xFC")), "=?ISO-8859-1?Q?=FC?=");
  }
}

TEST_F(Rfc1522, IsSwitchedOffByNoInAnyCase) {
  for (const char* off : {"NO", "no", "No"}) {
    Configure(std::string("EnableRFC1522Encoding=") + off + "\n");
    EXPECT_EQ(Take(rfc1522encoding2(ExactText("\xFC (c)  "))), "\xFC (c)  ");
    EXPECT_EQ(Take(rfc1522encoding("J\xFC <a@b>")), "J\xFC <a@b>");
  }
  for (const char* on : {"YES", "", "0", "FALSE", "NOT"}) {
    Configure(std::string("EnableRFC1522Encoding=") + on + "\n");
    EXPECT_EQ(Take(rfc1522encoding("\xFC")), "=?ISO-8859-1?Q?=FC?=") << on;
  }
}

TEST_F(Rfc1522, GivenCharsetsAskNoConfiguration) {
  Configure("EnableRFC1522Encoding=NO\nRFC1522codingMethod=Quoted-printable\n");
  EXPECT_EQ(Take(rfc1522encoding_wmc("\xFC", "KOI8-R")), "=?KOI8-R?B?/A==?=");
  EXPECT_EQ(Take(rfc1522encoding_wmc("J\xFC <a@b>", "KOI8-R")), "=?KOI8-R?B?Svw=?= <a@b>");
  EXPECT_EQ(Take(rfc1522encoding2_wmc(ExactText("\xFC (c)"), ExactText("KOI8-R"))),
            "=?KOI8-R?B?/A==?=(c)");
  EXPECT_EQ(Take(rfc1522decoding_wmc("=?KOI8-R?B?/A==?=")), "\xFC");
}

TEST_F(Rfc1522, GivesSevenBitValuesBackByteForByte) {
  for (const char* options : {"", "EnableRFC1522Encoding=NO\n", "RFC1522codingMethod=base64\n"}) {
    Configure(options);
    for (const char* text :
         {"", "a  ", "Hello World", "a(b)", "\"J  S\" <a@b> (c)", " (a) b ", "\x1B$B8e\x1B(B"}) {
      EXPECT_EQ(Take(rfc1522encoding(text)), text);
      EXPECT_EQ(Take(rfc1522encoding_wmc(text, "x")), text);
      EXPECT_EQ(Take(rfc1522encoding2(ExactText(text))), text);
    }
  }
  const char* text = "plain";
  char* copy = rfc1522encoding(text);
  EXPECT_NE(copy, text);
  std::free(copy);
}

TEST_F(Rfc1522, DropsTheBlankBeforeCommentsInTheGivenCharsetForm) {
  EXPECT_EQ(Take(rfc1522encoding2_wmc(ExactText("text (c)"), ExactText("x"))), "text(c)");
}

TEST_F(Rfc1522, DecodesWordsOfTheLocalCharset) {
  Configure("");
  EXPECT_EQ(Take(rfc1522decoding("=?iso-8859-1?Q?K=F6ln?=")), "K\xF6ln");
  EXPECT_EQ(Take(rfc1522decoding("=?ISO?Q?a?=")), "a");
  EXPECT_EQ(Take(rfc1522decoding("=?ISO-8859-15?Q?a?=")), "=?ISO-8859-15?Q?a?=");
  EXPECT_EQ(Take(rfc1522decoding("=?KOI8-R?Q?a?=")), "=?KOI8-R?Q?a?=");
}

TEST_F(Rfc1522, DecodesEveryCharsetWhenForced) {
  for (const char* force : {"YES", "yes", "Yes"}) {
    Configure(std::string("Force1522Decoding=") + force + "\n");
    EXPECT_EQ(Take(rfc1522decoding("=?x?Q?a_b?=")), "a_b");
    EXPECT_EQ(Take(rfc1522decoding("=?KOI8-R?Q?a?=")), "a");
  }
  for (const char* force : {"NO", "", "TRUE", "1"}) {
    Configure(std::string("Force1522Decoding=") + force + "\n");
    EXPECT_EQ(Take(rfc1522decoding("=?KOI8-R?Q?a?=")), "=?KOI8-R?Q?a?=") << force;
  }
}

TEST_F(Rfc1522, CutsTheCharsetNameTo63Characters) {
  Configure("", std::string(70, 'c'));
  EXPECT_EQ(Take(rfc1522encoding("\xFC")).substr(0, 68), "=?" + std::string(63, 'c') + "?Q?");
}

TEST_F(Rfc1522, HasNoResultForNullAndForAnEmptyTextToDecode) {
  EXPECT_EQ(rfc1522encoding(nullptr), nullptr);
  EXPECT_EQ(rfc1522encoding_wmc(nullptr, "x"), nullptr);
  EXPECT_EQ(rfc1522encoding_wmc("\xFC", nullptr), nullptr);
  EXPECT_EQ(rfc1522encoding2(nullptr), nullptr);
  EXPECT_EQ(rfc1522encoding2_wmc(nullptr, ExactText("x")), nullptr);
  EXPECT_EQ(rfc1522encoding2_wmc(ExactText("\xFC"), nullptr), nullptr);
  EXPECT_EQ(rfc1522decoding(nullptr), nullptr);
  EXPECT_EQ(rfc1522decoding(""), nullptr);
  EXPECT_EQ(rfc1522decoding_wmc(nullptr), nullptr);
  EXPECT_EQ(rfc1522decoding_wmc(""), nullptr);
  EXPECT_EQ(Get1522Charset(nullptr), nullptr);
  EXPECT_EQ(Get1522Charset(""), nullptr);
}

TEST_F(Rfc1522, NamesTheCharset) {
  EXPECT_EQ(Take(Get1522Charset("x =?ISO-2022-JP?B?GyRC?=")), "ISO-2022-JP");
  EXPECT_EQ(Take(Get1522Charset("=?A?B?x?= =?C?q?y?=")), "A");
  EXPECT_EQ(Get1522Charset("plain"), nullptr);
}

TEST_F(Rfc1522, LeavesTheCallersTextAlone) {
  Configure("");
  for (const char* text : {"\"J\\\"\xFC\" <a@b>", "\"\xFC\" <a@b> (c)", "=?ISO-8859-1?Q?a?="}) {
    ExactText copy(text);
    std::free(rfc1522encoding(copy));
    std::free(rfc1522encoding2(copy));
    std::free(rfc1522encoding_wmc(copy, "x"));
    std::free(rfc1522encoding2_wmc(copy, ExactText("x")));
    std::free(rfc1522decoding(copy));
    EXPECT_STREQ(copy.get(), text);
  }
}

TEST_F(Rfc1522, GivesNullOrAWholeResultWithoutMemory) {
  Configure("");
  const std::string value = "x " + std::string(300, '\xFC') + " (c)";
  const std::function<char*()> calls[] = {
      [&] { return rfc1522encoding_wmc(value.c_str(), "ISO-8859-1"); },
      [&] {
        return rfc1522decoding_wmc("=?x?Q?a=41?= =?x?B?QUJD?= and a good deal of text behind them");
      },
      [&] { return Get1522Charset("=?ISO-8859-1?Q?a?="); },
  };
  for (const auto& call : calls) {
    const std::string expected = Take(call());
    std::string result;
    char* text = nullptr;
    testing::FailEachAllocation([&] { text = call(); },
                                [&](bool triggered) {
                                  result = Take(text);
                                  EXPECT_TRUE(result == expected || (triggered && result == "null"))
                                      << result;
                                });
  }
}

// A part of an address that cannot be encoded for want of memory is kept as it is; the address
// itself is never lost.
TEST_F(Rfc1522, KeepsPartsRawWhenMemoryRunsOutMeanwhile) {
  const std::string value =
      "J\xFCrgen the Elder and many more words of a name <juergen.elder@example.org> (c\xF6mment "
      "of some length)";
  const std::string whole = Take(rfc1522encoding_wmc(value.c_str(), "ISO-8859-1"));
  int raw = 0;
  char* text = nullptr;
  testing::FailEachAllocation(
      [&] { text = rfc1522encoding_wmc(value.c_str(), "ISO-8859-1"); },
      [&](bool triggered) {
        const std::string result = Take(text);
        if (result == "null") {
          EXPECT_TRUE(triggered);
          return;
        }
        EXPECT_NE(result.find(" <juergen.elder@example.org> ("), std::string::npos) << result;
        if (result != whole) ++raw;
        EXPECT_TRUE(triggered || result == whole) << result;
      });
  EXPECT_GT(raw, 0);
}

// Reading the settings may fail half-way; what comes out is a whole result under some settings, or
// none.
TEST_F(Rfc1522, SurvivesSettingsThatCannotBeRead) {
  Configure("");
  for (const bool encode : {true, false}) {
    char* text = nullptr;
    testing::FailEachAllocation(
        [&] { text = encode ? rfc1522encoding("\xFC") : rfc1522decoding("=?ISO-8859-1?Q?a?="); },
        [&](bool triggered) {
          const std::string result = Take(text);
          EXPECT_TRUE(triggered || result == (encode ? "=?ISO-8859-1?Q?=FC?=" : "a")) << result;
        });
  }
}

}  // namespace
}  // namespace qob
