// Marks and notes: the little that a file keeps beside its records.
#include "platform/store/shared_file.h"
#include "platform/store/statement.h"
#include "platform/store/stay.h"

namespace qob::store {
namespace {

Status RunWrite(Statement& statement) {
  statement.Step();
  return statement.status();
}

Status RunRemove(Connection& connection, Statement& statement) {
  const Status status = RunWrite(statement);
  if (status != kOk) return status;
  return sqlite3_changes(connection.db()) > 0 ? kOk : kNotFound;
}

}  // namespace

Status SharedFile::AddMark(std::string_view name, std::uint32_t id) {
  return Writing([&] {
    Statement add(connection_, kAddMark, Statement::Kind::kWrite);
    add.Bind(1, name);
    add.Bind(2, std::int64_t{id});
    return RunWrite(add);
  });
}

Status SharedFile::RemoveMark(std::string_view name, std::uint32_t id) {
  return Writing([&] {
    Statement remove(connection_, kRemoveMark, Statement::Kind::kWrite);
    remove.Bind(1, name);
    remove.Bind(2, std::int64_t{id});
    return RunRemove(connection_, remove);
  });
}

Status SharedFile::NextMark(std::string_view name, std::int64_t behind, Mark* mark) {
  return Reading([&] {
    Statement next(connection_, kNextMark);
    next.Bind(1, name);
    next.Bind(2, behind);
    if (!next.Step()) return next.status() == kOk ? kEndOfFile : next.status();
    mark->name = name;
    mark->order = next.Number(0);
    mark->id = static_cast<std::uint32_t>(next.Number(1));
    return kOk;
  });
}

Status SharedFile::HasMark(std::uint32_t id, bool* found) {
  return Reading([&] {
    Statement has(connection_, kHasMark);
    has.Bind(1, std::int64_t{id});
    *found = has.Step();
    return has.status();
  });
}

Status SharedFile::PutNote(std::uint32_t id, std::string_view bytes) {
  return Writing([&] {
    Statement put(connection_, kPutNote, Statement::Kind::kWrite);
    put.Bind(1, std::int64_t{id});
    put.Bind(2, bytes);
    return RunWrite(put);
  });
}

Status SharedFile::GetNote(std::uint32_t id, std::string* bytes) {
  return Reading([&] {
    Statement get(connection_, kGetNote);
    get.Bind(1, std::int64_t{id});
    if (!get.Step()) return get.status() == kOk ? kNotFound : get.status();
    *bytes = get.Bytes(0);
    return kOk;
  });
}

Status SharedFile::RemoveNote(std::uint32_t id) {
  return Writing([&] {
    Statement remove(connection_, kRemoveNote, Statement::Kind::kWrite);
    remove.Bind(1, std::int64_t{id});
    return RunRemove(connection_, remove);
  });
}

}  // namespace qob::store
