/* Bounces, notifications and generated mail as C programs call them. Each function gives 0, or the
 * line at which something was not as promised. */
#include <qob3xapi/bounce.h>
#include <qob3xapi/dsn.h>
#include <qob3xapi/generate.h>

#include <stdlib.h>
#include <string.h>

#define EXPECT(condition)              \
  do {                                 \
    if (!(condition)) return __LINE__; \
  } while (0)

int CBounces(const char* path, MesgHandle* db);
int CNotifies(const char* path, MesgHandle* db);
int CGenerates(const char* file);
int CTakesNullPointers(void);

int CBounces(const char* path, MesgHandle* db) {
  int handed_on = 7;
  ms* reasons = NULL;
  EXPECT(appendString(&reasons, "user unknown") == 1);
  EXPECT(BounceMimeMessageToPostmaster(path, reasons, &handed_on, db) == 0);
  EXPECT(BounceMimeMessage(path, NULL, reasons, &handed_on, db) == 0);
  EXPECT(BounceMimeMessageHeader(path, NULL, NULL, db) == 0);
  EXPECT(handed_on == 7);
  return 0;
}

int CNotifies(const char* path, MesgHandle* db) {
  PerRecipField field;
  PerRecipFieldNode node = {&field, NULL};
  ms* text = NULL;
  DsnEnvFrom sender;
  EnvFrom* from = GetEnvelopeFrom(path, db);
  EXPECT(from != NULL);
  sender.address = from->address;
  sender.envelopeId = from->envelopeId;
  sender.ret = from->firstOption;
  sender.secondOption = from->secondOption;
  sender.arrivalTime = GetMessageCreationTime(path, db);
  EXPECT(AssignPerRecipField(&field, NULL, " bob@b.example", "failed", "5.1.1", NULL, NULL, 0, 0) ==
         0);
  EXPECT(appendString(&text, "It failed.\r\n") == 1);
  EXPECT(GenerateDSNMessage(path, &sender, "report", text, &node) == 0);
  EXPECT(GenerateDSNMessageToPostmaster(path, "report", text, &node) == 0);
  EXPECT(GenerateDSNMessageForAllRecipients(path, &sender, "report", text, &node) == 0);
  CleanPerRecipField(&field);
  EXPECT(field.action == NULL && field.lastAttempt == -1 && field.willRetryUntil == -1);
  freeStringChain(text);
  FreeEnvFrom(from);
  return 0;
}

int CGenerates(const char* file) {
  char address[] = "bob@b.example";
  char line[] = "hello";
  ms* attachments = NULL;
  const ms to = {address, NULL};
  const ms text = {line, NULL};
  EXPECT(appendString(&attachments, file) == 1);
  EXPECT(GenerateMimeMessage("me@a.example", "DSN", &to, "s", NULL, &text, attachments, NULL) == 0);
  freeStringChain(attachments);
  EXPECT(SendOldLogfile(file) == 0);
  return 0;
}

int CTakesNullPointers(void) {
  EXPECT(BounceMimeMessage(NULL, NULL, NULL, NULL, NULL) == -1);
  EXPECT(BounceMimeMessageHeader(NULL, NULL, NULL, NULL) == -1);
  EXPECT(BounceMimeMessageToPostmaster(NULL, NULL, NULL, NULL) == -1);
  EXPECT(GenerateDSNMessage(NULL, NULL, NULL, NULL, NULL) == -1);
  EXPECT(GenerateDSNMessageToPostmaster(NULL, NULL, NULL, NULL) == -1);
  EXPECT(AssignPerRecipField(NULL, NULL, NULL, NULL, NULL, NULL, NULL, 0, 0) == -1);
  CleanPerRecipField(NULL);
  EXPECT(GenerateMimeMessage(NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL) == -1);
  EXPECT(SendOldLogfile(NULL) != 0);
  return 0;
}
