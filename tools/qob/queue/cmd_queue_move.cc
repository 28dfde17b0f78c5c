// qob queue move: a message goes to another queue directory, with the file of its reasons, which
// the library's own call leaves behind. Both its old and its new path are locked meanwhile.
#include <algorithm>

#include <qob3xapi/queueid.h>

#include "../commands.h"
#include "../system.h"
#include "change.h"
#include "ids.h"
#include "platform/spool/names.h"
#include "platform/spool/queue_files.h"
#include "record_access.h"

namespace cli {
namespace {

using namespace queue;

std::string FileName(std::uint32_t id, const char* extension) { return IdText(id) + extension; }

bool Stands(const std::string& path) { return static_cast<bool>(qob::spool::LookAtFile(path)); }

class Mover {
 public:
  explicit Mover(std::string wanted) : wanted_(std::move(wanted)) {}

  // The target must be one of the queue's own directories, of a name that its records can tell.
  void Prepare(const OpenQueue& queue);
  Outcome operator()(Target& target) const;

 private:
  Outcome MoveLocked(const Target& target, const std::string& base) const;
  Outcome MoveReasons(const Target& target) const;

  std::string wanted_;
  std::size_t to_ = 0;
  const Place* place_ = nullptr;
};

void Mover::Prepare(const OpenQueue& queue) {
  std::string path = sys::AbsolutePath(wanted_);
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const std::vector<Place>& places = queue.places();
  const auto found = std::find_if(places.begin(), places.end(),
                                  [&](const Place& place) { return place.path == path; });
  if (found == places.end()) {
    throw Failure(ExitCode::kUsage, path +
                                        ": not one of the queue's directories: name all of them "
                                        "with --queue, this one too");
  }
  to_ = static_cast<std::size_t>(found - places.begin());
  place_ = &*found;
}

// The library moves record and message file; what follows the message beside them is moved here.
Outcome Mover::MoveReasons(const Target& target) const {
  const std::string name = FileName(target.id, qob::spool::kReasonFile);
  const int error = qob::spool::MoveQueueFile(target.holder.path, place_->path, name);
  if (error == 0 || qob::spool::IsMissing(error)) return {};
  return Failed("moved, but " + target.holder.path + "/" + name + " stays: " +
                qob::spool::ErrorText(error) + ": 'qob queue check --repair' moves it");
}

Outcome Mover::MoveLocked(const Target& target, const std::string& base) const {
  for (const char* const extension : {qob::spool::kMessageFile, qob::spool::kReasonFile}) {
    if (Stands(base + extension))
      return Refused(NativeBase(base + extension) + " stands there already: left alone");
  }
  if (!Stands(target.base + qob::spool::kMessageFile))
    return Refused("its file is not in " + target.holder.path + ": see 'qob queue check'");
  if (MoveQueueId(target.base.c_str(), place_->path.c_str(), target.db) != 0)
    return Failed("its record cannot be written: the site's log says why");
  if (!Stands(base + qob::spool::kMessageFile)) {
    return Failed(
        "its record names " + place_->path +
        ", but the file could not be moved there: 'qob queue check --repair' tries again");
  }
  Outcome outcome = MoveReasons(target);
  if (outcome.result == Result::kDone) outcome.detail = "to " + place_->path;
  bool on_channel = false;
  if (target.home.database->HasMark(target.id, &on_channel) == qob::store::kOk && on_channel)
    outcome.detail += "; it waits on a channel, whose programs look for it in the first directory";
  return outcome;
}

Outcome Mover::operator()(Target& target) const {
  if (&target.holder == place_) return {Result::kUnchanged, "", ExitCode::kOk, {}};
  const std::int32_t leads_to = target.queue.HolderOf(
      static_cast<std::uint32_t>(&target.home - target.queue.places().data()), place_->name);
  if (leads_to < 0 || static_cast<std::size_t>(leads_to) != to_) {
    return Refused("another directory is called '" + place_->name +
                   "' too, and records hold no more than that name: rename one of them");
  }
  const std::string base = qob::spool::QueuePath(place_->path, target.id);
  MessageLock lock;
  if (!lock.Take(base)) return {Result::kLocked, "", ExitCode::kOk, LookAtLock(base)};
  return MoveLocked(target, base);
}

}  // namespace

ExitCode RunQueueMove(const Arguments& arguments) {
  const std::string wanted = arguments.Value("--to");
  if (wanted.empty())
    throw Failure(ExitCode::kUsage, "queue move: --to is missing: name the directory to move to");
  Mover mover(wanted);
  return RunChange(arguments, {"move", "moved", [&](Target& target) { return mover(target); }},
                   [&](const OpenQueue& queue) { mover.Prepare(queue); });
}

}  // namespace cli
