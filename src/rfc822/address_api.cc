// The exported address calls.
#include <qob3xapi/address.h>

#include <cstring>
#include <mutex>

#include "frame/guard.h"
#include "rfc822/parser_locks.h"
#include "rfc822/recipient_table.h"

QOBAPI int32_t ST_RecipParse(char* text, RecipTbl* table, int32_t reset) {
  if (table == nullptr) return 0;
  if (reset != 0) *table = {};
  if (text == nullptr) return 0;
  return qob::Guarded(0, [&] { return qob::AppendAddresses({text, std::strlen(text)}, table); });
}

extern "C" QOBAPI int32_t RecipParse(char* text, RecipTbl* table, int32_t reset) {
  return qob::Guarded(0, [&] {
    std::scoped_lock hold(qob::AddressParserLock());
    return ST_RecipParse(text, table, reset);
  });
}

extern "C" QOBAPI int32_t QOB_RecipParse(char* text, RecipTbl* table, int32_t reset) {
  return RecipParse(text, table, reset);
}
