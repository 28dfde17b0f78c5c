// qob queue lock and unlock: a message's lock, taken and taken away by hand.
#include <algorithm>

#include <qob3xapi/queueid.h>

#include "../commands.h"
#include "../output.h"
#include "../system.h"
#include "change.h"
#include "ids.h"
#include "platform/spool/names.h"
#include "platform/spool/queue_files.h"
#include "record_access.h"

namespace cli {
namespace {

using namespace queue;

constexpr int kTurnWaitMs = 30000;

// Where a message's lock is, and whose mail it is.
struct Spot {
  const Place* place = nullptr;
  std::string base;
  std::string sender;
};

// By its record; where there is none, by a lock that stands.
std::vector<Spot> SpotsOf(const OpenQueue& queue, std::uint32_t id, bool locks_too) {
  std::vector<Spot> spots;
  const std::vector<Place>& places = queue.places();
  for (std::uint32_t home = 0; home < places.size(); ++home) {
    StoredRecord record{};
    if (places[home].database == nullptr ||
        ReadMessageRecord(*places[home].database, id, &record) != qob::store::kOk)
      continue;
    const std::int32_t holder =
        queue.HolderOf(home, qob::spool::FieldText(record.record.directoryName));
    if (holder < 0) continue;
    const Place& place = places[static_cast<std::size_t>(holder)];
    spots.push_back({&place, qob::spool::QueuePath(place.path, id),
                     std::string(qob::spool::FieldText(record.record.address))});
  }
  for (const Place& place : places) {
    const std::string base = qob::spool::QueuePath(place.path, id);
    const bool known = std::any_of(spots.begin(), spots.end(),
                                   [&](const Spot& spot) { return spot.base == base; });
    if (locks_too && !known && LookAtLock(base).stands) spots.push_back({&place, base, ""});
  }
  return spots;
}

Outcome Lock(const Spot& spot) {
  MessageLock lock;
  if (!lock.Take(spot.base)) return {Result::kLocked, "", ExitCode::kOk, LookAtLock(spot.base)};
  lock.Keep();
  return {};
}

// Only one at a time takes away locks of others: between the look at a lock and its removal another
// could have removed it and a third have taken a new one.
Outcome Unlock(const Spot& spot, bool yes) {
  const auto turn = qob::spool::TakeRepairTurn(spot.place->path, kTurnWaitMs);
  if (!turn) {
    return Failed(spot.place->path + ": locks cannot be taken away: " +
                      (qob::spool::IsBusy(turn.error) ? "a repair is at work there: try again"
                                                      : qob::spool::ErrorText(turn.error)),
                  qob::spool::IsBusy(turn.error) ? ExitCode::kTemporary : ExitCode::kNoPermission);
  }
  const LockHolder holder = LookAtLock(spot.base);
  if (!holder.stands) return {Result::kUnchanged, "", ExitCode::kOk, {}};
  if (!holder.stale && !yes) {
    return {Result::kRefused,
            LockText(holder) +
                ": whoever has it may be at work: make sure that it is gone, then "
                "give --yes",
            ExitCode::kTemporary, holder};
  }
  if (DeleteLockFile(spot.base.c_str()) != 0)
    return Failed(NativeBase(spot.base) +
                      ".lck: the lock cannot be removed: run as the owner of "
                      "the queue",
                  ExitCode::kNoPermission);
  return {Result::kDone, "it was " + LockText(holder), ExitCode::kOk, {}};
}

template <class Act>
ExitCode RunOnLocks(const Arguments& arguments, const Action& action, bool locks_too, Act&& act) {
  const std::vector<std::uint32_t> ids = ReadIds(arguments.operands);
  const bool dry = arguments.Has("--dry-run");
  const OpenQueue queue(arguments, dry ? Access::kRead : Access::kChange);
  Teller teller(arguments, action);
  std::vector<std::pair<std::uint32_t, Spot>> spots;
  for (const std::uint32_t id : ids) {
    const std::vector<Spot> found = SpotsOf(queue, id, locks_too);
    if (found.empty()) teller.Tell(id, "", "", {Result::kGone, "", ExitCode::kOk, {}});
    for (const Spot& spot : found) spots.emplace_back(id, spot);
  }
  const bool shown = dry || (spots.size() > 1 && !arguments.Has("--yes"));
  sys::DelaySignals();
  for (const auto& [id, spot] : spots) {
    if (sys::EndAsked()) break;
    Outcome outcome{Result::kWould, "", ExitCode::kOk, {}};
    if (shown) {
      outcome.holder = LookAtLock(spot.base);
      if (outcome.holder.stands) outcome.detail = LockText(outcome.holder);
    } else {
      outcome = act(spot);
    }
    if (outcome.result == Result::kDone)
      Audit(action.verb, id, spot.base, spot.sender, outcome.detail);
    teller.Tell(id, spot.base, spot.sender, outcome);
  }
  Out().Flush();
  sys::EndIfAsked();
  if (shown && !dry) {
    throw Failure(ExitCode::kUsage, std::to_string(spots.size()) + " messages would be " +
                                        action.done +
                                        ": nothing was done: give --yes to do it, or --dry-run to "
                                        "see it without this line");
  }
  return dry ? ExitCode::kOk : teller.code();
}

}  // namespace

ExitCode RunQueueLock(const Arguments& arguments) {
  return RunOnLocks(arguments, {"lock", "locked", {}}, false, Lock);
}

ExitCode RunQueueUnlock(const Arguments& arguments) {
  const bool yes = arguments.Has("--yes");
  return RunOnLocks(arguments, {"unlock", "unlocked", {}}, true,
                    [yes](const Spot& spot) { return Unlock(spot, yes); });
}

}  // namespace cli
