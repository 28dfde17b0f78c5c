#include "change.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include <qob3xapi/errors.h>

#include "../output.h"
#include "../system.h"
#include "ids.h"
#include "platform/spool/names.h"
#include "record_access.h"
#include "selection.h"
#include "snapshot.h"

namespace cli::queue {
namespace {

using qob::spool::FieldText;

// A message that others keep moving is left alone in the end.
constexpr int kMoveRounds = 3;

// A message to act on, and what was known of it when a filter chose it.
struct Chosen {
  std::uint32_t id = 0;
  std::uint32_t home = 0;
  const Message* seen = nullptr;
};

// One handle of the exported calls for each database that is needed.
class Handles {
 public:
  explicit Handles(const OpenQueue& queue) : queue_(queue) {}
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;
  ~Handles() {
    for (auto& [home, handle] : open_) CloseMesgFile(handle.get());
  }

  MesgHandle* Of(std::uint32_t home) {
    std::unique_ptr<MesgHandle>& handle = open_[home];
    if (handle != nullptr) return handle.get();
    auto made = std::make_unique<MesgHandle>();
    const std::string& path = queue_.places()[home].path;
    const std::int32_t status = OpenMesgFile(path.c_str(), made.get());
    if (status != 0)
      throw StoreFailure(path + "/" + qob::spool::kDatabaseName,
                         static_cast<qob::store::Status>(status));
    handle = std::move(made);
    return handle.get();
  }

 private:
  const OpenQueue& queue_;
  std::map<std::uint32_t, std::unique_ptr<MesgHandle>> open_;
};

class Changer {
 public:
  Changer(const Arguments& arguments, const Action& action, const OpenQueue& queue)
      : action_(action), queue_(queue), handles_(queue), teller_(arguments, action) {}

  void Choose(const Operands& operands);
  std::size_t count() const { return chosen_.size(); }

  void ShowAll();
  ExitCode ActOnAll();

 private:
  // Looks up ids alone: no other message is read.
  void ChooseByIds(const std::vector<std::uint32_t>& ids);
  void ChooseByFilter(const Operands& operands);
  void ChooseAll(const std::vector<Candidate>& candidates);
  // Leaves those of the set; an id that was named and is not in it is told.
  void Narrow(const std::vector<Candidate>& candidates, bool named);

  struct Found {
    StoredRecord message;
    std::int32_t holder = -1;
    std::string base;
  };

  void Gone(std::uint32_t id);
  // Nothing when the message has no record any more.
  std::optional<Found> Find(const Chosen& chosen) const;
  bool IsAsSeen(const Chosen& chosen, const qob::spool::MessageRecord& record) const;
  Outcome Act(const Chosen& chosen, Found* found);
  Outcome ActUnderLock(const Chosen& chosen, const Found& found);
  void Tell(const Chosen& chosen, const std::optional<Found>& found, const Outcome& outcome);

  const Action& action_;
  const OpenQueue& queue_;
  Handles handles_;
  Teller teller_;
  std::optional<Snapshot> snapshot_;
  std::vector<Chosen> chosen_;
  bool may_go_ = false;  // whoever else works on the set may have ended a message's stay
};

bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

void Changer::Gone(std::uint32_t id) {
  if (!may_go_) teller_.Tell(id, "", "", {Result::kGone, "", ExitCode::kOk, {}});
}

void Changer::ChooseByIds(const std::vector<std::uint32_t>& ids) {
  for (const std::uint32_t id : ids) {
    const std::size_t before = chosen_.size();
    for (std::uint32_t home = 0; home < queue_.places().size(); ++home) {
      const Chosen chosen{id, home, nullptr};
      if (Find(chosen).has_value()) chosen_.push_back(chosen);
    }
    if (chosen_.size() == before) Gone(id);
  }
}

void Changer::ChooseByFilter(const Operands& operands) {
  snapshot_.emplace(queue_);
  snapshot_->TellProblems();
  const Selection selection = queue::Choose(queue_, &*snapshot_, operands);
  for (const std::uint32_t id : selection.missing) Gone(id);
  for (const Message* const message : selection.messages)
    chosen_.push_back({message->id, message->home, message});
}

void Changer::Choose(const Operands& operands) {
  std::vector<Candidate> candidates;
  if (action_.among) candidates = action_.among(queue_);
  if (!operands.has_ids && IsBlank(operands.filter)) {
    may_go_ = true;
    return ChooseAll(candidates);
  }
  if (IsBlank(operands.filter)) {
    ChooseByIds(operands.ids);
  } else {
    ChooseByFilter(operands);
  }
  if (action_.among) Narrow(candidates, operands.has_ids);
}

void Changer::ChooseAll(const std::vector<Candidate>& candidates) {
  for (const Candidate& candidate : candidates)
    chosen_.push_back({candidate.id, candidate.home, nullptr});
}

void Changer::Narrow(const std::vector<Candidate>& candidates, bool named) {
  std::set<std::pair<std::uint32_t, std::uint32_t>> set;
  for (const Candidate& candidate : candidates) set.emplace(candidate.home, candidate.id);
  std::erase_if(chosen_, [&](const Chosen& chosen) {
    if (set.contains({chosen.home, chosen.id})) return false;
    if (named)
      teller_.Tell(chosen.id, "", "",
                   {Result::kGone, "it is not on the channel", ExitCode::kOk, {}});
    return true;
  });
}

std::optional<Changer::Found> Changer::Find(const Chosen& chosen) const {
  const Place& home = queue_.places()[chosen.home];
  if (home.database == nullptr) return std::nullopt;
  Found found{};
  const qob::store::Status status = ReadMessageRecord(*home.database, chosen.id, &found.message);
  if (status == qob::store::kNotFound) return std::nullopt;
  if (status != qob::store::kOk)
    throw StoreFailure(home.path + "/" + qob::spool::kDatabaseName, status);
  found.holder = queue_.HolderOf(chosen.home, FieldText(found.message.record.directoryName));
  if (found.holder >= 0) {
    const Place& holder = queue_.places()[static_cast<std::size_t>(found.holder)];
    found.base = qob::spool::QueuePath(holder.path, chosen.id);
  }
  return found;
}

// Everything that a filter may have asked for and that somebody may have changed since.
bool Changer::IsAsSeen(const Chosen& chosen, const qob::spool::MessageRecord& record) const {
  if (chosen.seen == nullptr) return true;
  const Message& seen = *chosen.seen;
  const auto differs = [](std::int64_t was, std::int32_t now) { return was != std::max(now, 0); };
  if (differs(seen.changed, record.lastChangeTime) || differs(seen.retry_at, record.retryTime) ||
      seen.tries != record.retryCount || seen.state.view() != FieldText(record.stateText) ||
      seen.status.view() != FieldText(record.statusText) ||
      seen.sender.view() != FieldText(record.address) ||
      seen.directory.view() != FieldText(record.directoryName))
    return false;
  std::vector<StoredRecord> recipients;
  const Place& home = queue_.places()[chosen.home];
  if (ReadRecords(*home.database, chosen.id, qob::spool::kRecipientKind, &recipients) !=
          qob::store::kOk ||
      recipients.size() != seen.recipients.size())
    return false;
  for (std::size_t i = 0; i < recipients.size(); ++i) {
    if (seen.recipients[i].address.view() != FieldText(recipients[i].record.address) ||
        seen.recipients[i].state.view() != FieldText(recipients[i].record.stateText))
      return false;
  }
  return true;
}

Outcome Changer::ActUnderLock(const Chosen& chosen, const Found& found) {
  const Place& home = queue_.places()[chosen.home];
  const Place& holder = queue_.places()[static_cast<std::size_t>(found.holder)];
  Target target{
      queue_, home, holder, chosen.id, found.base, handles_.Of(chosen.home), found.message.record};
  const std::string sender(FieldText(target.record.address));
  Outcome outcome = action_.act(target);
  if (outcome.result == Result::kDone)
    Audit(action_.verb, chosen.id, target.base, sender, outcome.detail);
  return outcome;
}

Outcome Changer::Act(const Chosen& chosen, Found* found) {
  for (int round = 0; round < kMoveRounds; ++round) {
    if (found->holder < 0) {
      return {Result::kRefused,
              "it lies in the queue directory '" +
                  std::string(FieldText(found->message.record.directoryName)) +
                  "', which is not open: name that one with --queue too",
              ExitCode::kNoInput,
              {}};
    }
    MessageLock lock;
    if (!lock.Take(found->base))
      return {Result::kLocked, "", ExitCode::kOk, LookAtLock(found->base)};
    const std::string locked = found->base;
    std::optional<Found> again = Find(chosen);
    if (!again.has_value()) return {Result::kGone, "", ExitCode::kOk, {}};
    *found = std::move(*again);
    if (found->base != locked) continue;  // somebody moved it
    if (!IsAsSeen(chosen, found->message.record)) return {Result::kChanged, "", ExitCode::kOk, {}};
    Outcome outcome = ActUnderLock(chosen, *found);
    if (!lock.Release())
      return Failed(NativeBase(locked) +
                    ".lck: the lock could not be taken away: remove it with "
                    "'qob queue unlock " +
                    IdText(chosen.id) + " --yes'");
    return outcome;
  }
  return {Result::kChanged, "", ExitCode::kOk, {}};
}

void Changer::Tell(const Chosen& chosen, const std::optional<Found>& found,
                   const Outcome& outcome) {
  const std::string_view sender =
      found.has_value() ? FieldText(found->message.record.address) : std::string_view();
  teller_.Tell(chosen.id, found.has_value() ? found->base : "", sender, outcome);
}

void Changer::ShowAll() {
  for (const Chosen& chosen : chosen_) {
    const std::optional<Found> found = Find(chosen);
    if (!found.has_value()) {
      Gone(chosen.id);
      continue;
    }
    Outcome outcome{Result::kWould, "", ExitCode::kOk, {}};
    if (found->holder >= 0) outcome.holder = LookAtLock(found->base);
    if (outcome.holder.stands) outcome.detail = LockText(outcome.holder);
    Tell(chosen, found, outcome);
  }
}

ExitCode Changer::ActOnAll() {
  Progress progress(chosen_.size());
  for (const Chosen& chosen : chosen_) {
    if (sys::EndAsked()) break;
    progress.Step(IdText(chosen.id));
    std::optional<Found> found = Find(chosen);
    if (found.has_value()) {
      const Outcome outcome = Act(chosen, &*found);
      if (outcome.result == Result::kGone && may_go_) continue;
      Tell(chosen, found, outcome);
    } else {
      Gone(chosen.id);
    }
  }
  progress.Clear();
  return teller_.code();
}

}  // namespace

Outcome StoreFailed(qob::store::Status status) {
  const Failure failure = StoreFailure("the message database", status);
  return Failed(failure.what(), failure.code());
}

ExitCode RunChange(const Arguments& arguments, const Action& action,
                   const std::function<void(const OpenQueue&)>& prepare) {
  const bool dry = arguments.Has("--dry-run");
  const bool yes = arguments.Has("--yes");
  std::vector<std::string> words = arguments.operands;
  if (action.among) words.erase(words.begin());
  const Operands operands = ReadOperands(words);
  const bool may_be_empty = action.among && words.empty();
  if (!may_be_empty && !operands.has_ids && IsBlank(operands.filter)) {
    throw Failure(ExitCode::kUsage, std::string(arguments.command->name) +
                                        ": the filter is empty: every message is 'id >= 00000000'");
  }
  const OpenQueue queue(arguments, dry ? Access::kRead : Access::kChange);
  if (prepare) prepare(queue);
  Changer changer(arguments, action, queue);
  changer.Choose(operands);
  const std::size_t most = action.always_asks ? 0 : 1;
  if (dry || (changer.count() > most && !yes)) {
    changer.ShowAll();
    Out().Flush();
    if (dry) return ExitCode::kOk;
    throw Failure(ExitCode::kUsage, std::to_string(changer.count()) +
                                        (changer.count() == 1 ? " message" : " messages") +
                                        " would be " + action.done +
                                        ": nothing was done: give --yes to do it, or --dry-run "
                                        "to see it without this line");
  }
  sys::DelaySignals();
  const ExitCode code = changer.ActOnAll();
  Out().Flush();
  sys::EndIfAsked();
  return code;
}

}  // namespace cli::queue
