// What the tests of ids, locks and scans share: a queue with an open database, messages in it, and
// what lies in its directory.
#pragma once
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/envelope.h>
#include <qob3xapi/errors.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>

#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using TextPtr = std::unique_ptr<char, FreeText>;
using Texts = std::vector<std::string>;

inline constexpr QueueScanFilter kAnySize{0, 0, 0};

class QueueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Start();
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
    log_.Clear();
  }
  void TearDown() override {
    CloseMesgFile(&db_);
    TerminateQOBDll();
  }
  // Again with other settings: whole sections of the configuration.
  void Start(std::string_view more = "") {
    spool_.SetIni(more);
    TerminateQOBDll();
    ASSERT_EQ(InitQOBDll_NOMQ("ids"), 1);
  }

  std::string queue() const { return spool_.queue(); }
  // A second queue directory of the system; made at the first call.
  std::string Other(std::string_view name = "later") const {
    const std::string path = spool_.path(name);
    std::filesystem::create_directory(path);
    return path;
  }
  // "<directory>\<name>"
  std::string Path(std::string_view name) const { return PathIn(queue(), name); }
  static std::string PathIn(std::string_view directory, std::string_view name) {
    return std::string(directory) + "\\" + std::string(name);
  }
  static std::string Native(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
  }
  static bool Stands(const std::string& path) {
    return std::filesystem::exists(std::filesystem::symlink_status(Native(path)));
  }
  // The counter's last number.
  void SetCounter(std::uint32_t last) const {
    std::string bytes(4, '\0');
    for (std::size_t i = 0; i < 4; ++i) bytes[i] = static_cast<char>(last >> (8 * i) & 0xFF);
    TempSpool::Write(spool_.temp() + "/unique.$$$", bytes);
  }

  // The records of a message with `recipients` recipients, no file.
  std::string Records(const std::string& path, int recipients = 1) {
    char address[] = "ann@a.example";
    char empty[] = "";
    const EnvFrom sender{address, empty, 0, 0, empty};
    const EnvRecip recipient{address, empty, 0, empty};
    EXPECT_EQ(CreateStatusFile(path.c_str(), "queued", &db_), 0);
    EXPECT_EQ(CreateEnvelope(path.c_str(), &sender, &db_), 0);
    for (int i = 0; i < recipients; ++i) {
      EXPECT_EQ(AddEnvelopeRecipient(path.c_str(), &recipient, &db_), 0);
    }
    return path;
  }
  // A whole message whose file has that many bytes.
  std::string Message(std::string_view name, std::size_t bytes = 10, int recipients = 1) {
    return MessageIn(queue(), name, bytes, recipients);
  }
  std::string MessageIn(std::string_view directory, std::string_view name, std::size_t bytes = 10,
                        int recipients = 1) {
    const std::string path = PathIn(directory, name);
    Records(path, recipients);
    TempSpool::Write(Native(path) + ".msg", std::string(bytes, 'm'));
    return path;
  }
  void SetState(const std::string& name, const char* state) {
    MesgHandle look = db_;
    MesgRecord record;
    ASSERT_EQ(FindMesgRecord(&look, (name + "F").c_str(), &record), 0);
    std::snprintf(record.stateText, sizeof record.stateText, "%s", state);
    ASSERT_EQ(UpdateCurrentMesgRecordByKey(&look, &record, 0), 0);
  }
  // How many records have that key, and the first of them.
  int CountRecords(const std::string& key, MesgRecord* first = nullptr) {
    MesgHandle look = db_;
    MesgRecord record;
    int count = 0;
    int status = FindMesgRecord(&look, key.c_str(), &record);
    if (status == 0 && first != nullptr) *first = record;
    while (status == 0 && strcasecmp(record.key, key.c_str()) == 0) {
      ++count;
      status = GetNextMesgRecord(&look, key.c_str(), &record);
    }
    return count;
  }

  static std::vector<std::string> Names(const std::string& directory,
                                        std::string_view extension = "") {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      const std::string name = entry.path().filename().string();
      if (name.ends_with(extension)) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::vector<std::string> Locks() const { return Names(queue(), ".lck"); }

  // Every path of a whole scan, given back as soon as it is met.
  Texts Scan(const std::string& directory, const QueueScanFilter* filter = &kAnySize) {
    Texts met;
    char* path = FindFirstQueueId(directory.c_str(), &db_, filter);
    while (path != nullptr) {
      met.push_back(path);
      filter != nullptr ? ReleaseQueueId(path) : FreeQueueId(path);
      path = FindNextQueueId(directory.c_str(), &db_, filter);
    }
    return met;
  }
  Texts Scan() { return Scan(queue(), &kAnySize); }

  TempSpool spool_;
  CapturedLog log_;
  MesgHandle db_{};
};

}  // namespace qob::testing
