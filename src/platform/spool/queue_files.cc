// Looking after a queue directory. What cannot stay goes to its "corrupt", where nothing is ever
// replaced or removed; "corrupt\report.txt" has a line for each file there, written and flushed
// before the file takes its place, so that none is ever found there unexplained.
#include "platform/spool/queue_files.h"

#include <cstdio>
#include <cstring>
#include <system_error>

#include "platform/os/append.h"
#include "platform/os/directory.h"
#include "platform/os/process.h"
#include "platform/spool/names.h"
#include "platform/spool/store_settings.h"

namespace qob::spool {
namespace {

constexpr char kCorrupt[] = "corrupt";
constexpr char kReport[] = "report.txt";
constexpr char kCounterName[] = "unique.$$$";
constexpr std::size_t kCounterBytes = 4;
constexpr int kCounterWaitMs = 5000;
constexpr int kNameTries = 10000;
constexpr std::size_t kIdDigits = 8;

std::string Joined(std::string_view directory, std::string_view name) {
  std::string path(directory);
  path += '\\';
  path += name;
  return path;
}

// Eight upper-case digits and one of the three extensions.
QueueFile FileOfName(std::string name) {
  QueueFile file;
  file.name = std::move(name);
  const std::string_view view = file.name;
  const std::optional<std::uint32_t> id = ReadId(view.substr(0, kIdDigits));
  if (!id || view.find_first_of("abcdef") < kIdDigits) return file;
  const std::string_view extension = view.substr(kIdDigits);
  if (extension == kMessageFile) file.kind = QueueFileKind::kMessage;
  if (extension == kLockFile) file.kind = QueueFileKind::kLock;
  if (extension == kReasonFile) file.kind = QueueFileKind::kReason;
  if (file.kind != QueueFileKind::kOther) file.id = *id;
  return file;
}

// Names may hold anything; a line of the report holds one line.
void AppendPrintable(std::string_view text, std::string* line) {
  for (const char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    char hex[8];
    std::snprintf(hex, sizeof hex, "\\x%02X", byte);
    if (byte < ' ' || byte >= 127) {
      *line += hex;
    } else {
      *line += c;
    }
  }
}

// 0 when "corrupt" stands as a directory of its own, made when it was missing.
int MakeCorrupt(std::string_view directory, const std::string& corrupt) {
  const int made = os::MakeDirectory(corrupt);
  if (made == 0) {
    // Whoever repairs is often not the one who runs the queue, who must be able to go on here. What
    // of this fails leaves the directory to the one who repairs.
    os::CopyOwner(directory, corrupt);
    os::ShareWithGroup(corrupt, StoreCreateOptions().group);
    return os::FlushDirectory(directory);
  }
  if (made != os::kExists) return made;
  const os::Result<os::FileStatus> status = os::StatusOf(corrupt);
  if (!status) return status.error;
  return status.value.kind == os::FileKind::kDirectory ? 0 : os::kExists;
}

// One append, on stable storage when it returns 0.
int AppendReport(std::string_view directory, const std::string& corrupt, const std::string& line) {
  const std::string path = Joined(corrupt, kReport);
  const bool is_new = !os::StatusOf(path);
  const os::Result<os::Handle> opened = os::OpenForAppend(path);
  if (!opened) return opened.error;
  const os::FileHandle file(opened.value);
  if (is_new) os::CopyOwner(directory, path);
  const os::Result<std::size_t> put = os::AppendOnce(file.get(), line.data(), line.size());
  if (!put) return put.error;
  if (put.value != line.size()) return static_cast<int>(std::errc::no_space_on_device);
  const int error = os::FlushFile(file.get());
  return error != 0 || !is_new ? error : os::FlushDirectory(corrupt);
}

std::string ReportLine(std::string_view name, std::string_view placed, std::string_view text) {
  std::string line = os::LogTimeNow().text;
  line += ' ';
  AppendPrintable(name, &line);
  if (!placed.empty()) {
    line += " -> ";
    AppendPrintable(placed, &line);
  }
  line += ": ";
  AppendPrintable(text, &line);
  line += '\n';
  return line;
}

// Tells of the coming file, then lets place(path) bring it there, by another name as long as one
// stands under it.
template <class Place>
int IntoCorrupt(std::string_view directory, std::string_view name, std::string_view reason,
                std::string* placed, Place&& place) {
  placed->clear();
  const std::string corrupt = Joined(directory, kCorrupt);
  if (const int error = MakeCorrupt(directory, corrupt); error != 0) return error;
  for (int number = 0; number < kNameTries; ++number) {
    std::string wanted(name);
    if (number > 0) wanted += '.' + std::to_string(number);
    const std::string path = Joined(corrupt, wanted);
    if (os::StatusOf(path)) continue;
    int error = AppendReport(directory, corrupt, ReportLine(name, wanted, reason));
    if (error != 0) return error;
    error = place(path);
    if (error == os::kExists) continue;
    if (error != 0) {
      AppendReport(directory, corrupt, ReportLine(wanted, "", "is not there: " + ErrorText(error)));
      return error;
    }
    *placed = path;
    return os::FlushDirectory(corrupt);
  }
  return os::kExists;
}

os::Result<os::FileHandle> OpenAlone(std::string_view path, os::Create create, int wait_ms) {
  os::OpenMode mode;
  mode.access = os::Access::kReadWrite;
  mode.share = os::Share::kNone;
  mode.create = create;
  mode.wait_ms = wait_ms;
  mode.through_links = false;
  const os::Result<os::Handle> opened = os::OpenFile(path, mode);
  if (!opened) return os::Result<os::FileHandle>::Fail(opened.error);
  return {os::FileHandle(opened.value), 0};
}

}  // namespace

os::Result<std::vector<QueueFile>> ListQueueFiles(std::string_view directory) {
  os::Result<std::vector<std::string>> names = os::ListNames(directory, "");
  if (!names) return os::Result<std::vector<QueueFile>>::Fail(names.error);
  os::Result<std::vector<QueueFile>> files;
  files.value.reserve(names.value.size());
  for (std::string& name : names.value) files.value.push_back(FileOfName(std::move(name)));
  return files;
}

int LookAtQueueFiles(
    std::string_view directory,
    const std::function<void(const QueueFile& file, const os::FileStatus& status)>& visit) {
  const os::Result<os::DirectoryView> view = os::DirectoryView::Open(directory);
  if (!view) return view.error;
  std::vector<std::string> names;
  const int error = view.value.ForEachName([&](const char* name) {
    names.emplace_back(name);
    return true;
  });
  if (error != 0) return error;
  for (std::string& name : names) {
    const os::Result<os::FileStatus> status = view.value.Status(name.c_str());
    if (status) visit(FileOfName(std::move(name)), status.value);
  }
  return 0;
}

bool IsTemporaryName(std::string_view name) {
  // What the store is built under, with its own logs; what other files are written under.
  static constexpr char kNewStore[] = "mesg.btr-new";
  return name.starts_with(kNewStore) || (name.starts_with(".qob-") && name.ends_with(".new"));
}

bool IsStaleLock(const os::FileStatus& lock) {
  const std::int64_t boot = os::BootTime();
  return lock.kind == os::FileKind::kFile && boot > 0 && lock.modified < boot;
}

int MoveToCorrupt(std::string_view directory, std::string_view name, std::string_view reason,
                  std::string* placed) {
  const std::string from = Joined(directory, name);
  if (const os::Result<os::FileStatus> status = os::StatusOf(from); !status) return status.error;
  const int error = IntoCorrupt(directory, name, reason, placed, [&](const std::string& path) {
    return os::RenameFile(from, path, false);
  });
  return error != 0 ? error : os::FlushDirectory(directory);
}

int SaveToCorrupt(std::string_view directory, std::string_view name, std::string_view bytes,
                  std::string_view reason, std::string* placed) {
  return IntoCorrupt(directory, name, reason, placed, [&](const std::string& path) {
    if (const int error = os::MakeFileWith(path, bytes); error != 0) return error;
    os::CopyOwner(directory, path);
    return os::FlushPath(path);
  });
}

CounterState LookAtCounter(std::string_view directory, std::uint32_t* value) {
  *value = 0;
  const std::string path = Joined(directory, kCounterName);
  const os::Result<os::FileStatus> status = os::StatusOf(path);
  if (!status)
    return status.error == os::kNotFound ? CounterState::kMissing : CounterState::kUnreadable;
  if (status.value.kind != os::FileKind::kFile) return CounterState::kUnreadable;
  if (status.value.size != kCounterBytes) return CounterState::kWrongSize;
  os::OpenMode mode;
  mode.wait_ms = kCounterWaitMs;
  mode.through_links = false;
  const os::Result<os::Handle> opened = os::OpenFile(path, mode);
  if (!opened) return CounterState::kUnreadable;
  const os::FileHandle file(opened.value);
  unsigned char bytes[kCounterBytes] = {};
  const os::Result<std::size_t> got = os::ReadFileAt(file.get(), bytes, sizeof bytes, 0);
  if (!got || got.value != kCounterBytes) return CounterState::kUnreadable;
  for (std::size_t i = kCounterBytes; i-- > 0;) *value = *value << 8 | bytes[i];
  return CounterState::kGood;
}

int RemakeCounter(std::string_view directory, std::uint32_t value) {
  const os::Result<os::FileHandle> file =
      OpenAlone(Joined(directory, kCounterName), os::Create::kOpenExisting, kCounterWaitMs);
  if (!file) return file.error;
  const os::Result<std::int64_t> size = os::FileSize(file.value.get());
  if (!size) return size.error;
  if (size.value == kCounterBytes) return 0;
  // It keeps its wrong length, and so gives no wrong number, until the last step but one.
  int error = size.value > 0 ? os::CutFile(file.value.get(), 0) : 0;
  if (error != 0) return error;
  unsigned char bytes[kCounterBytes];
  for (std::size_t i = 0; i < kCounterBytes; ++i)
    bytes[i] = static_cast<unsigned char>(value >> (8 * i));
  const os::Result<std::size_t> put = os::WriteFileAt(file.value.get(), bytes, sizeof bytes, 0);
  if (!put) return put.error;
  if (put.value != kCounterBytes) return static_cast<int>(std::errc::no_space_on_device);
  return os::FlushFile(file.value.get());
}

os::Result<QueuePlace> LookAtPlace(std::string_view directory) {
  // A queue directory may be reached through a link of the site's own.
  const os::Result<os::FileStatus> status = os::StatusOf(Joined(directory, "."));
  if (!status) return os::Result<QueuePlace>::Fail(status.error);
  os::Result<QueuePlace> place;
  place.value.status = status.value;
  place.value.writable = os::IsWritableDirectory(directory);
  place.value.file_system = os::FileSystemName(directory);
  place.value.is_volatile = os::IsVolatileFileSystem(directory);
  if (place.value.writable) place.value.lock_error = os::TryLocks(directory);
  return place;
}

os::Result<os::FileStatus> LookAtFile(std::string_view path) { return os::StatusOf(path); }
bool IsMissing(int error) { return error == os::kNotFound; }
std::string OwnerName(const os::FileStatus& file) { return os::OwnerName(file.owner); }
std::string ErrorText(int error) { return std::generic_category().message(error); }
std::int64_t Now() { return os::Now(); }

int RemoveQueueFile(std::string_view path) { return os::RemoveFile(path); }

int MoveQueueFile(std::string_view from_directory, std::string_view to_directory,
                  std::string_view name) {
  const int error = os::RenameFile(Joined(from_directory, name), Joined(to_directory, name), false);
  if (error != 0) return error;
  // The new name first: it may stand in both after a power cut, never in none.
  const int there = os::FlushDirectory(to_directory);
  const int here = os::FlushDirectory(from_directory);
  return there != 0 ? there : here;
}

os::Result<os::FileHandle> TakeRepairTurn(std::string_view directory, int wait_ms) {
  const std::string path = Joined(directory, kTurnFile);
  os::Result<os::FileHandle> turn = OpenAlone(path, os::Create::kOpenExisting, wait_ms);
  if (turn || turn.error != os::kNotFound) return turn;
  const int made = os::MakeEmptyFile(path);
  if (made != 0 && made != os::kExists) return os::Result<os::FileHandle>::Fail(made);
  if (made == 0) os::CopyOwner(directory, path);
  return OpenAlone(path, os::Create::kOpenExisting, wait_ms);
}

bool IsBusy(int error) { return error == os::kSharingViolation; }

}  // namespace qob::spool
