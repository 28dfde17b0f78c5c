// Whatever fails beneath an envelope call becomes its failure value and its log line, and the
// records are as they were. The record manager is stood before by one that fails on demand (the
// linker turns BTRCALL to it).
#include <qobplatform/btrcall.h>

#include <algorithm>
#include <map>
#include <utility>

#include "queue/envelope_support.h"
#include "support/failing_allocator.h"
#include "support/record_image.h"

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

constexpr char kIoText[] = "I/O error occurred during database operation.";
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

std::int32_t Found(EnvFrom* sender) {
  const SenderPtr owned(sender);
  return owned ? 1 : 0;
}
std::int32_t Found(EnvRecip* recipient) {
  const RecipientPtr owned(recipient);
  return owned ? 1 : 0;
}
std::int32_t Found(char* text) {
  const TextPtr owned(text);
  return owned ? 1 : 0;
}

constexpr EnvFrom kSender = {const_cast<char*>("new-sender-with-a-name@a.example"),
                             const_cast<char*>("id"), 1, 2, const_cast<char*>("option")};
constexpr EnvRecip kRecipient = {const_cast<char*>("b@x.example"), const_cast<char*>("new"), 9,
                                 nullptr};

// What one call does when its n-th operation fails. In a line, "%p" stands for the path and "%s"
// for the text of the status; "" is silence.
struct Failure {
  std::int32_t result;
  std::int32_t level;
  const char* line;
};
struct Row {
  const char* name;
  std::int32_t (*call)(const char* path, MesgHandle* db);
  std::int32_t success;
  std::vector<Failure> failures;  // of operation 1, 2, ...
};

// The message has three recipients a, b, c with flags 1, 2, 3 and a neighbour behind it. Operations
// are counted by hand: a find, one step per further record, one write.
const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      {"CreateStatusFile",
       [](const char* path, MesgHandle* db) { return CreateStatusFile(path, "s", db); },
       0,
       {{-1, 6, "CreateStatus failed, %p: %s"}}},
      {"CreateEnvelope",
       [](const char* path, MesgHandle* db) { return CreateEnvelope(path, &kSender, db); },
       0,
       {{-1, 6, "CreateEnvelope failed, %p: %s"}, {0, 6, "CreateEnvelope failed, %p: %s"}}},
      {"CreateSMTPEnvelope",
       [](const char* path, MesgHandle* db) { return CreateSMTPEnvelope(path, &kSender, db); },
       0,
       {{-1, 6, "CreateEnvelope failed, %p: %s"}, {0, 6, "CreateEnvelope failed, %p: %s"}}},
      {"AddEnvelopeRecipient",
       [](const char* path, MesgHandle* db) { return AddEnvelopeRecipient(path, &kRecipient, db); },
       0,
       {{-1, 6, "AddEnvelopeRecipient failed, %p: %s"}}},
      {"GetEnvelopeFrom",
       [](const char* path, MesgHandle* db) { return Found(GetEnvelopeFrom(path, db)); },
       1,
       {{0, 6, "GetEnvelopFrom failed, %p: %s"}}},
      {"GetFirstEnvelopeRecipient",
       [](const char* path, MesgHandle* db) { return Found(GetFirstEnvelopeRecipient(path, db)); },
       1,
       {{0, 0, ""}}},
      {"GetNextEnvelopeRecipient",
       [](const char* path, MesgHandle* db) {
         GetNotifyFlag(path, "a@x.example", db);
         return Found(GetNextEnvelopeRecipient(path, db));
       },
       1,
       {{0, 0, ""}, {0, 0, ""}}},
      {"GetFirstPendingEnvelopeRecipient",
       [](const char* path, MesgHandle* db) {
         return Found(GetFirstPendingEnvelopeRecipient(path, db));
       },
       1,
       {{0, 0, ""}, {0, 0, ""}}},
      {"GetNextPendingEnvelopeRecipient",
       [](const char* path, MesgHandle* db) {
         GetNotifyFlag(path, "b@x.example", db);
         return Found(GetNextPendingEnvelopeRecipient(path, db));
       },
       1,
       {{0, 0, ""}, {1, 0, ""}, {0, 0, ""}}},
      {"UpdateEnvelopeRecipient",
       [](const char* path, MesgHandle* db) {
         return UpdateEnvelopeRecipient(path, &kRecipient, db);
       },
       0,
       {{-1, 0, ""}, {-1, 0, ""}, {-1, 1, "UpdateEnvelopeRecipient failed, %s"}}},
      // A count that breaks off is no count: nobody may take the message for delivered.
      {"DeleteEnvelopeRecipient",
       [](const char* path, MesgHandle* db) {
         return DeleteEnvelopeRecipient(path, "b@x.example", db);
       },
       2,
       {{-1, 0, ""},
        {-1, 0, ""},
        {-1, 1, "DeleteEnvelopeRecipient failed, Btrieve error: %s"},
        {-1, 0, ""},
        {-1, 0, ""},
        {-1, 0, ""}}},
      {"GetRecipientNumber",
       [](const char* path, MesgHandle* db) { return GetRecipientNumber(path, db); },
       3,
       {{0, 0, ""}, {1, 0, ""}, {2, 0, ""}, {3, 0, ""}}},
      {"GetNotifyFlag",
       [](const char* path, MesgHandle* db) { return GetNotifyFlag(path, "b@x.example", db); },
       2,
       {{-1, 0, ""}, {-1, 0, ""}}},
      {"GetEnvelopeStatus",
       [](const char* path, MesgHandle* db) { return Found(GetEnvelopeStatus(path, db)); },
       1,
       {{0, 6, "GetEnvelopStatus failed, %p: %s"}}},
      {"GetMessageStatus",
       [](const char* path, MesgHandle* db) { return Found(GetMessageStatus(path, db)); },
       1,
       {{0, 6, "GetMessageStatus failed, %p: %s"}}},
      {"UpdateMessageStatus",
       [](const char* path, MesgHandle* db) { return UpdateMessageStatus(path, "mine", db); },
       0,
       {{-1, 6, "UpdateMessageStatus failed, %p: %s"},
        {-1, 6, "UpdateMessageStatus failed, %p: %s"}}},
      {"GetMessageRetryCount",
       [](const char* path, MesgHandle* db) { return GetMessageRetryCount(path, db); },
       0,
       {{-1, 6, "GetMessageRetryCount failed, %p: %s"}}},
      {"GetMessageRetryTime",
       [](const char* path, MesgHandle* db) { return GetMessageRetryTime(path, db); },
       0,
       {{-1, 6, "GetMessageRetryTime failed, %p: %s"}}},
      {"GetMessageCreationTime",
       [](const char* path, MesgHandle* db) { return GetMessageCreationTime(path, db); },
       1'700'000'000,
       {{-1, 6, "GetMessageCreationTime failed, %p: %s"}}},
      {"GetMessagePartNumber",
       [](const char* path, MesgHandle* db) { return GetMessagePartNumber(path, db); },
       0,
       {{-1, 6, "GetMessagePartNumber failed, %p: %s"}}},
      {"BumpMessageRetryCount",
       [](const char* path, MesgHandle* db) { return BumpMessageRetryCount(path, db); },
       1,
       {{-1, 6, "BumpMessageRetryCount failed, %p: %s"},
        {-1, 6, "UpdateMessageStatus failed, %p: %s"}}},
      {"SetMessageRetryTime",
       [](const char* path, MesgHandle* db) { return SetMessageRetryTime(path, 5, db); },
       0,
       {{-1, 6, "SetMessageRetryTime failed, %p: %s"},
        {-1, 6, "SetMessageRetryTime failed, %p: %s"}}},
      {"UpdateMessagePartNumber",
       [](const char* path, MesgHandle* db) { return UpdateMessagePartNumber(path, 5, db); },
       0,
       {{-1, 6, "UpdateMessagePartNumber failed, %p: %s"},
        {-1, 6, "UpdateMessagePartNumber failed, %p: %s"}}},
      {"GetDelayNotifyStatus",
       [](const char* path, MesgHandle* db) { return GetDelayNotifyStatus(path, db); },
       0,
       {{-1, 6, "GetDelayNotifyStatus failed, %p: %s"}}},
      {"UpdateDelayNotifyStatus",
       [](const char* path, MesgHandle* db) { return UpdateDelayNotifyStatus(path, db); },
       0,
       {{-1, 6, "UpdateDelayNotifyStatus failed, %p: %s"},
        {-1, 6, "UpdateDelayNotifyStatus failed, %p: %s"}}},
  };
  return rows;
}

std::string Filled(std::string line, const std::string& path, const std::string& text) {
  for (const auto& [mark, value] : {std::pair("%p", path), std::pair("%s", text)}) {
    const std::size_t at = line.find(mark);
    if (at != std::string::npos) line.replace(at, 2, value);
  }
  return line;
}

class EnvelopeFaults : public EnvelopeTest {
 protected:
  static constexpr char kName[] = "0001A2B3";
  void SetUp() override {
    EnvelopeTest::SetUp();
    MessageTo("0001A2B4", {"n@x.example"});
    Fill();
  }
  // The message of the tables, from nothing.
  void Fill() {
    MesgRecord record;
    while (FindMesgRecord(&db_, "0001A2B3F", &record) == 0) {
      ASSERT_EQ(DeleteCurrentMesgRecordByKey(&db_, 0), 0);
    }
    while (FindMesgRecord(&db_, "0001A2B3R", &record) == 0) {
      ASSERT_EQ(DeleteCurrentMesgRecordByKey(&db_, 0), 0);
    }
    path_ = MessageTo(kName, {"a@x.example", "b@x.example", "c@x.example"});
    SetState("0001A2B3R", 0, "delivered");
    StandAtTheEnd();
    before_ = Bytes();
    log_.Clear();
  }
  // So that a step without its find leads nowhere.
  void StandAtTheEnd() {
    MesgRecord record;
    ASSERT_EQ(FindMesgRecord(&db_, "0001A2B4R", &record), 0);
  }
  std::vector<std::string> Bytes() {
    std::vector<std::string> all;
    for (const char* key : {"0001A2B3F", "0001A2B3R", "0001A2B4F", "0001A2B4R"}) {
      for (const MesgRecord& record : Stored(key)) all.push_back(BytesOf(record));
    }
    return all;
  }
  // After a failure: every record as it was; a delete may have been made before its count failed.
  void ExpectWholeRecords(const Row& row) {
    const std::vector<std::string> after = Bytes();
    if (after != before_) {
      EXPECT_STREQ(row.name, "DeleteEnvelopeRecipient");
      for (const std::string& record : after) {
        EXPECT_NE(std::find(before_.begin(), before_.end(), record), before_.end());
      }
      return Fill();
    }
    log_.Clear();
  }

  std::string path_;
  std::vector<std::string> before_;
};

TEST_F(EnvelopeFaults, EachCallWorksWhenNothingFails) {
  for (const Row& row : Rows()) {
    EXPECT_EQ(row.call(path_.c_str(), &db_), row.success) << row.name;
    EXPECT_TRUE(log_.lines().empty()) << row.name;
    Fill();
  }
}

TEST_F(EnvelopeFaults, EachOperationThatFailsIsToldAsItsCallTellsIt) {
  const std::map<std::int16_t, std::string> statuses = {
      {2, kIoText},
      {18, "The disk is full."},
      {30, "The file specified is not a Btrieve file."},
      {84, "The record or page is locked."},
      {101, kMemoryText}};
  for (const auto& [status, text] : statuses) {
    for (const Row& row : Rows()) {
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
  for (const Row& row : Rows()) {
    g_seen = 0;
    EXPECT_EQ(row.call(path_.c_str(), &db_), row.success) << row.name;
    EXPECT_EQ(g_seen, static_cast<int>(row.failures.size())) << row.name;
    Fill();
  }
}

// Lines that a call without memory may say: its own for the status of no memory, or that of the
// result that could not be copied.
bool IsMemoryLine(const LogLine& line, const Row& row, const std::string& path) {
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
  for (const Row& row : Rows()) {
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
    for (const Row& row : Rows()) {
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
