/* The frame as a C program uses it. Each function gives 0, or the number of the line where it found a fault. */
#include <stddef.h>
#include <string.h>

#include <qob3xapi/errors.h>
#include <qob3xapi/frame.h>

#define CHECK(condition) \
  if (!(condition)) return __LINE__

int CStartsAndStops(const char* temporary_directory);
int CReadsAndWritesSettings(void);
int CAsksForTexts(void);

int CStartsAndStops(const char* temporary_directory) {
  CHECK(InitQOBDll_NOMQ("c client") == 1);
  CHECK(strcmp(GetTempDir(), temporary_directory) == 0);
  CHECK(GetQueueDir() != NULL && GetInstallDir() != NULL);
  CHECK(TerminateQOBDll() == 0);
  CHECK(InitQOBDll("c client") == 1);
  CHECK(InitQOBDll("c client") == 1);
  CHECK(TerminateQOBDll() == 0);
  return 0;
}

int CReadsAndWritesSettings(void) {
  char value[8];
  CHECK(QOBWritePrivateProfileString("Own", "Key", "some value", "own.ini") != 0);
  CHECK(QOBGetPrivateProfileString("own", "KEY", "", value, sizeof value, "own.ini") == 7);
  CHECK(strcmp(value, "some va") == 0);
  CHECK(QOBGetPrivateProfileInt("Own", "Missing", -4, "own.ini") == -4);
  UseConfigAPI();
  CHECK(QOBGetPrivateProfileString("own", "KEY", "", value, sizeof value, "own.ini") == 7);
  UseINI();
  CHECK(QOBWritePrivateProfileString("Own", NULL, NULL, "own.ini") != 0);
  CHECK(QOBGetPrivateProfileString("own", "KEY", "d", value, sizeof value, "own.ini") == 1);
  return 0;
}

int CAsksForTexts(void) {
  CHECK(strcmp(ShowBtrError(20), "The Record Manager or Requester is inactive.  Files may be corrupted.") == 0);
  CHECK(strcmp(ShowBtrError(-1), "Btrieve database message : #-1") == 0);
  CHECK(strcmp(QOBWinExecError(2), "File was not found.") == 0);
  CHECK(strcmp(QOBWinExecError(1), "Unknown error code #1") == 0);
  return 0;
}
