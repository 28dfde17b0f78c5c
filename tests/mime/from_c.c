#include "from_c.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <qob3xapi/mimebody.h>
#include <qob3xapi/mimeparse.h>
#include <qob3xapi/util.h>

static const char* Or(const char* text) { return text == NULL ? "-" : text; }

static int Length(const ms* chain) {
  int length = 0;
  for (; chain != NULL; chain = chain->next) ++length;
  return length;
}

int32_t DescribeMessageFromC(const char* path, int32_t flags, char* out, size_t size) {
  MimeMessagePool* pool = NULL;
  const int32_t count = MimeParseMessage(path, flags, &pool);
  int32_t i;
  size_t used = 0;
  out[0] = '\0';
  for (i = 0; i < MimeGetNumberOfMessage(pool) && used < size; ++i) {
    const MimeBodyPart* part = MimeGetMsg(pool, i);
    used += (size_t)snprintf(
        out + used, size - used, "%s/%s %s %s %s %s %d %d [%d %d %d) %d %d\n",
        Or(MimeGetContentType(part)), Or(MimeGetContentSubtype(part)),
        Or(MimeGetContentTransferEncoding(part)), Or(MimeGetContentDisposition(part)),
        Or(MimeGetContentID(part)), Or(MimeGetContentDescription(part)),
        Length(MimeGetContentTypeParams(part)), Length(MimeGetContentDispositionParams(part)),
        part->contentStart, part->bodyStart, part->contentEnd, part->role, part->childCount);
  }
  MimeFreeMessage(&pool);
  return pool == NULL ? count : -2;
}

static int Append(char* name, char* out, size_t size) {
  char* native;
  FILE* file;
  size_t used = strlen(out);
  if (name == NULL) return 0;
  native = QOBNativePath(name);
  file = fopen(native, "rb");
  FreeString(native);
  if (file != NULL) {
    used += fread(out + used, 1, size - used - 1, file);
    out[used] = '\0';
    fclose(file);
  }
  MimeFreeFile(name);
  return file != NULL;
}

int ExtractFromC(const char* path, int32_t index, char* out, size_t size) {
  MimeMessagePool* pool = NULL;
  MimeBodyPart* part;
  int failed = 0;
  out[0] = '\0';
  if (ParseMimeMessage(path, 1, &pool) < 1) return 1;
  part = GetFromMsgPool(pool, index);
  if (!Append(MimeGetBody(part, 0, QOB_INVALID_OSHANDLE), out, size)) failed = 2;
  if (!Append(MimeGetBodyWithNoEmbeddedAttachment(part), out, size)) failed = 3;
  if (!Append(MimeGetHeader(part), out, size)) failed = 4;
  MimeFreeMessage(&pool);
  return failed;
}

int NullsFromC(void) {
  MimeMessagePool* pool = NULL;
  int32_t counter = 5;
  MimeFreeMessage(NULL);
  MimeFreeMessage(&pool);
  MimeFreeFile(NULL);
  MimeGetNumLeafBodyParts(NULL, &counter);
  MimeGetNumMultipartHeaders(NULL, &counter);
  MimeGetNumLeafBodyParts(NULL, NULL);
  return counter == 5 && MimeParseMessage(NULL, 1, &pool) == -1 &&
         ParseMimeMessage(NULL, 1, &pool) == -1 && ParseNonMimeMessage(NULL, &pool) == -1 &&
         pool == NULL && GetFromMsgPool(NULL, 0) == NULL && MimeGetMsg(NULL, 0) == NULL &&
         MimeGetNumberOfMessage(NULL) == -1 && MimeGetContentType(NULL) == NULL &&
         MimeGetTrueName(NULL) == NULL && MimeGetBody(NULL, 0, QOB_INVALID_OSHANDLE) == NULL &&
         MimeGetBodyWithNoEmbeddedAttachment(NULL) == NULL && MimeGetHeader(NULL) == NULL;
}

int HandMadePoolFromC(void) {
  MimeMessagePool* pool = calloc(1, sizeof *pool);
  int32_t leaves = 1;
  int32_t containers = 0;
  int i;
  pool->parts = calloc(3, sizeof *pool->parts);
  for (i = 0; i < 3; ++i) pool->parts[pool->count++] = calloc(1, sizeof **pool->parts);
  pool->parts[0]->children = calloc(2, sizeof *pool->parts[0]->children);
  pool->parts[0]->children[0] = pool->parts[1];
  pool->parts[0]->children[1] = pool->parts[2];
  pool->parts[0]->childCount = 2;
  appendString(&pool->parts[1]->contentTypeParams, "a=b");
  MimeGetNumLeafBodyParts(pool->parts[0], &leaves);
  MimeGetNumMultipartHeaders(pool->parts[0], &containers);
  MimeFreeMessage(&pool);
  return leaves == 2 && containers == 1 && pool == NULL;
}
