/* A message's whole life in the message database, as a C program sees it. Each function gives 0, or
 * the line at which something was not as promised. */
#include <qob3xapi/envelope.h>

#include <stdlib.h>
#include <string.h>

#define EXPECT(condition)              \
  do {                                 \
    if (!(condition)) return __LINE__; \
  } while (0)

int CWritesAMessage(const char* path, MesgHandle* db);
int CReadsAMessage(const char* path, MesgHandle* db);
int CWalksTheRecipients(const char* path, MesgHandle* db);
int CDeliversToAll(const char* path, MesgHandle* db);
int CTakesNulls(MesgHandle* db);

int CWritesAMessage(const char* path, MesgHandle* db) {
  char sender[] = "ann@a.example";
  char id[] = "id-1";
  char option[] = "option";
  char first[] = "bob@b.example";
  char second[] = "cy@c.example";
  char note[] = "note";
  const EnvFrom from = {sender, id, 1, 2, option};
  const EnvRecip bob = {first, note, 3, NULL};
  const EnvRecip cy = {second, NULL, 4, note};
  EXPECT(CreateEnvelope(path, &from, db) == -1);
  EXPECT(CreateStatusFile(path, "queued", db) == 0);
  EXPECT(CreateEnvelope(path, &from, db) == 0);
  EXPECT(CreateSMTPEnvelope(path, &from, db) == 0);
  EXPECT(AddEnvelopeRecipient(path, &bob, db) == 0);
  EXPECT(AddEnvelopeRecipient(path, &cy, db) == 0);
  EXPECT(SetMessageRetryTime(path, 1000, db) == 0);
  EXPECT(UpdateMessagePartNumber(path, 7, db) == 0);
  EXPECT(UpdateMessageStatus(path, "waiting", db) == 0);
  EXPECT(BumpMessageRetryCount(path, db) == 1);
  EXPECT(UpdateDelayNotifyStatus(path, db) == 0);
  return 0;
}

int CReadsAMessage(const char* path, MesgHandle* db) {
  EnvFrom* from = GetEnvelopeFrom(path, db);
  char* status = GetMessageStatus(path, db);
  char* same = GetEnvelopeStatus(path, db);
  EXPECT(from != NULL && status != NULL && same != NULL);
  EXPECT(strcmp(from->address, "ann@a.example") == 0 && strcmp(from->envelopeId, "id-1") == 0);
  EXPECT(from->firstOption == 1 && from->secondOption == 2);
  EXPECT(strcmp(from->optionText, "option") == 0);
  EXPECT(strcmp(status, "waiting") == 0 && strcmp(same, "waiting") == 0);
  EXPECT(GetMessageRetryTime(path, db) == 1000);
  EXPECT(GetMessagePartNumber(path, db) == 7);
  EXPECT(GetMessageRetryCount(path, db) == 1);
  EXPECT(GetDelayNotifyStatus(path, db) == 1);
  EXPECT(GetMessageCreationTime(path, db) > 1700000000);
  free(status);
  free(same);
  FreeEnvFrom(from);
  return 0;
}

int CWalksTheRecipients(const char* path, MesgHandle* db) {
  EnvRecip* recipient = GetFirstEnvelopeRecipient(path, db);
  EXPECT(recipient != NULL && strcmp(recipient->address, "bob@b.example") == 0);
  EXPECT(strcmp(recipient->secondText, "note") == 0 && strcmp(recipient->thirdText, "") == 0);
  FreeEnvRecip(recipient);
  recipient = GetNextEnvelopeRecipient(path, db);
  EXPECT(recipient != NULL && strcmp(recipient->address, "cy@c.example") == 0);
  EXPECT(recipient->notifyFlags == 4);
  FreeEnvRecip(recipient);
  EXPECT(GetNextEnvelopeRecipient(path, db) == NULL);
  recipient = GetFirstPendingEnvelopeRecipient(path, db);
  EXPECT(recipient != NULL && recipient->notifyFlags == 3);
  FreeEnvRecip(recipient);
  recipient = GetNextPendingEnvelopeRecipient(path, db);
  EXPECT(recipient != NULL && recipient->notifyFlags == 4);
  FreeEnvRecip(recipient);
  EXPECT(GetRecipientNumber(path, db) == 2);
  EXPECT(GetNotifyFlag(path, "BOB@b.example", db) == 3);
  return 0;
}

int CDeliversToAll(const char* path, MesgHandle* db) {
  char address[] = "cy@c.example";
  char text[] = "changed";
  const EnvRecip change = {address, text, 9, NULL};
  EXPECT(UpdateEnvelopeRecipient(path, &change, db) == 0);
  EXPECT(GetNotifyFlag(path, "cy@c.example", db) == 9);
  EXPECT(DeleteEnvelopeRecipient(path, "bob@b.example", db) == 1);
  EXPECT(DeleteEnvelopeRecipient(path, "cy@c.example", db) == 0);
  EXPECT(GetFirstEnvelopeRecipient(path, db) == NULL);
  return 0;
}

int CTakesNulls(MesgHandle* db) {
  EXPECT(CreateStatusFile(NULL, NULL, db) == -1);
  EXPECT(GetRecipientNumber("none", NULL) == 0);
  FreeEnvFrom(NULL);
  FreeEnvRecip(NULL);
  return 0;
}
