// Parameters of Content-Type: strict and loose reading, blank values, what is reported and what is
// kept.
#include <string>

#include "mime/comment.h"
#include "mime/parameter_list.h"
#include "mime_support.h"
#include "support/exact_copy.h"

namespace qob::testing {
namespace {

class Parameters : public MimeTest {
 protected:
  Texts Read(const std::string& parameters) {
    log_.Clear();
    const Message message = Mime("Content-Type: text/plain" + parameters + "\r\n\r\n");
    return message.count() == 1 ? message.TypeParameters(0) : Texts{"failed"};
  }
  Texts Errors() const { return log_.texts(1); }
  static std::string Invalid(const std::string& text) {
    return "Invalid parm in \"Content-Type\" header: " + text;
  }
};

TEST_F(Parameters, StrictValueIsATokenOrAQuotedString) {
  EXPECT_EQ(Read("; a=b ;c=\"d;e\" ; f=\"g\\\"h\""), (Texts{"a=b", "c=\"d;e\"", "f=\"g\\\"h\""}));
  EXPECT_EQ(Read("; a=b=c/d?(e)"), Texts{"a=b=c/d?(e)"});
  EXPECT_TRUE(Errors().empty());
}

TEST_F(Parameters, SkipsBlanksAndCommentsBetweenTokens) {
  EXPECT_EQ(Read(" (x) ; (y) a (z;=) = (w) b (v) ; c = \"(d)\" (u)"), (Texts{"a=b", "c=\"(d)\""}));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(Parameters, EmptyParameterIsSilent) {
  EXPECT_EQ(Read(";"), Texts{});
  EXPECT_EQ(Read("; ; ;a=b; "), Texts{"a=b"});
  EXPECT_TRUE(Errors().empty());
}

TEST_F(Parameters, ParameterWithoutEqualsShowsItsFirstTwentyCharacters) {
  EXPECT_EQ(Read("; a=1; abcdefghijklmnopqrstuvwxyz; b=2"), (Texts{"a=1", "b=2"}));
  EXPECT_EQ(Errors(), Texts{Invalid("abcdefghijklmnopqrst")});
  EXPECT_EQ(Read("; short"), Texts{});
  EXPECT_EQ(Errors(), Texts{Invalid("short")});
}

TEST_F(Parameters, AttributeMayNotHoldTspecials) {
  for (const char* attribute : {"a/b", "a@b", "\"a\"", "a<b", "[a", "a?", ""}) {
    EXPECT_EQ(Read("; " + std::string(attribute) + "=1; b=2"), Texts{"b=2"}) << attribute;
    EXPECT_EQ(Errors(), Texts{Invalid((std::string(attribute) + "=1; b=2").substr(0, 20))})
        << attribute;
  }
}

TEST_F(Parameters, TextBehindAValueIsAMissingSeparatorAndDropsTheRest) {
  EXPECT_EQ(Read("; a=1; name=my file.txt; b=2"), (Texts{"a=1", "name=my"}));
  EXPECT_EQ(Errors(), Texts{"Missing parm separator."});
  EXPECT_EQ(Read("; a=\"1\"x; b=2"), Texts{"a=\"1\""});
  EXPECT_EQ(Errors(), Texts{"Missing parm separator."});
}

TEST_F(Parameters, BlankValueIsInvalidUnlessTheSiteAcceptsIt) {
  for (const char* value : {"a=", "a=\"\"", "a= "}) {
    EXPECT_EQ(Read("; x=1; " + std::string(value) + "; b=2"), (Texts{"x=1", "b=2"})) << value;
    EXPECT_EQ(Errors(), Texts{Invalid((std::string(value) + "; b=2").substr(0, 20))}) << value;
  }
  SetIni("[Options]\nAcceptBlankValueInContentTypeParm=yes\n");
  EXPECT_EQ(Read("; a=; b=\"\"; c=3"), (Texts{"a=", "b=\"\"", "c=3"}));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(Parameters, QuotedStringMaySpanHeaderLines) {
  EXPECT_EQ(Read("; name=\"first\r\n second\"; b=2"), (Texts{"name=\"first second\"", "b=2"}));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(Parameters, UnclosedQuoteIsReportedAndTheRestIsKept) {
  EXPECT_EQ(Read("; a=1; name=\"open; b=2"), (Texts{"a=1", "b=2"}));
  EXPECT_EQ(Errors(), Texts{"Missing quote in \"Content-Type\" parms."});
}

// The reader of a quoted string takes no line that is not a continuation: neither the empty one nor
// a delimiter.
TEST_F(Parameters, UnclosedQuoteLeavesTheLinesBehindItAlone) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
      "--b\r\nContent-Type: text/plain; name=\"open\r\n more\r\n\r\nfirst\r\n"
      "--b\r\nContent-Type: text/plain; name=\"open\r\n--b\r\nContent-Type: text/html; "
      "name=\"open\r\nContent-ID: <4>\r\n\r\n"
      "last\"\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 4);
  EXPECT_EQ(log_.Count(1, "Missing quote in \"Content-Type\" parms."), 3u);
  EXPECT_EQ(message[1].bodyStart, At("first"));
  EXPECT_EQ(message[1].contentEnd, At("--b", static_cast<std::size_t>(At("first"))));
  EXPECT_EQ(message[2].bodyStart, message[2].contentEnd);
  EXPECT_STREQ(message[3].contentId, "<4>");
  EXPECT_EQ(message[3].bodyStart, At("last"));
}

TEST_F(Parameters, UnclosedQuoteAtTheEndOfTheFileIsAPrematureEnd) {
  const Message message = Mime("Content-Type: text/plain; a=1; name=\"open\r\n more");
  ASSERT_EQ(message.count(), 1);
  EXPECT_EQ(message.TypeParameters(0), Texts{"a=1"});
  EXPECT_EQ(log_.texts(1), Texts{"Premature end of file, or file read error."});
}

TEST_F(Parameters, QuotedValueOf65535BytesIsTheLargest) {
  const std::string longest = "\"" + std::string(65535, 'v') + "\"";
  EXPECT_EQ(Read("; a=" + longest + "; b=2"), (Texts{"a=" + longest, "b=2"}));
  EXPECT_TRUE(Errors().empty());
  EXPECT_EQ(Read("; a=\"" + std::string(65536, 'v') + "\"; b=2"), Texts{"b=2"});
  EXPECT_EQ(Errors(), Texts{"Quoted value too big."});
}

TEST_F(Parameters, QuotedValueTooBigCountsItsContinuations) {
  std::string value = "\"";
  for (int i = 0; i < 700; ++i) value += std::string(99, 'v') + "\r\n ";
  EXPECT_EQ(Read("; a=" + value + "\""), Texts{});
  EXPECT_EQ(Errors(), Texts{"Quoted value too big."});
}

TEST_F(Parameters, TokenHasNoLimit) {
  const std::string token(100000, 'v');
  EXPECT_EQ(Read("; a=" + token), Texts{"a=" + token});
}

TEST_F(Parameters, LooseValueRunsToTheSemicolonQuotesAndAll) {
  SetIni("[Options]\nStrictMimeParsing=NO\n");
  EXPECT_EQ(Read("; name=\"a;b=c"), (Texts{"name=\"a", "b=c"}));
  EXPECT_EQ(Read("; name= my file.txt ; b=2"), (Texts{"name= my file.txt ", "b=2"}));
  EXPECT_EQ(Read("; a=x\\;y; b=(2"), (Texts{"a=x\\;y", "b=(2"}));
  EXPECT_TRUE(Errors().empty());
}

TEST_F(Parameters, EveryOtherSettingThanYesIsLoose) {
  SetIni("[Options]\nStrictMimeParsing=maybe\n");
  EXPECT_EQ(Read("; name=a b"), Texts{"name=a b"});
  SetIni("[Options]\nStrictMimeParsing=yes\n");
  EXPECT_EQ(Read("; name=a b"), Texts{"name=a"});
}

TEST_F(Parameters, LooseBlankValueIsInvalidToo) {
  SetIni("[Options]\nStrictMimeParsing=NO\n");
  EXPECT_EQ(Read("; a=; b= ; c=\"\"; d=4"), Texts{"d=4"});
  EXPECT_EQ(Errors().size(), 3u);
}

TEST_F(Parameters, LooseValueEndsAtABareCarriageReturn) {
  SetIni("[Options]\nStrictMimeParsing=NO\n");
  EXPECT_EQ(Read("; a=x\r; b=2"), (Texts{"a=x", "b=2"}));
  EXPECT_EQ(Read("; a=x\ry; b=2"), Texts{"a=x"});
  EXPECT_EQ(Errors(), Texts{"Missing parm separator."});
}

TEST_F(Parameters, UnclosedCommentDropsTheRest) {
  EXPECT_EQ(Read("; a=1; (open b=2"), Texts{"a=1"});
  EXPECT_EQ(Errors(), Texts{"\"Content-Type\" field invalid. Invalid comment or continuation."});
  EXPECT_EQ(Read("; a=1 (open; b=2"), Texts{"a=1"});
  EXPECT_EQ(Errors(), Texts{"\"Content-Type\" field invalid. Invalid comment or continuation."});
}

TEST_F(Parameters, QuoteClosedByALaterParameterSwallowsWhatStandsBetween) {
  EXPECT_EQ(Read("; a=\"\\; a=\"\\; a=\"\\"), Texts{"a=\"\\; a=\""});
  EXPECT_EQ(Errors(), Texts{"Missing parm separator."});
}

TEST(UnquoteParameter, RemovesOnePairAndTheBlanksBeforeIt) {
  EXPECT_EQ(UnquoteParameter("  \"a b\""), "a b");
  EXPECT_EQ(UnquoteParameter("\"\"a\"\""), "\"a\"");
  EXPECT_EQ(UnquoteParameter("a\""), "a\"");
  EXPECT_EQ(UnquoteParameter("\""), "\"");
  EXPECT_EQ(UnquoteParameter("\"\""), "");
  EXPECT_EQ(UnquoteParameter(" "), "");
}

TEST(FindParameter, TakesTheFirstEntryThatBeginsWithTheName) {
  ms second{const_cast<char*>("boundary=y"), nullptr};
  ms first{const_cast<char*>("Boundary2=x"), &second};
  ms nothing{nullptr, &first};
  std::string_view value;
  ASSERT_TRUE(FindParameter(&nothing, "boundary", &value));
  EXPECT_EQ(value, "x");
  EXPECT_FALSE(FindParameter(&nothing, "charset", &value));
  EXPECT_FALSE(FindParameter(nullptr, "boundary", &value));
}

TEST(FindParameter, EntryWithoutEqualsHasNoValue) {
  ms entry{const_cast<char*>("boundary"), nullptr};
  std::string_view value = "old";
  ASSERT_TRUE(FindParameter(&entry, "boundary", &value));
  EXPECT_TRUE(value.empty());
}

TEST(Comments, NestEscapeAndEnd) {
  const auto behind = [](std::string_view text) {
    const ExactCopy exact(text);
    std::size_t at = 0;
    return SkipComments(exact.view(), &at) ? static_cast<int>(at) : -static_cast<int>(at);
  };
  EXPECT_EQ(behind(""), 0);
  EXPECT_EQ(behind("  x"), 2);
  EXPECT_EQ(behind("(a)x"), 3);
  EXPECT_EQ(behind("(a(b)c) (d) x"), 12);
  EXPECT_EQ(behind("(a\\)b)x"), 6);
  EXPECT_EQ(behind("(a"), -2);
  EXPECT_EQ(behind("(a\\"), -3);
  EXPECT_EQ(behind("(a(b)"), -5);
  EXPECT_EQ(behind(")"), 0);
}

TEST(Comments, TrimKeepsWhatStandsBetween) {
  EXPECT_EQ(TrimComments(" (a) x (b) y (c) "), "x (b) y");
  EXPECT_EQ(TrimComments("(a)"), "");
  EXPECT_EQ(TrimComments("x (open"), "x (open");
}

TEST(MimeToken, RefusesControlsTspecialsAndNothing) {
  EXPECT_FALSE(IsMimeToken(""));
  EXPECT_TRUE(IsMimeToken("x-a_b.c*'!#$%&+^`{|}~"));
  EXPECT_TRUE(IsMimeToken("\x80\xFF"));
  for (const char c : std::string("()<>@,;:\\\"/[]?=\x1f\x7f"))
    EXPECT_FALSE(IsMimeToken(std::string("a") + c)) << c;
  EXPECT_FALSE(IsMimeToken(std::string_view("a\0b", 3)));
}

}  // namespace
}  // namespace qob::testing
