#include "check_message.h"

#include <algorithm>

#include <qob3xapi/queueid.h>

#include "change.h"
#include "ids.h"
#include "platform/spool/names.h"
#include "platform/spool/queue_files.h"

namespace cli::queue {
namespace {

using qob::spool::FieldText;
using qob::spool::kLockFile;
using qob::spool::kMessageFile;
using qob::spool::kReasonFile;
using qob::store::Status;

bool Stands(const std::string& path) {
  const auto file = qob::spool::LookAtFile(path);
  if (!file && !qob::spool::IsMissing(file.error)) {
    throw Failure(ExitCode::kNoPermission,
                  NativeBase(path) + ": cannot be looked at: " + qob::spool::ErrorText(file.error) +
                      ": run as the owner of the queue");
  }
  return static_cast<bool>(file);
}

std::vector<const StoredRecord*> Pointers(const std::vector<StoredRecord>& records,
                                          std::size_t from = 0) {
  std::vector<const StoredRecord*> pointers;
  for (std::size_t i = from; i < records.size(); ++i) pointers.push_back(&records[i]);
  return pointers;
}

std::string Plural(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

std::string MessageCheck::BaseAt(std::size_t place) const {
  return qob::spool::QueuePath(queue_.places()[place].path, id_);
}

Finding MessageCheck::Made(Kind kind, std::size_t place, const char* extension,
                           std::string text) const {
  Finding finding;
  finding.kind = kind;
  finding.queue = queue_.places()[place].path;
  finding.id = id_;
  finding.path = NativeBase(BaseAt(place)) + extension;
  finding.text = std::move(text);
  finding.certain = mode_.locks;
  return finding;
}

template <class Mend>
bool MessageCheck::Settle(Finding finding, const std::string& plan, Mend&& mend) {
  finding.remedy = Remedy::kPossible;
  finding.detail = plan;
  if (mode_.repair) {
    std::string detail;
    const std::string problem = mend(&detail);
    finding.remedy = problem.empty() ? Remedy::kDone : Remedy::kFailed;
    finding.detail = problem.empty() ? detail : problem;
    if (problem.empty()) Audit("check --repair", id_, finding.path, "", detail);
  }
  findings_.push_back(std::move(finding));
  return findings_.back().remedy == Remedy::kDone;
}

// ---- locks ----

bool MessageCheck::TakeLock(std::size_t place) {
  const std::string base = BaseAt(place);
  for (int round = 0; round < 2; ++round) {
    LockHolder holder = LookAtLock(base);
    if (!holder.stands) {
      if (!mode_.locks || locks_.emplace_back().Take(base)) return true;
      continue;
    }
    Finding finding =
        Made(holder.stale ? Kind::kStaleLock : Kind::kHeldLock, place, kLockFile, LockText(holder));
    finding.holder = holder;
    finding.certain = true;
    if (!holder.stale) {
      report_.Tell(finding);
      return false;
    }
    const bool removed = Settle(finding, "removes it", [&](std::string* detail) -> std::string {
      if (DeleteLockFile(base.c_str()) != 0) return "it cannot be removed";
      *detail = "removed";
      return "";
    });
    if (removed) continue;
    if (mode_.repair) return false;
    guards_.push_back({place, holder});
    return true;
  }
  return false;
}

bool MessageCheck::TakeLocks() {
  for (std::size_t place = 0; place < queue_.places().size(); ++place) {
    if (!TakeLock(place)) return false;
  }
  return true;
}

// A stale lock keeps everybody off as long as it stands; when it is gone, somebody else may have
// been at work on the message while it was looked at.
bool MessageCheck::StillGuarded() const {
  return std::all_of(guards_.begin(), guards_.end(), [&](const Guard& guard) {
    const LockHolder now = LookAtLock(BaseAt(guard.place));
    return now.stands && now.stale && now.since == guard.holder.since;
  });
}

// ---- facts ----

void MessageCheck::ReadDatabase(std::size_t place) {
  qob::store::RecordFile* const database = queue_.places()[place].database.get();
  if (database == nullptr) return;
  MessageFacts::At& at = facts_.at[place];
  Status status = ReadRecords(*database, id_, qob::spool::kMessageKind, &at.messages);
  if (status == qob::store::kOk)
    status = ReadRecords(*database, id_, qob::spool::kRecipientKind, &at.recipients);
  if (status == qob::store::kOk) status = database->HasMark(id_, &at.mark);
  std::string note;
  if (status == qob::store::kOk) status = database->GetNote(id_, &note);
  at.note = status == qob::store::kOk;
  if (status != qob::store::kOk && status != qob::store::kNotFound)
    throw StoreFailure(queue_.places()[place].path + "/" + qob::spool::kDatabaseName, status);
}

void MessageCheck::Read() {
  facts_ = {};
  facts_.at.resize(queue_.places().size());
  for (std::size_t place = 0; place < facts_.at.size(); ++place) {
    facts_.at[place].message_file = Stands(BaseAt(place) + kMessageFile);
    facts_.at[place].reasons = Stands(BaseAt(place) + kReasonFile);
    ReadDatabase(place);
  }
}

// ---- judgement ----

void MessageCheck::JudgeLost(std::size_t home) {
  const MessageFacts::At& at = facts_.at[home];
  const auto remove = [&](std::string* detail) {
    return SaveAndDelete(home, Pointers(at.recipients), true, "no message record", detail);
  };
  const std::string plan = "saves them in corrupt/ and deletes them";
  if (!at.recipients.empty()) {
    Settle(Made(Kind::kLostRecipients, home, "",
                Plural(at.recipients.size(), "recipient") + " without a message record"),
           plan, remove);
  } else if (at.mark) {
    Settle(Made(Kind::kStrayMark, home, "", "waits on a channel without a message record"), plan,
           remove);
  } else if (at.note) {
    Settle(Made(Kind::kStrayNote, home, "", "a note without a message record"), plan, remove);
  }
}

// It was taken in half, or done with and not removed: which of the two, people must tell.
void MessageCheck::JudgeForNobody(std::size_t holder) {
  Finding finding = Made(Kind::kNoRecipients, holder, "", "a message without recipients");
  finding.detail = "look at it with 'qob queue show', then 'qob queue remove' it";
  findings_.push_back(std::move(finding));
}

void MessageCheck::JudgeUnfinished(std::size_t home) {
  const MessageFacts::At& at = facts_.at[home];
  std::vector<const StoredRecord*> records = Pointers(at.messages);
  for (const StoredRecord& recipient : at.recipients) records.push_back(&recipient);
  const std::string why = "its envelope was never finished";
  const bool done =
      Settle(Made(Kind::kUnfinished, home, "", why + ": no program finds it"),
             "saves its records in corrupt/ and deletes them, and moves its file there",
             [&](std::string* detail) { return SaveAndDelete(home, records, true, why, detail); });
  // Its file is then one that no record knows.
  if (!done) claimed_[home] = 1;
}

void MessageCheck::JudgeMissing(std::size_t home, std::size_t holder) {
  const std::size_t places = facts_.at.size();
  for (std::size_t from = 0; from < places; ++from) {
    if (!facts_.at[from].message_file || claimed_[from] != 0) continue;
    Finding finding =
        Made(Kind::kInterruptedMove, from, kMessageFile,
             "its record names " + queue_.places()[holder].path + ": a move there was interrupted");
    claimed_[from] = 1;
    const bool done = Settle(std::move(finding), "finishes the move", [&](std::string* detail) {
      return Finish(from, holder, kMessageFile, detail);
    });
    claimed_[holder] = 1;
    if (done) {
      claimed_[from] = 0;
      facts_.at[from].message_file = false;
      facts_.at[holder].message_file = true;
    }
    return;
  }
  const MessageFacts::At& at = facts_.at[home];
  std::vector<const StoredRecord*> records = Pointers(at.messages);
  for (const StoredRecord& recipient : at.recipients) records.push_back(&recipient);
  Settle(Made(Kind::kMissingFile, holder, kMessageFile, "it is missing, but its records are there"),
         "saves the records in corrupt/ and deletes them", [&](std::string* detail) {
           return SaveAndDelete(home, records, true, "no message file", detail);
         });
}

void MessageCheck::JudgeRecordOf(std::size_t home) {
  const MessageFacts::At& at = facts_.at[home];
  if (at.messages.empty()) return JudgeLost(home);
  const std::string_view directory = FieldText(at.messages.front().record.directoryName);
  const std::int32_t found = queue_.HolderOf(static_cast<std::uint32_t>(home), directory);
  if (found < 0) {
    elsewhere_ = true;
    Finding finding = Made(Kind::kUnknownDirectory, home, "",
                           "its record names the directory '" + std::string(directory) +
                               "', which is none of those checked");
    finding.detail = "name every queue directory of the system";
    findings_.push_back(std::move(finding));
    return;
  }
  if (at.messages.size() > 1) {
    Settle(Made(Kind::kSecondRecord, home, "",
                Plural(at.messages.size(), "message record") + ", of which the first one counts"),
           "saves the others in corrupt/ and deletes them", [&](std::string* detail) {
             return SaveAndDelete(home, Pointers(at.messages, 1), false,
                                  "a second record of one message", detail);
           });
  }
  const auto holder = static_cast<std::size_t>(found);
  if (directory.empty()) {
    JudgeUnfinished(home);
  } else if (facts_.at[holder].message_file && claimed_[holder] == 0) {
    claimed_[holder] = 1;
    if (at.recipients.empty()) JudgeForNobody(holder);
  } else {
    JudgeMissing(home, holder);
  }
}

// First the records whose files are where they say: what is left over then belongs to the others.
void MessageCheck::JudgeRecords() {
  std::vector<std::size_t> later;
  for (std::size_t home = 0; home < facts_.at.size(); ++home) {
    const MessageFacts::At& at = facts_.at[home];
    const std::string_view directory = at.messages.empty()
                                           ? std::string_view()
                                           : FieldText(at.messages.front().record.directoryName);
    const std::int32_t holder =
        directory.empty() ? -1 : queue_.HolderOf(static_cast<std::uint32_t>(home), directory);
    const bool settled = holder >= 0 && facts_.at[static_cast<std::size_t>(holder)].message_file;
    if (settled) {
      JudgeRecordOf(home);
    } else {
      later.push_back(home);
    }
  }
  for (const std::size_t home : later) JudgeRecordOf(home);
}

// Records of the site's own directory may know the file.
void MessageCheck::TellPerhaps(Finding finding) {
  finding.detail = "name the site's own queue directory as well: its records may know it";
  findings_.push_back(std::move(finding));
}

void MessageCheck::JudgeOrphan(std::size_t place) {
  const bool elsewhere = std::count(claimed_.begin(), claimed_.end(), 1) > 0;
  const std::string why = elsewhere ? "a second file of a message that lies in another directory"
                                    : "a message file that no record knows";
  if (!mode_.whole_system) return TellPerhaps(Made(Kind::kOrphanFile, place, kMessageFile, why));
  if (Settle(Made(Kind::kOrphanFile, place, kMessageFile, why), "moves it to corrupt/",
             [&](std::string* detail) { return PutAway(place, kMessageFile, why, detail); }))
    facts_.at[place].message_file = false;
}

void MessageCheck::JudgeReasons(std::size_t place) {
  const auto holder =
      static_cast<std::size_t>(std::find(claimed_.begin(), claimed_.end(), 1) - claimed_.begin());
  const bool follows = holder < claimed_.size() && !facts_.at[holder].reasons;
  const std::string why = "reasons without a message beside them";
  if (!mode_.whole_system) return TellPerhaps(Made(Kind::kStrayReasons, place, kReasonFile, why));
  const std::string plan =
      follows ? "moves them to " + queue_.places()[holder].path : "moves them to corrupt/";
  Settle(Made(Kind::kStrayReasons, place, kReasonFile, why), plan, [&](std::string* detail) {
    return follows ? Finish(place, holder, kReasonFile, detail)
                   : PutAway(place, kReasonFile, why, detail);
  });
  if (follows) facts_.at[holder].reasons = true;
}

// A file may be on its way to a directory that is not open: then nothing is left over for certain.
void MessageCheck::JudgeFiles() {
  if (elsewhere_) return;
  for (std::size_t place = 0; place < facts_.at.size(); ++place) {
    if (claimed_[place] != 0) continue;
    if (facts_.at[place].message_file) JudgeOrphan(place);
    if (facts_.at[place].reasons) JudgeReasons(place);
  }
}

void MessageCheck::Begin(std::uint32_t id) {
  id_ = id;
  guards_.clear();
  findings_.clear();
  claimed_.assign(queue_.places().size(), 0);
  elsewhere_ = false;
}

void MessageCheck::End() {
  // What was found behind a stale lock that is gone by now may be the work of its remover.
  if (StillGuarded()) {
    for (const Finding& finding : findings_) report_.Tell(finding);
  }
  locks_.clear();
}

void MessageCheck::Judge(std::uint32_t id) {
  Begin(id);
  if (TakeLocks()) {
    Read();
    JudgeRecords();
    JudgeFiles();
  }
  End();
}

void MessageCheck::JudgeDamaged(const Census::DamagedRecord& record) {
  Begin(record.id.value_or(0));
  bool mended = false;
  if (!record.id || TakeLocks()) {
    Finding finding = Made(Kind::kDamagedRecord, record.place, "",
                           "record " + std::to_string(record.number) + " of it is damaged");
    if (!record.id) {
      finding.id.reset();
      finding.path = queue_.places()[record.place].path + "/" + qob::spool::kDatabaseName;
      finding.text = "record " + std::to_string(record.number) + " is damaged";
    }
    mended = Settle(std::move(finding), "saves its bytes in corrupt/ and deletes it",
                    [&](std::string* detail) { return SaveDamaged(record, detail); });
  }
  End();
  if (!record.id) return;
  if (mended) {
    damaged_.push_back(*record.id);
  } else {
    unread_.push_back(*record.id);
  }
}

void MessageCheck::JudgeRest() {
  std::sort(damaged_.begin(), damaged_.end());
  damaged_.erase(std::unique(damaged_.begin(), damaged_.end()), damaged_.end());
  for (const std::uint32_t id : damaged_) {
    // What cannot be read whole cannot be judged.
    if (std::find(unread_.begin(), unread_.end(), id) == unread_.end()) Judge(id);
  }
}

// ---- remedies ----

std::string MessageCheck::Finish(std::size_t from, std::size_t to, const char* extension,
                                 std::string* detail) {
  const std::string& target = queue_.places()[to].path;
  const int error =
      qob::spool::MoveQueueFile(queue_.places()[from].path, target, IdText(id_) + extension);
  if (error != 0) return "it cannot be moved to " + target + ": " + qob::spool::ErrorText(error);
  *detail = "moved to " + target;
  return "";
}

std::string MessageCheck::PutAway(std::size_t place, const char* extension, const std::string& why,
                                  std::string* detail) {
  std::string placed;
  const int error =
      qob::spool::MoveToCorrupt(queue_.places()[place].path, IdText(id_) + extension, why, &placed);
  if (error != 0) {
    return "it cannot be moved to " + queue_.places()[place].path +
           "/corrupt: " + qob::spool::ErrorText(error);
  }
  *detail = "moved to " + NativeBase(placed);
  return "";
}

}  // namespace cli::queue
