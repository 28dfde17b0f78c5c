/* Commits messages to a channel, as a submitter does, for the test of the delivery agent.
 *
 *   fill_channel CHANNEL MESSAGES RECIPIENTS
 *
 * Message n (from 1) has the subject "message n", comes from sender<n>@example.org and goes to
 * user1@host<n>.example and so on. */
#include <qob3xapi/qob3xapi.h>
#include <qobplatform/mqapi.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMostRecipients = 16 };

static int WriteMessage(MQContext* entry, int number) {
  char* native = QOBNativePath(GetMQPathName(entry, ".msg"));
  FILE* file = native == NULL ? NULL : fopen(native, "wb");
  FreeString(native);
  if (file == NULL) return 0;
  fprintf(file, "Subject: message %d\r\n\r\nThe text of message %d.\r\n", number, number);
  return fclose(file) == 0;
}

static int PutEnvelope(MQContext* entry, int number, int recipients, char* channel) {
  char sender[64], empty[] = "", texts[kMostRecipients][64];
  MQEnvFrom from = {sender, empty, 0, 0, empty, channel};
  MQEnvFromNode from_node = {&from, NULL};
  MQEnvRecip to[kMostRecipients];
  MQEnvRecipNode nodes[kMostRecipients];
  stEnvelope envelope = {NULL, {&from_node, &from_node, 1}, {nodes, nodes, 0}, -1};
  snprintf(sender, sizeof sender, "sender%d@example.org", number);
  for (int i = 0; i < recipients; ++i) {
    const MQEnvRecip recipient = {texts[i], empty, 0, empty, empty};
    snprintf(texts[i], sizeof texts[i], "user%d@host%d.example", i + 1, number);
    to[i] = recipient;
    nodes[i].record = &to[i];
    nodes[i].next = i + 1 < recipients ? &nodes[i + 1] : NULL;
    envelope.recipients.tail = &nodes[i];
    ++envelope.recipients.count;
  }
  return PutMQEnvelope(entry, &envelope);
}

static int Submit(char* channel, int number, int recipients) {
  MQContext* entry = CreateMQEntry();
  if (entry == NULL) return 0;
  if (WriteMessage(entry, number) && InsertMQChannel(entry, channel, 255) &&
      PutEnvelope(entry, number, recipients, channel)) {
    return CloseMQEntry(entry);
  }
  DiscardMQEntry(entry);
  return 0;
}

int main(int count, char** arguments) {
  const int messages = count == 4 ? atoi(arguments[2]) : 0;
  const int recipients = count == 4 ? atoi(arguments[3]) : 0;
  int ok = messages > 0 && recipients > 0 && recipients <= kMostRecipients;
  ok = ok && InitQOBDll("fill_channel") == 1;
  for (int number = 1; ok && number <= messages; ++number) {
    ok = Submit(arguments[1], number, recipients);
  }
  TerminateQOBDll();
  MQTerminate();
  if (!ok) fputs("fill_channel: not all was committed\n", stderr);
  return ok ? 0 : 1;
}
