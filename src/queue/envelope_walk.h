// The recipients of one message, one after the other, along the cursor of the database handle: it
// alone says where the walk stands, so that one call may go on where another ended.
#pragma once
#include <string>
#include <string_view>

#include "queue/envelope.h"

namespace qob::envelope {

enum class Step {
  kRecipient,
  kNone,  // the message has no recipient
  kEndOfFile,
  kOtherMessage,
  kFailure,
};

class RecipientWalk {
 public:
  RecipientWalk(std::string_view path, MesgHandle* db)
      : key_(spool::RecordKeyOf(path, spool::kRecipientKind)), db_(db) {}

  Step First();
  Step Next();
  // From `step` on to the first recipient that is wanted.
  template <class Wanted>
  Step Seek(Step step, Wanted wanted) {
    while (step == Step::kRecipient && !wanted(record_)) step = Next();
    return step;
  }
  Step Find(std::string_view address);
  // Recipients met on the whole way; *last tells how it ended.
  int Count(Step* last);

  // Of the last kRecipient.
  MesgRecord& record() { return record_; }
  int Update() { return mesgdb::UpdateCurrent(db_, spool::kKeyIndex, record_); }
  int Delete() { return mesgdb::DeleteCurrent(db_, spool::kKeyIndex); }

 private:
  Step Met(int status);

  std::string key_;
  MesgHandle* db_;
  MesgRecord record_;
};

bool IsPending(const MesgRecord& recipient);

struct RecipientChange {
  Step step = Step::kFailure;  // kRecipient: it was written, with this status
  int status = 0;
};
// Gives the recipient the fields of `recipient` but its address; everything else it has stays.
RecipientChange UpdateRecipient(std::string_view path, const EnvRecip& recipient, MesgHandle* db);
RecipientChange DeleteRecipient(std::string_view path, std::string_view address, MesgHandle* db);

}  // namespace qob::envelope
