// The per-recipient record of a status notification: its strings are its own.
#pragma once
#include <qob3xapi/dsn.h>

namespace qob::notify {

// Overwrites the record with copies of `from`; false without memory, and then nothing is set.
bool CopyFields(const PerRecipField& from, PerRecipField* record);
// Frees the strings; dates become -1.
void ReleaseFields(PerRecipField* record);

}  // namespace qob::notify
