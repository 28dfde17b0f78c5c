// A site's own BTRCALL ahead of the library's: this program's. Every call of the message database
// must reach it, with the arguments that a record manager of another maker would need.
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/mesgdb.h>
#include <qobplatform/btrcall.h>

#include "support/captured_log.h"

namespace {

struct Seen {
  int operation;
  int index;
  std::string key;  // as far as keyLength says
  std::uint32_t length;
  bool operator==(const Seen&) const = default;
};

std::vector<Seen> g_seen;
std::deque<int> g_statuses;  // of the calls to come; then 0
std::string g_data;          // of the last call that brought some

}  // namespace

extern "C" QOBPLATAPI std::int16_t BTRCALL(std::uint16_t operation, void* block, void* data,
                                           std::uint32_t* length, void* key,
                                           std::uint8_t key_length, std::int8_t index) {
  Seen seen{operation, index, {}, length != nullptr ? *length : 0};
  const bool path = operation == B_OPEN || operation == B_CREATE;
  if (key != nullptr) {
    seen.key = path ? std::string(static_cast<char*>(key))
                    : std::string(static_cast<char*>(key), key_length);
  }
  g_seen.push_back(seen);
  if (operation == B_INSERT || operation == B_UPDATE || operation == B_CREATE) {
    g_data.assign(static_cast<char*>(data), *length);
  }
  if (operation == B_OPEN) std::memset(block, 'B', 1);
  if (g_statuses.empty()) return 0;
  const int status = g_statuses.front();
  g_statuses.pop_front();
  return static_cast<std::int16_t>(status);
}

namespace {

using Calls = std::vector<Seen>;

class OwnRecordManager : public ::testing::Test {
 protected:
  void SetUp() override {
    g_seen.clear();
    g_statuses.clear();
    g_data.clear();
  }
  qob::testing::CapturedLog log_;
  MesgHandle db_{};
  MesgRecord record_{};
};

std::string Key(const char* text) { return {text, std::strlen(text) + 1}; }

TEST_F(OwnRecordManager, IsAskedToOpenThenToCreateThenToOpen) {
  g_statuses = {12, 7, 59};
  EXPECT_EQ(OpenMesgFile("/spool\\q", &db_), 59) << "the status of the second open";
  const std::string path = "/spool\\q\\mesg.btr";
  EXPECT_EQ(g_seen, (Calls{{B_OPEN, 0, path, 0}, {B_CREATE, -1, path, 320}, {B_OPEN, 0, path, 0}}));
  EXPECT_EQ(g_data.substr(0, 12), std::string("\xB0\x08\x00\x10\x03\0\0\0\0\0\x0E\0", 12));
}

TEST_F(OwnRecordManager, IsNotAskedToCreateAfterAnotherFailure) {
  g_statuses = {30};
  EXPECT_EQ(OpenMesgFile("/q", &db_), 30);
  EXPECT_EQ(g_seen.size(), 1U);
}

TEST_F(OwnRecordManager, GetsLoweredKeysWithTheirNul) {
  EXPECT_EQ(FindMesgRecord(&db_, "0001A2B3F", &record_), 0);
  EXPECT_EQ(FindMesgRecordByKey(&db_, "OUT", &record_, 1), 0);
  EXPECT_EQ(GetGreaterMesgRecordByKey(&db_, "HELD", &record_, 2), 0);
  EXPECT_EQ(FindMesgRecord(&db_, "0123456789ABCDEFGH", &record_), 0);
  EXPECT_EQ(g_seen, (Calls{{B_GET_EQUAL, 0, Key("0001a2b3f"), 2224},
                           {B_GET_EQUAL, 1, Key("out"), 2224},
                           {B_GET_GREATER, 2, Key("held"), 2224},
                           {B_GET_EQUAL, 0, Key("0123456789abcde"), 2224}}));
}

TEST_F(OwnRecordManager, GetsOneCallForEachStep) {
  std::strcpy(record_.key, "AF");
  EXPECT_EQ(InsertMesgRecord(&db_, &record_), 0);
  EXPECT_EQ(GetFirstMesgRecordByKey(&db_, &record_, 1), 0);
  EXPECT_EQ(GetNextMesgRecord(&db_, "x", &record_), 0);
  EXPECT_EQ(GetNextMesgRecordByKey(&db_, &record_, 2), 0);
  EXPECT_EQ(UpdateCurrentMesgRecordByKey(&db_, &record_, 1), 0);
  EXPECT_EQ(DeleteCurrentMesgRecordByKey(&db_, 1), 0);
  EXPECT_EQ(CloseMesgFile(&db_), 0);
  EXPECT_EQ(g_seen, (Calls{{B_INSERT, 0, "", 2224},
                           {B_GET_FIRST, 1, "", 2224},
                           {B_GET_NEXT, 0, "", 2224},
                           {B_GET_NEXT, 2, "", 2224},
                           {B_UPDATE, 1, "", 2224},
                           {B_DELETE, 1, "", 0},
                           {B_CLOSE, 0, "", 0}}));
}

TEST_F(OwnRecordManager, IsAskedTwiceAndNoMoreAfterConflicts) {
  std::strcpy(record_.key, "AF");
  g_statuses = {0, 80, 0, 80};
  EXPECT_EQ(UpdateMesgRecord(&db_, "AF", &record_), 80);
  EXPECT_EQ(g_seen.size(), 4U);
  EXPECT_EQ(g_data.substr(0, 3), std::string("af\0", 3));
  EXPECT_STREQ(record_.key, "AF");
  SetUp();
  g_statuses = {0, 80, 0, 80};
  EXPECT_EQ(RemoveMesgRecord(&db_, "AF", &record_), 80);
  EXPECT_EQ(g_seen.size(), 4U);
  SetUp();
  g_statuses = {0, -5};
  EXPECT_EQ(RemoveMesgRecord(&db_, "AF", &record_), -5) << "statuses are widened with their sign";
}

}  // namespace
