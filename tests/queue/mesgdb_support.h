// A queue directory with its message database, records with their texts, and what stands between
// the reading and the writing of one call.
#pragma once
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>

#include "platform/btrieve/hooks.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

template <std::size_t N>
void Fill(char (&field)[N], std::string_view text) {
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), text.size() < N ? text.size() : N);
}

inline MesgRecord Record(std::string_view key, std::string_view address,
                         std::string_view directory = "", std::string_view state = "") {
  MesgRecord record{};
  Fill(record.key, key);
  Fill(record.address, address);
  Fill(record.directoryName, directory);
  Fill(record.stateText, state);
  return record;
}

inline bool SameBytes(const MesgRecord& a, const MesgRecord& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

class MessageDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    InitQOBDll_NOMQ("queue test");
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  }
  void TearDown() override {
    btrieve::TestBeforeWrite(nullptr);
    CloseMesgFile(&db_);
  }
  // Inserts a record; the key in it is then lower-case.
  void Put(std::string_view key, std::string_view address, std::string_view directory = "",
           std::string_view state = "") {
    MesgRecord record = Record(key, address, directory, state);
    ASSERT_EQ(InsertMesgRecord(&db_, &record), 0);
  }
  // The addresses of a walk over an index from its beginning.
  std::vector<std::string> Walk(int index) {
    std::vector<std::string> met;
    MesgRecord record;
    int status = GetFirstMesgRecordByKey(&db_, &record, index);
    for (; status == 0; status = GetNextMesgRecordByKey(&db_, &record, index)) {
      met.push_back(record.address);
    }
    EXPECT_EQ(status, 9);
    return met;
  }

  TempSpool spool_;
  CapturedLog log_;
  MesgHandle db_{};
};

// While it lives, `change` runs before every write of this thread but its own, the n-th time with n
// from 1.
class BeforeWrites {
 public:
  explicit BeforeWrites(std::function<void(int)> change) {
    change_ = std::move(change);
    count_ = 0;
    btrieve::TestBeforeWrite(&BeforeWrites::Run);
  }
  ~BeforeWrites() { btrieve::TestBeforeWrite(nullptr); }
  BeforeWrites(const BeforeWrites&) = delete;
  BeforeWrites& operator=(const BeforeWrites&) = delete;
  int count() const { return count_; }

 private:
  static void Run() {
    btrieve::TestBeforeWrite(nullptr);
    change_(++count_);
    btrieve::TestBeforeWrite(&BeforeWrites::Run);
  }
  static inline std::function<void(int)> change_;
  static inline int count_ = 0;
};

}  // namespace qob::testing
