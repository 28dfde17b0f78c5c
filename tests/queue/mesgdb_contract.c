/* The message database as a C program uses it. Gives 0, or the number of the line where it found a fault. */
#include <string.h>

#include <qob3xapi/errors.h>
#include <qob3xapi/mesgdb.h>
#include <qobplatform/btrcall.h>

#define CHECK(condition) \
  if (!(condition)) return __LINE__

int CKeepsRecords(const char* directory);
int CCallsTheRecordManager(const char* path);

int CKeepsRecords(const char* directory) {
  MesgHandle db;
  MesgHandle copy;
  MesgRecord record;
  MesgRecord found;
  memset(&record, 0, sizeof record);
  strcpy(record.key, "0001A2B3F");
  strcpy(record.stateText, "HELD");
  CHECK(CreateMesgFile(directory) == 0 && CreateMesgFile(directory) == B_FILE_EXISTS);
  CHECK(OpenMesgFile(directory, &db) == 0);
  CHECK(InsertMesgRecord(&db, &record) == 0 && strcmp(record.key, "0001a2b3f") == 0);
  CHECK(FindMesgRecord(&db, "0001A2B3F", &found) == 0 && memcmp(&record, &found, sizeof found) == 0);
  copy = db;
  CHECK(GetNextMesgRecord(&copy, "", &found) == B_END_OF_FILE);
  CHECK(FindMesgRecordByKey(&db, "held", &found, 2) == 0);
  CHECK(GetGreaterMesgRecordByKey(&db, "held", &found, 2) == B_END_OF_FILE);
  CHECK(GetFirstMesgRecordByKey(&db, &found, 1) == 0 && GetNextMesgRecordByKey(&db, &found, 1) == B_END_OF_FILE);
  record.retryCount = 1;
  CHECK(UpdateCurrentMesgRecordByKey(&db, &record, 0) == 0);
  record.retryCount = 2;
  CHECK(UpdateMesgRecord(&db, "0001A2B3F", &record) == 0);
  record.retryCount = 3;
  CHECK(UpdateMesgRecordByKey(&db, "HELD", &record, 2) == 0);
  CHECK(FindMesgRecord(&db, "0001A2B3F", &found) == 0 && found.retryCount == 3);
  CHECK(DeleteCurrentMesgRecordByKey(&db, 0) == 0);
  CHECK(RemoveMesgRecord(&db, "0001A2B3F", &found) == B_NOT_FOUND);
  CHECK(CloseMesgFile(&copy) == 0 && CloseMesgFile(&db) == 3);
  CHECK(strcmp(ShowBtrError(3), "The Btrieve database file is not open.") == 0);
  return 0;
}

int CCallsTheRecordManager(const char* path) {
  unsigned char description[32] = {8, 0, 0, 16, 1};
  unsigned char block[128];
  unsigned char record[8] = "key";
  char name[512];
  uint32_t length = sizeof description;
  description[16] = 1;
  description[18] = 8;
  description[20] = 3;
  description[21] = 1;
  description[26] = 11;
  strcpy(name, path);
  CHECK(BTRCALL(B_CREATE, block, description, &length, name, 255, -1) == B_OK);
  CHECK(BTRCALL(B_OPEN, block, NULL, NULL, name, 255, 0) == B_OK);
  length = sizeof record;
  CHECK(BTRCALL(B_INSERT, block, record, &length, NULL, 0, 0) == B_OK && length == 8);
  memset(record, 'x', sizeof record);
  CHECK(BTRCALL(B_GET_EQUAL, block, record, &length, (char*)"key", 4, 0) == B_OK);
  CHECK(memcmp(record, "key\0\0\0\0\0", 8) == 0);
  CHECK(BTRCALL(B_DELETE, block, NULL, NULL, NULL, 0, 0) == B_OK);
  CHECK(BTRCALL(B_GET_FIRST, block, record, &length, NULL, 0, 0) == B_END_OF_FILE);
  CHECK(BTRCALL(B_CLOSE, block, NULL, NULL, NULL, 0, 0) == B_OK);
  return 0;
}
