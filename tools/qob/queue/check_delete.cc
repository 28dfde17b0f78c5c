// Records that cannot stay: their bytes are on stable storage in corrupt/ before they are deleted,
// all of them or none.
#include "check_message.h"

#include "change.h"
#include "ids.h"
#include "platform/spool/queue_files.h"

namespace cli::queue {
namespace {

using qob::store::RecordFile;
using qob::store::Status;

// What goes, as it will be saved.
struct Saved {
  std::string records;
  std::string marks;
  std::string note;
};

Status Take(RecordFile& database, std::uint32_t id, const std::vector<const StoredRecord*>& records,
            bool marks_too, Saved* saved) {
  for (const StoredRecord* const record : records) {
    const auto bytes = qob::spool::Bytes(record->record);
    saved->records.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (const Status status = database.Delete(record->entry); status != qob::store::kOk)
      return status;
  }
  if (!marks_too) return qob::store::kOk;
  std::vector<std::string> channels;
  Status status = ChannelNames(database).RemoveMarks(id, &channels);
  if (status != qob::store::kOk) return status;
  for (const std::string& channel : channels) saved->marks += channel + "\n";
  status = database.GetNote(id, &saved->note);
  if (status == qob::store::kOk) status = database.RemoveNote(id);
  return status == qob::store::kNotFound ? qob::store::kOk : status;
}

// "" or why not.
std::string Save(const std::string& queue, const std::string& name, const std::string& bytes,
                 const std::string& why, std::string* detail) {
  if (bytes.empty()) return "";
  std::string placed;
  const int error = qob::spool::SaveToCorrupt(queue, name, bytes, why, &placed);
  if (error != 0)
    return "they cannot be saved in " + queue + "/corrupt: " + qob::spool::ErrorText(error);
  *detail += (detail->empty() ? "saved as " : ", ") + NativeBase(placed);
  return "";
}

std::string Trouble(Status status) {
  if (status == qob::store::kConflict || status == qob::store::kNotFound)
    return "they changed meanwhile: check again";
  return StoreFailure("they cannot be deleted", status).what();
}

}  // namespace

std::string MessageCheck::SaveAndDelete(std::size_t home,
                                        const std::vector<const StoredRecord*>& records,
                                        bool marks_too, const std::string& why,
                                        std::string* detail) {
  const std::string& queue = queue_.places()[home].path;
  RecordFile& database = *queue_.places()[home].database;
  qob::store::Transaction transaction(database);
  if (transaction.begun() != qob::store::kOk) return Trouble(transaction.begun());
  Saved saved;
  Status status = Take(database, id_, records, marks_too, &saved);
  if (status != qob::store::kOk) return Trouble(status);
  const std::string name = IdText(id_);
  std::string problem = Save(queue, name + ".records", saved.records, why, detail);
  if (problem.empty()) problem = Save(queue, name + ".marks", saved.marks, why, detail);
  if (problem.empty()) problem = Save(queue, name + ".note", saved.note, why, detail);
  if (!problem.empty()) return problem;
  status = transaction.Commit();
  return status == qob::store::kOk ? "" : Trouble(status);
}

std::string MessageCheck::SaveDamaged(const Census::DamagedRecord& record, std::string* detail) {
  const std::string& queue = queue_.places()[record.place].path;
  RecordFile& database = *queue_.places()[record.place].database;
  qob::store::Transaction transaction(database);
  if (transaction.begun() != qob::store::kOk) return Trouble(transaction.begun());
  qob::store::Entry entry;
  entry.number = record.number;
  entry.version = record.version;
  Status status = database.Delete(entry);
  if (status != qob::store::kOk) return Trouble(status);
  const std::string name = record.id ? IdText(*record.id) : std::string("record");
  const std::string problem = Save(queue, name + "." + std::to_string(record.number) + ".damaged",
                                   record.stored, "a damaged record", detail);
  if (!problem.empty()) return problem;
  status = transaction.Commit();
  return status == qob::store::kOk ? "" : Trouble(status);
}

}  // namespace cli::queue
