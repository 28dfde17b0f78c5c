/* The calls for encoded words as a C program uses them. */
#include <qob3xapi/rfc1522.h>

#include <stdlib.h>
#include <string.h>

/* 1 when the call gave exactly that text; the result is released with free. */
static int Gives(char* result, const char* expected) {
  int same = result == NULL ? expected == NULL : expected != NULL && strcmp(result, expected) == 0;
  free(result);
  return same;
}

int EncodesFromC(void) {
  return Gives(rfc1522encoding("J\xFC <a@b>"), "=?ISO-8859-1?Q?J=FC?= <a@b>") &&
         Gives(rfc1522encoding("plain"), "plain") && Gives(rfc1522encoding(NULL), NULL) &&
         Gives(rfc1522encoding_wmc("\xFC", "KOI8-R"), "=?KOI8-R?B?/A==?=");
}

int DecodesFromC(void) {
  return Gives(rfc1522decoding("=?ISO-8859-1?Q?K=F6ln?="), "K\xF6ln") &&
         Gives(rfc1522decoding(""), NULL) && Gives(rfc1522decoding_wmc("=?x?B?QUJD?="), "ABC") &&
         Gives(Get1522Charset("=?x?B?QUJD?="), "x") && Gives(Get1522Charset("none"), NULL);
}
