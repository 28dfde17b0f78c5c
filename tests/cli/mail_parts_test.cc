// The parts of qob build and qob send that stand by themselves: header words, addresses, what a
// text holds, command lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "failure.h"
#include "mail/header_words.h"
#include "mail/mailbox.h"
#include "mail/part_plan.h"
#include "mail/text_scan.h"
#include "option_words.h"

namespace cli {
namespace {

using mail::WordCharset;

std::string Text(std::string_view utf8) { return mail::HeaderText(utf8, WordCharset()); }

TEST(HeaderWords, LeavesPlainTextAlone) {
  EXPECT_EQ(Text("Hello, world (again)"), "Hello, world (again)");
  EXPECT_EQ(Text(""), "");
}

TEST(HeaderWords, WritesTheShorterOfBothEncodings) {
  EXPECT_EQ(Text("Gr\xC3\xBC\xC3\x9F"
                 "e aus Hamburg"),
            "=?UTF-8?Q?Gr=C3=BC=C3=9F"
            "e_aus_Hamburg?=");
  EXPECT_EQ(Text("\xC3\xBC\xC3\x9F"), "=?UTF-8?B?w7zDnw==?=");
}

TEST(HeaderWords, EscapesWhatReadersOfQWordsTakeForOtherThings) {
  EXPECT_EQ(Text("a_b?c=d and so on for ever more \xC3\xBC"),
            "=?UTF-8?Q?a=5Fb=3Fc=3Dd_and_so_on_for_ever_more_=C3=BC?=");
}

TEST(HeaderWords, EncodesWhatLooksLikeAWord) { EXPECT_EQ(Text("=?x?"), "=?UTF-8?B?PT94Pw==?="); }

TEST(HeaderWords, DividesAtCharacters) {
  std::string text;
  for (int i = 0; i < 40; ++i) text += "\xE6\x97\xA5";
  const std::string words = Text(text);
  std::size_t at = 0;
  for (std::size_t end = 0; end != std::string::npos; at = end + 3) {
    end = words.find("\r\n ", at);
    const std::string word = words.substr(at, end - at);
    EXPECT_LE(word.size(), 60U);
    // Four base64 characters for each character of three bytes.
    EXPECT_EQ((word.size() - 12) % 4, 0U) << word;
    EXPECT_EQ(word.find('=', 10), word.size() - 1) << word;
  }
}

TEST(HeaderWords, FoldsOnlyLinesThatAreTooLong) {
  const std::string line(400, 'x');
  EXPECT_EQ(Text(line + " " + line), line + " " + line);
  EXPECT_EQ(Text(line + " " + line + " " + line), line + " " + line + "\r\n " + line);
  EXPECT_EQ(Text(std::string(901, 'x')).substr(0, 10), "=?UTF-8?Q?");
}

TEST(HeaderWords, TakesAnotherSetWhereItHasTheCharacters) {
  WordCharset latin;
  latin.name = "ISO-8859-1";
  latin.convert = [](std::string_view utf8) -> std::optional<std::string> {
    return utf8 == "\xC3\xBC" ? std::optional<std::string>("\xFC") : std::nullopt;
  };
  EXPECT_EQ(mail::HeaderText("\xC3\xBC", latin), "=?ISO-8859-1?Q?=FC?=");
  EXPECT_EQ(mail::HeaderText("\xE2\x82\xAC", latin), "=?UTF-8?B?4oKs?=");
}

TEST(HeaderParameter, TakesTheSimplestForm) {
  EXPECT_EQ(mail::HeaderParameter("name", "a.txt"), ";\r\n name=a.txt");
  EXPECT_EQ(mail::HeaderParameter("name", "a b.txt"), ";\r\n name=\"a b.txt\"");
  EXPECT_EQ(mail::HeaderParameter("name", "a\"\\"), ";\r\n name=\"a\\\"\\\\\"");
  EXPECT_EQ(mail::HeaderParameter("name", "'x'"), ";\r\n name=\"'x'\"");
  EXPECT_EQ(mail::HeaderParameter("name", ""), ";\r\n name=\"\"");
  EXPECT_EQ(mail::HeaderParameter("name", "\xC3\xBC b%"), ";\r\n name*=UTF-8''%C3%BC%20b%25");
}

TEST(HeaderParameter, DividesALongExtendedForm) {
  std::string name;
  for (int i = 0; i < 7; ++i) name += "\xE6\x97\xA5";
  const std::string day = "%E6%97%A5";
  EXPECT_EQ(mail::HeaderParameter("name", name),
            ";\r\n name*0*=UTF-8''" + day + day + day + day + day + day + ";\r\n name*1*=" + day);
}

TEST(Mailboxes, HaveTheirNamesUnquoted) {
  const auto list =
      mail::ParseMailboxes("x", R"("Doe, \"J\"" <a@b>, c@d (C), (x) e@f, Ann B <g@h>)");
  ASSERT_EQ(list.size(), 4U);
  EXPECT_EQ(list[0].name, "Doe, \"J\"");
  EXPECT_EQ(list[1].name, "C");
  EXPECT_EQ(list[2].address, "e@f");
  EXPECT_EQ(mail::HeaderForm(list[0], WordCharset()), R"("Doe, \"J\"" <a@b>)");
  EXPECT_EQ(mail::HeaderForm(list[3], WordCharset()), "Ann B <g@h>");
}

TEST(Mailboxes, AreAllOrNone) {
  EXPECT_THROW(mail::ParseMailboxes("x", "a@b, c d, e@f"), Failure);
  EXPECT_THROW(mail::ParseMailboxes("x", "a@b\n"), Failure);
  EXPECT_THROW(mail::RequireAddress("x", "-a@b"), Failure);
}

mail::TextTraits Scan(std::string_view text, std::size_t cut) {
  mail::TextScan scan;
  scan.Take(text.substr(0, cut));
  scan.Take(text.substr(cut));
  return scan.Finish();
}

TEST(TextScan, SaysTheSameHoweverTheTextIsCut) {
  const std::string text =
      "plain\r\n\xE6\x97\xA5 blank \r\n--QOB.Boundary.1\r\nbare\n\xF0\x9F\x98\x80\rx\r";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    const mail::TextTraits traits = Scan(text, cut);
    EXPECT_TRUE(traits.utf8 && traits.bare_feed && traits.bare_return && traits.trailing_blank &&
                traits.delimiter)
        << cut;
    EXPECT_FALSE(traits.nul);
    EXPECT_EQ(traits.eight_bit, 7) << cut;
    EXPECT_EQ(traits.longest_line, 16) << cut;
    EXPECT_EQ(traits.size_bytes, static_cast<std::int64_t>(text.size()));
  }
}

TEST(TextScan, KnowsWhatIsUtf8) {
  struct Row {
    const char* text;
    bool utf8;
  };
  for (const Row& row :
       {Row{"\xC3\xBC", true}, Row{"\xC3", false}, Row{"\xFC", false}, Row{"\xC0\x80", false},
        Row{"\xED\xA0\x80", false}, Row{"\xF4\x90\x80\x80", false}, Row{"\xE0\x80\x80", false},
        Row{"\xEF\xBF\xBD", true}, Row{"\xF4\x8F\xBF\xBF", true}}) {
    EXPECT_EQ(Scan(row.text, 1).utf8, row.utf8) << row.text;
  }
}

TEST(TextScan, FindsNothingInPlainText) {
  const mail::TextTraits traits = Scan("one\r\n --QOB.Boundary.\r\nx--QOB.Boundary.\r\n", 7);
  EXPECT_FALSE(traits.bare_feed || traits.bare_return || traits.trailing_blank ||
               traits.delimiter || traits.nul);
  EXPECT_EQ(mail::ChooseEncoding(traits), mail::Encoding::k7bit);
}

constexpr OptionRow kOptions[] = {
    {"-f,--from", "X", ""}, {"-t,--take", "", ""}, {"--text", "X", ""}};
constexpr CommandRow kRow = {"send", "", "", kOptions, {}, {}};
constexpr ForeignOption kForeign[] = {{'o', true}, {'f', false}};

Arguments Read(std::vector<std::string> words, bool table_first = true) {
  Arguments arguments;
  ReadWords(kRow, words, kForeign, table_first, &arguments);
  return arguments;
}

TEST(OptionWords, AreReadAsGetoptReadsThem) {
  const Arguments read = Read({"-tfa", "x", "--text=b=c", "--text", "-d", "-oi", "-", "--", "-t"});
  EXPECT_TRUE(read.Has("--take"));
  EXPECT_EQ(read.Value("--from"), "a");
  EXPECT_EQ(read.All("--text"), (std::vector<std::string>{"b=c", "-d"}));
  EXPECT_EQ(read.Value("-o"), "i");
  EXPECT_EQ(read.operands, (std::vector<std::string>{"x", "-", "-t"}));
}

TEST(OptionWords, LetTheCallerSayWhoseLetterCounts) {
  EXPECT_EQ(Read({"-f", "x"}).operands.size(), 0U);
  EXPECT_EQ(Read({"-f", "x"}, false).operands.size(), 1U);
}

TEST(OptionWords, RefuseWhatIsNone) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"-z"}, {"--zoo"}, {"--take=x"}, {"--text"}, {"-f"}, {"-tz"}}) {
    EXPECT_THROW(Read(words), Failure) << words.front();
  }
}

}  // namespace
}  // namespace cli
