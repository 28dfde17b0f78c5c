// The library's parser against the generated one, on random lists and on all short ones.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rfc822/address_list.h"
#include "rfc822/address_oracle.h"

namespace qob::testing {
namespace {

// Builds without optimisation, which the sanitizers use, do a tenth of the work.
#ifdef NDEBUG
constexpr int kRounds = 200000;
constexpr std::size_t kTokens = 5;
#else
constexpr int kRounds = 20000;
constexpr std::size_t kTokens = 4;
#endif

OracleList Ours(std::string text) {
  OracleList list;
  AddressList parser(text);
  list.rejected = parser.IsNone();
  ParsedAddress a;
  while (parser.Next(&a)) {
    list.addresses.push_back({std::string(a.address), std::string(a.raw_text),
                              std::string(a.phrase), std::string(a.comment),
                              std::string(a.local_part), std::string(a.domain), a.comments});
  }
  list.text = text;
  return list;
}

bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\n\v\f\r") == std::string::npos;
}

void ExpectSame(const std::string& text) {
  const OracleList expected = OracleParse(text);
  const OracleList found = Ours(text);
  EXPECT_EQ(found.addresses, expected.addresses) << "list: <" << text << ">";
  if (!IsBlank(text)) {
    EXPECT_EQ(found.rejected, expected.rejected) << "list: <" << text << ">";
  }
  EXPECT_EQ(found.text, expected.text);
}

TEST(AddressOracle, AgreesWithHandWrittenExpectations) {
  const OracleList list = OracleParse("J. Doe <j@x> (c), bad > one, G: a@b, c@d;");
  const std::vector<OracleAddress> expected = {
      {"j@x", "J. Doe <j@x> (c)", "J. Doe", "c", "j", "x", 1},
      {"G: a@b, c@d;", "G: a@b, c@d;", "G", "", "c", "d", 0}};
  EXPECT_EQ(list.addresses, expected);
}

TEST(AddressDifferential, AllShortLists) {
  const std::vector<std::string> tokens = {"a", "\"q\"", "[l]", "<", ">",   "@",
                                           ".", ",",     ":",   ";", "(c)", "("};
  std::vector<std::size_t> pick(kTokens, 0);
  for (bool more = true; more;) {
    std::string text;
    for (const std::size_t i : pick) text += tokens[i] + " ";
    ExpectSame(text);
    if (HasFailure()) return;
    more = false;
    for (std::size_t& i : pick) {
      if (++i < tokens.size()) {
        more = true;
        break;
      }
      i = 0;
    }
  }
}

std::string RandomList(std::mt19937* random, const std::vector<std::string>& pieces,
                       std::size_t most) {
  std::string text;
  for (std::size_t n = (*random)() % most; n > 0; --n) text += pieces[(*random)() % pieces.size()];
  return text;
}

TEST(AddressDifferential, RandomBytesOfTheGrammar) {
  std::mt19937 random(822);
  const std::vector<std::string> bytes = {"a", "b", " ", "\"", "\\", "[", "]", "<",      ">",
                                          "@", ".", ",", ":",  ";",  "(", ")", "\r\n\t", "\xE4"};
  for (int i = 0; i < kRounds && !HasFailure(); ++i) ExpectSame(RandomList(&random, bytes, 24));
}

TEST(AddressDifferential, RandomAddressesWithFaults) {
  std::mt19937 random(1982);
  const std::vector<std::string> pieces = {"joe@x.example",
                                           "J. Doe <j.d@x.y>",
                                           "\"Doe, J\" <j@[1.2.3.4]>",
                                           "G: a.b@c.d, e@f;",
                                           "<@r,@s.t:a.b@c>",
                                           "G: ",
                                           "joe",
                                           "B. Two <b@y>",
                                           "(comment (nested))",
                                           "(open",
                                           "[open",
                                           "\"",
                                           "\\\"",
                                           "\\",
                                           ", ",
                                           ",",
                                           ", ",
                                           " ",
                                           ".",
                                           "@",
                                           "<",
                                           ">",
                                           ";",
                                           ":",
                                           "x",
                                           "[l]",
                                           ")",
                                           "]"};
  for (int i = 0; i < kRounds && !HasFailure(); ++i) ExpectSame(RandomList(&random, pieces, 16));
}

TEST(AddressDifferential, UnclosedBracketsOfAllKinds) {
  std::mt19937 random(4096);
  const std::vector<std::string> pieces = {"(",   "(", ")", "\"", "\\", "\\(",
                                           "\\)", ",", ",", "a",  "[",  "]"};
  for (int i = 0; i < kRounds && !HasFailure(); ++i) ExpectSame(RandomList(&random, pieces, 20));
}

}  // namespace
}  // namespace qob::testing
