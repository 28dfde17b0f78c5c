// The exported header calls.
#include <qob3xapi/header822.h>

#include <mutex>

#include "frame/guard.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "rfc822/header_reader.h"
#include "rfc822/header_record.h"
#include "rfc822/parser_locks.h"
#include "rfc822/recipient_table.h"

// The locks stand from the loading of the library to its end: start-up may be called in two forms
// and shut-down while another thread still parses.
extern "C" QOBAPI void Init822Parser(void) {}
extern "C" QOBAPI void Terminate822Parser(void) {}

extern "C" QOBAPI addr822* New822Header(void) { return qob::HeapRecord<addr822>(); }

extern "C" QOBAPI void Free822Header(addr822* header) {
  if (header != nullptr) qob::EmptyHeader(header);
}

extern "C" QOBAPI RecipTbl* Clear_RT(RecipTbl* table) {
  if (table != nullptr) qob::ClearTable(table);
  return table;
}

QOBAPI int32_t ST_ParseHdr(int32_t file, addr822* header, int32_t* lineCount, int32_t* statusLine) {
  qob::HeaderLines lines;
  int32_t result = 0;
  if (header != nullptr) {
    result = qob::Guarded(
        0, [&] { return qob::ReadHeader(file, header, &lines) ? 1 : 0; },
        [] { qob::ReportAs("ParseHdr", qob::kFailure, "malloc failed."); });
  }
  if (lineCount != nullptr) *lineCount = lines.count;
  if (statusLine != nullptr) *statusLine = lines.status_line;
  return result;
}

extern "C" QOBAPI int32_t ParseHdr(int32_t file, addr822* header, int32_t* lineCount,
                                   int32_t* statusLine) {
  return qob::Guarded(0, [&] {
    std::scoped_lock hold(qob::HeaderParserLock());
    return ST_ParseHdr(file, header, lineCount, statusLine);
  });
}

extern "C" QOBAPI int32_t QOB_ParseHdr(int32_t file, addr822* header, int32_t* lineCount,
                                       int32_t* statusLine) {
  return ParseHdr(file, header, lineCount, statusLine);
}
