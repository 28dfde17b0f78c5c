// The exported envelope calls: pointers looked at, results copied, failures logged. The texts are
// what operators search their logs for; "GetEnvelopFrom", "GetEnvelopStatus" and the text that a
// failed bump shares with the status belong to them.
#include <qob3xapi/envelope.h>

#include <cstdlib>
#include <limits>

#include <qob3xapi/errors.h>

#include "frame/guard.h"
#include "frame/heap.h"
#include "platform/os/path.h"
#include "platform/os/process.h"
#include "queue/envelope.h"
#include "queue/envelope_walk.h"

namespace {

using qob::Guarded;
using qob::kDetail;
using qob::kFailure;
using qob::Report;
using namespace qob::envelope;
namespace spool = qob::spool;
namespace store = qob::store;

// The path has a file name.
bool IsQueuePath(const char* path) {
  return qob::os::LastSeparator(path) != std::string_view::npos;
}
bool Serves(const char* path, const MesgHandle* db) {
  return path != nullptr && db != nullptr && IsQueuePath(path);
}

// `text` is one of the formats below: the path and what the status means.
void Tell(const char* text, const char* path, int status) {
  Report(kDetail, text, path, ShowBtrError(status));
}

int32_t Told(const char* text, const char* path, int status) {
  if (status == store::kOk) return 0;
  Tell(text, path, status);
  return -1;
}

// work() gives a status; without memory it is that of no memory.
template <class Work>
int StatusOf(Work&& work) {
  return Guarded(static_cast<int>(store::kNoMemory), work);
}

constexpr char kCreateEnvelopeFailed[] = "CreateEnvelope failed, %s: %s";

int32_t WriteSender(const char* path, const EnvFrom* sender, MesgHandle* db, bool kept_bare) {
  if (!Serves(path, db) || sender == nullptr || sender->address == nullptr) return -1;
  const std::string_view directory = spool::HoldingDirectoryName(path);
  if (directory.empty()) return -1;
  Change change;
  const int status = StatusOf([&] {
    const std::string address = QualifiedSender(sender->address, kept_bare);
    MesgRecord record;
    change = ChangeMessage(path, db, &record, [&](MesgRecord& message) {
      spool::SetSender(directory, FieldsOf(*sender, address), &message);
    });
    return change.status;
  });
  // That the writing failed is told, not returned.
  return Told(kCreateEnvelopeFailed, path, status) == 0 || change.found ? 0 : -1;
}

// Reads the message's record; false after its failure was logged.
bool ReadMessage(const char* path, MesgHandle* db, const char* text, MesgRecord* record) {
  return Serves(path, db) && Told(text, path, FindMessage(path, db, record)) == 0;
}

int32_t FieldOf(const char* path, MesgHandle* db, int32_t MesgRecord::*field, const char* text) {
  MesgRecord record;
  return ReadMessage(path, db, text, &record) ? record.*field : -1;
}

char* StatusTextOf(const char* path, MesgHandle* db, const char* text) {
  MesgRecord record;
  if (!ReadMessage(path, db, text, &record)) return nullptr;
  char* copy = qob::HeapCopy(spool::FieldText(record.statusText));
  if (copy == nullptr) Report(kDetail, "Out of memory");
  return copy;
}

template <class Apply>
int32_t SetField(const char* path, MesgHandle* db, const char* text, Apply apply) {
  if (!Serves(path, db)) return -1;
  MesgRecord record;
  return Told(text, path, ChangeMessage(path, db, &record, apply).status);
}

void Touch(MesgRecord& record) { record.lastChangeTime = spool::RecordTime(qob::os::Now()); }

// The recipient that `begin` leads to, or with pending the first one from there on that waits.
EnvRecip* RecipientFrom(const char* path, MesgHandle* db, Step (RecipientWalk::*begin)(),
                        bool pending) {
  if (!Serves(path, db)) return nullptr;
  RecipientWalk walk(path, db);
  Step step = (walk.*begin)();
  if (pending) step = walk.Seek(step, IsPending);
  return step == Step::kRecipient ? NewRecipient(walk.record()) : nullptr;
}

}  // namespace

extern "C" {

QOBAPI int32_t CreateStatusFile(const char* path, const char* statusText, MesgHandle* db) {
  if (!Serves(path, db)) return -1;
  return Told("CreateStatus failed, %s: %s", path, InsertMessage(path, TextOf(statusText), db));
}

QOBAPI int32_t CreateEnvelope(const char* path, const EnvFrom* envFrom, MesgHandle* db) {
  return WriteSender(path, envFrom, db, false);
}

QOBAPI int32_t CreateSMTPEnvelope(const char* path, const EnvFrom* envFrom, MesgHandle* db) {
  return WriteSender(path, envFrom, db, true);
}

QOBAPI int32_t AddEnvelopeRecipient(const char* path, const EnvRecip* envRecip, MesgHandle* db) {
  if (!Serves(path, db) || envRecip == nullptr || envRecip->address == nullptr) return -1;
  const int status = StatusOf([&] {
    const std::string address = QualifiedRecipient(envRecip->address);
    return InsertRecipient(path, FieldsOf(*envRecip, address), db);
  });
  return Told("AddEnvelopeRecipient failed, %s: %s", path, status);
}

QOBAPI EnvFrom* GetEnvelopeFrom(const char* path, MesgHandle* db) {
  MesgRecord record;
  if (!ReadMessage(path, db, "GetEnvelopFrom failed, %s: %s", &record)) return nullptr;
  EnvFrom* sender = NewSender(record);
  if (sender == nullptr) Report(kFailure, "Out of memory.");
  return sender;
}

// An error on the way to a recipient ends the walk without a line.
QOBAPI EnvRecip* GetFirstEnvelopeRecipient(const char* path, MesgHandle* db) {
  return RecipientFrom(path, db, &RecipientWalk::First, false);
}

QOBAPI EnvRecip* GetNextEnvelopeRecipient(const char* path, MesgHandle* db) {
  return RecipientFrom(path, db, &RecipientWalk::Next, false);
}

QOBAPI EnvRecip* GetFirstPendingEnvelopeRecipient(const char* path, MesgHandle* db) {
  return RecipientFrom(path, db, &RecipientWalk::First, true);
}

QOBAPI EnvRecip* GetNextPendingEnvelopeRecipient(const char* path, MesgHandle* db) {
  return RecipientFrom(path, db, &RecipientWalk::Next, true);
}

QOBAPI int32_t UpdateEnvelopeRecipient(const char* path, const EnvRecip* envRecip, MesgHandle* db) {
  if (path == nullptr || db == nullptr || envRecip == nullptr || envRecip->address == nullptr) {
    return -1;
  }
  if (!IsQueuePath(path)) return 0;
  const RecipientChange change = UpdateRecipient(path, *envRecip, db);
  if (change.step == Step::kEndOfFile) return 0;
  if (change.step != Step::kRecipient) return -1;
  if (change.status == store::kOk) return 0;
  Report(kFailure, "UpdateEnvelopeRecipient failed, %s", ShowBtrError(change.status));
  return -1;
}

QOBAPI int32_t DeleteEnvelopeRecipient(const char* path, const char* address, MesgHandle* db) {
  if (!Serves(path, db) || address == nullptr) return -1;
  const RecipientChange change = DeleteRecipient(path, address, db);
  if (change.step == Step::kFailure) return -1;
  if (change.status != store::kOk) {
    Report(kFailure, "DeleteEnvelopeRecipient failed, Btrieve error: %s",
           ShowBtrError(change.status));
    return -1;
  }
  // Callers remove the message at 0: a count that was broken off must not look like one.
  Step last = Step::kNone;
  const int left = RecipientWalk(path, db).Count(&last);
  return last == Step::kFailure ? -1 : left;
}

QOBAPI int32_t GetRecipientNumber(const char* path, MesgHandle* db) {
  Step last = Step::kNone;
  return Serves(path, db) ? RecipientWalk(path, db).Count(&last) : 0;
}

QOBAPI int32_t GetNotifyFlag(const char* path, const char* address, MesgHandle* db) {
  if (!Serves(path, db) || address == nullptr) return -1;
  RecipientWalk walk(path, db);
  return walk.Find(address) == Step::kRecipient ? walk.record().notifyFlags : -1;
}

QOBAPI char* GetEnvelopeStatus(const char* path, MesgHandle* db) {
  return StatusTextOf(path, db, "GetEnvelopStatus failed, %s: %s");
}

QOBAPI char* GetMessageStatus(const char* path, MesgHandle* db) {
  return StatusTextOf(path, db, "GetMessageStatus failed, %s: %s");
}

QOBAPI int32_t UpdateMessageStatus(const char* path, const char* statusText, MesgHandle* db) {
  return SetField(path, db, "UpdateMessageStatus failed, %s: %s", [&](MesgRecord& record) {
    spool::SetField(record.statusText, TextOf(statusText));
    Touch(record);
  });
}

QOBAPI int32_t GetMessageRetryCount(const char* path, MesgHandle* db) {
  return FieldOf(path, db, &MesgRecord::retryCount, "GetMessageRetryCount failed, %s: %s");
}

QOBAPI int32_t GetMessageRetryTime(const char* path, MesgHandle* db) {
  return FieldOf(path, db, &MesgRecord::retryTime, "GetMessageRetryTime failed, %s: %s");
}

QOBAPI int32_t GetMessageCreationTime(const char* path, MesgHandle* db) {
  return FieldOf(path, db, &MesgRecord::creationTime, "GetMessageCreationTime failed, %s: %s");
}

QOBAPI int32_t GetMessagePartNumber(const char* path, MesgHandle* db) {
  return FieldOf(path, db, &MesgRecord::partNumber, "GetMessagePartNumber failed, %s: %s");
}

QOBAPI int32_t BumpMessageRetryCount(const char* path, MesgHandle* db) {
  if (!Serves(path, db)) return -1;
  MesgRecord record;
  const Change change = ChangeMessage(path, db, &record, [](MesgRecord& message) {
    if (message.retryCount < std::numeric_limits<int32_t>::max()) ++message.retryCount;
    Touch(message);
  });
  const char* text =
      change.found ? "UpdateMessageStatus failed, %s: %s" : "BumpMessageRetryCount failed, %s: %s";
  return Told(text, path, change.status) == 0 ? record.retryCount : -1;
}

QOBAPI int32_t SetMessageRetryTime(const char* path, int32_t time, MesgHandle* db) {
  return SetField(path, db, "SetMessageRetryTime failed, %s: %s", [&](MesgRecord& record) {
    record.retryTime = time;
    Touch(record);
  });
}

QOBAPI int32_t UpdateMessagePartNumber(const char* path, int32_t number, MesgHandle* db) {
  return SetField(path, db, "UpdateMessagePartNumber failed, %s: %s", [&](MesgRecord& record) {
    record.partNumber = number;
    Touch(record);
  });
}

QOBAPI int32_t GetDelayNotifyStatus(const char* path, MesgHandle* db) {
  MesgRecord record;
  if (!ReadMessage(path, db, "GetDelayNotifyStatus failed, %s: %s", &record)) return -1;
  return record.delayNotifyStatus == 1 ? 1 : 0;
}

// The time of the last change stays: a notice is no change of the message.
QOBAPI int32_t UpdateDelayNotifyStatus(const char* path, MesgHandle* db) {
  return SetField(path, db, "UpdateDelayNotifyStatus failed, %s: %s",
                  [](MesgRecord& record) { record.delayNotifyStatus = 1; });
}

QOBAPI void FreeEnvFrom(EnvFrom* envFrom) {
  if (envFrom == nullptr) return;
  std::free(envFrom->address);
  std::free(envFrom->envelopeId);
  std::free(envFrom->optionText);
  std::free(envFrom);
}

QOBAPI void FreeEnvRecip(EnvRecip* envRecip) {
  if (envRecip == nullptr) return;
  std::free(envRecip->address);
  std::free(envRecip->secondText);
  std::free(envRecip->thirdText);
  std::free(envRecip);
}

}  // extern "C"
