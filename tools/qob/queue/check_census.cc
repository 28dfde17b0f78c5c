#include "check_census.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/spool/message_record.h"
#include "platform/spool/names.h"

namespace cli::queue {
namespace {

using qob::spool::FieldText;
using qob::spool::MessageRecord;
using qob::spool::QueueFileKind;
using qob::store::Status;

constexpr std::size_t kIdDigits = 8;
// A file that is being made is not older than this.
constexpr std::int64_t kMakingSeconds = 3600;
constexpr std::uint32_t kGroupReads = 040;
constexpr std::uint32_t kGroupWritesOrOthers = 027;

std::optional<std::uint32_t> IdOf(std::string_view key) {
  if (key.size() != kIdDigits + 1) return std::nullopt;
  return qob::spool::ReadId(key.substr(0, kIdDigits));
}

bool IsKind(char c, char kind) { return c == kind || c == kind + ('a' - 'A'); }

// Files that hold mail or lead to it.
bool IsPrivate(const qob::spool::QueueFile& file) {
  return file.kind == QueueFileKind::kMessage || file.kind == QueueFileKind::kReason ||
         file.name.starts_with(qob::spool::kDatabaseName);
}

}  // namespace

Census::Trace& Census::Of(std::uint32_t id) {
  highest_ = std::max(highest_, id);
  return traces_[id];
}

void Census::Put(std::int32_t* where, std::size_t place, bool* doubtful) {
  if (*where != kNowhere) *doubtful = true;
  *where = static_cast<std::int32_t>(place);
}

void Census::TakeFile(std::size_t place, const qob::spool::QueueFile& file,
                      const qob::os::FileStatus& status) {
  const std::uint32_t forbidden = kGroupWritesOrOthers | (group_reads_ ? 0 : kGroupReads);
  if (IsPrivate(file) && (status.mode & forbidden) != 0) {
    if (loose_[place].count++ == 0) loose_[place].first = file.name;
  }
  switch (file.kind) {
    case QueueFileKind::kMessage: {
      Trace& trace = Of(file.id);
      Put(&trace.file, place, &trace.doubtful);
      has_message_files_ = true;
      break;
    }
    case QueueFileKind::kReason: {
      Trace& trace = Of(file.id);
      Put(&trace.reasons, place, &trace.doubtful);
      break;
    }
    case QueueFileKind::kLock:
      Of(file.id).doubtful = true;
      break;
    case QueueFileKind::kOther:
      if (status.kind != qob::os::FileKind::kFile) break;
      if (file.name.ends_with(qob::spool::kLockFile)) locks_[place].push_back({file.name, status});
      if (qob::spool::IsTemporaryName(file.name) &&
          status.modified < qob::spool::Now() - kMakingSeconds)
        leftovers_[place].push_back({file.name, status});
      break;
  }
}

void Census::ListFiles() {
  const std::size_t count = queue_.places().size();
  locks_.resize(count);
  leftovers_.resize(count);
  loose_.resize(count);
  for (std::size_t place = 0; place < count; ++place) {
    const std::string& path = queue_.places()[place].path;
    const int error = qob::spool::LookAtQueueFiles(
        path, [&](const qob::spool::QueueFile& file, const qob::os::FileStatus& status) {
          TakeFile(place, file, status);
        });
    if (error != 0) {
      throw Failure(ExitCode::kNoPermission,
                    path + ": cannot be listed: " + qob::spool::ErrorText(error) +
                        ": run as the owner of the queue, or as a member of [Store] Group");
    }
  }
}

void Census::TakeRecord(std::size_t place, std::int64_t number, const void* bytes) {
  MessageRecord record;
  std::memcpy(&record, bytes, sizeof record);
  const std::string_view key = FieldText(record.key);
  const std::optional<std::uint32_t> id = IdOf(key);
  if (id && IsKind(key.back(), qob::spool::kMessageKind)) {
    Trace& trace = Of(*id);
    if (trace.has_record || record.directoryName[0] == '\0') trace.doubtful = true;
    trace.has_record = true;
    trace.holder =
        queue_.HolderOf(static_cast<std::uint32_t>(place), FieldText(record.directoryName));
  } else if (id && IsKind(key.back(), qob::spool::kRecipientKind)) {
    Of(*id).has_recipients = true;
  } else {
    strange_.push_back({place, number, std::string(key)});
  }
}

Status Census::ReadRecords(std::size_t place) {
  qob::store::RecordFile& database = *queue_.places()[place].database;
  Status status = database.Snapshot([&](const qob::store::RecordFile::Seen& seen) {
    if (seen.ok && seen.record.size() == sizeof(MessageRecord)) {
      TakeRecord(place, seen.number, seen.record.data());
    } else {
      const std::optional<std::uint32_t> id = IdOf(seen.key);
      if (id) Of(*id);
      damaged_.push_back(
          {place, seen.number, seen.version, id,
           std::string(reinterpret_cast<const char*>(seen.stored.data()), seen.stored.size())});
    }
    return true;
  });
  if (status == qob::store::kOk) {
    status = database.AllMarks([&](const qob::store::Mark& mark) {
      Of(mark.id);
      return true;
    });
  }
  if (status == qob::store::kOk) {
    status = database.AllNotes([&](std::uint32_t id) {
      Of(id);
      return true;
    });
  }
  if (status != qob::store::kOk && status != qob::store::kNotOurFile)
    throw StoreFailure(queue_.places()[place].path + "/" + qob::spool::kDatabaseName, status);
  return status;
}

std::vector<std::uint32_t> Census::Doubtful() const {
  std::vector<std::uint32_t> ids;
  for (const auto& [id, trace] : traces_) {
    const bool whole = !trace.doubtful && trace.has_record && trace.has_recipients &&
                       trace.holder != kNowhere && trace.file == trace.holder &&
                       (trace.reasons == kNowhere || trace.reasons == trace.holder);
    if (!whole) ids.push_back(id);
  }
  for (const DamagedRecord& record : damaged_) {
    if (record.id) std::erase(ids, *record.id);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::size_t Census::message_count() const {
  return static_cast<std::size_t>(std::count_if(
      traces_.begin(), traces_.end(), [](const auto& row) { return row.second.has_record; }));
}

}  // namespace cli::queue
