// Scans N messages to the end, for instruction counts: scan_work KIND N. They are written by
// another process, whose work does not count. KIND: filter, all (no filter), locked (every message
// is).
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include <qob3xapi/frame.h>
#include <qob3xapi/queueid.h>

#include "platform/btrieve/block_file.h"
#include "platform/spool/message_record.h"
#include "support/temp_spool.h"

namespace {

std::string PathOf(const std::string& directory, int number) {
  char name[16];
  std::snprintf(name, sizeof name, "%08X", static_cast<unsigned>(number));
  return directory + "/" + name;
}

int Prepare(const std::string& kind, int count) {
  MesgHandle db{};
  if (InitQOBDll_NOMQ("scan") != 1 || OpenMesgFile(nullptr, &db) != 0) return 1;
  const auto file = qob::btrieve::FileBehind(&db);
  qob::store::Transaction together(*file);
  const std::string directory = GetQueueDir();
  for (int i = 1; i <= count; ++i) {
    const std::string path = PathOf(directory, i);
    MesgRecord record{};
    std::snprintf(record.key, sizeof record.key, "%08xf", static_cast<unsigned>(i));
    qob::spool::SetField(record.directoryName, "queue");
    if (InsertMesgRecord(&db, &record) != 0) return 2;
    qob::testing::TempSpool::Write(path + ".msg", "mail");
    if (kind == "locked") qob::testing::TempSpool::Write(path + ".lck", "");
  }
  return together.Commit() == qob::store::kOk ? 0 : 3;
}

// This program again, for the preparation.
bool PrepareElsewhere(char** arguments) {
  std::string prepare = "prepare";
  char* words[] = {arguments[0], arguments[1], arguments[2], prepare.data(), nullptr};
  pid_t child = 0;
  int status = 0;
  return posix_spawn(&child, arguments[0], nullptr, nullptr, words, environ) == 0 &&
         waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int Scan(const std::string& kind) {
  MesgHandle db{};
  if (InitQOBDll_NOMQ("scan") != 1 || OpenMesgFile(nullptr, &db) != 0) return -1;
  const QueueScanFilter any{0, 0, 0};
  const QueueScanFilter* filter = kind == "all" ? nullptr : &any;
  const std::string directory = GetQueueDir();
  int met = 0;
  char* path = FindFirstQueueId(directory.c_str(), &db, filter);
  for (; path != nullptr; path = FindNextQueueId(directory.c_str(), &db, filter)) {
    ++met;
    filter != nullptr ? ReleaseQueueId(path) : FreeQueueId(path);
  }
  return met;
}

}  // namespace

int main(int count, char** words) {
  if (count < 3) return 2;
  const std::string kind = words[1];
  const int messages = std::atoi(words[2]);
  if (count == 4) return Prepare(kind, messages);
  const qob::testing::TempSpool spool;
  if (!PrepareElsewhere(words)) return 3;
  const int met = Scan(kind);
  const int expected = kind == "locked" ? 0 : messages;
  if (met != expected) std::fprintf(stderr, "met %d of %d\n", met, expected);
  return met == expected ? 0 : 4;
}
