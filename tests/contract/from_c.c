/* The public headers as a C program uses them, beside the C library's own getline. */
#define _GNU_SOURCE
#include "contract/from_c.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "contract/record_layout.h"

int CountLinesWithTheCLibrary(const char* path, long* bytes) {
  FILE* file = fopen(path, "rb");
  char* line = NULL;
  size_t room = 0;
  int lines = 0;
  *bytes = 0;
  if (file == NULL) return -1;
  for (long length; (length = (long)getline(&line, &room, file)) >= 0; ++lines) *bytes += length;
  if (ferror(file)) lines = -1;
  free(line);
  fclose(file);
  return lines;
}

int CountLinesWithLineIo(const char* path, long* bytes) {
  const int32_t handle = fileopen(path, 0, 1);
  char* line = NULL;
  int lines = 0;
  *bytes = 0;
  if (handle == -1) return -1;
  while (QOB_getline(handle, &line) == 1) {
    *bytes += (long)strlen(line);
    ++lines;
  }
  return fileclose(handle) == 1 ? lines : -1;
}

int CountPartsFromC(const char* path) {
  MimeMessagePool* pool = NULL;
  const int32_t parts = MimeParseMessage(path, 1, &pool);
  if (parts < 0) return -1;
  if (MimeGetNumberOfMessage(pool) != parts) return -2;
  MimeFreeMessage(&pool);
  return pool == NULL ? parts : -3;
}
