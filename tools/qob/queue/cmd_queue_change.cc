// qob queue retry, hold and release: changes of the message record.
#include <algorithm>
#include <cstdint>
#include <functional>

#include <qob3xapi/envelope.h>
#include <qob3xapi/mesgdb.h>

#include "../commands.h"
#include "change.h"
#include "platform/spool/names.h"
#include "platform/spool/queue_files.h"

namespace cli {
namespace {

using namespace queue;
using qob::spool::FieldText;
using qob::spool::MessageRecord;

// Others may change the record between the reading and the writing, but not for ever.
constexpr int kConflictRounds = 8;

std::string StateOf(const MessageRecord& record) {
  return std::string(FieldText(record.stateText));
}

// Writes another state text into the record as it is at that moment. A state that is no longer
// `expected` stays.
Outcome WriteState(const Target& target, std::string_view expected, std::string_view wanted) {
  const std::string key = qob::spool::RecordKey(target.id, qob::spool::kMessageKind);
  std::int32_t status = qob::store::kConflict;
  for (int round = 0; round < kConflictRounds && status == qob::store::kConflict; ++round) {
    MessageRecord record;
    status = FindMesgRecord(target.db, key.c_str(), &record);
    if (status != qob::store::kOk) break;
    if (FieldText(record.stateText) != expected) return {Result::kChanged, "", ExitCode::kOk, {}};
    qob::spool::SetField(record.stateText, wanted);
    record.lastChangeTime = qob::spool::RecordTime(qob::spool::Now());
    status = UpdateCurrentMesgRecordByKey(target.db, &record, qob::spool::kKeyIndex);
  }
  if (status == qob::store::kOk) return {};
  return StoreFailed(static_cast<qob::store::Status>(status));
}

Outcome OtherState(const std::string& state) {
  return Refused("its state is '" + state +
                 "', which another program set: left alone, for that program to end");
}

Outcome Hold(Target& target) {
  const std::string state = StateOf(target.record);
  if (state == qob::spool::kHeld) return {Result::kUnchanged, "", ExitCode::kOk, {}};
  if (!state.empty()) return OtherState(state);
  return WriteState(target, "", qob::spool::kHeld);
}

Outcome Release(Target& target) {
  const std::string state = StateOf(target.record);
  if (state.empty()) return {Result::kUnchanged, "", ExitCode::kOk, {}};
  if (state != qob::spool::kHeld) return OtherState(state);
  return WriteState(target, qob::spool::kHeld, "");
}

Outcome Retry(Target& target) {
  const std::int32_t now = qob::spool::RecordTime(qob::spool::Now());
  if (SetMessageRetryTime(target.base.c_str(), now, target.db) != 0)
    return Failed("the retry time cannot be written: the site's log says why");
  Outcome outcome;
  if (StateOf(target.record) == qob::spool::kHeld)
    outcome.detail = "still held: 'qob queue release' lets it go";
  return outcome;
}

}  // namespace

ExitCode RunQueueHold(const Arguments& arguments) {
  return RunChange(arguments, {"hold", "held", Hold});
}
ExitCode RunQueueRelease(const Arguments& arguments) {
  return RunChange(arguments, {"release", "released", Release});
}
ExitCode RunQueueRetry(const Arguments& arguments) {
  return RunChange(arguments, {"retry", "made due now", Retry});
}

}  // namespace cli
