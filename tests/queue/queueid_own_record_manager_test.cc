// A site's own BTRCALL ahead of the library's: this program's. Ids, scans and removal must work
// through it, with nothing but its operations.
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/queueid.h>
#include <qobplatform/btrcall.h>

#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace {

// Records by number, in the order of insertion; a cursor keeps (index, key, number) in the block.
std::map<std::uint32_t, MesgRecord> g_records;
std::vector<int> g_operations;

struct Cursor {
  char name[8];
  std::uint32_t number;
  char key[64];
};

std::string KeyOf(const MesgRecord& record, int index) {
  return index == 0 ? record.key : record.directoryName;
}

// The first entry behind (key, number) in the order of the index.
const std::pair<const std::uint32_t, MesgRecord>* Behind(int index, const std::string& key,
                                                         std::int64_t number) {
  const std::pair<const std::uint32_t, MesgRecord>* best = nullptr;
  for (const auto& entry : g_records) {
    const std::string own = KeyOf(entry.second, index);
    if (own < key || (own == key && entry.first <= number)) continue;
    if (best == nullptr || own < KeyOf(best->second, index)) best = &entry;
  }
  return best;
}

int Arrive(const std::pair<const std::uint32_t, MesgRecord>* entry, int index, Cursor* cursor,
           void* data) {
  if (entry == nullptr) return B_END_OF_FILE;
  cursor->number = entry->first;
  std::strcpy(cursor->key, KeyOf(entry->second, index).c_str());
  std::memcpy(data, &entry->second, sizeof entry->second);
  return B_OK;
}

int Operate(int operation, Cursor* cursor, void* data, const char* key, int index) {
  switch (operation) {
    case B_OPEN:
      std::strcpy(cursor->name, "own");
      return B_OK;
    case B_GET_EQUAL: {
      const auto* entry = Behind(index, key, -1);
      if (entry == nullptr || KeyOf(entry->second, index) != key) return B_NOT_FOUND;
      return Arrive(entry, index, cursor, data);
    }
    case B_GET_GREATER_OR_EQUAL:
      return Arrive(Behind(index, key, -1), index, cursor, data);
    case B_GET_NEXT:
      return Arrive(Behind(index, cursor->key, cursor->number), index, cursor, data);
    case B_UPDATE:
      std::memcpy(&g_records[cursor->number], data, sizeof(MesgRecord));
      return B_OK;
    case B_DELETE:
      g_records.erase(cursor->number);
      return B_OK;
    default:
      return 41;
  }
}

}  // namespace

extern "C" QOBPLATAPI std::int16_t BTRCALL(std::uint16_t operation, void* block, void* data,
                                           std::uint32_t*, void* key, std::uint8_t,
                                           std::int8_t index) {
  g_operations.push_back(operation);
  Cursor cursor;
  std::memcpy(&cursor, block, sizeof cursor);
  const int status = Operate(operation, &cursor, data, static_cast<char*>(key), index);
  std::memcpy(block, &cursor, sizeof cursor);
  return static_cast<std::int16_t>(status);
}

namespace {

using Texts = std::vector<std::string>;
using Operations = std::vector<int>;

class OwnRecordManager : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(InitQOBDll_NOMQ("own"), 1);
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
    g_records.clear();
    g_operations.clear();
  }
  void TearDown() override { TerminateQOBDll(); }

  void Add(const char* key, const char* directory, bool with_file = true) {
    MesgRecord record{};
    std::strcpy(record.key, key);
    std::strcpy(record.directoryName, directory);
    g_records[++number_] = record;
    std::string name(key, 8);
    if (with_file) qob::testing::TempSpool::Write(spool_.queue() + "/" + name + ".msg", "mail");
  }
  Texts Scan(const QueueScanFilter* filter) {
    Texts met;
    char* path = FindFirstQueueId(GetQueueDir(), &db_, filter);
    while (path != nullptr) {
      met.push_back(path + std::strlen(GetQueueDir()) + 1);
      filter != nullptr ? ReleaseQueueId(path) : FreeQueueId(path);
      path = FindNextQueueId(GetQueueDir(), &db_, filter);
    }
    return met;
  }

  qob::testing::TempSpool spool_;
  qob::testing::CapturedLog log_;
  MesgHandle db_{};
  std::uint32_t number_ = 0;
};

TEST_F(OwnRecordManager, IsAskedForNewIds) {
  Add("00000000f", "", false);
  Add("00000001r", "", false);
  char* path = GetNewQueueId(GetQueueDir(), &db_);
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(std::string(path), std::string(GetQueueDir()) + "\\00000002");
  EXPECT_EQ(g_operations, Operations(1 + 3 + 3, B_GET_EQUAL))
      << "the message; message, again and recipient; all three of the free one";
  ReleaseQueueId(path);
}

TEST_F(OwnRecordManager, IsWalkedByItsIndex) {
  Add("00000007f", "queue");
  Add("00000003f", "queue");
  Add("00000005f", "queues");
  Add("00000004f", "quart");
  const QueueScanFilter any{0, 0, 1};
  EXPECT_EQ(Scan(&any), (Texts{"00000007", "00000003"}));
  EXPECT_EQ(g_operations, (Operations{B_GET_GREATER_OR_EQUAL, B_GET_NEXT, B_GET_NEXT}));
  g_operations.clear();
  EXPECT_EQ(Scan(nullptr), (Texts{"00000007", "00000003"}));
  EXPECT_EQ(g_operations, (Operations{B_GET_EQUAL, B_GET_NEXT, B_GET_NEXT}));
}

TEST_F(OwnRecordManager, DeletesRecordByRecord) {
  Add("00000007f", "queue");
  Add("00000007r", "");
  Add("00000007r", "");
  Add("00000008r", "");
  const std::string path = spool_.queue() + "\\00000007";
  EXPECT_EQ(DestroyQueueId(path.c_str(), &db_), 0);
  EXPECT_EQ(g_records.size(), 1u);
  EXPECT_EQ(g_operations, (Operations{B_GET_EQUAL, B_DELETE, B_GET_EQUAL, B_DELETE, B_GET_EQUAL,
                                      B_DELETE, B_GET_EQUAL}));
}

TEST_F(OwnRecordManager, MovesMessages) {
  Add("00000007f", "queue");
  std::filesystem::create_directory(spool_.path("later"));
  const std::string path = spool_.queue() + "\\00000007";
  EXPECT_EQ(MoveQueueId(path.c_str(), spool_.path("later").c_str(), &db_), 0);
  EXPECT_STREQ(g_records.begin()->second.directoryName, "later");
  EXPECT_TRUE(std::filesystem::exists(spool_.path("later") + "/00000007.msg"));
}

}  // namespace
