// The search for line starts and the delimiter stack, compared with the plainest way to say the
// same.
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "mime/delimiter_stack.h"
#include "mime/line_search.h"
#include "support/exact_copy.h"

namespace qob::testing {
namespace {

std::size_t SlowLineStart(std::string_view text, const LineStarts& starts) {
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i - 1] == '\n' && starts.Has(text[i])) return i;
  }
  return kNotFound;
}

std::size_t SlowColonOrHyphen(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ':' || (i > 0 && text[i] == '-' && text[i - 1] == '\n')) return i;
  }
  return kNotFound;
}

constexpr LineStarts kOne('-');
constexpr LineStarts kFour('-', 'b', 'B', '(');

TEST(LineSearch, FindsAHitAtEveryPlaceOfEveryLength) {
  for (std::size_t size = 0; size < 200; ++size) {
    for (std::size_t place = 0; place < size; ++place) {
      std::string text(size, 'x');
      if (place > 0) text[place - 1] = '\n';
      for (const char c : {'-', 'b', 'B', '(', ':'}) {
        text[place] = c;
        const ExactCopy exact(text);
        ASSERT_EQ(FindLineStart(exact.view(), kOne), SlowLineStart(text, kOne))
            << size << " " << place << c;
        ASSERT_EQ(FindLineStart(exact.view(), kFour), SlowLineStart(text, kFour))
            << size << " " << place << c;
        ASSERT_EQ(FindColonOrHyphenLine(exact.view()), SlowColonOrHyphen(text))
            << size << " " << place << c;
      }
    }
  }
}

TEST(LineSearch, LineFeedAtTheEndFindsNothing) {
  EXPECT_EQ(FindLineStart("\n", kOne), kNotFound);
  EXPECT_EQ(FindLineStart("", kOne), kNotFound);
  EXPECT_EQ(FindLineStart("-", kOne), kNotFound)
      << "whether this is a line start is the caller's knowledge";
}

TEST(LineSearch, AgreesWithTheSlowWayOnRandomText) {
  std::mt19937 random(20261121);
  const std::string alphabet = "\n\n-bB(:x\r \xAD\x8A";
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 300, ' ');
    for (char& c : text) c = random() % 8 == 0 ? alphabet[random() % alphabet.size()] : 'y';
    const ExactCopy exact(text);
    ASSERT_EQ(FindLineStart(exact.view(), kOne), SlowLineStart(text, kOne));
    ASSERT_EQ(FindLineStart(exact.view(), kFour), SlowLineStart(text, kFour));
    ASSERT_EQ(FindColonOrHyphenLine(exact.view()), SlowColonOrHyphen(text));
  }
}

class Delimiters : public ::testing::Test {
 protected:
  void Open(MimeBodyPart* part, const char* delimiter) {
    part->delimiter = const_cast<char*>(delimiter);
    stack_.SetPending(part);
    stack_.OpenPending();
  }
  // Number of the frame, negative (less 1) for a closing line; 99 for none.
  int Match(std::string_view line) {
    const ExactCopy exact(line);
    const DelimiterStack::Match match = stack_.Find(exact.view());
    if (!match) return 99;
    return match.closing ? -static_cast<int>(match.frame) - 1 : static_cast<int>(match.frame);
  }

  DelimiterStack stack_;
  MimeBodyPart parts_[4] = {};
};

TEST_F(Delimiters, NothingMatchesAnEmptyStack) {
  EXPECT_FALSE(stack_.waits_for_lines());
  EXPECT_EQ(Match("--"), 99);
  EXPECT_EQ(stack_.current_delimiter(), "--QOB");
}

TEST_F(Delimiters, LongestCandidateWins) {
  Open(&parts_[0], "--ab");
  Open(&parts_[1], "--abcd");
  Open(&parts_[2], "--AB");
  EXPECT_EQ(Match("--abcd\r\n"), 1);
  EXPECT_EQ(Match("--ABCD--\r\n"), -2);
  EXPECT_EQ(Match("--abc\r\n"), 2);
  EXPECT_EQ(Match("--ab--\r\n"), -3);
  EXPECT_EQ(Match("--ab-"), 2);
  EXPECT_EQ(Match("--a"), 99);
  EXPECT_EQ(Match("-"), 99);
  EXPECT_EQ(Match(""), 99);
}

TEST_F(Delimiters, PendingMultipartIsTheInnermostCandidate) {
  Open(&parts_[0], "--b");
  parts_[1].delimiter = const_cast<char*>("--b");
  stack_.SetPending(&parts_[1]);
  EXPECT_EQ(Match("--b"), 1);
  stack_.DropPending();
  EXPECT_EQ(Match("--b"), 0);
}

TEST_F(Delimiters, EncapsulatedMessagesAreNoCandidates) {
  parts_[0].delimiter = const_cast<char*>(kPlaceholderDelimiter);
  stack_.OpenEncapsulated(&parts_[0]);
  EXPECT_FALSE(stack_.waits_for_lines());
  EXPECT_EQ(Match("--QOB"), 99);
  Open(&parts_[1], "--qob");
  EXPECT_EQ(Match("--QOB"), 1);
  stack_.Pop();
  EXPECT_FALSE(stack_.waits_for_lines());
  EXPECT_EQ(stack_.top(), &parts_[0]);
}

}  // namespace
}  // namespace qob::testing
