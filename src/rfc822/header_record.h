// The header record (addr822): where each kind of field is kept, and how it all is released.
#pragma once
#include <qob3xapi/header822.h>

#include "rfc822/keyword_table.h"

namespace qob {

// The record's slot for a field of that code, or null when the code has no slot of that kind.
HeaderAddressList** AddressSlot(addr822* record, HeaderCode code);
char** TextSlot(addr822* record, HeaderCode code);

// Releases every field and sets it to null.
void EmptyHeader(addr822* record);

}  // namespace qob
