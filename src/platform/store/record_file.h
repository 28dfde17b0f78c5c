// A file of fixed-length records with indexes, shared by processes, that loses nothing: the record
// engine below BTRCALL, the message queue and the relations. It stands on SQLite; no SQL is written
// outside this folder.
//
// Record numbers ascend and are never used twice. Entries of an index are ordered by key and, among
// equal keys, by record number, which is the order of insertion. Every record has a version that
// changes with each update. A failed call has changed nothing.
//
// One process has one connection to a file, however often it opens it. All calls may come from any
// thread; they take turns. Each reading call sees the file as it is at that moment and keeps
// nothing open. After a fork the child's objects give kNotOpen for ever, hold nothing and close
// nothing; it may open the file anew.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/store/description.h"
#include "platform/store/image.h"
#include "platform/store/status.h"

namespace qob::store {

enum class Durability {
  kCommit,  // an acknowledged change survives a power cut
  kSystem,  // it survives a killed process; a power cut may take the last changes, never the file
};

struct CreateOptions {
  std::string group;  // members may read the file; "" = the owner alone
  // 16 bytes, for a file that is to be the same whenever it is made; "" = drawn at random.
  std::string identity = {};
};

struct OpenOptions {
  Durability durability = Durability::kCommit;
  bool read_only = false;
};

using Identity = std::array<std::byte, 16>;

enum class Seek { kEqual, kGreater, kGreaterOrEqual, kFirst };

// An entry that was met: enough to go on behind it and to change it if nobody else did.
struct Entry {
  std::int64_t number = 0;
  std::int64_t version = 0;
  std::string key;  // as the index holds it, at the moment of reading
};

// One name with one number: what says that an entry waits on a channel.
struct Mark {
  std::int64_t order = 0;  // ascends with every mark made
  std::string name;
  std::uint32_t id = 0;
};

class RecordFile {
 public:
  // The file appears whole under its name or not at all. kFileExists leaves what stands there
  // alone. A log without its file is moved to "corrupt" beside it first.
  static Status Create(std::string_view path, const FileDescription& description,
                       const CreateOptions& options);
  // The same with a copy of `seed`, a record file that nobody has open: kNoSuchFile without one. A
  // file of length zero is no record file yet and gives way; whatever else stands there is left
  // alone. What is no record file is not placed.
  static Status Place(std::string_view path, std::string_view seed, const CreateOptions& options);
  // kNoSuchFile, kNotOurFile and kNoPermission leave the disk as it is.
  static Status Open(std::string_view path, const OpenOptions& options,
                     std::shared_ptr<RecordFile>* file);

  virtual ~RecordFile() = default;
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  virtual const FileDescription& description() const = 0;
  virtual bool read_only() const = 0;
  // Bytes that no other file was made with; a copy has those of what it was copied from.
  virtual const Identity& identity() const = 0;
  // Something was met after which the file is to be opened anew; see the calls' failures.
  virtual bool is_spoilt() const = 0;
  // The log under its name is the one that is open: what is written comes to others, too. Asks the
  // system.
  virtual bool HasItsLog() const = 0;

  // `key` is an index key (IndexKey); not used by Seek::kFirst. kNotFound for kEqual, kEndOfFile
  // for the others when there is none.
  virtual Status Find(int index, Seek seek, std::string_view key, Entry* entry,
                      std::span<std::byte> record) = 0;
  // The first entry behind (key, number) whether that one still stands or not; kEndOfFile.
  virtual Status Next(int index, std::string_view key, std::int64_t number, Entry* entry,
                      std::span<std::byte> record) = 0;
  // By number, with the key it has in `index`; kNotFound.
  virtual Status Read(std::int64_t number, int index, Entry* entry,
                      std::span<std::byte> record) = 0;

  // entry: number and version; its key is left alone.
  virtual Status Insert(std::span<const std::byte> record, Entry* entry) = 0;
  // kConflict unless the record still has that version; *entry gets the new one.
  virtual Status Update(Entry* entry, std::span<const std::byte> record) = 0;
  virtual Status Delete(const Entry& entry) = 0;

  virtual Status Count(std::int64_t* records) = 0;
  // The file's image, for one who looks up in the first index and is ready to do without: null for
  // a large file, before enough look-ups to make it worth while, and when anything is wrong.
  virtual std::shared_ptr<const Image> CurrentImage() = 0;
  // Every record in the order of insertion, all as of one moment; visit returns false to stop.
  // What is given is good for that visit only. A damaged record is given with ok = false and no
  // bytes; its entry in index 0 and what stands on disk in its place are given even so.
  struct Seen {
    std::int64_t number = 0;
    bool ok = true;
    std::span<const std::byte> record;
    std::int64_t version = 0;
    std::string_view key;  // of index 0, as the index holds it; "" in a file without indexes
    std::span<const std::byte> stored;
  };
  virtual Status Snapshot(const std::function<bool(const Seen&)>& visit) = 0;

  // Marks: kDuplicateKey when that name has that id already; kNotFound when there is nothing to
  // remove.
  virtual Status AddMark(std::string_view name, std::uint32_t id) = 0;
  virtual Status RemoveMark(std::string_view name, std::uint32_t id) = 0;
  // The first mark of the name behind that order; kEndOfFile.
  virtual Status NextMark(std::string_view name, std::int64_t behind, Mark* mark) = 0;
  virtual Status HasMark(std::uint32_t id, bool* found) = 0;
  virtual Status AllMarks(const std::function<bool(const Mark&)>& visit) = 0;
  // A text of any bytes kept by number; Put replaces.
  virtual Status PutNote(std::uint32_t id, std::string_view bytes) = 0;
  virtual Status GetNote(std::uint32_t id, std::string* bytes) = 0;  // kNotFound
  virtual Status RemoveNote(std::uint32_t id) = 0;                   // kNotFound
  // The numbers of all notes, ascending; visit returns false to stop.
  virtual Status AllNotes(const std::function<bool(std::uint32_t id)>& visit) = 0;

  // The whole file is read and compared with itself: pages, indexes, every record's checksum and
  // keys. problem: "" or what is wrong first. A long work: progress is told per record, false
  // stops.
  virtual Status Check(std::string* problem,
                       const std::function<bool(std::int64_t done)>& progress) = 0;
  // Moves what the log holds into the file. For tests and tools; the engine does so by itself.
  virtual Status Checkpoint() = 0;

 protected:
  RecordFile() = default;

 private:
  friend class Transaction;
  virtual Status Begin() = 0;
  virtual Status Commit() = 0;
  virtual void Rollback() = 0;
};

// Several changes as one, and reads that belong to them. While it lives its thread alone uses the
// file in this process, and no other process writes. Ends without Commit by undoing all.
class Transaction {
 public:
  explicit Transaction(RecordFile& file) : file_(file), begun_(file.Begin()) {}
  ~Transaction() {
    if (open()) file_.Rollback();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // Of the beginning; nothing may be done in the transaction unless it is kOk.
  Status begun() const { return begun_; }
  // After a failure the outcome of the commit itself is unknown until the file is read again.
  Status Commit() {
    if (!open()) return begun_ == kOk ? kNotAllowed : begun_;
    const Status status = file_.Commit();
    ended_ = true;
    return status;
  }

 private:
  bool open() const { return begun_ == kOk && !ended_; }
  RecordFile& file_;
  Status begun_;
  bool ended_ = false;
};

// How long a call waits for others before kBusy; for tests, 30000 otherwise.
void SetWaitMs(int milliseconds);
// Pages in the log at which it is moved into the file; for tests, kLogLimitPages otherwise.
inline constexpr int kLogLimitPages = 1000;
void SetLogLimitPages(int pages);
// The SQLite file layer that ours stands on, by its registered name; null = the system's. For
// tests, before the first file is opened.
void SetBaseLayer(const char* name);
// The longest checkpoint of this process so far, in microseconds; for measurements.
std::int64_t LongestCheckpointUs();

}  // namespace qob::store
