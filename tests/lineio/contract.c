/* Line I/O as a C program uses it. Each function gives 0, or the number of the line where it found a fault. */
#define _POSIX_C_SOURCE 200809L  /* the three-argument getline */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/lineio.h>

#define CHECK(condition) \
  if (!(condition)) return __LINE__

int CWritesAndReadsBack(const char* path);
int CUsesTheObjectFace(const char* path);
int CCallsTheLibraryOfC(const char* path);

int CWritesAndReadsBack(const char* path) {
  char* line = NULL;
  int32_t handle = filecreate(path, 0, 1);
  CHECK(handle > 2);
  CHECK(putline(handle, "first\r\n") == 1);
  CHECK(outch('s', handle) == 1);
  CHECK(putline(handle, "econd") == 1);
  CHECK(getfpos(handle) == 13);
  CHECK(fileclose(handle) == 1);
  CHECK(fileclose(handle) == 0);
  handle = fileopen(path, 0, 1);
  CHECK(handle > 2);
  CHECK(QOB_getline(handle, &line) == 1 && strcmp(line, "first\r\n") == 0);
  CHECK(inch(handle) == 's');
  uninch('x', handle);
  CHECK(QOB_getline(handle, &line) == 1 && strcmp(line, "second") == 0);
  CHECK(QOB_getline(handle, &line) == 0);
  CHECK(setfpos(handle, 5) == 5 && inch(handle) == '\r');
  CHECK(fileclose(handle) == 1);
  return 0;
}

int CUsesTheObjectFace(const char* path) {
  char* line = NULL;
  QOB_FILE* file = FileCreate(path, 0, 1);
  CHECK(file != NULL && file->access == 0x40000000u);
  CHECK(PutLine(file, "a\n") == 1 && OutCh(file, 'b') == 1 && GetFilePos(file) == 3);
  CHECK(FileClose(file) == 1);
  file = FileOpen(path, 0, 1);
  CHECK(file != NULL && strcmp(file->name, path) == 0);
  CHECK(GetLine(file, &line) == 1 && line == file->lineBuffer);
  CHECK(InCh(file) == 'b');
  UninCh(file);
  CHECK(InCh(file) == 'b' && InCh(file) == -1);
  CHECK(SetFilePos(file, 1) == 1 && InCh(file) == '\n');
  CHECK(FileClose(file) == 1);
  return 0;
}

/* A program that links the library still means the C library when it says getline with three arguments. */
int CCallsTheLibraryOfC(const char* path) {
  char* line = NULL;
  size_t size = 0;
  FILE* file = fopen(path, "w+");
  CHECK(file != NULL);
  CHECK(fputs("from stdio\n", file) >= 0);
  rewind(file);
  CHECK(getline(&line, &size, file) == 11 && strcmp(line, "from stdio\n") == 0);
  free(line);
  fclose(file);
  return 0;
}
