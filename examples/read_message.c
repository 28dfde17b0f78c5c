/* Reads one message: who wrote it, when and about what, and the text of its first text part.
 *
 *   read_message FILE
 *
 * Shows in C how start-up, header record, message tree and extracted bodies are used and released.
 */
#include <qob3xapi/qob3xapi.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Prints a header value with its encoded words decoded. */
static void PrintText(const char* name, const char* value) {
  char* decoded = value == NULL ? NULL : rfc1522decoding_wmc(value);
  printf("%s: %s\n", name, decoded == NULL ? "" : decoded);
  free(decoded);
}

static void PrintAddresses(const char* name, const HeaderAddressList* list) {
  if (list == NULL || list->table == NULL) return;
  for (const RecipNode* node = list->table->head; node != NULL; node = node->next) {
    PrintText(name, node->address);
  }
}

/* The header record's fields belong to it: Free822Header releases them, free() the record. */
static int PrintHeader(const char* path) {
  const int32_t file = fileopen(path, 0, 1);
  addr822* header = New822Header();
  int32_t lines = 0;
  int32_t status = 0;
  int ok = file != -1 && header != NULL && ParseHdr(file, header, &lines, &status) == 1;
  if (ok) {
    PrintAddresses("From", header->from);
    PrintAddresses("To", header->to);
    PrintText("Date", header->date == NULL ? NULL : header->date->text);
    PrintText("Subject", header->subject);
  }
  Free822Header(header);
  free(header);
  if (file != -1) fileclose(file);
  return ok;
}

/* Extracted bodies are temporary files: their names are in library form, MimeFreeFile removes and
 * frees. */
static int PrintBody(MimeBodyPart* part) {
  char* extracted = MimeGetBody(part, 0, QOB_INVALID_OSHANDLE);
  char* native = extracted == NULL ? NULL : QOBNativePath(extracted);
  FILE* body = native == NULL ? NULL : fopen(native, "rb");
  if (body != NULL) {
    for (int c = getc(body); c != EOF; c = getc(body)) putchar(c);
    fclose(body);
  }
  FreeString(native);
  MimeFreeFile(extracted);
  return body != NULL;
}

static int PrintFirstText(const char* path) {
  MimeMessagePool* pool = NULL;
  const int32_t parts = MimeParseMessage(path, 1, &pool);
  int ok = parts > 0;
  printf("Parts: %d\n\n", (int)parts);
  for (int32_t i = 0; ok && i < parts; ++i) {
    MimeBodyPart* part = MimeGetMsg(pool, i);
    const char* type = MimeGetContentType(part);
    if (type != NULL && strcmp(type, "text") != 0) continue;
    ok = PrintBody(part);
    break;
  }
  MimeFreeMessage(&pool);
  return ok;
}

int main(int count, char** arguments) {
  int ok;
  if (count != 2) {
    fputs("usage: read_message FILE\n", stderr);
    return 64;
  }
  InitQOBDll_NOMQ("read_message");
  ok = PrintHeader(arguments[1]) && PrintFirstText(arguments[1]);
  if (!ok) fprintf(stderr, "read_message: %s cannot be read\n", arguments[1]);
  TerminateQOBDll();
  return ok ? 0 : 66;
}
