// Walks through the whole file: every record, every mark, every note.
#include "platform/store/schema.h"
#include "platform/store/shared_file.h"
#include "platform/store/squeeze.h"
#include "platform/store/statement.h"
#include "platform/store/stay.h"

namespace qob::store {

Status SharedFile::Snapshot(const std::function<bool(const Seen&)>& visit) {
  return Reading([&] {
    const char* const key = description().index_count > 0 ? "k0" : "x''";
    Statement all(connection_, std::string("SELECT number,version,") + key +
                                   ",body FROM records NOT INDEXED ORDER BY number");
    const Show show(connection_);
    std::vector<std::byte> record(description().record_bytes);
    while (all.Step()) {
      Seen seen;
      seen.number = all.Number(0);
      seen.version = all.Number(1);
      seen.key = all.Bytes(2);
      seen.stored = all.Raw(3);
      seen.ok = Unsqueeze(seen.stored, seen.number, record);
      if (seen.ok) seen.record = record;
      if (!visit(seen)) break;
    }
    return all.status();
  });
}

Status SharedFile::AllMarks(const std::function<bool(const Mark&)>& visit) {
  return Reading([&] {
    Statement all(connection_, "SELECT seq,name,id FROM marks ORDER BY seq");
    const Show show(connection_);
    Mark mark;
    while (all.Step()) {
      mark.order = all.Number(0);
      mark.name = all.Bytes(1);
      mark.id = static_cast<std::uint32_t>(all.Number(2));
      if (!visit(mark)) break;
    }
    return all.status();
  });
}

Status SharedFile::AllNotes(const std::function<bool(std::uint32_t)>& visit) {
  return Reading([&] {
    Statement all(connection_, "SELECT id FROM notes ORDER BY id");
    const Show show(connection_);
    while (all.Step()) {
      if (!visit(static_cast<std::uint32_t>(all.Number(0)))) break;
    }
    return all.status();
  });
}

}  // namespace qob::store
