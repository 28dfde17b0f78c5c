// A store's file and its log with bytes changed, moved and cut: opening, finding, walking and
// checking never crash, hang or write; a file that is refused is left byte for byte; writing to one
// that is not refused never crashes.
//
// Input: byte 0 chooses the files that are changed (bit 0: all in the file, or the last commits in
// the log). Then edits of 6 bytes: what (bit 0: file or log; the rest modulo 5 is set, add, cut,
// copy a page, fill with zeros), offset (3 bytes, little-endian), value, length.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "crash/ledger.h"
#include "platform/store/record_file.h"

namespace {

namespace fs = std::filesystem;
using namespace qob::store;
using qob::crash::kRecordBytes;

constexpr int kRecords = 30;
constexpr int kInLog = 8;
constexpr int kMostSteps = 10000;  // of a walk over so few records
constexpr std::size_t kPage = 4096;

struct Files {
  std::string store, log;
  bool operator==(const Files&) const = default;
};

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}
void WriteAll(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

class Place {
 public:
  Place() {
    std::string pattern =
        fs::exists("/dev/shm") ? "/dev/shm/qobfuzz-XXXXXX" : "/tmp/qobfuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    root_ = pattern;
    SetWaitMs(20);
    SetLogLimitPages(100000);
    if (RecordFile::Create(path(), qob::crash::TrialDescription(), {}) != kOk) std::abort();
    Fill(0, kRecords - kInLog, true);
    files_[0] = Read();
    Fill(kRecords - kInLog, kRecords, false);
    files_[1] = Read();
  }
  ~Place() { fs::remove_all(root_); }
  std::string path() const { return root_ + "/x.btr"; }
  const Files& files(int which) const { return files_[static_cast<std::size_t>(which)]; }

  void Write(const Files& files) const {
    fs::remove(path() + "-shm");
    WriteAll(path(), files.store);
    WriteAll(path() + "-wal", files.log);
  }
  Files Read() const { return {ReadAll(path()), ReadAll(path() + "-wal")}; }

 private:
  void Fill(int from, int to, bool checkpoint) const {
    std::shared_ptr<RecordFile> file;
    if (RecordFile::Open(path(), {}, &file) != kOk) std::abort();
    for (int i = from; i < to; ++i) {
      Entry entry;
      const auto id = static_cast<std::uint32_t>(i);
      if (file->Insert(qob::crash::RecordOf(0, i, id + 1), &entry) != kOk) std::abort();
      if (i % 5 == 0 && file->AddMark("channel", id) != kOk) std::abort();
      if (i % 7 == 0 && file->PutNote(id, std::string(900, 'n')) != kOk) std::abort();
    }
    if (checkpoint && file->Checkpoint() != kOk) std::abort();
  }

  std::string root_;
  std::array<Files, 2> files_;
};

Place& ThePlace() {
  static Place place;
  return place;
}

void Edit(const std::uint8_t* edit, std::string* bytes) {
  const std::size_t offset =
      (std::size_t{edit[1]} | std::size_t{edit[2]} << 8 | std::size_t{edit[3]} << 16) %
      (bytes->size() + 1);
  const std::size_t length = std::min<std::size_t>(edit[5], bytes->size() - offset);
  switch (edit[0] / 2 % 5) {
    case 0:
      for (std::size_t i = 0; i < length; ++i) (*bytes)[offset + i] = static_cast<char>(edit[4]);
      break;
    case 1:
      if (length > 0) (*bytes)[offset] = static_cast<char>((*bytes)[offset] + edit[4]);
      break;
    case 2:
      bytes->resize(offset);
      break;
    case 3: {
      const std::size_t from = edit[4] * kPage;
      const std::size_t to = offset / kPage * kPage;
      if (from + kPage <= bytes->size() && to + kPage <= bytes->size()) {
        bytes->replace(to, kPage, bytes->substr(from, kPage));
      }
      break;
    }
    default:
      for (std::size_t i = 0; i < length; ++i) (*bytes)[offset + i] = '\0';
      break;
  }
}

void ReadEverything(RecordFile& file) {
  const std::size_t size = file.description().record_bytes;
  std::string buffer(size, '\0');
  const std::span<std::byte> record = std::as_writable_bytes(std::span(buffer.data(), size));
  Entry entry;
  for (int index = 0; index < file.description().index_count; ++index) {
    Status status = file.Find(index, Seek::kFirst, "", &entry, record);
    for (int step = 0; status == kOk; ++step) {
      if (step > kMostSteps) std::abort();
      const std::string key = entry.key;
      status = file.Next(index, key, entry.number, &entry, record);
    }
    for (const char* key : {"w0k3", "queue1", "s"}) {
      for (Seek seek : {Seek::kEqual, Seek::kGreater, Seek::kGreaterOrEqual}) {
        file.Find(index, seek, key, &entry, record);
      }
    }
  }
  for (std::int64_t number : {1, 20, 28, 1000}) file.Read(number, 0, &entry, record);
  std::int64_t count = 0;
  file.Count(&count);
  file.Snapshot([](const RecordFile::Seen&) { return true; });
  file.AllMarks([](const Mark&) { return true; });
  Mark mark;
  file.NextMark("channel", 0, &mark);
  std::string note;
  for (std::uint32_t id : {0u, 7u, 28u}) file.GetNote(id, &note);
  std::string problem;
  file.Check(&problem, nullptr);
}

void Change(RecordFile& file) {
  Entry entry;
  std::string buffer(file.description().record_bytes, 'x');
  const std::span<std::byte> record =
      std::as_writable_bytes(std::span(buffer.data(), buffer.size()));
  file.Insert(record, &entry);
  if (file.Find(0, Seek::kFirst, "", &entry, record) == kOk) {
    file.Update(&entry, record);
    file.Delete(entry);
  }
  file.AddMark("channel", 4711);
  file.RemoveMark("channel", 5);
  file.PutNote(7, "another");
  file.RemoveNote(14);
  file.Checkpoint();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 600) return 0;
  Place& place = ThePlace();
  Files files = place.files(data[0] & 1);
  for (std::size_t at = 1; at + 6 <= size; at += 6) {
    Edit(data + at, (data[at] & 1) == 0 ? &files.store : &files.log);
  }
  place.Write(files);
  std::shared_ptr<RecordFile> file;
  const Status opened = RecordFile::Open(place.path(), {}, &file);
  if (opened == kOk) ReadEverything(*file);
  if (place.Read() != files) std::abort();  // nobody wrote yet
  if (opened == kOk) Change(*file);
  return 0;
}
