/* The utilities as a C program uses them. Each function gives 0, or the number of the line where it found a fault. */
#include <stdlib.h>
#include <string.h>

#include <qob3xapi/frame.h>
#include <qob3xapi/lineio.h>
#include <qob3xapi/util.h>

#define CHECK(condition) \
  if (!(condition)) return __LINE__

int CBuildsAChain(void);
int CCleansText(void);
int CDecodesIntoATemporaryFile(const char* path);

int CBuildsAChain(void) {
  ms* chain = NULL;
  CHECK(appendString(&chain, "a") == 1 && appendString(&chain, "b") == 1);
  CHECK(strcmp(chain->text, "a") == 0 && strcmp(chain->next->text, "b") == 0 && chain->next->next == NULL);
  CHECK(appendString(NULL, "c") == 0);
  freeStringChain(chain);
  return 0;
}

int CCleansText(void) {
  char text[] = "a\tb\r\n";
  CHECK(EliminateCntrlChars(text) == text && strcmp(text, "ab") == 0);
  CHECK(EliminateCntrlChars(NULL) == NULL);
  return 0;
}

int CDecodesIntoATemporaryFile(const char* path) {
  char* name = NULL;
  char* temporary = QOBGetTempFileName(NULL, "MIME");
  char* native = QOBNativePath(temporary);
  int32_t in = fileopen(path, 0, 1);
  int32_t out = filecreate(temporary, 0, 1);
  CHECK(temporary != NULL && native != NULL && in > 2 && out > 2);
  CHECK(strchr(temporary, '\\') != NULL && strchr(native, '\\') == NULL);
  CHECK(uudecode(in, 0, out, &name) == 1 && strcmp(name, "cat") == 0);
  CHECK(fileclose(in) == 1 && fileclose(out) == 1);
  out = fileopen(temporary, 0, 1);
  CHECK(inch(out) == 'C' && inch(out) == 'a' && inch(out) == 't' && inch(out) == -1);
  CHECK(fileclose(out) == 1);
  CHECK(tabExpand(temporary) == 0);
  FreeString(name);
  FreeString(temporary);
  free(native);
  FreeString(NULL);
  return 0;
}
