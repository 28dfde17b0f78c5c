/* Writes the table of expectations beside this file: what a second implementation of the profile
 * calls and of the share modes answers to many small questions. It runs once, under Debian's wine;
 * the tests read the table.
 *
 *   x86_64-w64-mingw32-gcc -O2 -Wall -o profile_oracle.exe profile_oracle.c
 *   WINEDEBUG=-all wine64 profile_oracle.exe > profile_expectations.txt
 *
 * One question per line, fields separated by TAB, texts escaped (\t \r \n \\ \xHH), \N for a null
 * pointer: R  file text, section, key, default, size           -> count, bytes left in the buffer
 *   W  file text, section, key, value                   -> 1 or 0, sections, keys of the section,
 * value of the key S  first opener, second opener                      -> yes or no C  what is
 * tried                                    -> what came of it
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

static char directory[MAX_PATH];
static int file_number;

static void PrintBytes(const char* bytes, size_t size) {
  for (size_t i = 0; i < size; ++i) {
    unsigned char c = (unsigned char)bytes[i];
    if (c == '\t')
      fputs("\\t", stdout);
    else if (c == '\r')
      fputs("\\r", stdout);
    else if (c == '\n')
      fputs("\\n", stdout);
    else if (c == '\\')
      fputs("\\\\", stdout);
    else if (c < 32 || c > 126)
      printf("\\x%02X", c);
    else
      putchar(c);
  }
}

static void PrintText(const char* text) {
  putchar('\t');
  if (text == NULL)
    fputs("\\N", stdout);
  else
    PrintBytes(text, strlen(text));
}

/* A file name that was never used: the implementation may keep files in mind. */
static void FreshName(char* path) { sprintf(path, "%s\\case%d.ini", directory, ++file_number); }

static void WriteBytes(const char* path, const char* text) {
  DWORD done;
  HANDLE file =
      CreateFileA(path, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
  WriteFile(file, text, (DWORD)strlen(text), &done, NULL);
  CloseHandle(file);
}

static void Read(const char* text, const char* section, const char* key, const char* fallback,
                 int size) {
  char path[MAX_PATH + 32];
  char buffer[1024];
  memset(buffer, '#', sizeof buffer);
  FreshName(path);
  if (text != NULL) WriteBytes(path, text);
  DWORD count = GetPrivateProfileStringA(section, key, fallback, buffer, (DWORD)size, path);
  putchar('R');
  PrintText(text);
  PrintText(section);
  PrintText(key);
  PrintText(fallback);
  printf("\t%d\t%lu\t", size, (unsigned long)count);
  PrintBytes(buffer, (size_t)size < count + 2 ? (size_t)size : count + 2);
  putchar('\n');
  if (text != NULL) DeleteFileA(path);
}

static void PrintList(const char* section, const char* key, const char* path) {
  char buffer[1024];
  memset(buffer, 0, sizeof buffer);
  DWORD count = GetPrivateProfileStringA(section, key, "", buffer, sizeof buffer, path);
  putchar('\t');
  PrintBytes(buffer, count);
}

static void Write(const char* text, const char* section, const char* key, const char* value) {
  char path[MAX_PATH + 32];
  FreshName(path);
  if (text != NULL) WriteBytes(path, text);
  BOOL done = WritePrivateProfileStringA(section, key, value, path);
  putchar('W');
  PrintText(text);
  PrintText(section);
  PrintText(key);
  PrintText(value);
  printf("\t%d", done ? 1 : 0);
  PrintList(NULL, NULL, path);
  if (section == NULL)
    putchar('\t');
  else
    PrintList(section, NULL, path);
  if (section == NULL || key == NULL)
    putchar('\t');
  else
    PrintList(section, key, path);
  putchar('\n');
  DeleteFileA(path);
}

static void ReadCases(void) {
  static const char* const kTexts[] = {"",
                                       "[S]\r\nk=v\r\n",
                                       "[S]\nk=v\n",
                                       "[S]\rk=v\r",
                                       "[S]\nk=v",
                                       "k=v\n",
                                       "k=v\n[S]\n",
                                       "\xEF\xBB\xBF[S]\nk=v\n",
                                       "  [S]  \n  k  =  v  \n",
                                       "\t[S]\n\tk\t=\tv\t\n",
                                       "[ S ]\nk=v\n",
                                       "[S]trailing\nk=v\n",
                                       "[S]]\nk=v\n",
                                       "[S\nk=v\n",
                                       "[S;x]\nk=v\n",
                                       "[s]\nK=v\n",
                                       "[S]\nk=v ; not a comment\n",
                                       "[S]\n;k=c\nk=v\n",
                                       "[S]\n ;k=c\nk=v\n",
                                       "[S]\n#k=c\nk=v\n",
                                       "[S]\nk\nk=v\n",
                                       "[S]\nk\n",
                                       "[S]\n=v\n",
                                       "[S]\nk=\n",
                                       "[S]\nk=   \n",
                                       "[S]\nk==v\n",
                                       "[S]\nk=a=b\n",
                                       "[S]\nk=\"v\"\n",
                                       "[S]\nk='v'\n",
                                       "[S]\nk=\"v'\n",
                                       "[S]\nk=\"v\n",
                                       "[S]\nk=v\"\n",
                                       "[S]\nk=\"\"\n",
                                       "[S]\nk=\"\n",
                                       "[S]\nk='\n",
                                       "[S]\nk=\" v \"\n",
                                       "[S]\nk= \"v\" \n",
                                       "[S]\nk=\"'v'\"\n",
                                       "[S]\nk=\"a\"b\"\n",
                                       "[S]\nk=\"a\" \"b\"\n",
                                       "[S]\nk=1\nk=2\n",
                                       "[S]\nK=1\nk=2\n",
                                       "[S]\na=1\n[T]\nk=2\n[S]\nk=3\n",
                                       "[S]\nk=1\n[s]\nk=2\n",
                                       "[T]\nk=1\n[S]\nk=2\n",
                                       "[S]\n\n\nk=v\n",
                                       "[S]\nk=v\n\n[T]\nx=y\n",
                                       "[S]\nk=a\tb\n",
                                       "[S]\nk=\t\n",
                                       "[S]\r\n\r\nk=v\r\n",
                                       "[S]\n[T]\nk=v\n",
                                       "[]\nk=v\n",
                                       "[S]\nk k=v\n",
                                       "[S]\n k k = v\n",
                                       "[S]\nk=\xE4\xF6\n",
                                       "[S]\nk=v\x0Bw\n",
                                       "[S]\nk=\x0Bv\n",
                                       "[S]\nk=v\n\x1A\nx=y\n",
                                       "[S] ; c\nk=v\n",
                                       "[S]k=v\n",
                                       "[S]\n[k=v\n",
                                       "[S]\n]k=v\n",
                                       "[S]\nlong=0123456789\n",
                                       "[S]\na=1\nb=2\nc=3\n",
                                       "[S]\n;x\na=1\nnovalue\nb=2\n",
                                       "[A]\n[B]\n[A]\n",
                                       "[S]\n\"k\"=v\n",
                                       "[S]\nk=v\\\n",
                                       "[S]\n k=v\n  x = y\n",
                                       "[S]\n\r\rk=v\n",
                                       "[S]\nk=%x%\n",
                                       "[S]\nk=C:\\dir\\file\n",
                                       "\n\n[S]\nk=v\n",
                                       "junk\n[S]\nk=v\n"};
  for (size_t i = 0; i < sizeof kTexts / sizeof kTexts[0]; ++i) {
    Read(kTexts[i], "S", "k", "dflt", 64);
    Read(kTexts[i], "S", NULL, "dflt", 64);
    Read(kTexts[i], NULL, NULL, "dflt", 64);
  }
  static const char* const kKeys[] = {"K", " k", "k ", " k ", "\tk", "kk", "", "k=", ";k", "[k"};
  for (size_t i = 0; i < sizeof kKeys / sizeof kKeys[0]; ++i) {
    Read("[S]\nk=v\n;k=c\n[k=b\n", "S", kKeys[i], "dflt", 64);
  }
  static const char* const kSections[] = {"s", " S", "S ", " S ", "", "T", "[S]", "S]"};
  for (size_t i = 0; i < sizeof kSections / sizeof kSections[0]; ++i) {
    Read("x=top\n[S]\nk=v\n", kSections[i], "k", "dflt", 64);
    Read("x=top\n[S]\nk=v\n", kSections[i], NULL, "dflt", 64);
  }
  static const char* const kFallbacks[] = {NULL, "",    "d",     " d",  "d ",     "d  ",
                                           " ",  "d\t", "\"d\"", "'d'", " \"d\" "};
  for (size_t i = 0; i < sizeof kFallbacks / sizeof kFallbacks[0]; ++i) {
    Read("[S]\nk=v\n", "S", "missing", kFallbacks[i], 64);
    Read("[S]\nk=v\n", "T", "k", kFallbacks[i], 64);
    Read(NULL, "S", "k", kFallbacks[i], 64);
    Read("[S]\nk=\n", "S", "k", kFallbacks[i], 64);
    Read("[S]\nk=v\n", "T", NULL, kFallbacks[i], 64);
    Read("", NULL, NULL, kFallbacks[i], 64);
  }
  for (int size = 0; size <= 14; ++size) {
    Read("[S]\nk=0123456789\n", "S", "k", "dflt", size);
    Read("[S]\nk=v\n", "S", "missing", "0123456789", size);
    Read("[S]\nk=v\n", "S", "missing", "012 456 89", size);
    Read("[S]\nab=1\ncd=2\nef=3\n", "S", NULL, "dflt", size);
    Read("[ab]\n[cd]\n[ef]\n", NULL, NULL, "dflt", size);
    Read("[S]\n", "S", NULL, "dflt", size);
    Read("", NULL, NULL, "dflt", size);
    Read("[S]\nk=\"quoted text\"\n", "S", "k", "dflt", size);
    Read("[S]\nk=ab cd  \n", "S", "k", "dflt", size);
  }
}

static void WriteCases(void) {
  static const char* const kTexts[] = {NULL,
                                       "",
                                       "[S]\r\nk=v\r\n",
                                       "[S]\nk=v\nx=y\n",
                                       "[S]\nx=y\n",
                                       "[T]\nk=1\n",
                                       "[S]\nk=v",
                                       "[T]\nk=1\n[S]\nx=2\n[U]\nk=3\n",
                                       "[S]\nk=1\nk=2\n",
                                       "[s]\nK=1\n",
                                       "[S]\nk=1\n[S]\nk=2\n",
                                       "; head\n[S]\n; about k\nk = v\n\n; about T\n[T]\nz=1\n",
                                       "k=top\n",
                                       "[S]\nk\n",
                                       "[S]\n\n\n[T]\nx=y\n"};
  static const char* const kValues[] = {"w",   "",    " w ", "\"w\"", "\" w \"",
                                        "a=b", "; c", "[x]", NULL};
  for (size_t t = 0; t < sizeof kTexts / sizeof kTexts[0]; ++t) {
    for (size_t v = 0; v < sizeof kValues / sizeof kValues[0]; ++v) {
      Write(kTexts[t], "S", "k", kValues[v]);
    }
    Write(kTexts[t], "s", "K", "w");
    Write(kTexts[t], " S ", " k ", "w");
    Write(kTexts[t], "S", NULL, NULL);
    Write(kTexts[t], "S", NULL, "w");
    Write(kTexts[t], "New", "k", "w");
    Write(kTexts[t], "New", "k", NULL);
    Write(kTexts[t], "New", NULL, NULL);
    Write(kTexts[t], NULL, "k", "w");
    Write(kTexts[t], NULL, NULL, NULL);
    Write(kTexts[t], "S", "", "w");
    Write(kTexts[t], "", "k", "w");
    Write(kTexts[t], "S", "a=b", "w");
  }
}

/* Small texts put together from pieces, the same ones in every run. */
static unsigned long next_random = 12345;
static unsigned Random(unsigned below) {
  next_random = (next_random * 1103515245ul + 12345ul) & 0x7FFFFFFFul;
  return (unsigned)(next_random >> 12) % below;
}

static void MixedCases(int count) {
  static const char* const kPieces[] = {
      "[S]",       "[s]",  "[T]", "k", "K",  "x",  "=",  "=",    "=v",      "=\"q\"",
      "='a b'",    " ",    "\t",  ";", "\n", "\n", "\n", "\r\n", "\n[S]\n", "\nk=1\n",
      "\nx = 2\n", "word", "\"",  "'", "]",  "[",  ",",  "\\"};
  for (int i = 0; i < count; ++i) {
    char text[512] = "[S]\n";
    if (Random(4) == 0) text[0] = '\0';
    for (unsigned n = 1 + Random(9); n > 0; --n)
      strcat(text, kPieces[Random(sizeof kPieces / sizeof kPieces[0])]);
    Read(text, "S", "k", "dflt", 64);
    Read(text, "S", NULL, "dflt", 64);
    Read(text, NULL, NULL, "dflt", 64);
  }
}

struct Opener {
  const char* name;
  DWORD access;
  DWORD share;
};

static void ShareCases(void) {
  static const struct Opener kOpeners[] = {
      {"read, shares read and write", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE},
      {"read, shares read", GENERIC_READ, FILE_SHARE_READ},
      {"write, shares read", GENERIC_WRITE, FILE_SHARE_READ},
      {"read+write, shares nothing", GENERIC_READ | GENERIC_WRITE, 0}};
  char path[MAX_PATH + 32];
  FreshName(path);
  WriteBytes(path, "data");
  for (int first = 0; first < 4; ++first) {
    for (int second = 0; second < 4; ++second) {
      HANDLE a = CreateFileA(path, kOpeners[first].access, kOpeners[first].share, NULL,
                             OPEN_EXISTING, 0, NULL);
      HANDLE b = CreateFileA(path, kOpeners[second].access, kOpeners[second].share, NULL,
                             OPEN_EXISTING, 0, NULL);
      printf("S\t%s\t%s\t%s\n", kOpeners[first].name, kOpeners[second].name,
             b == INVALID_HANDLE_VALUE ? "no" : "yes");
      if (b != INVALID_HANDLE_VALUE) CloseHandle(b);
      CloseHandle(a);
    }
  }
  DeleteFileA(path);
}

static const char* Outcome(HANDLE file) {
  if (file != INVALID_HANDLE_VALUE) return "opened";
  switch (GetLastError()) {
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return "exists";
    case ERROR_FILE_NOT_FOUND:
      return "not found";
    case ERROR_SHARING_VIOLATION:
      return "sharing violation";
    default:
      return "other error";
  }
}

static void CreateCases(void) {
  char path[MAX_PATH + 32];
  FreshName(path);
  HANDLE file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, NULL, OPEN_EXISTING, 0, NULL);
  printf("C\topen a missing file\t%s\n", Outcome(file));
  file = CreateFileA(path, GENERIC_WRITE, 0, NULL, CREATE_NEW, 0, NULL);
  printf("C\tcreate a new file\t%s\n", Outcome(file));
  CloseHandle(file);
  printf("C\tcreate a new file over an old one\t%s\n",
         Outcome(CreateFileA(path, GENERIC_WRITE, 0, NULL, CREATE_NEW, 0, NULL)));
  WriteBytes(path, "data");
  HANDLE holder = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, NULL, OPEN_EXISTING, 0, NULL);
  printf("C\tcreate always while another writes\t%s\n",
         Outcome(CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, NULL, CREATE_ALWAYS, 0, NULL)));
  printf("C\tbytes left after that\t%lu\n", (unsigned long)GetFileSize(holder, NULL));
  CloseHandle(holder);
  file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, NULL, CREATE_ALWAYS, 0, NULL);
  printf("C\tcreate always while nobody writes\t%s\n",
         file == INVALID_HANDLE_VALUE ? "refused" : "opened");
  printf("C\tbytes left after that\t%lu\n", (unsigned long)GetFileSize(file, NULL));
  CloseHandle(file);
  DeleteFileA(path);
}

int main(void) {
  GetTempPathA(sizeof directory, directory);
  strcat(directory, "profile_oracle");
  CreateDirectoryA(directory, NULL);
  ReadCases();
  WriteCases();
  MixedCases(250);
  ShareCases();
  CreateCases();
  RemoveDirectoryA(directory);
  return 0;
}
