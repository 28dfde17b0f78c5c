// Holds the profile calls and the share modes to the answers of a second implementation
// (profile_oracle.c tells how the table was made). Where this library answers otherwise on purpose,
// the reason stands in kDeviations by name; what it answers there is pinned by hand in
// profile_test.cc.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/os/ascii.h"
#include "platform/os/directory.h"
#include "platform/os/file.h"
#include "platform/os/profile.h"
#include "support/temp_spool.h"

namespace qob::os {
namespace {

using Text = std::optional<std::string>;  // nullopt = a null pointer

std::string TablePath() {
  const char* source = std::getenv("QOB_SOURCE_DIR");
  return std::string(source == nullptr ? "." : source) + "/tests/platform/profile_expectations.txt";
}

int HexDigit(char c) { return c <= '9' ? c - '0' : c - 'A' + 10; }

std::string Unescape(std::string_view text) {
  static const std::map<char, char> kPlain = {{'t', '\t'}, {'r', '\r'}, {'n', '\n'}, {'\\', '\\'}};
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      result.push_back(text[i]);
    } else if (text[++i] == 'x') {
      result.push_back(static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2])));
      i += 2;
    } else {
      result.push_back(kPlain.at(text[i]));
    }
  }
  return result;
}

struct Row {
  std::string line;
  std::vector<std::string> fields;

  Text text(std::size_t i) const {
    if (fields[i] == "\\N") return std::nullopt;
    return Unescape(fields[i]);
  }
  std::string bytes(std::size_t i) const { return Unescape(fields[i]); }
  unsigned number(std::size_t i) const {
    return static_cast<unsigned>(std::strtoul(fields[i].c_str(), nullptr, 10));
  }
};

std::vector<Row> Rows(std::string_view kind) {
  std::vector<Row> rows;
  std::ifstream table(TablePath());
  for (std::string line; std::getline(table, line);) {
    Row row{line, {}};
    std::istringstream in(line + "\t");
    for (std::string field; std::getline(in, field, '\t');) row.fields.push_back(field);
    if (row.fields[0] == kind) rows.push_back(row);
  }
  return rows;
}

const char* Pointer(const Text& text) { return text ? text->c_str() : nullptr; }

// What one question asked and what both sides answered.
struct Question {
  Text file;
  Text section;
  Text key;
  Text fallback;
  unsigned size = 0;
  bool write = false;
  unsigned their_count = 0;
  unsigned our_count = 0;
  std::string their_bytes;
  std::string our_bytes;

  bool list() const { return !section || !key; }
};

std::vector<std::string> LinesOf(const Question& q) {
  std::vector<std::string> lines(1);
  for (char c : q.file.value_or("")) {
    if (c == '\n' || c == '\r') {
      lines.emplace_back();
    } else {
      lines.back().push_back(c);
    }
  }
  for (std::string& line : lines) line = ascii::Trim(line);
  return lines;
}

template <class Test>
bool AnyLine(const Question& q, Test&& test) {
  for (const std::string& line : LinesOf(q)) {
    if (!line.empty() && test(line)) return true;
  }
  return false;
}

bool Blank(char c) { return c == ' ' || c == '\t'; }
bool EndsBlank(const Text& text) { return text && !text->empty() && Blank(text->back()); }
bool HasOuterBlanks(const Text& text) {
  return EndsBlank(text) || (text && !text->empty() && Blank(text->front()));
}

struct Deviation {
  const char* name;
  bool (*applies)(const Question& q);
};

const Deviation kDeviations[] = {
    {"a section's name ends at the first bracket",
     [](const Question& q) {
       return AnyLine(q, [](const std::string& line) {
         return line[0] == '[' && line.find(']') != line.rfind(']');
       });
     }},
    {"a line without '=' is no key",
     [](const Question& q) {
       return q.key &&
              AnyLine(q, [&](const std::string& line) { return ascii::EqualFold(line, *q.key); });
     }},
    {"an empty key is not listed, because a list ends at an empty text",
     [](const Question& q) {
       return (q.list() || q.write) &&
              (q.key == "" || AnyLine(q, [](const std::string& line) { return line[0] == '='; }));
     }},
    {"only blanks and tabs are taken off a value",
     [](const Question& q) { return q.file && q.file->find('\v') != std::string::npos; }},
    {"a comment is no key",
     [](const Question& q) { return q.key && !q.key->empty() && q.key->front() == ';'; }},
    {"blanks around a section's name do not count in lists and writes either",
     [](const Question& q) { return HasOuterBlanks(q.section) && (q.list() || q.write); }},
    {"entries before the first section belong to none",
     [](const Question& q) { return q.section == ""; }},
    {"the fall-back of a list loses its trailing blanks too",
     [](const Question& q) { return q.list() && EndsBlank(q.fallback); }},
    {"a fall-back of blanks is empty",
     [](const Question& q) { return q.fallback && ascii::Trim(*q.fallback).empty(); }},
    {"a fall-back keeps its quotes",
     [](const Question& q) {
       return q.fallback && q.fallback->size() >= 2 &&
              (q.fallback->front() == '"' || q.fallback->front() == '\'');
     }},
    {"a list has its second NUL also when it is empty or cut",
     [](const Question& q) {
       return q.list() && !q.write && q.our_count == q.their_count &&
              q.our_bytes.substr(0, q.our_count) == q.their_bytes.substr(0, q.our_count);
     }},
    {"a list that just fits is not cut",
     [](const Question& q) {
       return q.list() && !q.write && q.our_count + 1 == q.size && q.their_count + 2 == q.size;
     }},
    {"two bytes hold an empty list", [](const Question& q) { return q.list() && q.size == 2; }},
    {"a quoted value that just fits is not cut",
     [](const Question& q) {
       return !q.list() && q.our_count + 1 == q.size && q.their_count + 2 == q.size &&
              AnyLine(q, [](const std::string& line) {
                return line.find_first_of("'\"") != std::string::npos;
              });
     }},
};

// Compares, and notes which deviations explain a difference.
class Comparison {
 public:
  void Compare(const Row& row, const Question& question, bool equal, const std::string& ours) {
    ++rows_;
    if (equal) {
      ++equal_;
      return;
    }
    for (const Deviation& deviation : kDeviations) {
      if (deviation.applies(question)) {
        used_.insert(deviation.name);
        return;
      }
    }
    ADD_FAILURE() << "unexplained difference\n  table " << row.line << "\n  ours  " << ours;
  }
  const std::set<std::string>& used() const { return used_; }
  int rows() const { return rows_; }
  int equal() const { return equal_; }

 private:
  std::set<std::string> used_;
  int rows_ = 0;
  int equal_ = 0;
};

class ProfileOracle : public ::testing::Test {
 protected:
  // A new file for each question, or none.
  std::string FileFor(const Text& text) {
    const std::string path = spool_.path("case" + std::to_string(++number_) + ".ini");
    if (text) testing::TempSpool::Write(path, *text);
    return path;
  }

  void CompareReads(Comparison* comparison) {
    for (const Row& row : Rows("R")) {
      Question q;
      q.file = row.text(1);
      q.section = row.text(2);
      q.key = row.text(3);
      q.fallback = row.text(4);
      q.size = row.number(5);
      q.their_count = row.number(6);
      q.their_bytes = row.bytes(7);
      std::string buffer(1024, '#');
      const std::string path = FileFor(q.file);
      q.our_count = ReadProfile(Pointer(q.section), Pointer(q.key), Pointer(q.fallback),
                                buffer.data(), q.size, path.c_str());
      q.our_bytes = buffer.substr(0, std::min(q.size, q.our_count + 2));
      EXPECT_EQ(buffer.substr(q.size), std::string(1024 - q.size, '#')) << row.line;
      comparison->Compare(row, q, q.our_count == q.their_count && q.our_bytes == q.their_bytes,
                          ::testing::PrintToString(q.our_bytes));
    }
  }

  static std::string ReadAll(const char* section, const char* key, const std::string& path) {
    std::string buffer(1024, '\0');
    buffer.resize(ReadProfile(section, key, "", buffer.data(), 1024, path.c_str()));
    return buffer;
  }

  void CompareWrites(Comparison* comparison) {
    for (const Row& row : Rows("W")) {
      Question q;
      q.write = true;
      q.file = row.text(1);
      q.section = row.text(2);
      q.key = row.text(3);
      const Text value = row.text(4);
      const std::string path = FileFor(q.file);
      const bool done =
          WriteProfile(Pointer(q.section), Pointer(q.key), Pointer(value), path.c_str());
      std::vector<std::string> ours = {done ? "1" : "0", ReadAll(nullptr, nullptr, path), "", ""};
      if (q.section) ours[2] = ReadAll(q.section->c_str(), nullptr, path);
      if (q.section && q.key) ours[3] = ReadAll(q.section->c_str(), q.key->c_str(), path);
      const std::vector<std::string> theirs = {row.bytes(5), row.bytes(6), row.bytes(7),
                                               row.bytes(8)};
      comparison->Compare(row, q, ours == theirs, ::testing::PrintToString(ours));
    }
  }

 private:
  testing::TempSpool spool_;
  int number_ = 0;
};

TEST_F(ProfileOracle, AnswersAsTheSecondImplementationButForNamedReasons) {
  Comparison comparison;
  CompareReads(&comparison);
  CompareWrites(&comparison);
  EXPECT_GT(comparison.rows(), 1500) << TablePath();
  EXPECT_GT(comparison.equal(), comparison.rows() * 8 / 10);
  for (const Deviation& deviation : kDeviations) {
    EXPECT_TRUE(comparison.used().contains(deviation.name))
        << "no row needs this reason any more: " << deviation.name;
  }
}

const std::map<std::string, OpenMode> kOpeners = {
    {"read, shares read and write", {Access::kRead, Share::kReadWrite}},
    {"read, shares read", {Access::kRead, Share::kRead}},
    {"write, shares read", {Access::kWrite, Share::kRead}},
    {"read+write, shares nothing", {Access::kReadWrite, Share::kNone}}};

TEST(ShareOracle, AllowsTheSamePairsOfOpeners) {
  const testing::TempSpool spool;
  const std::string path = spool.File("shared", "data");
  const std::vector<Row> rows = Rows("S");
  ASSERT_EQ(rows.size(), 16u);
  for (const Row& row : rows) {
    const FileHandle first(OpenFile(path, kOpeners.at(row.fields[1])).value);
    ASSERT_TRUE(first) << row.line;
    const Result<Handle> second = OpenFile(path, kOpeners.at(row.fields[2]));
    const FileHandle owned(second.value);
    EXPECT_EQ(second ? "yes" : "no", row.fields[3]) << row.line;
    EXPECT_EQ(second.error, second ? 0 : kSharingViolation) << row.line;
  }
}

std::string OutcomeOf(const Result<Handle>& opened) {
  const FileHandle owned(opened.value);
  if (opened) return "opened";
  if (opened.error == kNotFound) return "not found";
  if (opened.error == kExists) return "exists";
  return opened.error == kSharingViolation ? "sharing violation" : "other error";
}

TEST(ShareOracle, CreatesAndRefusesAlike) {
  const testing::TempSpool spool;
  const std::string path = spool.path("made");
  const OpenMode existing{Access::kWrite, Share::kRead, Create::kOpenExisting};
  const OpenMode always{Access::kWrite, Share::kRead, Create::kAlways};
  const OpenMode only_new{Access::kWrite, Share::kNone, Create::kNew};
  std::vector<std::string> ours;
  ours.push_back(OutcomeOf(OpenFile(path, existing)));
  ours.push_back(OutcomeOf(OpenFile(path, only_new)));
  ours.push_back(OutcomeOf(OpenFile(path, only_new)));
  testing::TempSpool::Write(path, "data");
  {
    const FileHandle holder(OpenFile(path, existing).value);
    ours.push_back(OutcomeOf(OpenFile(path, always)));
    ours.push_back(std::to_string(SizeOf(path).value));
  }
  ours.push_back(OutcomeOf(OpenFile(path, always)));
  ours.push_back(std::to_string(SizeOf(path).value));
  std::vector<std::string> theirs;
  for (const Row& row : Rows("C")) theirs.push_back(row.fields[2]);
  EXPECT_EQ(ours, theirs);
}

}  // namespace
}  // namespace qob::os
