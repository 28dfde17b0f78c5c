#include "db/banned_users.h"

#include "db/relation.h"
#include "db/rows.h"

namespace qob::db {

bool IsBanned(std::string_view address) {
  // Cut to the key's width it would be another address.
  if (address.size() >= sizeof(BanRow::address)) return false;
  tesseraBase session;
  Relation<BanRow> relation(session, QueuePlace(), "banuserdb");
  const Held held(relation);
  SetKey(relation.row.address, address);
  return relation.get(0) == kOk;
}

}  // namespace qob::db
