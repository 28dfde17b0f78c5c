/* Puts a message into a queue directory: file, sender, recipients, in the order that loses nothing.
 *
 *   put_message DIRECTORY SENDER RECIPIENT... < MESSAGE
 *
 * The lock that comes with the id is held until the message is complete, so that nobody sees half
 * of it. Only when ReleaseQueueId has returned may the program tell its own client that the message
 * was taken. C has no call that brings a file to stable storage: a gateway flushes the message file
 * and its directory (fsync on POSIX) before it calls CreateStatusFile.
 */
#include <qob3xapi/qob3xapi.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Standard input to "<path>.msg". filecreate makes a file that only its owner may read; stdio tells
 * when the disk is full. The name is in library form, fopen needs the system's own. */
static int WriteMessage(const char* path) {
  char name[1024];
  char* native = NULL;
  FILE* file = NULL;
  int ok;
  if (snprintf(name, sizeof name, "%s.msg", path) >= (int)sizeof name) return 0;
  if (fileclose(filecreate(name, 0, 0)) == 1) native = QOBNativePath(name);
  if (native != NULL) file = fopen(native, "r+b");
  FreeString(native);
  if (file == NULL) return 0;
  for (int c = getchar(); c != EOF; c = getchar()) putc(c, file);
  ok = !ferror(stdin) && !ferror(file);
  return fclose(file) == 0 && ok;
}

/* A program that fails on the way leaves no records behind; the file stays for whoever looks after
 * the queue. */
static int WriteEnvelope(const char* path, char* sender, char** recipients, int count,
                         MesgHandle* db) {
  EnvFrom from = {sender, NULL, 0, 0, NULL};
  if (CreateStatusFile(path, "", db) != 0) return 0;
  if (CreateEnvelope(path, &from, db) != 0) return 0;
  for (int i = 0; i < count; ++i) {
    EnvRecip recipient = {recipients[i], NULL, 0, NULL};
    if (AddEnvelopeRecipient(path, &recipient, db) != 0) return 0;
  }
  return 1;
}

static int PutMessage(const char* directory, char* sender, char** recipients, int count) {
  MesgHandle db;
  int ok = 0;
  char* path = NULL;
  const int32_t status = OpenMesgFile(directory, &db);
  if (status != 0) {
    fprintf(stderr, "put_message: %s: %s\n", directory, ShowBtrError(status));
    return 73;
  }
  path = GetNewQueueId(directory, &db);
  if (path != NULL) {
    ok = WriteMessage(path) && WriteEnvelope(path, sender, recipients, count, &db);
    if (ok) {
      puts(strrchr(path, '\\') + 1);
    } else {
      DestroyQueueId(path, &db);
    }
    ReleaseQueueId(path);
  }
  CloseMesgFile(&db);
  if (!ok) fprintf(stderr, "put_message: the message could not be put into %s\n", directory);
  return ok ? 0 : 74;
}

int main(int count, char** arguments) {
  int result;
  if (count < 4) {
    fputs("usage: put_message DIRECTORY SENDER RECIPIENT... < MESSAGE\n", stderr);
    return 64;
  }
  InitQOBDll_NOMQ("put_message");
  result = PutMessage(arguments[1], arguments[2], arguments + 3, count - 3);
  TerminateQOBDll();
  return result;
}
