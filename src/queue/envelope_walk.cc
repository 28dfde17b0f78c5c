#include "queue/envelope_walk.h"

#include "platform/os/ascii.h"

namespace qob::envelope {
namespace {

// write() changes the record at the cursor. Whoever was quicker sends us back to the first
// recipient, once.
template <class Write>
RecipientChange ChangeRecipient(RecipientWalk& walk, std::string_view address, Write write) {
  RecipientChange change;
  for (int attempt = 1; attempt <= 2; ++attempt) {
    change = {walk.Find(address), store::kOk};
    if (change.step != Step::kRecipient) return change;
    change.status = write();
    if (change.status != store::kConflict) return change;
  }
  return change;
}

}  // namespace

bool IsPending(const MesgRecord& recipient) { return recipient.stateText[0] == '\0'; }

Step RecipientWalk::First() { return Met(mesgdb::Find(db_, key_, &record_)); }

Step RecipientWalk::Next() { return Met(mesgdb::Next(db_, spool::kKeyIndex, &record_)); }

Step RecipientWalk::Met(int status) {
  if (status == store::kNotFound) return Step::kNone;
  if (status == store::kEndOfFile) return Step::kEndOfFile;
  if (status != store::kOk) return Step::kFailure;
  const bool ours = ascii::EqualFold(spool::FieldText(record_.key), key_);
  return ours ? Step::kRecipient : Step::kOtherMessage;
}

Step RecipientWalk::Find(std::string_view address) {
  return Seek(First(), [&](const MesgRecord& record) {
    return ascii::EqualFold(spool::FieldText(record.address), address);
  });
}

int RecipientWalk::Count(Step* last) {
  int count = 0;
  *last = Seek(First(), [&](const MesgRecord&) {
    ++count;
    return false;
  });
  return count;
}

RecipientChange UpdateRecipient(std::string_view path, const EnvRecip& recipient, MesgHandle* db) {
  RecipientWalk walk(path, db);
  return ChangeRecipient(walk, TextOf(recipient.address), [&] {
    spool::SetRecipient(FieldsOf(recipient, {}), &walk.record());
    return walk.Update();
  });
}

RecipientChange DeleteRecipient(std::string_view path, std::string_view address, MesgHandle* db) {
  RecipientWalk walk(path, db);
  return ChangeRecipient(walk, address, [&] { return walk.Delete(); });
}

}  // namespace qob::envelope
