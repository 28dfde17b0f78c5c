// The message database with its arguments typed: "mesg.btr" in a queue directory, one cursor per
// handle. Every call is one or two calls of BTRCALL by its public name, so that a site may put a
// record manager of its own there, and gives its status (platform/store/status.h).
//
// A handle is 128 plain bytes: a copy is an independent cursor on the same open file. Keys stand in
// lower case; what a caller gives as key or record is lowered on the way, in a copy except where
// said. Index 1 alone minds case. Nothing here throws.
#pragma once
#include <cstdint>
#include <string_view>

#include <qob3xapi/mesgdb.h>

#include "platform/store/record_file.h"

namespace qob::mesgdb {

using store::Seek;

int Create(std::string_view directory);
// When there is none (12) it is created, and the status is that of opening it then.
int Open(std::string_view directory, MesgHandle* db);
int Close(MesgHandle* db);

// Lowers the key in the caller's record. The handle then stands on the new record.
int Insert(MesgHandle* db, MesgRecord* record);

// The first record of that key: its first 15 characters, lowered.
int Find(MesgHandle* db, std::string_view key, MesgRecord* record);
// On any index, the value lowered and cut to one less than the index's length. Seek::kFirst uses no
// value.
int FindByIndex(MesgHandle* db, int index, Seek seek, std::string_view value, MesgRecord* record);
// The same with the letters as they are: the only way to a directory whose name has capitals.
int FindAsGiven(MesgHandle* db, int index, Seek seek, std::string_view value, MesgRecord* record);
// The next entry behind the handle's place, whether the record there still stands or not; 9 at the
// end, and the handle stays where it is.
int Next(MesgHandle* db, int index, MesgRecord* record);

// The record that the handle stands on; 80 when anybody else changed or deleted it since it was
// read, 8 when it was deleted through this handle.
int UpdateCurrent(MesgHandle* db, int index, const MesgRecord& record);
int DeleteCurrent(MesgHandle* db, int index);

// Replaces the record that is found by the value (lowered); once more when it was changed meanwhile
// (80), then by its first 15 characters. Logs that.
int Update(MesgHandle* db, int index, std::string_view value, const MesgRecord& record);
// Finds by key and deletes; once more when it was changed meanwhile. Logs what fails; *record is
// what was found.
int Remove(MesgHandle* db, std::string_view key, MesgRecord* record);

}  // namespace qob::mesgdb
