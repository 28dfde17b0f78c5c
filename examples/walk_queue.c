/* Walks the messages of a queue directory: who sent each, who has still to get it.
 *
 *   walk_queue DIRECTORY [LEAST-SIZE]
 *
 * Shows in C how the message database is opened, how a scan takes each message's lock, how the
 * envelope is read while the lock is held, and how the message is given back. Messages that another
 * program works on, and held ones, are passed over.
 */
#include <qob3xapi/qob3xapi.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char* IdOf(const char* path) {
  const char* separator = strrchr(path, '\\'); /* queue paths have backslashes on every system */
  return separator == NULL ? path : separator + 1;
}

/* The scan keeps its own place, so the envelope calls may use the handle between two steps. They
 * walk the recipients with the handle's place: nothing else uses it meanwhile. */
static void PrintMessage(const char* path, MesgHandle* db) {
  EnvFrom* sender = GetEnvelopeFrom(path, db);
  char* status = GetMessageStatus(path, db);
  printf("%s from %s, %d tries%s%s\n", IdOf(path), sender == NULL ? "?" : sender->address,
         (int)GetMessageRetryCount(path, db), status == NULL || *status == '\0' ? "" : ": ",
         status == NULL ? "" : status);
  FreeString(status);
  FreeEnvFrom(sender);
  for (EnvRecip* recipient = GetFirstPendingEnvelopeRecipient(path, db); recipient != NULL;
       recipient = GetNextPendingEnvelopeRecipient(path, db)) {
    printf("  to %s\n", recipient->address);
    FreeEnvRecip(recipient);
  }
}

static int WalkQueue(const char* directory, int32_t least_size) {
  MesgHandle db;
  QueueScanFilter filter = {0, 0, 0}; /* any size, without held messages */
  int messages = 0;
  const int32_t status = OpenMesgFile(directory, &db);
  if (status != 0) {
    fprintf(stderr, "walk_queue: %s: %s\n", directory, ShowBtrError(status));
    return 66;
  }
  filter.minimumSize = least_size;
  for (char* path = FindFirstQueueId(directory, &db, &filter); path != NULL;
       path = FindNextQueueId(directory, &db, &filter)) {
    PrintMessage(path, &db);
    ++messages;
    ReleaseQueueId(path); /* removes the lock and frees the path */
  }
  printf("%d messages\n", messages);
  CloseMesgFile(&db);
  return 0;
}

int main(int count, char** arguments) {
  int result;
  if (count != 2 && count != 3) {
    fputs("usage: walk_queue DIRECTORY [LEAST-SIZE]\n", stderr);
    return 64;
  }
  InitQOBDll_NOMQ("walk_queue");
  result = WalkQueue(arguments[1], count == 3 ? (int32_t)strtol(arguments[2], NULL, 10) : 0);
  TerminateQOBDll();
  return result;
}
