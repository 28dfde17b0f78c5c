// The queue's filter language: what each condition asks, how they bind, where mistakes are told,
// and random filters against an evaluation of their own.
#include "queue/filter.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "failure.h"

namespace cli::queue {
namespace {

constexpr std::int64_t kNow = 1795257000;  // 2026-11-21T10:30:00Z

// A message with texts of its own.
class Sample {
 public:
  Sample() {
    message_.has_record = true;
    message_.id = 0x0001A2B3;
    message_.created = kNow - 7200;
    message_.changed = kNow - 60;
    message_.retry_at = kNow + 600;
    message_.tries = 3;
    message_.size = 4096;
    message_.files_known = true;
    message_.sender = texts_.Keep("Alice@Example.ORG");
    message_.status = texts_.Keep("deferred: connection timed out");
    message_.directory = texts_.Keep("out");
    message_.envelope_id = texts_.Keep("QQ314159");
    Recipient("bob@one.example", "");
    Recipient("carol@two.example", "delivered");
  }
  Message& message() {
    message_.recipients = recipients_;
    return message_;
  }
  Text Keep(std::string_view text) { return texts_.Keep(text); }
  void Recipient(std::string_view address, std::string_view state) {
    queue::Recipient recipient;
    recipient.address = texts_.Keep(address);
    recipient.state = texts_.Keep(state);
    message_.pending += recipient.pending() ? 1 : 0;
    recipients_.push_back(recipient);
  }

 private:
  TextStore texts_;
  std::vector<queue::Recipient> recipients_;
  Message message_;
};

bool Fits(const std::string& filter, const Message& message) {
  return Filter(filter, kNow).Fits(message);
}

struct Row {
  const char* filter;
  bool fits;
};

void ExpectRows(std::initializer_list<Row> rows, const Message& message) {
  for (const Row& row : rows) EXPECT_EQ(Fits(row.filter, message), row.fits) << row.filter;
}

TEST(QueueFilter, FitsEverythingWhenEmpty) {
  Sample sample;
  ExpectRows({{"", true}, {"  \t ", true}}, sample.message());
}

TEST(QueueFilter, ComparesTextsWithoutRegardToCase) {
  Sample sample;
  ExpectRows({{"sender = alice@example.org", true},
              {"SENDER=ALICE@EXAMPLE.ORG", true},
              {"sender = alice@example", false},
              {"sender != alice@example", true},
              {"sender ~ EXAMPLE", true},
              {"sender !~ example", false},
              {"sender ~ *@example.org", true},
              {"sender ~ *@example", false},
              {"sender ~ alice?example.*", true},
              {"sender ~ ?lice", false},
              {"sender = *@example.org", false},
              {"directory = out", true},
              {"directory = outbound", false},
              {"envelope-id ~ 3141", true},
              {"state = \"\"", true},
              {"status ~ \"timed out\"", true},
              {"status ~ 'timed out'", true},
              {"status ~ \"\"", true}},
             sample.message());
}

TEST(QueueFilter, TakesAnyOfTheRecipients) {
  Sample sample;
  ExpectRows({{"recipient = bob@one.example", true},
              {"recipient = carol@two.example", true},
              {"recipient = dave@two.example", false},
              {"recipient != dave@two.example", true},
              {"recipient != bob@one.example", false},
              {"domain = two.example", true},
              {"domain = example", false},
              {"domain ~ *.example", true},
              {"recipients = 2", true},
              {"pending = 1", true},
              {"pending > 1", false}},
             sample.message());
}

TEST(QueueFilter, ReadsTheDomainBehindTheLastAt) {
  EXPECT_EQ(DomainOf("\"a@b\"@gw.example"), "gw.example");
  EXPECT_EQ(DomainOf("<a@gw.example>"), "gw.example");
  EXPECT_EQ(DomainOf("postmaster"), "");
  EXPECT_EQ(DomainOf("a@"), "");
  EXPECT_EQ(DomainOf(""), "");
}

TEST(QueueFilter, ComparesNumbersWithUnits) {
  Sample sample;
  ExpectRows({{"size = 4k", true},
              {"size=4096", true},
              {"size < 4K", false},
              {"size <= 4k", true},
              {"size > 1M", false},
              {"size<1G", true},
              {"tries >= 3", true},
              {"tries != 3", false},
              {"part = 0", true},
              {"id = 0001a2b3", true},
              {"id = 0001A2B3", true},
              {"id > 0001A2B3", false},
              {"age = 2h", true},
              {"age > 1h59m", true},
              {"age > 1h59m60s", false},
              {"age < 1d", true},
              {"age < 1w", true},
              {"age >= 7200", true}},
             sample.message());
}

TEST(QueueFilter, ComparesTimes) {
  Sample sample;
  ExpectRows({{"retry > now", true},
              {"retry < now+11m", true},
              {"retry <= now+10m", true},
              {"retry < now+10m", false},
              {"created < now-1h", true},
              {"created = 2026-11-21T08:30:00Z", true},
              {"created = 2026-11-21t09:30:00+01:00", true},
              {"created = \"2026-11-21 05:30:00-03:00\"", true},
              {"created >= 2026-11-21T08:30Z", true},
              {"created = @1795249800", true},
              {"changed > @1795249800", true}},
             sample.message());
}

TEST(QueueFilter, AsksSwitchesAloneOrByValue) {
  Sample sample;
  ExpectRows({{"held", false}, {"not held", true}, {"held = no", true}, {"held != yes", true}},
             sample.message());
  sample.message().held = true;
  ExpectRows({{"held", true}, {"HELD = YES", true}, {"held = no", false}, {"not held = no", true}},
             sample.message());
  sample.message().locked = true;
  sample.message().delay_noticed = true;
  ExpectRows({{"locked and delay-noticed", true}}, sample.message());
}

TEST(QueueFilter, OrdersNothingThatIsUnknown) {
  Sample sample;
  sample.message().size = kUnknown;
  sample.message().created = 0;
  sample.message().files_known = false;
  ExpectRows({{"size < 1", false},
              {"size >= 0", false},
              {"size = 0", false},
              {"size != 0", true},
              {"size = unknown", true},
              {"size != unknown", false},
              {"age > 0", false},
              {"age < 100w", false},
              {"created < now", false},
              {"locked", false},
              {"locked = no", false},
              {"retry <= now+1h", true}},
             sample.message());
}

TEST(QueueFilter, BindsNotBeforeAndBeforeOr) {
  Sample sample;
  // Every way of binding three truths, against C++.
  for (int bits = 0; bits < 8; ++bits) {
    const bool a = (bits & 1) != 0;
    const bool b = (bits & 2) != 0;
    const bool c = (bits & 4) != 0;
    const auto text = [](bool value) { return std::string(value ? "tries=3" : "tries=4"); };
    const std::string x = text(a);
    const std::string y = text(b);
    const std::string z = text(c);
    const Message& message = sample.message();
    EXPECT_EQ(Fits(x + " or " + y + " and " + z, message), a || (b && c));
    EXPECT_EQ(Fits(x + " and " + y + " or " + z, message), (a && b) || c);
    EXPECT_EQ(Fits("(" + x + " or " + y + ") and " + z, message), (a || b) && c);
    EXPECT_EQ(Fits("not " + x + " and " + y, message), !a && b);
    EXPECT_EQ(Fits("not (" + x + " and " + y + ")or not not " + z, message), !(a && b) || c);
    EXPECT_EQ(Fits("((" + x + "))and(" + y + ")", message), a && b);
  }
}

TEST(QueueFilter, KeepsQuotedSigns) {
  Sample sample;
  sample.message().status = sample.Keep("a (b) \"c\" 'd' \\ and e");
  ExpectRows({{R"(status = "a (b) \"c\" 'd' \\ and e")", true},
              {R"(status ~ '"c" \'d\'')", true},
              {"status ~ \"(b)\"", true}},
             sample.message());
  sample.message().sender = sample.Keep("<>");
  ExpectRows({{"sender=<>", true}, {"sender = <>", true}, {"sender='<>' and tries=3", true}},
             sample.message());
}

std::string Mistake(const std::string& filter) {
  try {
    Filter(filter, kNow);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kUsage);
    return failure.what();
  }
  return "";
}

TEST(QueueFilter, PointsAtAMistake) {
  struct MistakeRow {
    const char* filter;
    const char* place;
    const char* what;
  };
  const MistakeRow rows[] = {
      {"foo = 1", "character 1, at \"foo = 1\"", "expected a field"},
      {"held adn tries = 1", "character 6, at \"adn", "expected \"and\", \"or\" or the end"},
      {"held and", "character 9, at the end", "expected a field"},
      {"(held", "character 6, at the end", "a \")\" is missing"},
      {"held)", "character 5, at \")\"", "no \"(\" belongs"},
      {"()", "character 2, at \")\"", "expected a field"},
      {"sender", "character 7, at the end", "expected a comparison"},
      {"sender < a", "character 8, at \"< a\"", "compared with = != ~ !~"},
      {"tries ~ 1", "character 7, at \"~ 1\"", "is no text"},
      {"held < yes", "character 6, at \"< yes\"", "yes or no"},
      {"held = maybe", "character 8, at \"maybe\"", "yes or no"},
      {"sender =", "character 9, at the end", "expected a value"},
      {"sender = (", "character 10", "expected a value"},
      {"sender = \"a", "character 10, at \"\"a\"", "not closed"},
      {"size > 10q", "character 8, at \"10q\"", "expected a size"},
      {"size > -1", "character 8", "expected a size"},
      {"size > 99999999999999999999", "character 8", "expected a size"},
      {"size > 9999999999G", "character 8", "expected a size"},
      {"age > 5y", "character 7", "expected a duration"},
      {"age > 1h30", "character 7", "expected a duration"},
      {"age > 99999999999999999w", "character 7", "expected a duration"},
      {"tries = 1.5", "character 9", "expected a number"},
      {"id = 1A2B3", "character 6", "eight hexadecimal digits"},
      {"retry < tomorrow", "character 9", "expected a time"},
      {"retry < 2026-02-29", "character 9", "expected a time"},
      {"retry < 2026-13-01", "character 9", "expected a time"},
      {"retry < 2026-11-21T24:00Z", "character 9", "expected a time"},
      {"retry < now*2", "character 9", "expected a time"},
      {"held not locked", "character 6", "expected \"and\""},
      {"sender = a\"b\" c", "character 15", "expected \"and\""},
  };
  for (const MistakeRow& row : rows) {
    const std::string said = Mistake(row.filter);
    EXPECT_NE(said.find(row.place), std::string::npos) << row.filter << ": " << said;
    EXPECT_NE(said.find(row.what), std::string::npos) << row.filter << ": " << said;
  }
}

TEST(QueueFilter, RefusesWhatIsTooDeepOrTooLong) {
  Sample sample;
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '(') + "held" + std::string(depth, ')');
  };
  EXPECT_FALSE(Fits(nested(kDeepestFilter), sample.message()));
  EXPECT_NE(Mistake(nested(kDeepestFilter + 1)).find("more than 100"), std::string::npos);
  EXPECT_NE(Mistake(std::string(200000, '(')).find("longer than"), std::string::npos);
  std::string nots;
  for (std::size_t i = 0; i < kDeepestFilter; ++i) nots += "not ";
  EXPECT_FALSE(Fits(nots + "held", sample.message()));
  EXPECT_NE(Mistake("not " + nots + "held"), "");
  EXPECT_NE(Mistake("sender = " + std::string(kLongestFilter, 'x')), "");
}

TEST(QueueFilter, TakesAsManyConditionsAsFit) {
  Sample sample;
  std::string filter = "held";
  while (filter.size() < kLongestFilter - 20) filter += " or held";
  EXPECT_FALSE(Fits(filter, sample.message()));
  EXPECT_TRUE(Fits(filter + " or tries=3", sample.message()));
}

TEST(QueueFilter, AsksForFilesOnlyWhenItMust) {
  EXPECT_FALSE(Filter("held and age > 1d", kNow).needs_files());
  EXPECT_TRUE(Filter("held or size > 1", kNow).needs_files());
  EXPECT_TRUE(Filter("not locked", kNow).needs_files());
  EXPECT_FALSE(Filter("", kNow).needs_files());
}

TEST(QueueFilter, TriesAPatternWithManyStarsInBoundedTime) {
  Sample sample;
  sample.message().status = sample.Keep(std::string(255, 'a'));
  std::string pattern;
  for (int i = 0; i < 10000; ++i) pattern += "*a";
  EXPECT_FALSE(Fits("status ~ " + pattern + "*b", sample.message()));
  EXPECT_TRUE(Fits("status ~ *a*a*a*a*a*a*", sample.message()));
}

// ---- random filters, evaluated a second way ----

std::string Folded(std::string_view text) {
  std::string folded(text);
  for (char& c : folded) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return folded;
}

// Whole-text patterns by the table of all prefixes.
bool PatternOracle(const std::string& text, const std::string& pattern) {
  std::vector<bool> row(text.size() + 1, false);
  row[0] = true;
  for (const char p : pattern) {
    std::vector<bool> next(text.size() + 1, false);
    next[0] = p == '*' && row[0];
    for (std::size_t i = 1; i <= text.size(); ++i) {
      next[i] = p == '*' ? next[i - 1] || row[i] : row[i - 1] && (p == '?' || p == text[i - 1]);
    }
    row = next;
  }
  return row[text.size()];
}

class RandomFilter {
 public:
  explicit RandomFilter(unsigned seed) : random_(seed) {}

  int Below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

  struct Made {
    std::string text;
    std::function<bool(const Message&)> fits;
  };

  std::string Letters(int most) {
    std::string text;
    for (int i = Below(most + 1); i > 0; --i) text += "aAbB@.*? ("[Below(10)];
    return text;
  }

  std::string Quoted(const std::string& value) {
    const bool plain = !value.empty() && value.find_first_of(" ()\"'\\") == value.npos;
    if (plain && Below(2) == 0) return value;
    const char quote = Below(2) == 0 ? '"' : '\'';
    std::string quoted(1, quote);
    for (const char c : value) {
      if (c == quote || c == '\\' || Below(8) == 0) quoted += '\\';
      quoted += c;
    }
    return quoted + quote;
  }

  std::string Blanks() { return std::string(static_cast<std::size_t>(Below(3)), ' '); }
  std::string Cased(std::string word) {
    for (char& c : word) {
      if (c >= 'a' && c <= 'z' && Below(4) == 0) c = static_cast<char>(c - 'a' + 'A');
    }
    return word;
  }

  Made TextCondition();
  Made NumberCondition();
  Made SwitchCondition();
  Made Make(int depth);

 private:
  std::mt19937 random_;
};

RandomFilter::Made RandomFilter::TextCondition() {
  const std::string value = Letters(4);
  const int sign = Below(4);
  const bool like = sign >= 2;
  const bool turned = sign % 2 == 1;
  const std::string folded = Folded(value);
  const auto one = [like, folded](std::string_view of) {
    const std::string text = Folded(of);
    if (!like) return text == folded;
    return folded.find_first_of("*?") == folded.npos ? text.find(folded) != text.npos
                                                     : PatternOracle(text, folded);
  };
  const char* const signs[] = {"=", "!=", "~", "!~"};
  const int field = Below(4);
  const char* const names[] = {"sender", "status", "recipient", "domain"};
  const std::string text = Cased(names[field]) + Blanks() + signs[sign] + Blanks() + Quoted(value);
  return {text, [=](const Message& message) {
            bool fits = false;
            if (field == 0) fits = one(message.sender);
            if (field == 1) fits = one(message.status);
            for (const Recipient& recipient : message.recipients) {
              const std::string address(recipient.address.view());
              const std::size_t at = address.rfind('@');
              if (field == 2) fits = fits || one(address);
              if (field == 3) fits = fits || one(at == address.npos ? "" : address.substr(at + 1));
            }
            return fits != turned;
          }};
}

RandomFilter::Made RandomFilter::NumberCondition() {
  const int sign = Below(6);
  const char* const signs[] = {"=", "!=", "<", "<=", ">", ">="};
  const std::int64_t value = Below(6);
  const int field = Below(3);
  const char* const names[] = {"tries", "size", "age"};
  const std::string unit = field == 2 ? "s" : "";
  const std::string text =
      Cased(names[field]) + Blanks() + signs[sign] + Blanks() + std::to_string(value) + unit;
  return {text, [=](const Message& message) {
            const std::int64_t number = field == 0   ? message.tries
                                        : field == 1 ? message.size
                                                     : kNow - message.created;
            const bool known =
                !(field == 1 && message.size == kUnknown) && !(field == 2 && message.created == 0);
            if (!known) return sign == 1;
            const bool answers[] = {number == value, number != value,
                                    number<value, number <= value, number> value, number >= value};
            return answers[sign];
          }};
}

RandomFilter::Made RandomFilter::SwitchCondition() {
  const int form = Below(4);
  const char* const forms[] = {"", " = yes", "!=no", " = no"};
  return {Cased("held") + forms[form],
          [=](const Message& message) { return message.held == (form != 3); }};
}

RandomFilter::Made RandomFilter::Make(int depth) {
  const int kind = depth == 0 ? Below(3) : Below(7);
  if (kind == 0) return TextCondition();
  if (kind == 1) return NumberCondition();
  if (kind == 2) return SwitchCondition();
  const Made left = Make(depth - 1);
  if (kind == 3) {
    return {Cased("not") + " (" + left.text + ")",
            [=](const Message& message) { return !left.fits(message); }};
  }
  if (kind == 4) return {"(" + Blanks() + left.text + Blanks() + ")", left.fits};
  const Made right = Make(depth - 1);
  const bool both = kind == 5;
  return {"(" + left.text + ") " + Cased(both ? "and" : "or") + " (" + right.text + ")",
          [=](const Message& message) {
            return both ? left.fits(message) && right.fits(message)
                        : left.fits(message) || right.fits(message);
          }};
}

// Addresses in the oracle end in no ">", which DomainOf would take away.
void Scatter(RandomFilter& random, Sample* sample) {
  Message& message = sample->message();
  message.sender = sample->Keep(random.Letters(4));
  message.status = sample->Keep(random.Letters(5));
  message.tries = random.Below(6);
  message.size = random.Below(7) - 1;
  message.created = random.Below(8) == 0 ? 0 : kNow - random.Below(6);
  message.held = random.Below(2) == 0;
  for (int i = random.Below(3); i > 0; --i) sample->Recipient(random.Letters(5), "");
}

TEST(QueueFilter, AgreesWithAnotherEvaluation) {
  int fitted = 0;
  for (unsigned seed = 0; seed < 4000; ++seed) {
    RandomFilter random(seed);
    const RandomFilter::Made made = random.Make(4);
    const Filter filter(made.text, kNow);
    for (int i = 0; i < 8; ++i) {
      Sample sample;
      Scatter(random, &sample);
      const bool expected = made.fits(sample.message());
      fitted += expected ? 1 : 0;
      ASSERT_EQ(filter.Fits(sample.message()), expected) << made.text;
    }
  }
  EXPECT_GT(fitted, 8000);
  EXPECT_LT(fitted, 24000);
}

}  // namespace
}  // namespace cli::queue
