// qob queue check: what is wrong with a queue, and --repair.
#include <algorithm>
#include <array>

#include <qob3xapi/frame.h>

#include "../commands.h"
#include "../output.h"
#include "../private_site.h"
#include "../system.h"
#include "change.h"
#include "check_census.h"
#include "check_message.h"
#include "check_places.h"
#include "check_report.h"
#include "ids.h"
#include "open_queue.h"
#include "platform/spool/queue_files.h"
#include "platform/spool/store_settings.h"

namespace cli {
namespace {

using namespace queue;
using qob::store::Status;

constexpr int kTurnWaitMs = 30000;

// [Gateway] QueueDirectory; "" when the site has none.
std::string SiteQueue() {
  std::array<char, 260> configured{};
  QOBGetPrivateProfileString("Gateway", "QueueDirectory", "", configured.data(), configured.size(),
                             kProfileName);
  std::string directory = configured.data();
  std::replace(directory.begin(), directory.end(), '\\', '/');
  return directory;
}

// The site's own directory and those named: all of them are the queue of this check.
Arguments WithDirectories(const Arguments& arguments) {
  if (arguments.operands.empty()) return arguments;
  Arguments all = arguments;
  std::vector<std::string>& directories = all.values["--queue"];
  std::string own = SiteQueue();
  if (directories.empty() && !own.empty()) directories.push_back(std::move(own));
  directories.insert(directories.end(), arguments.operands.begin(), arguments.operands.end());
  return all;
}

// One directory under two names would be taken for two.
void RefuseTwins(const OpenQueue& queue) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> seen;
  for (const Place& place : queue.places()) {
    const auto look = qob::spool::LookAtPlace(place.path);
    if (!look) continue;
    const std::pair<std::uint64_t, std::uint64_t> self(look.value.status.device,
                                                       look.value.status.inode);
    if (std::find(seen.begin(), seen.end(), self) != seen.end()) {
      throw Failure(ExitCode::kUsage,
                    place.path + ": named twice, once by another name: name each directory once");
    }
    seen.push_back(self);
  }
}

// The site's own directory, when it has one that stands, is among those that are open.
bool HasSiteQueue(const OpenQueue& queue) {
  const std::string own = SiteQueue();
  if (own.empty()) return true;
  const auto there = qob::spool::LookAtPlace(own);
  if (!there) return qob::spool::IsMissing(there.error);
  return std::any_of(queue.places().begin(), queue.places().end(), [&](const Place& place) {
    const auto look = qob::spool::LookAtPlace(place.path);
    return look && look.value.status.device == there.value.status.device &&
           look.value.status.inode == there.value.status.inode;
  });
}

// Databases of which nothing can be said.
void RefuseUnreadable(const OpenQueue& queue, const std::vector<Status>& statuses) {
  for (std::size_t i = 0; i < statuses.size(); ++i) {
    const Status status = statuses[i];
    if (status == qob::store::kOk || status == qob::store::kNoSuchFile ||
        status == qob::store::kNotOurFile)
      continue;
    throw StoreFailure(queue.places()[i].path + "/" + qob::spool::kDatabaseName, status);
  }
}

bool CanLock(const OpenQueue& queue) {
  return std::all_of(queue.places().begin(), queue.places().end(), [](const Place& place) {
    const auto look = qob::spool::LookAtPlace(place.path);
    return look && look.value.writable;
  });
}

// All directories in one order, so that two repairs never wait for each other.
std::vector<qob::os::FileHandle> TakeTurns(const OpenQueue& queue) {
  std::vector<std::string> paths;
  for (const Place& place : queue.places()) paths.push_back(place.path);
  std::sort(paths.begin(), paths.end());
  std::vector<qob::os::FileHandle> turns;
  for (const std::string& path : paths) {
    auto turn = qob::spool::TakeRepairTurn(path, kTurnWaitMs);
    if (!turn && qob::spool::IsBusy(turn.error))
      throw Failure(ExitCode::kTemporary, path + ": another repair is at work: try again");
    if (!turn) {
      throw Failure(ExitCode::kNoPermission,
                    path + ": cannot be repaired: " + qob::spool::ErrorText(turn.error) +
                        ": run as the owner of the queue");
    }
    turns.push_back(std::move(turn.value));
  }
  return turns;
}

void JudgeMessages(const OpenQueue& queue, const Census& census, const CheckMode& mode,
                   CheckReport* report) {
  const std::vector<std::uint32_t> doubtful = census.Doubtful();
  MessageCheck check(queue, mode, report);
  for (const Census::DamagedRecord& record : census.damaged()) check.JudgeDamaged(record);
  check.JudgeRest();
  Progress progress(doubtful.size());
  for (const std::uint32_t id : doubtful) {
    if (sys::EndAsked()) break;
    progress.Step(IdText(id));
    check.Judge(id);
  }
}

// True when all records could be read.
bool ReadRecords(const OpenQueue& queue, Census* census) {
  bool whole = true;
  for (std::size_t place = 0; place < queue.places().size(); ++place) {
    if (queue.places()[place].database == nullptr) continue;
    whole = census->ReadRecords(place) == qob::store::kOk && whole;
  }
  return whole;
}

ExitCode Check(const OpenQueue& queue, const std::vector<Status>& statuses, const CheckMode& mode,
               CheckReport* report) {
  PlacesCheck places(queue, statuses, mode, report);
  Census census(queue, !qob::spool::StoreCreateOptions().group.empty());
  places.JudgeDirectories();
  census.ListFiles();
  bool judged = ReadRecords(queue, &census);
  judged = places.JudgeDatabases(census) && judged;
  places.JudgeFiles(census);
  const bool none = !census.has_message_files() &&
                    std::all_of(statuses.begin(), statuses.end(),
                                [](Status status) { return status == qob::store::kNoSuchFile; });
  places.JudgeCounter(judged || none, census.highest());
  if (judged) {
    places.JudgeStrangeRecords(census);
    report->CountMessages(census.message_count());
    JudgeMessages(queue, census, mode, report);
  }
  report->TellSum();
  return report->code();
}

}  // namespace

ExitCode RunQueueCheck(const Arguments& given) {
  const Arguments arguments = WithDirectories(given);
  CheckMode mode;
  mode.repair = arguments.Has("--repair");
  std::vector<Status> statuses;
  const OpenQueue queue(arguments, mode.repair ? Access::kChange : Access::kRead, &statuses);
  RefuseTwins(queue);
  RefuseUnreadable(queue, statuses);
  std::vector<qob::os::FileHandle> turns;
  if (mode.repair) turns = TakeTurns(queue);
  mode.locks = CanLock(queue);
  mode.whole_system = HasSiteQueue(queue);
  if (!mode.locks) {
    cli::Message(
        "the directory cannot be written: no lock can be taken, and what needs one is reported "
        "as uncertain");
  }
  sys::DelaySignals();
  CheckReport report(arguments);
  const ExitCode code = Check(queue, statuses, mode, &report);
  Out().Flush();
  sys::EndIfAsked();
  return code;
}

}  // namespace cli
