// Our store, below BTRCALL: the database of messages as its own description has it. Linked with the
// static core. It also fills the databases that the exported calls are measured on.
#include <stdexcept>
#include <string_view>

#include "platform/spool/message_record.h"
#include "platform/store/record_file.h"
#include "queue_side.h"

namespace {

namespace spool = qob::spool;
namespace store = qob::store;

void Must(store::Status status, const char* what) {
  if (status != store::kOk)
    throw std::runtime_error(std::string(what) + ": status " + std::to_string(status));
}

std::string PathIn(const std::string& directory) { return directory + "/" + spool::kDatabaseName; }

class StoreSide : public bench::QueueSide {
 public:
  explicit StoreSide(const std::string& directory) {
    Must(store::RecordFile::Open(PathIn(directory), {}, &file_), "open");
  }

  void Insert(MesgRecord* record) override {
    Must(file_->Insert(spool::Bytes(*record), &entry_), "insert");
  }

  void Find(const char* key, MesgRecord* record) override {
    const std::string_view text(key);
    const std::string index_key = store::IndexKey(file_->description().keys[spool::kKeyIndex],
                                                  std::as_bytes(std::span(text)));
    Must(file_->Find(spool::kKeyIndex, store::Seek::kEqual, index_key, &entry_,
                     spool::Bytes(*record)),
         "find");
  }

  bool Next(MesgRecord* record) override {
    const std::string key = entry_.key;
    const store::Status status =
        file_->Next(spool::kKeyIndex, key, entry_.number, &entry_, spool::Bytes(*record));
    if (status == store::kEndOfFile) return false;
    Must(status, "next");
    return true;
  }

  std::int64_t LongestCheckpointUs() override { return store::LongestCheckpointUs(); }

  store::RecordFile& file() { return *file_; }

 private:
  std::shared_ptr<store::RecordFile> file_;
  store::Entry entry_;
};

void Create(const std::string& directory) {
  Must(store::RecordFile::Create(PathIn(directory), spool::DatabaseDescription(), {}), "create");
}

void Fill(const std::string& directory, std::uint32_t messages, bench::Order order) {
  Create(directory);
  StoreSide side(directory);
  MesgRecord record;
  const std::uint64_t records = std::uint64_t{messages} * bench::kRecordsPerMessage;
  for (std::uint64_t i = 0; i < records;) {
    store::Transaction transaction(side.file());
    Must(transaction.begun(), "begin");
    for (int batch = 0; batch < 10'000 && i < records; ++batch, ++i) {
      bench::ComposeRecord(i, order, &record);
      side.Insert(&record);
    }
    Must(transaction.Commit(), "commit");
  }
  // As the peer's file is once it is closed: nothing left in the log.
  Must(side.file().Checkpoint(), "checkpoint");
}

}  // namespace

int main(int argc, char** argv) {
  const bench::QueueMaker maker = {
      Create, [](const std::string& directory) { return std::make_unique<StoreSide>(directory); },
      Fill};
  return bench::RunQueueBench(argc, argv, maker);
}
