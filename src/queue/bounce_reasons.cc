#include "queue/bounce_reasons.h"

#include <cstdint>
#include <utility>

#include "frame/guard.h"
#include "frame/report.h"
#include "lineio/handle_pool.h"
#include "lineio/line_reader.h"
#include "lineio/open_file.h"
#include "platform/os/directory.h"
#include "platform/os/file.h"
#include "platform/spool/names.h"
#include "queue/path_text.h"
#include "util/string_chain.h"

namespace qob {
namespace {

// A file that others keep making and removing is given up some day.
constexpr int kRounds = 100;

// Opens the file that stands, or makes it: creating it always would wipe what another process has
// just written.
os::Result<os::Handle> OpenOrMake(const PathText& path, bool* made) {
  os::OpenMode existing = WriteMode();
  existing.sequential = false;
  os::OpenMode fresh = existing;
  fresh.create = os::Create::kNew;
  os::Result<os::Handle> opened;
  for (int round = 0; round < kRounds; ++round) {
    *made = false;
    opened = os::OpenFile(path.view(), existing);
    if (opened.error != os::kNotFound) break;
    *made = true;
    opened = os::OpenFile(path.view(), fresh);
    if (opened.error != os::kExists) break;
  }
  return opened;
}

// The trace of line files; one that needs memory it does not get is left out.
template <class Trace>
void Tell(Trace&& trace) {
  Guarded(false, [&] {
    trace();
    return true;
  });
}

os::FileHandle OpenForAppending(const PathText& path) {
  bool made = false;
  const os::Result<os::Handle> opened = OpenOrMake(path, &made);
  if (!opened) {
    Report(kFailure, "CreateFile failed: %s, error %d", path.c_str(), opened.error);
    return {};
  }
  Tell([&] {
    made ? TraceCreate(path.c_str(), opened.value) : TraceOpen(path.c_str(), opened.value);
  });
  return os::FileHandle(opened.value);
}

// Programs close what stays open through the handle face, by the number they find in the log.
void LeaveOpen(os::FileHandle file, const PathText& path) {
  FileObject* object = NewFileObject(file.get(), kWriteAccess, 0, path.c_str());
  if (object == nullptr) return;
  file.Release();
  if (!AddToPool(object)) DiscardFileObject(object);
}

}  // namespace

bool AppendReason(std::string_view queue_path, std::string_view text) {
  const PathText path({queue_path, spool::kReasonFile});
  os::FileHandle file = OpenForAppending(path);
  if (!file) return false;
  const os::Result<std::int64_t> end = os::SeekFile(file.get(), 0, os::From::kEnd);
  if (!end) {
    Report(kFailure, "AddBounceReason: setfpos failed, FileHandle #%d, error #%d",
           static_cast<int>(file.get()), end.error);
    LeaveOpen(std::move(file), path);
    return false;
  }
  const bool written = os::WriteAll(file.get(), text.data(), text.size());
  // Half a line would run into the next one.
  if (!written) os::CutFile(file.get(), end.value);
  const os::Handle handle = file.Release();
  Tell([&] { TraceClose(handle); });
  os::CloseFile(handle);
  return written;
}

ms* ReadReasons(std::string_view queue_path) {
  const PathText path({queue_path, spool::kReasonFile});
  LineReader reader;
  if (!os::Exists(path.view()) || !reader.Open(path.c_str())) return nullptr;
  ChainBuilder reasons;
  LineReader::Piece piece;
  LineReader::Status status = reader.Next(&piece);
  for (; status == LineReader::Status::kPiece; status = reader.Next(&piece)) {
    reasons.Append(piece.text);
  }
  return status == LineReader::Status::kEnd ? reasons.Release() : nullptr;
}

}  // namespace qob
