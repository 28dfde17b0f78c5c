// Walks through the whole file: every record, every mark.
#include "platform/store/schema.h"
#include "platform/store/shared_file.h"
#include "platform/store/squeeze.h"
#include "platform/store/statement.h"
#include "platform/store/stay.h"

namespace qob::store {
namespace {

// What is shown belongs to one moment; a change by the one who looks would blur it.
class Show {
 public:
  explicit Show(Connection& connection) : connection_(connection) { connection_.Showing(true); }
  ~Show() { connection_.Showing(false); }
  Show(const Show&) = delete;
  Show& operator=(const Show&) = delete;

 private:
  Connection& connection_;
};

}  // namespace

Status SharedFile::Snapshot(const std::function<bool(const Seen&)>& visit) {
  return Reading([&] {
    Statement all(connection_, "SELECT number,body FROM records NOT INDEXED ORDER BY number");
    const Show show(connection_);
    std::vector<std::byte> record(description().record_bytes);
    while (all.Step()) {
      Seen seen;
      seen.number = all.Number(0);
      seen.ok = Unsqueeze(all.Raw(1), seen.number, record);
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

}  // namespace qob::store
