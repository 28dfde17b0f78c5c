// queue_scan DIRECTORY: walks the messages of a queue directory with a filter to the end, taking and giving back the lock of
// each, as a gateway does. Prints one JSON line.
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>

#include <chrono>
#include <cstdio>
#include <ctime>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: queue_scan DIRECTORY\n");
    return 64;
  }
  InitQOBDll_NOMQ("bench");
  MesgHandle db = {};
  if (OpenMesgFile(argv[1], &db) != 0) {
    std::fprintf(stderr, "queue_scan: cannot open the database in %s\n", argv[1]);
    return 70;
  }
  const QueueScanFilter filter = {1, 0, 1};
  long messages = 0;
  const auto start = std::chrono::steady_clock::now();
  const std::clock_t cpu_start = std::clock();
  for (char* path = FindFirstQueueId(argv[1], &db, &filter); path != nullptr;
       path = FindNextQueueId(argv[1], &db, &filter)) {
    ++messages;
    ReleaseQueueId(path);
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  const double cpu_seconds = static_cast<double>(std::clock() - cpu_start) / CLOCKS_PER_SEC;
  CloseMesgFile(&db);
  TerminateQOBDll();
  std::printf("{\"messages\": %ld, \"seconds\": %.4f, \"cpu_seconds\": %.4f}\n", messages,
              seconds.count(), cpu_seconds);
  return 0;
}
