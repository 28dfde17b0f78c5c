/* clear-queue-locks [DIRECTORY...]: removes every lock of the queue directories given, else of the
 * configured one.
 *
 * For the boot unit alone, before any program of the mail system runs: then no lock has a living
 * holder. Beside a running program it would take that program's messages from under it; "qob queue
 * check --repair" is the tool for a queue in use.
 */
#include <qob3xapi/frame.h>
#include <qob3xapi/queueid.h>

#include <stdio.h>

enum { kNoQueue = 78, kCannotWrite = 74 }; /* as sysexits has them */

static void Clear(const char* directory) {
  const int32_t cleared = UnlockAllMessage(directory);
  printf("%s: %d locks cleared\n", directory, (int)cleared);
}

int main(int count, char** words) {
  InitQOBDll_NOMQ("boot");
  if (count == 1 && GetQueueDir()[0] == '\0') {
    fputs("clear-queue-locks: no [Gateway] QueueDirectory in twmta.ini, and no directory given\n",
          stderr);
    TerminateQOBDll();
    return kNoQueue;
  }
  if (count == 1) Clear(GetQueueDir());
  for (int i = 1; i < count; ++i) Clear(words[i]);
  TerminateQOBDll();
  return fflush(stdout) == 0 ? 0 : kCannotWrite;
}
