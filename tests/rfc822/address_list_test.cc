// What an address list means: every form of an address, what a bad one costs, and what the table
// says about each.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "rfc822/address_support.h"

namespace qob::testing {
namespace {

using Strings = std::vector<std::string>;

struct Case {
  const char* name;
  std::string list;
  std::vector<Entry> expected;
};

class AddressForms : public ::testing::TestWithParam<Case> {};

TEST_P(AddressForms, GiveTheirParts) { EXPECT_EQ(ParseList(GetParam().list), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(
    AddressParse, AddressForms,
    ::testing::Values(
        Case{"AddressSpec",
             "joe@x.example",
             {{"joe@x.example", "joe@x.example", "", "", "joe", "x.example"}}},
        Case{"BareLocalName",
             "postmaster",
             {{"postmaster", "postmaster", "", "", "postmaster", ""}}},
        Case{"BracketedLocalName", "<joe>", {{"joe", "<joe>", "", "", "joe", ""}}},
        Case{"Bracketed", " < joe @ x > ", {{"joe@x", "< joe @ x >", "", "", "joe", "x"}}},
        Case{"PhraseAndComment",
             "John  Smith <john.smith@x.example> (home)",
             {{"john.smith@x.example", "John  Smith <john.smith@x.example> (home)", "John Smith",
               "home", "john.smith", "x.example"}}},
        Case{"QuotedPhraseKeepsItsQuotes",
             "\"Smith, John\" <j@x>",
             {{"j@x", "\"Smith, John\" <j@x>", "\"Smith, John\"", "", "j", "x"}}},
        Case{"WordsOfAPhraseMix",
             "Dr. \"J. (x)\"  Doe <j@x>",
             {{"j@x", "Dr. \"J. (x)\"  Doe <j@x>", "Dr. \"J. (x)\" Doe", "", "j", "x"}}},
        Case{"EmptyQuotedPhrase", "\"\" <j@x>", {{"j@x", "\"\" <j@x>", "\"\"", "", "j", "x"}}},
        Case{"QuotedLocalPart", "\"a b\"@x", {{"\"a b\"@x", "\"a b\"@x", "", "", "\"a b\"", "x"}}},
        Case{"DotsBeforeTheAtSignAreOneWord",
             "a..b.@x",
             {{"a..b.@x", "a..b.@x", "", "", "a..b.", "x"}}},
        Case{"DotAloneIsAWord", ". <a@b>", {{"a@b", ". <a@b>", ".", "", "a", "b"}}},
        Case{"DomainIsJoined",
             "a@b (c) . d .e",
             {{"a@b.d.e", "a@b (c) . d .e", "", "c", "a", "b.d.e"}}},
        Case{"DomainLiteral",
             "a@[10.0.0.1]",
             {{"a@[10.0.0.1]", "a@[10.0.0.1]", "", "", "a", "[10.0.0.1]"}}},
        Case{"DomainWithLiteral",
             "a@b.[c d].e",
             {{"a@b.[c d].e", "a@b.[c d].e", "", "", "a", "b.[c d].e"}}},
        Case{"LoneDomainLiteral",
             "[10.0.0.1]",
             {{"[10.0.0.1]", "[10.0.0.1]", "", "", "[10.0.0.1]", ""}}},
        Case{"SourceRoute", "<@r.s:a@b>", {{"<@r.s:a@b>", "<@r.s:a@b>", "", "", "a", "b"}}},
        Case{"SourceRouteOfThree",
             "P <@r, @s:@t : a@b>",
             {{"<@r,@s:@t:a@b>", "P <@r, @s:@t : a@b>", "P", "", "a", "b"}}},
        Case{
            "SourceRouteWithoutDomain", "<@r:joe>", {{"<@r:joe>", "<@r:joe>", "", "", "joe", "r"}}},
        Case{"LocalPartInARouteHasDots",
             "<@r:a.\"b\".c.@d>",
             {{"<@r:a.\"b\".c.@d>", "<@r:a.\"b\".c.@d>", "", "", "a.\"b\".c.", "d"}}},
        Case{"Group",
             "Friends: a@b, c@d;",
             {{"Friends: a@b, c@d;", "Friends: a@b, c@d;", "Friends", "", "c", "d"}}},
        Case{"GroupIsNormalised",
             "My  Friends:a@b,C <c@d> (x) , <@r:e@f> ;",
             {{"My Friends: a@b, c@d, <@r:e@f>;", "My  Friends:a@b,C <c@d> (x) , <@r:e@f> ;", "C",
               "x", "e", "f"}}},
        Case{"GroupMemberWithoutDomain",
             "G: a@b, joe;",
             {{"G: a@b, joe;", "G: a@b, joe;", "G", "", "joe", ""}}},
        Case{"GroupMembersHaveDottedNames",
             "G: a.b@x, c.d@y;",
             {{"G: a.b@x, c.d@y;", "G: a.b@x, c.d@y;", "G", "", "c.d", "y"}}}),
    [](const auto& row) { return row.param.name; });

struct Rejected {
  const char* name;
  std::string list;
};

class BadAddresses : public ::testing::TestWithParam<Rejected> {};

// Each alone, between two good ones, and before one.
TEST_P(BadAddresses, CostOnlyThemselves) {
  EXPECT_EQ(Addresses(GetParam().list), Strings{});
  EXPECT_EQ(Addresses("a@b," + GetParam().list + ",c@d"), (Strings{"a@b", "c@d"}));
  EXPECT_EQ(Addresses(GetParam().list + ",c@d"), (Strings{"c@d"}));
}

INSTANTIATE_TEST_SUITE_P(
    AddressParse, BadAddresses,
    ::testing::Values(
        Rejected{"StrayRightAngle", "x > y"}, Rejected{"SeveralBareWords", "Hello World"},
        Rejected{"EmptyBrackets", "<>"}, Rejected{"PhraseAndEmptyBrackets", "Joe <>"},
        Rejected{"BracketedDomainLiteral", "<[10.0.0.1]>"},
        Rejected{"PhraseBeforeAddressSpec", "John john@x"},
        Rejected{"NothingBehindTheAtSign", "a@"}, Rejected{"NothingBeforeTheAtSign", "@b"},
        Rejected{"TwoAtSigns", "a@b@c"}, Rejected{"TrailingDotOfADomain", "a@b."},
        Rejected{"EmptySubDomain", "a@b..c"}, Rejected{"QuotedDomain", "a@\"b\""},
        Rejected{"WordBehindADomain", "a@b c"}, Rejected{"WordBehindTheBrackets", "<a@b> c"},
        Rejected{"DotBehindTheBrackets", "<a@b>."}, Rejected{"SemicolonOutsideAGroup", "a@b;"},
        Rejected{"UnclosedAngle", "Joe <a@b"}, Rejected{"RouteWithoutColon", "<@r a@b>"},
        Rejected{"RouteWithoutAddress", "<@r:>"},
        Rejected{"EmptyGroup", "undisclosed-recipients:;"}, Rejected{"GroupWithoutName", ": a@b;"},
        Rejected{"GroupInAGroup", "G: H: a@b;"}, Rejected{"WordBehindAGroup", "G: a@b; c"},
        Rejected{"LiteralAsLocalPart", "[x]@y"}, Rejected{"LiteralInAPhrase", "J [x] <a@b>"},
        Rejected{"QuotedStringBeforeADottedWord", "\"a\".b@c"}, Rejected{"Empty", ""},
        Rejected{"Blank", " \t"}, Rejected{"OnlyAComment", "(c)"}, Rejected{"OnlyCommas", ",,,"},
        Rejected{"UnclosedComment", "x (y"}, Rejected{"UnclosedLiteral", "a@[b"}),
    [](const auto& row) { return row.param.name; });

TEST(AddressParse, KeepsAddressesAroundAMalformedOne) {
  EXPECT_EQ(Addresses("a@b, bad > one, c@d"), (Strings{"a@b", "c@d"}));
}

TEST(AddressParse, GoesOnAtTheOffendingCommaItself) {
  EXPECT_EQ(Addresses("a b, good@x"), Strings{"good@x"});
  EXPECT_EQ(Addresses("a@, good@x"), Strings{"good@x"});
  EXPECT_EQ(Addresses(",, ,good@x,,"), Strings{"good@x"});
}

TEST(AddressParse, SkipsQuotesCommentsAndLiteralsWhole) {
  EXPECT_EQ(Addresses("> \"a, b\" (c, d) [e, f], g@h"), Strings{"g@h"});
  EXPECT_EQ(Addresses("a@b \"c, d\", g@h"), Strings{"g@h"});
}

TEST(AddressParse, CountsEveryCommaBehindAnUnclosedBracket) {
  EXPECT_EQ(Addresses("( \"x, a@b, c\", d@e"), (Strings{"a@b"}));
  EXPECT_EQ(Addresses("> (x, a@b"), Strings{"a@b"});
  EXPECT_EQ(Addresses("a@[b, c@d, [e, f@g"), (Strings{"c@d", "f@g"}));
  EXPECT_EQ(Addresses("(a, (b), c@d (e), (f, g@h"), (Strings{"c@d", "g@h"}));
}

TEST(AddressParse, SeesACommentThatClosesBehindOneThatDoesNot) {
  // Read from the first "(", the quotes hide the ")"; read from the second, they do not.
  EXPECT_EQ(Addresses("(\", b@c (x), \"d@e"), (Strings{"b@c", "\"d@e"}));
}

TEST(AddressParse, OpenGroupIsRejectedWhole) {
  EXPECT_EQ(Addresses("G: a@b, c@d"), Strings{});
  EXPECT_EQ(Addresses("G: a@b, c@d > x, e@f"), Strings{"e@f"});
}

// Behind the first at-sign of a group a dot is no longer part of a word.
TEST(AddressParse, DottedPhraseOfASecondGroupMemberRejectsTheGroup) {
  EXPECT_EQ(Addresses("G: A. One <a@b>;"), Strings{"G: a@b;"});
  EXPECT_EQ(Addresses("G: A. One <a@b>, B. Two <b@y>;, z@z"), Strings{"z@z"});
}

// So does the comma behind a member that has none.
TEST(AddressParse, DottedPhraseBehindALocalNameRejectsTheGroup) {
  EXPECT_EQ(Addresses("G: joe, B Two <b@y>;"), Strings{"G: joe, b@y;"});
  EXPECT_EQ(Addresses("G: joe, B. Two <b@y>;"), Strings{});
}

TEST(AddressParse, DotsBelongToWordsAgainInTheNextAddress) {
  EXPECT_EQ(Addresses("a.b@c.d, J. Doe <e.f@g>"), (Strings{"a.b@c.d", "e.f@g"}));
}

TEST(AddressParse, LastCommentWins) {
  const std::vector<Entry> found = ParseList("(one) a@b (two (nested \")\" \\) ) end), c@d");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].comment, "two (nested \")\" \\) ) end");
  EXPECT_EQ(found[1].comment, "");
}

TEST(AddressParse, CommentBehindAWordStays) {
  EXPECT_EQ(ParseList("John (x) Doe <a@b>")[0].comment, "x");
  EXPECT_EQ(ParseList("John (x) Doe <a@b>")[0].phrase, "John Doe");
  EXPECT_EQ(ParseList("a@b (), c@d")[0].comment, "");
}

TEST(AddressParse, CommentIsCutAt255Bytes) {
  const std::string inner = std::string(254, 'c') + "()";
  EXPECT_EQ(ParseList("a@b (" + inner + ")")[0].comment, inner.substr(0, 255));
}

TEST(AddressParse, DomainLiteralIsCutAt511Bytes) {
  const std::string inner(600, 'd');
  EXPECT_EQ(ParseList("a@[" + inner + "]")[0].domain, "[" + inner.substr(0, 510));
  EXPECT_EQ(ParseList("a@[" + std::string(509, 'd') + "], b@c")[0].domain,
            "[" + std::string(509, 'd') + "]");
  EXPECT_EQ(ParseList("a@[" + inner + "], b@c").size(), 2U);
}

TEST(AddressParse, NothingElseIsCut) {
  const std::string word(3000, 'w');
  const std::string quoted = "\"" + word + "\"";
  const std::vector<Entry> found =
      ParseList(word + " " + quoted + " <" + word + "@" + word + "." + word + ">");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].phrase, word + " " + quoted);
  EXPECT_EQ(found[0].local_part, word);
  EXPECT_EQ(found[0].domain, word + "." + word);
}

TEST(AddressParse, StrayClosersAndBackslashesAreOrdinary) {
  EXPECT_EQ(ParseList("a)b]c\\d@x")[0].local_part, "a)b]c\\d");
  EXPECT_EQ(Addresses(") ] \\ <a@b>"), Strings{"a@b"});
}

TEST(AddressParse, EightBitAndControlBytesAreOrdinary) {
  std::string word;
  for (int c = 1; c < 256; ++c) {
    if (std::string(" \t\n\v\f\r:,;<>@\"[(\\").find(static_cast<char>(c)) == std::string::npos) {
      word += static_cast<char>(c);
    }
  }
  EXPECT_EQ(ParseList(word + "@x")[0].local_part, word);
  EXPECT_EQ(ParseList(word + " <a@b>")[0].phrase, word);
}

TEST(AddressParse, EveryWhiteSpaceSeparates) {
  EXPECT_EQ(ParseList("a\r \n\tb\v\fc <x@y>")[0].phrase, "a b c");
  EXPECT_EQ(ParseList("\"a\r b\" <x@y>")[0].phrase, "\"a\r b\"");
}

TEST(AddressParse, RawTextIsTrimmedOfCommasAndWhiteSpace) {
  const std::vector<Entry> found = ParseList(" \r\n ,\t a@b \t, \n c@d\v,,");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].raw_text, "a@b");
  EXPECT_EQ(found[1].raw_text, "c@d");
}

TEST(AddressParse, UnclosedQuoteBehindALiteralRunsToTheEnd) {
  EXPECT_EQ(Addresses("a@[\"], b@c, \"d, e@f"), (Strings{"a@[\"]", "b@c", "\"d, e@f"}));
}

TEST(AddressParse, GroupOfManyMembersStaysOneAddress) {
  std::string list = "G: m@x";
  for (int i = 0; i < 2000; ++i) list += ", m@x";
  EXPECT_EQ(Addresses(list + ";"), Strings{list + ";"});
}

std::string Repeat(std::string_view piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += piece;
  return text;
}

TEST(AddressParse, HundredThousandAddresses) {
  Table table;
  EXPECT_EQ(table.Parse(Repeat("J. Doe <j@x.example> (c), ", 100000)), 100000);
  EXPECT_STREQ(table.get()->tail->address, "j@x.example");
}

TEST(AddressParse, HundredThousandNestedComments) {
  const std::string nested = Repeat("(", 100000) + Repeat(")", 100000);
  EXPECT_EQ(ParseList("a@b " + nested)[0].comment, std::string(255, '('));
  EXPECT_EQ(Addresses("a@b " + nested.substr(1)), Strings{});
  EXPECT_EQ(Addresses(nested + " a@b"), Strings{"a@b"});
}

TEST(AddressParse, ManyOpenBracketsCostOneAddressEach) {
  EXPECT_EQ(Addresses(Repeat("(, ", 100000) + "a@b"), Strings{"a@b"});
  EXPECT_EQ(Addresses(Repeat("[, ", 100000) + "a@b"), Strings{"a@b"});
  EXPECT_EQ(Addresses(Repeat("<, ", 100000) + "a@b"), Strings{"a@b"});
  EXPECT_EQ(Addresses(Repeat(",", 1000000) + "a@b"), Strings{"a@b"});
}

TEST(AddressParse, FirstWordOfAnOrdinarySentenceIsAnAddress) {
  EXPECT_EQ(Addresses("Thanks, see you tomorrow"), Strings{"Thanks"});
}

// ---- quotes of the whole list

TEST(AddressQuotes, OneUnmatchedQuoteRejectsTheList) {
  Table table;
  EXPECT_EQ(table.Parse("a@b, \"c <d@e>"), 0);
  EXPECT_TRUE(table.entries().empty());
}

TEST(AddressQuotes, RejectedListLeavesTheTableAndTheTextAlone) {
  Table table;
  EXPECT_EQ(table.Parse("a@b"), 1);
  EXPECT_EQ(table.Parse("\\\" \" c@d"), 0);
  EXPECT_EQ(table.text(), "\\\" \" c@d");
  EXPECT_EQ(table.entries().size(), 1U);
}

// The byte behind any backslash is left out of the count, not only a quote.
TEST(AddressQuotes, BackslashHidesWhateverFollows) {
  EXPECT_EQ(Addresses("\"a\\\\\" <x@y>"), Strings{"x@y"});
  EXPECT_EQ(Addresses("\"a\\\\\\\" <x@y>"), Strings{});
  EXPECT_EQ(Addresses("a\\\"b <x@y>"), Strings{"x@y"});
  EXPECT_EQ(Addresses("\"a\" <x@y> (\\"), Strings{});
}

TEST(AddressQuotes, EscapedQuoteIsBlankedInTheCallersText) {
  Table table;
  EXPECT_EQ(table.Parse("\"a \\\"b\\\" c\" <x@y>"), 1);
  EXPECT_EQ(table.text(), "\"a   b   c\" <x@y>");
  EXPECT_EQ(table.entries()[0].phrase, "\"a   b   c\"");
  EXPECT_EQ(table.entries()[0].raw_text, "\"a   b   c\" <x@y>");
}

TEST(AddressQuotes, EscapedBackslashDoesNotPairWithTheQuoteBehindIt) {
  Table table;
  EXPECT_EQ(table.Parse("\"a\\\\\" <x@y>, \"b\\\\\\\" c\" <z@y>"), 2);
  EXPECT_EQ(table.text(), "\"a\\\\\" <x@y>, \"b\\\\   c\" <z@y>");
}

TEST(AddressQuotes, EscapedCommaStaysInsideTheQuotes) {
  EXPECT_EQ(Addresses("\"a\\,b\" <x@y>"), Strings{"x@y"});
}

}  // namespace
}  // namespace qob::testing
