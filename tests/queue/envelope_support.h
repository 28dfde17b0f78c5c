// What the tests of the envelope share: a queue with an open database, a clock that stands, and the
// records as they are stored.
#pragma once
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/envelope.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>

#include "platform/os/process.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

struct FreeSender {
  void operator()(EnvFrom* sender) const { FreeEnvFrom(sender); }
};
struct FreeRecipient {
  void operator()(EnvRecip* recipient) const { FreeEnvRecip(recipient); }
};
struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using SenderPtr = std::unique_ptr<EnvFrom, FreeSender>;
using RecipientPtr = std::unique_ptr<EnvRecip, FreeRecipient>;
using TextPtr = std::unique_ptr<char, FreeText>;

// Records handed in are only read, whatever their fields' type says.
inline EnvFrom Sender(const char* address, const char* id = nullptr, std::int32_t first = 0,
                      std::int32_t second = 0, const char* option = nullptr) {
  return {const_cast<char*>(address), const_cast<char*>(id), first, second,
          const_cast<char*>(option)};
}
inline EnvRecip Recipient(const char* address, const char* second = nullptr, std::int32_t flags = 0,
                          const char* third = nullptr) {
  return {const_cast<char*>(address), const_cast<char*>(second), flags, const_cast<char*>(third)};
}

inline std::int64_t g_now = 0;

class EnvelopeTest : public ::testing::Test {
 protected:
  static constexpr std::int64_t kStart = 1'700'000'000;

  void SetUp() override {
    ASSERT_EQ(InitQOBDll_NOMQ("env"), 1);
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
    g_now = kStart;
    os::SetClock([] { return g_now; });
    log_.Clear();
  }
  void TearDown() override {
    os::SetClock(nullptr);
    CloseMesgFile(&db_);
    TerminateQOBDll();
    unsetenv("TMP");
  }

  // "<queue directory>\<name>"
  std::string Path(std::string_view name = "0001A2B3") const {
    return spool_.queue() + "\\" + std::string(name);
  }
  // A message with its status record and sender.
  std::string Message(std::string_view name = "0001A2B3") {
    const std::string path = Path(name);
    const EnvFrom sender = Sender("ann@a.example");
    EXPECT_EQ(CreateStatusFile(path.c_str(), "queued", &db_), 0);
    EXPECT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
    return path;
  }
  void Add(const std::string& path, const char* address, std::int32_t flags = 0) {
    const EnvRecip recipient = Recipient(address, "second", flags, "third");
    ASSERT_EQ(AddEnvelopeRecipient(path.c_str(), &recipient, &db_), 0);
  }
  // A message with those recipients, flags 1, 2, ...
  std::string MessageTo(std::string_view name, const std::vector<const char*>& addresses) {
    const std::string path = Message(name);
    std::int32_t flags = 0;
    for (const char* address : addresses) Add(path, address, ++flags);
    return path;
  }
  // The records with that key, in their order, read through a handle of its own.
  std::vector<MesgRecord> Stored(const std::string& key) {
    std::vector<MesgRecord> records;
    MesgHandle look = db_;
    MesgRecord record;
    int status = FindMesgRecord(&look, key.c_str(), &record);
    while (status == 0 && strcasecmp(record.key, key.c_str()) == 0) {
      records.push_back(record);
      status = GetNextMesgRecord(&look, key.c_str(), &record);
    }
    return records;
  }
  MesgRecord StoredMessage(const std::string& key = "0001A2B3F") {
    const std::vector<MesgRecord> records = Stored(key);
    EXPECT_EQ(records.size(), 1u) << key;
    return records.empty() ? MesgRecord{} : records.front();
  }
  // As a delivery program does it: the calls of this family never write the state.
  void SetState(const std::string& key, std::size_t place, const char* state) {
    MesgHandle look = db_;
    MesgRecord record;
    ASSERT_EQ(FindMesgRecord(&look, key.c_str(), &record), 0);
    for (; place > 0; --place) ASSERT_EQ(GetNextMesgRecord(&look, key.c_str(), &record), 0);
    std::snprintf(record.stateText, sizeof record.stateText, "%s", state);
    ASSERT_EQ(UpdateCurrentMesgRecordByKey(&look, &record, 0), 0);
  }
  using First = EnvRecip* (*)(const char*, MesgHandle*);
  std::vector<std::string> Walk(const std::string& path, First first = GetFirstEnvelopeRecipient,
                                First next = GetNextEnvelopeRecipient) {
    std::vector<std::string> addresses;
    for (RecipientPtr at(first(path.c_str(), &db_)); at; at.reset(next(path.c_str(), &db_))) {
      addresses.push_back(at->address);
    }
    return addresses;
  }
  std::vector<std::string> WalkPending(const std::string& path) {
    return Walk(path, GetFirstPendingEnvelopeRecipient, GetNextPendingEnvelopeRecipient);
  }

  TempSpool spool_;
  CapturedLog log_;
  MesgHandle db_{};
};

using Texts = std::vector<std::string>;

}  // namespace qob::testing
