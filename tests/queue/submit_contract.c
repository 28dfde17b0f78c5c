/* Submission as C programs see it. Each function gives 0, or the line at which something was not as
 * promised. */
#include <qob3xapi/submit.h>
#include <qobplatform/mqapi.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <qob3xapi/util.h>

#define EXPECT(condition)              \
  do {                                 \
    if (!(condition)) return __LINE__; \
  } while (0)

int CSendsAMessage(const char* message);
int CWritesItsOwnMessage(void);
int CTakesNullPointers(const char* message);

static FILE* Open(const char* path, const char* mode) {
  char* native = QOBNativePath(path);
  FILE* file = native == NULL ? NULL : fopen(native, mode);
  FreeString(native);
  return file;
}

int CSendsAMessage(const char* message) {
  const MimeRecipient recipients[2] = {{"bob@b.example", "rfc822;bob@b.example", 3, NULL, NULL},
                                       {"", NULL, 0, NULL, NULL}};
  char name[600];
  char line[64];
  FILE* file;
  char* path = MimeSendMessage("ann@a.example", "QQ1", 2, 99, "extra", "SMTP", recipients, 2, NULL,
                               message, &name, 0, 0);
  EXPECT(path != NULL);
  EXPECT(strlen(path) < 500);
  sprintf(name, "%s.msg", path);
  QOBFreeMQId(path);
  file = Open(name, "r");
  EXPECT(file != NULL);
  EXPECT(fgets(line, sizeof line, file) != NULL);
  EXPECT(fclose(file) == 0);
  EXPECT(strcmp(line, "Received: From gw.gate.example by gw.gate.example\r\n") == 0);
  return 0;
}

int CWritesItsOwnMessage(void) {
  char address[] = "ann@a.example";
  char to[] = "bob@b.example";
  const EnvFrom sender = {address, NULL, 1, 0, NULL};
  EnvRecip bob = {to, NULL, 0, NULL};
  const EnvRecipNode recipients = {&bob, NULL};
  stEnvelope* envelope;
  char name[600];
  FILE* file;
  struct MQContext* entry = QOBGetNewMQEntry();
  char* id = QOBGetNewMQId(entry);
  EXPECT(entry != NULL && id != NULL);
  sprintf(name, "%s.msg", id);
  QOBFreeMQId(id);
  file = Open(name, "w");
  EXPECT(file != NULL);
  EXPECT(fputs("Subject: x\r\n\r\nbody\r\n", file) >= 0 && fclose(file) == 0);
  EXPECT(SubmitMQMessage(entry, &sender, &recipients, "DSN") != 0);
  envelope = GetMQEnvelope((uint32_t)strtoul(strrchr(name, '\\') + 1, NULL, 16));
  EXPECT(envelope != NULL);
  EXPECT(envelope->senders.head->record->ret == 1);
  EXPECT(strcmp(envelope->senders.head->record->channel, "DSN") == 0);
  EXPECT(strcmp(envelope->recipients.head->record->address, "bob@b.example") == 0);
  FreeMQEnvelope(envelope);
  return 0;
}

int CTakesNullPointers(const char* message) {
  const MimeRecipient bob = {"bob@b.example", NULL, 0, NULL, NULL};
  EXPECT(MimeSendMessage(NULL, NULL, 0, 0, NULL, NULL, NULL, 0, NULL, NULL, NULL, 0, 0) == NULL);
  EXPECT(MimeSendMessage(NULL, NULL, 0, 0, NULL, "SMTP", NULL, 5, NULL, message, NULL, 0, 0) ==
         NULL);
  EXPECT(MimeSendMessage(NULL, NULL, 0, 0, NULL, "SMTP", &bob, 1, NULL, NULL, NULL, 0, 0) == NULL);
  EXPECT(QOBGetNewMQId(NULL) == NULL);
  EXPECT(SubmitMQMessage(NULL, NULL, NULL, NULL) == 0);
  EXPECT(SubmitMQMessage(QOBGetNewMQEntry(), NULL, NULL, NULL) == 0);
  QOBFreeMQId(NULL);
  return 0;
}
