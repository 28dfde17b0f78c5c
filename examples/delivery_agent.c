/* A delivery agent: takes every message that waits on a channel to a maildir, each recipient a
 * copy.
 *
 *   delivery_agent CHANNEL MAILDIR
 *
 * Ends with 0 when nothing is left on the channel, with 75 when something is (held, not due yet, in
 * the hands of another agent, or it could not be delivered and will be tried again): run it again
 * later. Any number of agents may walk one channel at once; the lock of a message decides whose it
 * is. What a crash costs: a recipient that was delivered but not yet marked gets a second copy, and
 * the lock stays until the machine starts anew or 'qob queue unlock' takes it away. No message is
 * lost: it leaves the queue when every recipient's record says so, and not before.
 *
 * The library has no call that brings a file to stable storage: what lies in the maildir is written
 * with the calls of POSIX. A recipient whose file is not flushed must not be marked. */
#define _XOPEN_SOURCE 700
#include <qob3xapi/qob3xapi.h>
#include <qobplatform/mqapi.h>

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static const char* maildir;
static volatile sig_atomic_t asked_to_end;

static void AskToEnd(int number) {
  (void)number;
  asked_to_end = 1;
}

/* One header line; control characters would end it or begin another. */
static void WriteAddress(FILE* to, const char* before, const char* address, const char* behind) {
  fputs(before, to);
  for (; *address != '\0'; ++address) {
    putc((unsigned char)*address < ' ' || *address == 127 ? '?' : *address, to);
  }
  fprintf(to, "%s\r\n", behind);
}

static int FlushDirectory(const char* path) {
  const int directory = open(path, O_RDONLY | O_DIRECTORY);
  const int ok = directory >= 0 && fsync(directory) == 0;
  if (directory >= 0) close(directory);
  return ok;
}

/* Written in tmp/, flushed, and only then given its name in new/, where readers look. */
static int Deliver(FILE* message, const char* sender, const char* recipient) {
  static unsigned count;
  char name[80], host[32] = "localhost", written[1024], placed[1024], folder[1024];
  char block[65536];
  size_t got;
  int descriptor, ok;
  FILE* to;
  gethostname(host, sizeof host - 1);
  for (char* c = host; *c != '\0'; ++c) *c = *c == '/' ? '_' : *c;
  snprintf(name, sizeof name, "%ld.P%ldQ%u.%s", (long)time(NULL), (long)getpid(), ++count, host);
  snprintf(written, sizeof written, "%s/tmp/%s", maildir, name);
  snprintf(placed, sizeof placed, "%s/new/%s", maildir, name);
  snprintf(folder, sizeof folder, "%s/new", maildir);
  descriptor = open(written, O_WRONLY | O_CREAT | O_EXCL, 0600);
  to = descriptor < 0 ? NULL : fdopen(descriptor, "wb");
  if (to == NULL) return 0;
  WriteAddress(to, "Return-Path: <", strcmp(sender, "<>") == 0 ? "" : sender, ">");
  WriteAddress(to, "Delivered-To: ", recipient, "");
  rewind(message);
  while ((got = fread(block, 1, sizeof block, message)) > 0) fwrite(block, 1, got, to);
  ok = !ferror(message) && fflush(to) == 0 && !ferror(to) && fsync(descriptor) == 0;
  ok = fclose(to) == 0 && ok && link(written, placed) == 0 && FlushDirectory(folder);
  unlink(written);
  return ok;
}

/* The recipients' records of a message have one key, in either case, and follow one another. With
 * an address, the first of them that is pending and has it becomes 'DONE'. Without one, 1 means
 * that none is pending: only an answer of the database says so, never a failure of it. */
static int WalkRecipients(uint32_t id, const char* address, MesgHandle* db) {
  char key[16];
  MesgRecord record;
  int32_t status;
  snprintf(key, sizeof key, "%08xr", (unsigned)id);
  for (status = FindMesgRecord(db, key, &record); status == 0 && strcasecmp(record.key, key) == 0;
       status = GetNextMesgRecord(db, key, &record)) {
    if (record.stateText[0] != '\0') continue;
    if (address == NULL) return 0;
    if (strcmp(record.address, address) != 0) continue;
    strcpy(record.stateText, "DONE");
    return UpdateCurrentMesgRecordByKey(db, &record, 0) == 0;
  }
  return address == NULL && (status == 0 || status == 4 || status == 9);
}

/* 1 when every recipient is done. The pending calls walk with one handle, the marks use another. */
static int DeliverPending(const char* path, uint32_t id, const char* sender, FILE* message,
                          MesgHandle* db) {
  MesgHandle marks = *db; /* a copy of a handle has a place of its own */
  int failed = 0;
  for (EnvRecip* recipient = GetFirstPendingEnvelopeRecipient(path, db); recipient != NULL;
       recipient = GetNextPendingEnvelopeRecipient(path, db)) {
    if (!Deliver(message, sender, recipient->address)) {
      fprintf(stderr, "delivery_agent: %08X: %s: %s\n", (unsigned)id, maildir, strerror(errno));
      failed = 1;
    } else if (!WalkRecipients(id, recipient->address, &marks)) {
      failed = 1;
    }
    FreeEnvRecip(recipient);
  }
  return !failed && WalkRecipients(id, NULL, &marks);
}

/* Later each time, up to about an hour. A site's own agent gives a message up after some days and
 * tells its sender. */
static void TryAgainLater(const char* path, MesgHandle* db) {
  const int32_t tries = BumpMessageRetryCount(path, db);
  const int32_t wait = 60 << (tries < 1 ? 0 : tries > 6 ? 6 : tries);
  UpdateMessageStatus(path, "deferred: the maildir took no message", db);
  SetMessageRetryTime(path, (int32_t)time(NULL) + wait, db);
}

/* Under its lock. 1 when the message is no longer on the channel. */
static int Handle(const char* path, uint32_t id, const char* channel, MesgHandle* db) {
  char key[16];
  MesgRecord record;
  char* native = QOBNativePath(GetMQPathNameById(id, ".msg"));
  FILE* message = native == NULL ? NULL : fopen(native, "rb");
  int32_t status;
  int done;
  FreeString(native);
  snprintf(key, sizeof key, "%08xf", (unsigned)id);
  status = FindMesgRecord(db, key, &record);
  done = status == 4; /* whoever had the lock before us has delivered it */
  if (status == 0 && message != NULL && record.stateText[0] == '\0' &&
      record.retryTime <= (int32_t)time(NULL)) {
    done = DeliverPending(path, id, record.address, message, db);
    if (!done) TryAgainLater(path, db);
    if (done) done = DeleteQueueId(path, channel, db) == 0;
    if (done) printf("%08X delivered\n", (unsigned)id);
  }
  if (message != NULL) fclose(message);
  return done;
}

/* The number of messages that stay, or -1. */
static long Drain(MQChannel* channel, const char* name, MesgHandle* db) {
  MesgRecord record;
  int32_t status;
  uint32_t id = 0;
  long left = 0;
  while (!asked_to_end && GetNextMQEntry(channel, &id)) {
    char path[1024];
    snprintf(path, sizeof path, "%s", GetMQPathNameById(id, ""));
    if (CreateLockFile(path) != 0) {
      ++left;
      continue;
    }
    if (!Handle(path, id, name, db)) ++left;
    DeleteLockFile(path);
  }
  /* A walk ends at the end, or when the database cannot be read; here the database says which. */
  status = GetFirstMesgRecordByKey(db, &record, 0);
  return status == 0 || status == 9 ? left + asked_to_end : -1;
}

static int MakeMaildir(void) {
  static const char* const folders[] = {"", "/tmp", "/new", "/cur"};
  for (int i = 0; i < 4; ++i) {
    char path[1024];
    if (snprintf(path, sizeof path, "%s%s", maildir, folders[i]) > 900) return 0;
    if (mkdir(path, 0700) != 0 && errno != EEXIST) return 0;
  }
  return 1;
}

int main(int count, char** arguments) {
  MesgHandle db;
  MQChannel* channel;
  long left = -1;
  if (count != 3) {
    fputs("usage: delivery_agent CHANNEL MAILDIR\n", stderr);
    return 64;
  }
  maildir = arguments[2];
  if (!MakeMaildir()) {
    fprintf(stderr, "delivery_agent: %s: %s\n", maildir, strerror(errno));
    return 73;
  }
  signal(SIGTERM, AskToEnd);
  signal(SIGINT, AskToEnd);
  if (InitQOBDll("delivery_agent") == 1 && OpenMesgFile(NULL, &db) == 0) {
    channel = OpenMQChannel(arguments[1]);
    if (channel != NULL) left = Drain(channel, arguments[1], &db);
    CloseMQChannel(channel);
    CloseMesgFile(&db);
  }
  TerminateQOBDll();
  MQTerminate();
  if (left < 0) fputs("delivery_agent: the queue cannot be reached\n", stderr);
  if (left > 0) printf("%ld left\n", left);
  return left < 0 ? 69 : left > 0 ? 75 : 0;
}
