/* The small databases as a C program uses them. */
#include "db/contract.h"

#include <stdlib.h>
#include <string.h>

#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>

int CountFileTypesFromC(void) {
  MagicRecordBuffer buffer;
  int count = 0;
  int32_t result;
  for (result = GetFirstMagicRecord(&buffer.record); result == 0 && count < 100000;
       result = GetNextMagicRecord(&buffer.record)) {
    ++count;
  }
  return result == 17 ? count : -1;
}

int TypeFromC(const char* extension, char* type, unsigned room) {
  MagicRecordBuffer buffer;
  const int32_t result = GetMagicFromExtension(extension, &buffer.record);
  if (result != 0) return result;
  if (strlen(buffer.record.contentType) + strlen(buffer.record.contentSubtype) + 2 > room)
    return -2;
  strcpy(type, buffer.record.contentType);
  strcat(type, "/");
  strcat(type, buffer.record.contentSubtype);
  return 0;
}

int SetIntervalFromC(const char* domain, int32_t interval) {
  PeerRecord record;
  memset(&record, 0, sizeof record);
  strncpy(record.domain, domain, sizeof record.domain - 1);
  record.AcceptMail = 1;
  record.QueueRunInterval = interval;
  return InsPeerRecord(&record);
}
