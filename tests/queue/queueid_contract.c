/* A message's way through the queue, as C programs see it. Each function gives 0, or the line at
 * which something was not as promised. */
#include <qob3xapi/queueid.h>
#include <qobplatform/mqapi.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <qob3xapi/envelope.h>

#define EXPECT(condition)              \
  do {                                 \
    if (!(condition)) return __LINE__; \
  } while (0)

int CPutsAMessage(const char* queue, MesgHandle* db);
int CFindsIt(const char* queue, MesgHandle* db);
int CMovesItAndBack(const char* queue, const char* other, MesgHandle* db);
int CTellsWhy(const char* queue, MesgHandle* db);
int CDeletesIt(const char* queue, MesgHandle* db);
int CTakesNullPointers(const char* queue, MesgHandle* db);

static int WriteFile(const char* path, const char* text) {
  char* name = malloc(strlen(path) + 5);
  char* native;
  FILE* file;
  if (name == NULL) return 0;
  sprintf(name, "%s.msg", path);
  native = QOBNativePath(name);
  free(name);
  file = native == NULL ? NULL : fopen(native, "w");
  FreeString(native);
  return file != NULL && fputs(text, file) >= 0 && fclose(file) == 0;
}

int CPutsAMessage(const char* queue, MesgHandle* db) {
  char sender[] = "ann@a.example";
  char recipient[] = "bob@b.example";
  const EnvFrom from = {sender, NULL, 0, 0, NULL};
  const EnvRecip to = {recipient, NULL, 0, NULL};
  char* path = GetNewQueueId(queue, db);
  EXPECT(path != NULL);
  EXPECT(CreateLockFile(path) == -1);
  EXPECT(CreateStatusFile(path, "queued", db) == 0);
  EXPECT(CreateEnvelope(path, &from, db) == 0);
  EXPECT(AddEnvelopeRecipient(path, &to, db) == 0);
  EXPECT(WriteFile(path, "mail"));
  ReleaseQueueId(path);
  return 0;
}

int CFindsIt(const char* queue, MesgHandle* db) {
  const QueueScanFilter four = {4, 4, 0};
  const QueueScanFilter more = {5, 0, 0};
  char* path = FindFirstQueueId(queue, db, &four);
  EXPECT(path != NULL);
  EXPECT(FindNextQueueId(queue, db, &four) == NULL);
  EXPECT(FindFirstQueueId(queue, db, NULL) == NULL);
  ReleaseQueueId(path);
  EXPECT(FindFirstQueueId(queue, db, &more) == NULL);
  path = FindFirstQueueId(queue, db, NULL);
  EXPECT(path != NULL);
  EXPECT(CreateLockFile(path) == 0);
  EXPECT(DeleteLockFile(path) == 0);
  EXPECT(DeleteLockFile(path) == -1);
  FreeQueueId(path);
  return 0;
}

int CMovesItAndBack(const char* queue, const char* other, MesgHandle* db) {
  const QueueScanFilter any = {0, 0, 0};
  char* path = FindFirstQueueId(queue, db, &any);
  EXPECT(path != NULL);
  EXPECT(MoveQueueId(path, other, db) == 0);
  ReleaseQueueId(path);
  EXPECT(FindFirstQueueId(queue, db, &any) == NULL);
  path = FindFirstQueueId(other, db, &any);
  EXPECT(path != NULL);
  EXPECT(MoveQueueId(path, queue, db) == 0);
  EXPECT(UnlockAllMessage(other) == 1);
  FreeQueueId(path);
  return 0;
}

int CTellsWhy(const char* queue, MesgHandle* db) {
  const QueueScanFilter any = {0, 0, 0};
  char* path = FindFirstQueueId(queue, db, &any);
  ms* reasons;
  EXPECT(path != NULL);
  EXPECT(GetBounceReason(path) == NULL);
  EXPECT(AddBounceReason(path, "550 no such user\r\n") == 0);
  EXPECT(AddBounceReason(path, "tried twice\n") == 0);
  reasons = GetBounceReason(path);
  EXPECT(reasons != NULL && strcmp(reasons->text, "550 no such user\r\n") == 0);
  EXPECT(reasons->next != NULL && strcmp(reasons->next->text, "tried twice\n") == 0);
  EXPECT(reasons->next->next == NULL);
  freeStringChain(reasons);
  ReleaseQueueId(path);
  return 0;
}

int CDeletesIt(const char* queue, MesgHandle* db) {
  const QueueScanFilter any = {0, 0, 0};
  char* path = FindFirstQueueId(queue, db, &any);
  EXPECT(path != NULL);
  EXPECT(strcmp(GetMQPathNameById((uint32_t)strtoul(path + strlen(queue) + 1, NULL, 16), ""), path) == 0);
  EXPECT(DeleteQueueId(path, "DSN", db) == 0);
  EXPECT(DestroyQueueId(path, db) == 0);
  ReleaseQueueId(path);
  EXPECT(FindFirstQueueId(queue, db, &any) == NULL);
  EXPECT(FindFirstQueueId(queue, db, NULL) == NULL);
  return 0;
}

int CTakesNullPointers(const char* queue, MesgHandle* db) {
  MQChannel* channel = OpenMQChannel("DSN");
  EXPECT(channel != NULL);
  EXPECT(RemoveMQQID(channel, 1) == 0);
  EXPECT(CloseMQChannel(channel) != 0);
  EXPECT(GetNewQueueId(NULL, db) == NULL && GetNewQueueId(queue, NULL) == NULL);
  EXPECT(CreateLockFile(NULL) == -1 && DeleteLockFile(NULL) == -1);
  ReleaseQueueId(NULL);
  FreeQueueId(NULL);
  EXPECT(FindFirstQueueId(NULL, db, NULL) == NULL && FindFirstQueueId(queue, NULL, NULL) == NULL);
  EXPECT(FindNextQueueId(NULL, db, NULL) == NULL && FindNextQueueId(queue, NULL, NULL) == NULL);
  EXPECT(DestroyQueueId(NULL, db) == -1 && DeleteQueueId(NULL, "DSN", db) == -1);
  EXPECT(MoveQueueId(NULL, queue, db) == -1 && UnlockAllMessage(NULL) == 0);
  EXPECT(AddBounceReason(NULL, "x") == -1 && GetBounceReason(NULL) == NULL);
  return 0;
}
