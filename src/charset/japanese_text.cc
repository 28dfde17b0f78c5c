#include "charset/japanese_text.h"

#include "charset/jis_to_shift_jis.h"
#include "charset/shift_jis_to_jis.h"
#include "frame/report.h"
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"
#include "platform/os/directory.h"
#include "util/temp_file.h"

namespace qob {
namespace {

constexpr char kPrefix[] = "MIME";

// The text in a new temporary file; an empty name when that fails.
TempFile Spooled(std::string_view text) {
  TempFile file(TempName(kPrefix));
  if (!file) return file;
  FileWriter writer;
  const bool written = writer.Create(file.path().c_str()) && writer.Write(text) && writer.Close();
  return written ? std::move(file) : TempFile();
}

// What stands in a file, NUL-terminated; null when it is empty or cannot be read.
HeapText WholeFile(const std::string& path) {
  const os::Result<os::Handle> opened = os::OpenFile(path, {});
  if (!opened) return nullptr;
  const os::FileHandle file(opened.value);
  const os::Result<std::int64_t> size = os::FileSize(file.get());
  if (!size || size.value == 0) return nullptr;
  const std::size_t bytes = static_cast<std::size_t>(size.value);
  HeapText text(static_cast<char*>(std::malloc(bytes + 1)));
  if (text == nullptr) return nullptr;
  const os::Result<std::size_t> got = os::ReadFile(file.get(), text.get(), bytes);
  if (!got || got.value != bytes) return nullptr;
  text.get()[bytes] = '\0';
  return text;
}

bool JisFileToShiftJis(const char* from, bool repair, const char* to) {
  const os::Result<std::int64_t> size = os::SizeOf(from);
  LineReader reader;
  FileWriter writer;
  return size && reader.Open(from) && writer.Create(to, true) &&
         JisToShiftJis(reader, size.value, repair, writer) && writer.Close();
}

// convert(from, to) on files of the temporary directory.
template <class Convert>
HeapText Converted(std::string_view text, Convert&& convert) {
  TempFile from = Spooled(text);
  if (!from) return nullptr;
  const TempFile to(TempName(kPrefix));
  if (!to || !convert(from.path().c_str(), to.path().c_str())) return nullptr;
  from.RemoveNow();
  return WholeFile(to.path());
}

bool Fail(const char* text) {
  Report(kFailure, "%s", text);
  return false;
}

}  // namespace

HeapText ShiftJisTextOf(std::string_view jis, bool repair) {
  return Converted(
      jis, [&](const char* from, const char* to) { return JisFileToShiftJis(from, repair, to); });
}

HeapText JisTextOf(std::string_view shift_jis) {
  return Converted(shift_jis, [](const char* from, const char* to) {
    const os::Result<os::Handle> opened = os::OpenFile(from, {});
    if (!opened) return false;
    const os::FileHandle file(opened.value);
    return ShiftJisFileToJis(file.get(), std::nullopt, to);
  });
}

bool ShiftJisFileToJis(os::Handle from, std::optional<std::string_view> invalid_mark,
                       const char* to) {
  LineReader reader;
  reader.Attach(from);
  FileWriter writer;
  return writer.Create(to, true) && ShiftJisToJis(reader, invalid_mark, writer) && writer.Close();
}

bool ConvertMessageFile(const char* path, bool repair) {
  TempFile copy(TempName(kPrefix));
  if (!copy) return Fail("out of memory");
  {
    FileWriter writer;
    if (!writer.Create(copy.path().c_str(), true)) return Fail("filecreate failed.");
    LineReader reader;
    if (!reader.Open(path)) return Fail("fileopen failed.");
    const os::Result<std::int64_t> size = os::SizeOf(path);
    // On stable storage before it takes the message's place: a power cut leaves one or the other.
    if (!size || !JisToShiftJis(reader, size.value, repair, writer) || !writer.Flush() ||
        os::FlushFile(writer.handle()) != 0 || !writer.Close() ||
        os::CopyMode(path, copy.path()) != 0) {
      return Fail("JIS2ShiftJIS conversion failed.");
    }
  }
  if (os::RenameFile(copy.path(), path, true) != 0) return Fail("JIS2ShiftJIS conversion failed.");
  copy.Forget();
  return true;
}

}  // namespace qob
