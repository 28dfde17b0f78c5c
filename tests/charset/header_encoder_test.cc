// Header values: comments, and values that are one address.
#include "charset/header_encoder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "rfc822/address_list.h"
#include "support/exact_copy.h"

namespace qob {
namespace {

EncodingSettings Quoted() {
  EncodingSettings settings;
  settings.charset = "ISO-8859-1";
  return settings;
}
std::string Q(std::string_view encoded) { return "=?ISO-8859-1?Q?" + std::string(encoded) + "?="; }
std::string B(std::string_view encoded) { return "=?ISO-8859-1?B?" + std::string(encoded) + "?="; }

std::string Text(std::string_view text) {
  return EncodeHeaderText(testing::ExactCopy(text).view(), Quoted());
}
std::string Tight(std::string_view text) {
  return EncodeHeaderText(testing::ExactCopy(text).view(), SettingsForCharset("ISO-8859-1"));
}
std::string Value(std::string_view text) {
  return EncodeHeaderValue(testing::ExactCopy(text).view(), Quoted());
}

TEST(HeaderText, EncodesCommentsForThemselves) {
  EXPECT_EQ(Text("Caf\xE9 (gr\xFC\xDF) x"), Q("Caf=E9") + " (" + Q("gr=FC=DF") + ") x");
  EXPECT_EQ(Text("a (b) \xFC"), "a (b) " + Q("=FC"));
  EXPECT_EQ(Text("\xFC (b)"), Q("=FC") + " (b)");
}

TEST(HeaderText, StripsTheBlanksBeforeAComment) {
  EXPECT_EQ(Text("a (b) (\xFC)"), "a (b) (" + Q("=FC") + ")");
  EXPECT_EQ(Text("a   (\xFC)"), "a (" + Q("=FC") + ")");
  EXPECT_EQ(Text("\xFC   (b)"), Q("=FC") + " (b)");
  EXPECT_EQ(Text("a(\xFC)"), "a (" + Q("=FC") + ")");
}

TEST(HeaderText, PutsABlankBeforeALeadingComment) {
  EXPECT_EQ(Text("(\xFC) x"), " (" + Q("=FC") + ") x");
}

TEST(HeaderText, EndsACommentAtTheFirstClosingParenthesis) {
  EXPECT_EQ(Text("\xFC (a (b) c) d"), Q("=FC") + " (a (b) c) d");
  EXPECT_EQ(Text("(\xFC (b) c) \xFC"), " (" + Q("=FC") + " (b) " + "c) " + Q("=FC"));
}

TEST(HeaderText, TakesAnUnclosedCommentForText) {
  EXPECT_EQ(Text("\xFC (abc"), Q("=FC") + " (abc");
  EXPECT_EQ(Text("\xFC (a) b (\xFC"), Q("=FC") + " (a) b " + Q("=28=FC"));
  EXPECT_EQ(Text("\xFC) (a"), Q("=FC=29") + " (a");
}

TEST(HeaderText, LosesTrailingBlanks) {
  EXPECT_EQ(Text("\xFC (a)   "), Q("=FC") + " (a)");
  EXPECT_EQ(Text("\xFC x   "), Q("=FC") + " x");
}

TEST(HeaderText, LeavesSevenBitTextAlone) {
  for (const char* text : {"", " ", "a(b)", "(a)", "trailing   ", "a (b (c)"})
    EXPECT_EQ(Text(text), text);
}

TEST(HeaderText, LeavesEverythingAloneWhenSwitchedOff) {
  EncodingSettings off = Quoted();
  off.enabled = false;
  for (const char* text : {"\xFC(b)  ", "a  "}) EXPECT_EQ(EncodeHeaderText(text, off), text);
}

TEST(HeaderText, HasNoBlankBeforeCommentsWithAGivenCharset) {
  EXPECT_EQ(Tight("text (c)"), "text(c)");
  EXPECT_EQ(Tight("a (b) (c)"), "a(b)(c)");
  EXPECT_EQ(Tight("(\xFC) x"), "(" + B("/A==") + ") x");
  EXPECT_EQ(Tight("\xFC (\xFC)"), B("/A==") + "(" + B("/A==") + ")");
  EXPECT_EQ(Tight("a  "), "a");
  EXPECT_EQ(Tight("   "), " ");
  EXPECT_EQ(Tight(""), "");
}

TEST(HeaderText, StartsEverySegmentAtColumnZero) {
  const std::string x(60, 'x');
  EXPECT_EQ(Text(x + " (" + x + ") \xFC"), x + " (" + x + ") " + Q("=FC"));
}

TEST(HeaderValue, EncodesThePhraseOfAnAddress) {
  EXPECT_EQ(Value("J\xFCrgen M\xFCller <jm@example.org>"),
            Q("J=FCrgen=20M=FCller") + " <jm@example.org>");
  EXPECT_EQ(Value("J\xFCrgen   Smith <jm@example.org>"), Q("J=FCrgen") + " Smith <jm@example.org>");
}

TEST(HeaderValue, PutsTheWordsOfAQuotedPhraseInsideTheQuotes) {
  EXPECT_EQ(Value("\"J\xFCrgen M\xFCller\" <jm@example.org>"),
            "\"" + Q("J=FCrgen=20M=FCller") + "\" <jm@example.org>");
}

TEST(HeaderValue, KeepsQuotesThatDoNotSurroundThePhrase) {
  EXPECT_EQ(Value("\"J\xFC\" x <a@b>"), Q("=22J=FC=22") + " x <a@b>");
}

TEST(HeaderValue, EncodesTheCommentOfAnAddress) {
  EXPECT_EQ(Value("jm@example.org (J\xFCrgen)"), "jm@example.org (" + Q("J=FCrgen") + ")");
  EXPECT_EQ(Value("(J\xFCrgen) jm@example.org"), "jm@example.org (" + Q("J=FCrgen") + ")");
  EXPECT_EQ(Value("M <jm@example.org> (J\xFCrgen)"), "M <jm@example.org> (" + Q("J=FCrgen") + ")");
}

TEST(HeaderValue, EncodesTheAddressItself) {
  EXPECT_EQ(Value("M <j\xFC@example.org>"), "M <" + Q("j=FC=40example=2Eorg") + ">");
  EXPECT_EQ(Value("K\xF6ln"), Q("K=F6ln"));
  EXPECT_EQ(Value("[x\xFC]"), Q("=5Bx=FC=5D"));
}

TEST(HeaderValue, TakesTextWithSeveralItemsForFreeText) {
  EXPECT_EQ(Value("Angebot, Preis fuer K\xF6ln"), "Angebot, Preis fuer " + Q("K=F6ln"));
  EXPECT_EQ(Value("J\xFC <a@b>, c@d"), Q("J=FC") + " <a@b>, c@d");
  EXPECT_EQ(Value("Gr\xFC\xDF"
                  "e, Otto"),
            Q("Gr=FC=DFe=2C") + " Otto");
  EXPECT_EQ(Value("\"odd \xFC"), "\"odd " + Q("=FC"));
}

// Values without any character that joins words to an address are not parsed at all: no list reader
// may find one in them.
TEST(HeaderValue, TakesSeveralBareWordsForFreeText) {
  std::minstd_rand random(822);
  const std::string_view pieces[] = {"a", ".",  "\xFC", " ",   "\t",   "\r\n ", ")",
                                     "]", "\\", "'",    "b.c", "\x7F", "\v"};
  for (int round = 0; round < 20000; ++round) {
    std::string text = "x";
    for (auto n = random() % 8; n > 0; --n) text += pieces[random() % std::size(pieces)];
    text += " y\xFC";
    std::string copy = text;
    AddressList list(copy);
    ParsedAddress address;
    EXPECT_FALSE(list.Next(&address)) << text;
    EXPECT_EQ(Value(text), Text(text));
  }
}

TEST(HeaderValue, TrimsASingleWord) { EXPECT_EQ(Value(" K\xF6ln "), Q("K=F6ln")); }

TEST(HeaderValue, TakesAnAddressWithTwoCommentsForFreeText) {
  EXPECT_EQ(Value("a@b (\xFC) (x)"), "a@b (" + Q("=FC") + ") (x)");
  EXPECT_EQ(Value("(x) a@b (\xFC)"), " (x) a@b (" + Q("=FC") + ")");
}

TEST(HeaderValue, LosesNothingOfALongComment) {
  const std::string comment = "\xFC" + std::string(300, 'x');
  const std::string encoded = Value("a@b (" + comment + ")");
  std::size_t letters = 0;
  for (char c : encoded) letters += c == 'x';
  EXPECT_EQ(letters, 300u);
}

TEST(HeaderValue, WritesGroupsAndSourceRoutesAlone) {
  EXPECT_EQ(Value("Fr\xFC: a@b, c@d;"), Q("Fr=FC=3A") + " a@b, c@d;");
  EXPECT_EQ(Value("J\xFC <@r:a@b>"), "<@r:a@b>");
  EXPECT_EQ(Value("J <@r:a@b> (\xFC)"), "<@r:a@b> (" + Q("=FC") + ")");
}

TEST(HeaderValue, LosesNoEscapedQuotesOfTheCallersText) {
  const std::string text = "\"J\\\"\xFC\" <a@b>";
  std::string copy = text;
  EXPECT_EQ(EncodeHeaderValue(copy, Quoted()), "\"J  " + Q("=FC") + "\" <a@b>");
  EXPECT_EQ(copy, text);
}

TEST(HeaderValue, LeavesSevenBitValuesAlone) {
  for (const char* text : {"", "Hello World", "  a@b  ", "\"J  S\" <a@b>(c)", "a, b",
                           "\x1B$B8e\x1B(B <a@b>", "a(b)"}) {
    EXPECT_EQ(Value(text), text);
    EXPECT_EQ(EncodeHeaderValue(text, SettingsForCharset("x")), text);
  }
}

TEST(HeaderValue, PutsAnAddressTogetherRawWhenSwitchedOff) {
  EncodingSettings off = Quoted();
  off.enabled = false;
  EXPECT_EQ(EncodeHeaderValue("J\xFC  M <a@b>", off), "J\xFC M <a@b>");
  EXPECT_EQ(EncodeHeaderValue("K\xF6ln, (x)", off), "K\xF6ln, (x)");
}

TEST(HeaderValue, UsesBase64WithAGivenCharset) {
  const EncodingSettings given = SettingsForCharset("ISO-8859-1");
  EXPECT_EQ(EncodeHeaderValue("J\xFC <a@b> (x)", given), B("Svw=") + " <a@b> (x)");
  EXPECT_EQ(EncodeHeaderValue("\xFC, x (y)", given), B("/Cw=") + " x(y)");
}

}  // namespace
}  // namespace qob
