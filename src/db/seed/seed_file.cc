#include "db/seed/seed_file.h"

#include <memory>

#include "db/relation.h"
#include "platform/os/directory.h"
#include "platform/store/record_file.h"
#include "platform/tessera/index_file.h"

namespace qob::db {
namespace {

using store::RecordFile;
using store::Status;

struct Shape {
  const char* name;
  std::uint16_t key_offset;
  std::uint16_t key_bytes;
  bool duplicates;
};
constexpr Shape kMagic = {"magicdb", 0, sizeof(MagicRow::key), true};
constexpr Shape kPeers = {"peerdb", offsetof(PeerRow, domain), kDomainBytes, false};
constexpr Shape kBans = {"banuserdb", 0, sizeof(BanRow::address), false};

template <class Row>
Status InsertAll(RecordFile& file, const std::vector<Row>& rows) {
  store::Transaction together(file);
  Status status = together.begun();
  store::Entry entry;
  for (const Row& row : rows) {
    if (status == store::kOk) status = file.Insert(std::as_bytes(std::span(&row, 1)), &entry);
  }
  return status == store::kOk ? together.Commit() : status;
}

template <class Row>
Status WriteRecords(const std::string& path, const Shape& shape, const std::vector<Row>& rows) {
  store::CreateOptions options;
  options.identity = shape.name;
  options.identity.resize(std::tuple_size_v<store::Identity>);
  Status status =
      RecordFile::Create(path,
                         tessera::RelationDescription(sizeof(Row), shape.key_offset,
                                                      shape.key_bytes, shape.duplicates),
                         options);
  std::shared_ptr<RecordFile> file;
  if (status == store::kOk) {
    status = RecordFile::Open(path, {store::Durability::kSystem, false}, &file);
  }
  if (status == store::kOk) status = InsertAll(*file, rows);
  return status == store::kOk ? file->Checkpoint() : status;
}

// Opening it makes the ".id0".
template <class Row>
Status OpenOnce(const std::string& directory, const Shape& shape) {
  tesseraBase session;
  return static_cast<Status>(Relation<Row>(session, directory, shape.name).status());
}

template <class Row>
std::string Write(const std::string& directory, const Shape& shape, const std::vector<Row>& rows) {
  const std::string base = directory + "\\" + shape.name;
  const std::string path = base + ".db";
  // A log and what belongs to it goes with its file; the records are all in the file by the end.
  const auto remove = [&](std::initializer_list<const char*> endings) {
    for (const char* ending : endings) os::RemoveFile(base + ending);
  };
  remove({".db", ".db-wal", ".db-shm", ".db-gate", ".id0"});
  Status status = WriteRecords(path, shape, rows);
  if (status == store::kOk) status = OpenOnce<Row>(directory, shape);
  remove({".db-wal", ".db-shm", ".db-gate"});
  if (status == store::kOk) return "";
  return path + ": status " + std::to_string(status);
}

MagicRow RowOf(const FileType& type) {
  MagicRow row{};
  SetKey(row.fields.extension, type.extension);
  SetKey(row.fields.contentType, type.type);
  SetKey(row.fields.contentSubtype, type.subtype);
  SetKey(row.fields.textA, type.encoding);
  SetKey(row.fields.textB, type.description);
  SetKey(row.fields.macTypeCreator, type.mac);
  return row;
}

}  // namespace

std::string WriteMagicSeed(const std::string& directory, const std::vector<FileType>& types) {
  std::vector<MagicRow> rows;
  for (const FileType& type : types) rows.push_back(RowOf(type));
  return Write(directory, kMagic, rows);
}

std::string WritePeerSeed(const std::string& directory, const std::vector<PeerRecord>& peers) {
  std::vector<PeerRow> rows;
  for (const PeerRecord& peer : peers) {
    PeerRow& row = rows.emplace_back();
    SetKey(row.domain, FieldText(peer.domain));
    StorePeerValues(peer, &row);
  }
  return Write(directory, kPeers, rows);
}

std::string WriteBanSeed(const std::string& directory) {
  return Write(directory, kBans, std::vector<BanRow>());
}

}  // namespace qob::db
