// The envelope of a queued message: its own record ("F") with sender and state, and one record per
// recipient ("R"), all found by a key made from the name of its queue path.
//
// Changes are made to what stands in the file at that moment, never to an older copy: find, change,
// update the record found, and when anybody else was quicker (80) find again and change the new
// record.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include <qob3xapi/envelope.h>

#include "frame/report.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "queue/message_database.h"

namespace qob::envelope {

// Texts may be null: empty.
inline std::string_view TextOf(const char* text) { return text == nullptr ? "" : text; }
spool::SenderFields FieldsOf(const EnvFrom& sender, std::string_view qualified);
spool::RecipientFields FieldsOf(const EnvRecip& recipient, std::string_view qualified);

// What callers get, from malloc; null without memory.
EnvFrom* NewSender(const MesgRecord& record);
EnvRecip* NewRecipient(const MesgRecord& record);

// The addresses as they are stored, by the configuration of this moment. Throw std::bad_alloc.
// kept_bare: a sender without host part stays so when the site says so.
std::string QualifiedSender(std::string_view address, bool kept_bare);
std::string QualifiedRecipient(std::string_view address);

int InsertMessage(std::string_view path, std::string_view status_text, MesgHandle* db);
int InsertRecipient(std::string_view path, const spool::RecipientFields& recipient, MesgHandle* db);
int FindMessage(std::string_view path, MesgHandle* db, MesgRecord* record);

inline constexpr int kChangeAttempts = 8;

struct Change {
  int status = 0;
  bool found = false;  // a failure is that of the writing
};

// change(record) is called for every attempt, each time with the record as it was just read;
// *record is the last one.
template <class Apply>
Change ChangeMessage(std::string_view path, MesgHandle* db, MesgRecord* record, Apply apply) {
  const std::string key = spool::RecordKeyOf(path, spool::kMessageKind);
  for (int attempt = 1;; ++attempt) {
    if (const int status = mesgdb::Find(db, key, record); status != 0) return {status, false};
    apply(*record);
    const int status = mesgdb::UpdateCurrent(db, spool::kKeyIndex, *record);
    if (status != store::kConflict) return {status, true};
    Report(kFailure, "UpdateMesgRecord %s failed: %d", key.c_str(), status);
    if (attempt == kChangeAttempts) return {status, true};
  }
}

}  // namespace qob::envelope
