#include "platform/store/shared_file.h"

#include "platform/store/registry.h"
#include "platform/store/squeeze.h"
#include "platform/store/statement.h"
#include "platform/store/stay.h"

namespace qob::store {
namespace {

using Kind = Statement::Kind;

// Columns of every statement that finds one record.
constexpr int kNumberColumn = 0;
constexpr int kVersionColumn = 1;
constexpr int kBodyColumn = 2;
constexpr int kKeyColumn = 3;

int SlotOf(int index, int offset) {
  return kFixedStatements + index * kStatementsPerIndex + offset;
}

// An index that leads to a record with another key is damaged, whatever the record says.
Status TakeRow(Statement& row, const KeyDescription& key, Entry* entry,
               std::span<std::byte> record) {
  const std::int64_t number = row.Number(kNumberColumn);
  if (!Unsqueeze(row.Raw(kBodyColumn), number, record)) return kNotOurFile;
  if (row.Bytes(kKeyColumn) != IndexKeyOf(key, record)) return kNotOurFile;
  entry->key.assign(row.Bytes(kKeyColumn));
  entry->number = number;
  entry->version = row.Number(kVersionColumn);
  return kOk;
}

// One record or `none`.
Status TakeOne(Statement& row, Status none, const KeyDescription& key, Entry* entry,
               std::span<std::byte> record) {
  if (!row.Step()) return row.status() == kOk ? none : row.status();
  return TakeRow(row, key, entry, record);
}

Status TakeKnown(const ReadAhead::Row& row, const KeyDescription& key, Entry* entry,
                 std::span<std::byte> record) {
  if (!Unsqueeze(std::as_bytes(std::span(row.body)), row.number, record)) return kNotOurFile;
  if (row.key != IndexKeyOf(key, record)) return kNotOurFile;
  entry->key.assign(row.key);
  entry->number = row.number;
  entry->version = row.version;
  return kOk;
}

// A damaged index may lead a walk in circles.
bool IsBehind(std::string_view key, std::int64_t number, std::string_view place_key,
              std::int64_t place_number) {
  const int order = key.compare(place_key);
  return order > 0 || (order == 0 && number > place_number);
}

// Likewise a search anywhere.
bool Answers(Seek seek, std::string_view found, std::string_view asked) {
  switch (seek) {
    case Seek::kEqual:
      return found == asked;
    case Seek::kGreater:
      return found > asked;
    case Seek::kGreaterOrEqual:
      return found >= asked;
    case Seek::kFirst:
      break;
  }
  return true;
}

// What is planned beyond the entry that was found. Entries that cannot be had now are asked for
// again when their turn comes.
void ReadOn(Statement& row, const Entry& found, ReadAhead* ahead) {
  try {
    bool more = ahead->Add(found.number, found.version, found.key, {});
    while (more && row.Step()) {
      more = ahead->Add(row.Number(kNumberColumn), row.Number(kVersionColumn),
                        row.Bytes(kKeyColumn), row.Bytes(kBodyColumn));
    }
  } catch (const std::bad_alloc&) {
  }
}

// The keys of a record as its statement wants them, kept while it runs.
class Keys {
 public:
  Keys(const FileDescription& description, std::span<const std::byte> record) {
    keys_.reserve(description.index_count);
    for (int i = 0; i < description.index_count; ++i) {
      keys_.push_back(IndexKeyOf(description.keys[static_cast<std::size_t>(i)], record));
    }
  }
  void BindTo(Statement* statement, int first) const {
    for (const std::string& key : keys_) statement->Bind(first++, key);
  }

 private:
  std::vector<std::string> keys_;
};

// The number behind the highest that was ever given.
Status NextNumber(Connection& connection, std::int64_t* number) {
  Statement last(connection, kLastNumber, Kind::kWrite);
  *number = last.Step() ? last.Number(0) + 1 : 1;
  if (last.status() != kOk) return last.status();
  return *number > 0 ? kOk : kDiskFull;
}

Status InsertRecord(Connection& connection, std::span<const std::byte> record, const Keys& keys,
                    Entry* entry) {
  std::int64_t number = 0;
  const Status status = NextNumber(connection, &number);
  if (status != kOk) return status;
  Squeeze(record, number, connection.squeezed());
  Statement insert(connection, kInsert, Kind::kWrite);
  insert.Bind(1, number);
  insert.Bind(2, *connection.squeezed());
  keys.BindTo(&insert, 3);
  insert.Step();
  if (insert.status() != kOk) return insert.status();
  entry->number = number;
  entry->version = 1;
  return kOk;
}

// *changed: the record had that version, and for kUpdateBody those keys.
Status UpdateRecord(Connection& connection, int slot, const Entry& entry, const Keys& keys,
                    bool* changed) {
  Statement update(connection, slot, Kind::kWrite);
  update.Bind(1, entry.number);
  update.Bind(2, entry.version);
  update.Bind(3, *connection.squeezed());
  keys.BindTo(&update, 4);
  update.Step();
  *changed = update.status() == kOk && sqlite3_changes(connection.db()) > 0;
  return update.status();
}

}  // namespace

Status RecordFile::Open(std::string_view path, const OpenOptions& options,
                        std::shared_ptr<RecordFile>* file) {
  try {
    Connection* connection = nullptr;
    const Status status = AcquireConnection(std::string(path), options, &connection);
    if (status != kOk) return status;
    try {
      *file = std::make_shared<SharedFile>(connection, options.read_only);
    } catch (...) {
      ReleaseConnection(connection);
      throw;
    }
    return kOk;
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

SharedFile::~SharedFile() { ReleaseConnection(&connection_); }

Status SharedFile::JudgeRead(int index, std::span<const std::byte> record) const {
  if (index < 0 || index >= description().index_count) return kNoSuchIndex;
  return record.size() < description().record_bytes ? kBufferTooShort : kOk;
}

Status SharedFile::Find(int index, Seek seek, std::string_view key, Entry* entry,
                        std::span<std::byte> record) {
  return Reading([&] {
    const Status status = JudgeRead(index, record);
    if (status != kOk) return status;
    Statement find(connection_, SlotOf(index, static_cast<int>(seek)));
    const std::string asked(key);  // the caller's key may be the entry's own
    if (seek != Seek::kFirst) find.Bind(1, asked);
    const Status none = seek == Seek::kEqual ? kNotFound : kEndOfFile;
    const Status found =
        TakeOne(find, none, KeyOf(index), entry, record.first(description().record_bytes));
    return found != kOk || Answers(seek, entry->key, asked) ? found : kNotOurFile;
  });
}

Status SharedFile::Next(int index, std::string_view key, std::int64_t number, Entry* entry,
                        std::span<std::byte> record) {
  return Reading([&] {
    const Status status = JudgeRead(index, record);
    if (status != kOk) return status;
    record = record.first(description().record_bytes);
    ReadAhead* const ahead = connection_.Ahead();
    const ReadAhead::Row* known = ahead != nullptr ? ahead->Take(index, key, number) : nullptr;
    if (known != nullptr) {
      return IsBehind(known->key, known->number, key, number)
                 ? TakeKnown(*known, KeyOf(index), entry, record)
                 : kNotOurFile;
    }
    // The caller's key may be the entry's own.
    const std::string place(key);
    Statement next(connection_, SlotOf(index, kNextOffset));
    next.Bind(1, place);
    next.Bind(2, number);
    next.Bind(3, ahead != nullptr ? ahead->Plan(index, place, number) : 1);
    const Status found = TakeOne(next, kEndOfFile, KeyOf(index), entry, record);
    if (found == kOk && !IsBehind(entry->key, entry->number, place, number)) return kNotOurFile;
    if (found == kOk && ahead != nullptr) ReadOn(next, *entry, ahead);
    return found;
  });
}

Status SharedFile::Read(std::int64_t number, int index, Entry* entry, std::span<std::byte> record) {
  return Reading([&] {
    const Status status = JudgeRead(index, record);
    if (status != kOk) return status;
    Statement read(connection_, SlotOf(index, kReadOffset));
    read.Bind(2, number);
    return TakeOne(read, kNotFound, KeyOf(index), entry, record.first(description().record_bytes));
  });
}

Status SharedFile::Insert(std::span<const std::byte> record, Entry* entry) {
  return Writing([&] {
    if (record.size() != description().record_bytes) return kBufferTooShort;
    const Keys keys(description(), record);
    Entry inserted;
    const Status status =
        connection_.AsOne([&] { return InsertRecord(connection_, record, keys, &inserted); });
    if (status != kOk) return status;
    entry->number = inserted.number;
    entry->version = inserted.version;
    return kOk;
  });
}

Status SharedFile::Update(Entry* entry, std::span<const std::byte> record) {
  return Writing([&] {
    if (record.size() != description().record_bytes) return kBufferTooShort;
    const Keys keys(description(), record);
    Squeeze(record, entry->number, connection_.squeezed());
    bool changed = false;
    // SQLite takes an entry out of an index and puts it back even if the key is the same.
    Status status = UpdateRecord(connection_, kUpdateBody, *entry, keys, &changed);
    if (status == kOk && !changed) {
      status = UpdateRecord(connection_, kUpdateAll, *entry, keys, &changed);
    }
    if (status != kOk) return status;
    if (!changed) return kConflict;
    ++entry->version;
    return kOk;
  });
}

Status SharedFile::Delete(const Entry& entry) {
  return Writing([&] {
    Statement remove(connection_, kDelete, Kind::kWrite);
    remove.Bind(1, entry.number);
    remove.Bind(2, entry.version);
    remove.Step();
    if (remove.status() != kOk) return remove.status();
    return sqlite3_changes(connection_.db()) > 0 ? kOk : kConflict;
  });
}

Status SharedFile::Count(std::int64_t* records) {
  return Reading([&] {
    Statement count(connection_, kCountAll);
    if (count.Step()) *records = count.Number(0);
    return count.status();
  });
}

Status SharedFile::Begin() { return read_only_ ? kNoPermission : connection_.Begin(); }
Status SharedFile::Commit() { return connection_.Commit(); }
void SharedFile::Rollback() { connection_.Rollback(); }

}  // namespace qob::store
