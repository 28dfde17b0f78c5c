// Every envelope call with what it does when an operation beneath it fails, and the message that
// they are tried on.
#pragma once
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "queue/envelope_support.h"
#include "support/record_image.h"

namespace qob::testing {

inline std::int32_t Found(EnvFrom* sender) {
  const SenderPtr owned(sender);
  return owned ? 1 : 0;
}
inline std::int32_t Found(EnvRecip* recipient) {
  const RecipientPtr owned(recipient);
  return owned ? 1 : 0;
}
inline std::int32_t Found(char* text) {
  const TextPtr owned(text);
  return owned ? 1 : 0;
}

inline constexpr EnvFrom kSender = {const_cast<char*>("new-sender-with-a-name@a.example"),
                                    const_cast<char*>("id"), 1, 2, const_cast<char*>("option")};
inline constexpr EnvRecip kRecipient = {const_cast<char*>("b@x.example"), const_cast<char*>("new"),
                                        9, nullptr};

// What one call does when its n-th operation fails. In a line, "%p" stands for the path and "%s"
// for the text of the status; "" is silence.
struct Failure {
  std::int32_t result;
  std::int32_t level;
  const char* line;
};
struct CallRow {
  const char* name;
  std::int32_t (*call)(const char* path, MesgHandle* db);
  std::int32_t success;
  std::vector<Failure> failures;  // of operation 1, 2, ...
};

// The message has three recipients a, b, c with flags 1, 2, 3 and a neighbour behind it. Operations
// are counted by hand: a find, one step per further record, one write.
inline const std::vector<CallRow>& Rows() {
  static const std::vector<CallRow> rows = {
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

inline std::string Filled(std::string line, const std::string& path, const std::string& text) {
  for (const auto& [mark, value] : {std::pair("%p", path), std::pair("%s", text)}) {
    const std::size_t at = line.find(mark);
    if (at != std::string::npos) line.replace(at, 2, value);
  }
  return line;
}

class EnvelopeCallsTest : public EnvelopeTest {
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
  void ExpectWholeRecords(const CallRow& row) {
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

  // What the call leaves when it runs through; the message is then as before it again.
  std::vector<std::string> Wanted(const CallRow& row) {
    EXPECT_EQ(row.call(path_.c_str(), &db_), row.success) << row.name;
    std::vector<std::string> after = Bytes();
    Fill();
    return after;
  }

  std::string path_;
  std::vector<std::string> before_;
};

}  // namespace qob::testing
