#include "check_places.h"

#include <algorithm>

#include <qob3xapi/frame.h>
#include <qob3xapi/queueid.h>
#include <qobplatform/logapi.h>

#include "../output.h"
#include "../system.h"
#include "change.h"
#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "platform/spool/queue_files.h"
#include "platform/spool/store_settings.h"

namespace cli::queue {
namespace {

using qob::store::Status;

constexpr std::uint32_t kOthersMay = 07;
constexpr std::uint32_t kGroupMay = 070;
constexpr std::uint32_t kGroupWrites = 020;
constexpr const char* kSalvaged = "mesg.records";
// Records of a damaged database are saved in files of so many bytes.
constexpr std::size_t kSalvageBytes = std::size_t{10000} * qob::spool::kRecordBytes;

std::string Octal(std::uint32_t mode) {
  std::string digits;
  for (int shift = 9; shift >= 0; shift -= 3)
    digits += static_cast<char>('0' + (mode >> shift & 7));
  return digits;
}

// Pages and indexes are looked at before any record: when the first problem is a damaged record,
// they are whole.
bool IsKnown(const Census& census, std::size_t place, const std::string& problem) {
  const auto& damaged = census.damaged();
  return std::any_of(damaged.begin(), damaged.end(), [&](const Census::DamagedRecord& record) {
    return record.place == place &&
           problem == "record " + std::to_string(record.number) + " is damaged";
  });
}

}  // namespace

std::string PlacesCheck::DatabaseAt(std::size_t place) const {
  return queue_.places()[place].path + "/" + qob::spool::kDatabaseName;
}

Finding PlacesCheck::Made(Kind kind, std::size_t place, std::string path, std::string text) const {
  Finding finding;
  finding.kind = kind;
  finding.queue = queue_.places()[place].path;
  finding.path = std::move(path);
  finding.text = std::move(text);
  return finding;
}

template <class Mend>
void PlacesCheck::Settle(Finding finding, const std::string& plan, Mend&& mend) {
  finding.remedy = Remedy::kPossible;
  finding.detail = plan;
  if (mode_.repair) {
    std::string detail;
    const std::string problem = mend(&detail);
    finding.remedy = problem.empty() ? Remedy::kDone : Remedy::kFailed;
    finding.detail = problem.empty() ? detail : problem;
    if (problem.empty()) AuditPlace("check --repair", finding.path, detail);
  }
  report_.Tell(finding);
}

// ---- directories ----

void PlacesCheck::JudgeDirectories() {
  const bool group = !qob::spool::StoreCreateOptions().group.empty();
  for (std::size_t i = 0; i < queue_.places().size(); ++i) {
    const std::string& path = queue_.places()[i].path;
    const auto place = qob::spool::LookAtPlace(path);
    if (!place) {
      throw Failure(ExitCode::kNoPermission,
                    path + ": cannot be looked at: " + qob::spool::ErrorText(place.error) +
                        ": run as the owner of the queue");
    }
    if (place.value.is_volatile) {
      Finding finding =
          Made(Kind::kVolatile, i, path,
               "its file system (" + place.value.file_system + ") loses everything at a power cut");
      finding.detail = "move the queue to a disk";
      report_.Tell(finding);
    }
    if (place.value.lock_error != 0) {
      Finding finding = Made(Kind::kNoLocks, i, path,
                             "its file system (" + place.value.file_system +
                                 ") keeps no locks between processes: " +
                                 qob::spool::ErrorText(place.value.lock_error));
      finding.detail = "move the queue to one that does";
      report_.Tell(finding);
    }
    const std::uint32_t mode = place.value.status.mode & 0777;
    if ((mode & (kOthersMay | (group ? kGroupWrites : kGroupMay))) != 0) {
      Finding finding =
          Made(Kind::kModes, i, path, "others may enter it (mode " + Octal(mode) + ")");
      finding.detail = std::string("chmod ") + (group ? "0750" : "0700") +
                       (group ? "" : ", or set [Store] Group for its readers");
      report_.Tell(finding);
    }
  }
}

// ---- databases ----

// Everything that can still be read, as it stands in the records. Nothing is moved or changed:
// other programs may have the file open.
std::string PlacesCheck::Salvage(std::size_t place) const {
  const std::string& queue = queue_.places()[place].path;
  if (qob::spool::LookAtFile(queue + "/corrupt/" + kSalvaged))
    return "what could be read of it was saved as " + queue + "/corrupt/" + kSalvaged + " before";
  std::string bytes;
  std::size_t count = 0;
  std::string problem;
  const auto save = [&] {
    std::string placed;
    const int error = qob::spool::SaveToCorrupt(queue, kSalvaged, bytes,
                                                "records read from a damaged database", &placed);
    if (error != 0) problem = "saving its records failed: " + qob::spool::ErrorText(error);
    bytes.clear();
    return error == 0;
  };
  queue_.places()[place].database->Snapshot([&](const qob::store::RecordFile::Seen& seen) {
    if (!seen.ok) return true;
    bytes.append(reinterpret_cast<const char*>(seen.record.data()), seen.record.size());
    ++count;
    return bytes.size() < kSalvageBytes || save();
  });
  if (problem.empty() && !bytes.empty()) save();
  if (!problem.empty()) return problem;
  return count == 0 ? "no record of it can be read"
                    : std::to_string(count) + " records that can be read were saved in " + queue +
                          "/corrupt/" + kSalvaged;
}

bool PlacesCheck::JudgeDatabase(std::size_t place, const Census& census) {
  constexpr const char* kAdvice =
      "stop every program of the system, keep a copy of the file with its -wal, and restore it "
      "from a backup; no message is judged until then";
  const std::string path = DatabaseAt(place);
  qob::store::RecordFile* const database = queue_.places()[place].database.get();
  if (database == nullptr && statuses_[place] != qob::store::kNotOurFile) return true;
  std::string problem = "it is damaged, cut short or not a message database";
  if (database != nullptr) {
    std::int64_t records = 0;
    database->Count(&records);
    Progress progress(static_cast<std::size_t>(records));
    const Status status = database->Check(&problem, [&](std::int64_t) {
      progress.Step("records of " + path);
      return !sys::EndAsked();
    });
    if (status != qob::store::kOk && status != qob::store::kNotOurFile)
      throw StoreFailure(path, status);
    if (status == qob::store::kOk && (problem.empty() || IsKnown(census, place, problem)))
      return true;
    if (problem.empty()) problem = "it is damaged";
  }
  Finding finding = Made(Kind::kDamagedDatabase, place, path, problem);
  finding.detail = kAdvice;
  if (mode_.repair && database != nullptr) finding.detail = Salvage(place) + "; " + kAdvice;
  report_.Tell(finding);
  return false;
}

bool PlacesCheck::JudgeDatabases(const Census& census) {
  bool whole = true;
  bool any = false;
  for (std::size_t place = 0; place < queue_.places().size(); ++place) {
    any = any || queue_.places()[place].database != nullptr ||
          statuses_[place] == qob::store::kNotOurFile;
    whole = JudgeDatabase(place, census) && whole;
  }
  if (any || !census.has_message_files()) return whole && any;
  Finding finding =
      Made(Kind::kMissingDatabase, 0, DatabaseAt(0), "it is missing, but there are message files");
  finding.detail =
      "restore it from a backup before any program makes a new one; no message is judged until "
      "then";
  report_.Tell(finding);
  return false;
}

void PlacesCheck::JudgeStrangeRecords(const Census& census) {
  for (const Census::StrangeRecord& record : census.strange()) {
    Finding finding = Made(Kind::kStrangeRecord, record.place, DatabaseAt(record.place),
                           "record " + std::to_string(record.number) + " has the key '" +
                               record.key + "', which is not made from an id");
    finding.detail = "left alone: it belongs to no message of this queue";
    report_.Tell(finding);
  }
}

// ---- files ----

void PlacesCheck::JudgeOtherLock(std::size_t place, const std::string& name) {
  const std::string path = queue_.places()[place].path + "/" + name;
  const std::string base = path.substr(0, path.size() - 4);
  const LockHolder holder = LookAtLock(base);
  if (!holder.stands) return;
  Finding finding =
      Made(holder.stale ? Kind::kStaleLock : Kind::kHeldLock, place, path, LockText(holder));
  finding.holder = holder;
  if (!holder.stale) return report_.Tell(finding);
  Settle(std::move(finding), "removes it", [&](std::string* detail) -> std::string {
    if (DeleteLockFile(base.c_str()) != 0) return "it cannot be removed";
    *detail = "removed";
    return "";
  });
}

void PlacesCheck::JudgeLeftover(std::size_t place, const std::string& name) {
  const std::string& queue = queue_.places()[place].path;
  const std::string why = "a file that was never finished";
  Settle(Made(Kind::kLeftover, place, queue + "/" + name, why), "moves it to corrupt/",
         [&](std::string* detail) -> std::string {
           std::string placed;
           const int error = qob::spool::MoveToCorrupt(queue, name, why, &placed);
           if (error != 0) return "it cannot be moved: " + qob::spool::ErrorText(error);
           *detail = "moved to " + NativeBase(placed);
           return "";
         });
}

void PlacesCheck::JudgeFiles(const Census& census) {
  for (std::size_t place = 0; place < queue_.places().size(); ++place) {
    for (const Census::OtherFile& lock : census.locks(place)) JudgeOtherLock(place, lock.name);
    for (const Census::OtherFile& file : census.leftovers(place)) JudgeLeftover(place, file.name);
    const Census::LooseFiles& loose = census.loose(place);
    if (loose.count == 0) continue;
    Finding finding = Made(Kind::kModes, place, queue_.places()[place].path + "/" + loose.first,
                           "others may read or write it, and " + std::to_string(loose.count - 1) +
                               " more files in its directory");
    finding.detail = "chmod 0600, or 0640 with [Store] Group";
    report_.Tell(finding);
  }
}

// ---- the counter ----

void PlacesCheck::JudgeCounter(bool numbers_known, std::uint32_t highest) {
  const std::string directory = GetTempDir();
  if (directory.empty()) return;
  const std::string path = NativeBase(directory) + "/unique.$$$";
  std::uint32_t value = 0;
  const qob::spool::CounterState state = qob::spool::LookAtCounter(directory, &value);
  if (state == qob::spool::CounterState::kUnreadable) {
    // A reader of the queue need not be able to read the counter.
    Finding finding = Made(Kind::kDamagedCounter, 0, path, "it cannot be read");
    finding.detail = "make it a file of the queue's owner; the number in it only grows";
    finding.certain = mode_.locks;
    report_.Tell(finding);
  }
  if (state != qob::spool::CounterState::kWrongSize) return;
  Finding finding = Made(Kind::kDamagedCounter, 0, path, "it is not four bytes long: no new id");
  if (!numbers_known) {
    finding.detail = "not to be made anew as long as the databases cannot be read";
    return report_.Tell(finding);
  }
  Settle(std::move(finding), "makes it anew with the highest number in use",
         [&](std::string* detail) -> std::string {
           const int error = qob::spool::RemakeCounter(directory, highest);
           if (error != 0) return "it cannot be made anew: " + qob::spool::ErrorText(error);
           *detail = "made anew with " + std::to_string(highest);
           return "";
         });
}

}  // namespace cli::queue
