// Whatever fails beneath an envelope call becomes its failure value and its log line, and the
// records are as they were. The record manager is stood before by one that fails on demand (the
// linker turns BTRCALL to it).
#include <qobplatform/btrcall.h>

#include <algorithm>
#include <map>

#include "queue/envelope_calls.h"
#include "support/failing_allocator.h"

namespace {

// Operation number `nth` (from 1) from now on fails with `status`; 0: none.
int g_nth = 0;
int g_seen = 0;
std::int16_t g_status = 0;

}  // namespace

extern "C" {

std::int16_t __real_BTRCALL(std::uint16_t operation, void* block, void* data, std::uint32_t* length,
                            void* key, std::uint8_t key_length, std::int8_t key_number);

std::int16_t __wrap_BTRCALL(std::uint16_t operation, void* block, void* data, std::uint32_t* length,
                            void* key, std::uint8_t key_length, std::int8_t key_number);

std::int16_t __wrap_BTRCALL(std::uint16_t operation, void* block, void* data, std::uint32_t* length,
                            void* key, std::uint8_t key_length, std::int8_t key_number) {
  if (++g_seen == g_nth) return g_status;
  return __real_BTRCALL(operation, block, data, length, key, key_length, key_number);
}

}  // extern "C"

namespace qob::testing {
namespace {

constexpr char kMemoryText[] = "Insufficient operating system memory is available.";

class FailOperation {
 public:
  FailOperation(int nth, std::int16_t status) {
    g_seen = 0;
    g_nth = nth;
    g_status = status;
  }
  ~FailOperation() { g_nth = 0; }
  FailOperation(const FailOperation&) = delete;
  FailOperation& operator=(const FailOperation&) = delete;
  static bool triggered() { return g_seen >= g_nth; }
};

using EnvelopeFaults = EnvelopeCallsTest;

TEST_F(EnvelopeFaults, EachCallWorksWhenNothingFails) {
  for (const CallRow& row : Rows()) {
    EXPECT_EQ(row.call(path_.c_str(), &db_), row.success) << row.name;
    EXPECT_TRUE(log_.lines().empty()) << row.name;
    Fill();
  }
}

TEST_F(EnvelopeFaults, EachOperationThatFailsIsToldAsItsCallTellsIt) {
  const std::map<std::int16_t, std::string> statuses = {
      {2, "I/O error occurred during database operation."},
      {18, "The disk is full."},
      {30, "The file specified is not a Btrieve file."},
      {84, "The record or page is locked."},
      {101, kMemoryText}};
  for (const auto& [status, text] : statuses) {
    for (const CallRow& row : Rows()) {
      for (std::size_t nth = 0; nth < row.failures.size(); ++nth) {
        SCOPED_TRACE(::testing::Message()
                     << row.name << ", operation " << nth + 1 << ", status " << status);
        std::int32_t result = 0;
        StandAtTheEnd();
        {
          const FailOperation fail(static_cast<int>(nth) + 1, status);
          result = row.call(path_.c_str(), &db_);
          EXPECT_TRUE(FailOperation::triggered());
        }
        const Failure& wanted = row.failures[nth];
        EXPECT_EQ(result, wanted.result);
        std::vector<LogLine> lines;
        if (*wanted.line != '\0') {
          lines.push_back({wanted.level, "env", Filled(wanted.line, path_, text)});
        }
        EXPECT_EQ(log_.lines(), lines);
        ExpectWholeRecords(row);
      }
    }
  }
}

// The tables above name every operation: one more than they name changes nothing.
TEST_F(EnvelopeFaults, NoCallMakesMoreOperationsThanTheTableNames) {
  for (const CallRow& row : Rows()) {
    g_seen = 0;
    EXPECT_EQ(row.call(path_.c_str(), &db_), row.success) << row.name;
    EXPECT_EQ(g_seen, static_cast<int>(row.failures.size())) << row.name;
    Fill();
  }
}

// Lines that a call without memory may say: its own for the status of no memory, or that of the
// result that could not be copied.
bool IsMemoryLine(const LogLine& line, const CallRow& row, const std::string& path) {
  if (line == LogLine{1, "env", "Out of memory."})
    return row.name == std::string("GetEnvelopeFrom");
  if (line == LogLine{6, "env", "Out of memory"}) {
    return row.name == std::string("GetEnvelopeStatus") ||
           row.name == std::string("GetMessageStatus");
  }
  for (const Failure& failure : row.failures) {
    if (line == LogLine{failure.level, "env", Filled(failure.line, path, kMemoryText)}) return true;
  }
  return false;
}

TEST_F(EnvelopeFaults, EveryAllocationMayFail) {
  for (const CallRow& row : Rows()) {
    SCOPED_TRACE(row.name);
    std::int32_t result = 0;
    FailEachAllocation([&] { result = row.call(path_.c_str(), &db_); },
                       [&](bool triggered) {
                         const std::vector<LogLine> lines = log_.lines();
                         EXPECT_LE(lines.size(), 1u);
                         for (const LogLine& line : lines) {
                           EXPECT_TRUE(IsMemoryLine(line, row, path_)) << line.text;
                           EXPECT_TRUE(triggered);
                         }
                         if (!triggered) {
                           EXPECT_EQ(result, row.success);
                         }
                         if (lines.empty() && result == row.success) return Fill();
                         ExpectWholeRecords(row);
                       });
  }
}

TEST_F(EnvelopeFaults, ACopyThatFailsIsToldByTheCallsThatSaySo) {
  const auto lines_of = [&](const char* name) {
    std::vector<LogLine> seen;
    for (const CallRow& row : Rows()) {
      if (row.name != std::string(name)) continue;
      FailEachAllocation([&] { row.call(path_.c_str(), &db_); },
                         [&](bool) {
                           for (const LogLine& line : log_.lines()) seen.push_back(line);
                           log_.Clear();
                         });
    }
    return seen;
  };
  const auto has = [](const std::vector<LogLine>& lines, const LogLine& wanted) {
    return std::find(lines.begin(), lines.end(), wanted) != lines.end();
  };
  EXPECT_TRUE(has(lines_of("GetEnvelopeFrom"), {1, "env", "Out of memory."}));
  EXPECT_TRUE(has(lines_of("GetEnvelopeStatus"), {6, "env", "Out of memory"}));
  EXPECT_TRUE(has(lines_of("GetMessageStatus"), {6, "env", "Out of memory"}));
}

}  // namespace
}  // namespace qob::testing
