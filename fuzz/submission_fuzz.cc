// A message's way into the queue: any bytes are copied as a plain model copies them, with the dates
// of the header rewritten and nothing else changed, and the header is searched for the fields that
// the model finds. The same bytes as a recipient give one address at least, as a sender one text.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <qobplatform/logapi.h>

#include "dates/date.h"
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"
#include "platform/os/process.h"
#include "queue/message_source.h"
#include "queue/submission_address.h"

namespace {

void Require(bool claim, unsigned line = __builtin_LINE()) {
  if (claim) return;
  std::fprintf(stderr, "line %u does not hold\n", line);
  std::abort();
}

void NoLog(void*, std::int32_t, const char*, const char*) {}

bool BeginsWith(std::string_view line, std::string_view lower_name) {
  if (line.size() < lower_name.size()) return false;
  for (std::size_t i = 0; i < lower_name.size(); ++i) {
    const char c = line[i];
    if ((c >= 'A' && c <= 'Z' ? c + 32 : c) != lower_name[i]) return false;
  }
  return true;
}

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t feed = text.find('\n');
    const std::size_t size = feed == std::string_view::npos ? text.size() : feed + 1;
    lines.push_back(text.substr(0, size));
    text.remove_prefix(size);
  }
  return lines;
}

std::string_view Unended(std::string_view line) {
  if (line.ends_with("\r\n")) return line.substr(0, line.size() - 2);
  return line.ends_with('\n') ? line.substr(0, line.size() - 1) : line;
}

std::string DateText(const std::string& value) {
  UtcDate date{};
  if (!qob::ParseRfcDate(value, &date)) Require(qob::CurrentDate(&date));
  char text[qob::kDateTextSize];
  Require(qob::FormatRfcDate(&date, text));
  return text;
}

std::string Copied(std::string_view message) {
  const std::vector<std::string_view> lines = Lines(message);
  std::string copy;
  bool header = true;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string name = !header                                ? ""
                             : BeginsWith(lines[i], "date:")        ? "Date:"
                             : BeginsWith(lines[i], "resent-date:") ? "Resent-date:"
                                                                    : "";
    header = header && lines[i] != "\r\n";
    if (name.empty()) {
      copy += lines[i];
      continue;
    }
    std::string value(Unended(lines[i].substr(name.size())));
    while (i + 1 < lines.size() && (lines[i + 1][0] == ' ' || lines[i + 1][0] == '\t')) {
      value += Unended(lines[++i]);
    }
    copy += name + " " + DateText(value.substr(0, 64512)) + "\r\n";
  }
  return copy;
}

qob::FieldsPresent Found(std::string_view message) {
  qob::FieldsPresent found;
  for (std::string_view line : Lines(message)) {
    std::string_view seen = line.substr(0, line.find('\0'));
    if (seen.ends_with('\n')) seen.remove_suffix(1);
    // A line that getline gives in pieces is looked at up to the first one's end.
    const bool whole = line.size() <= 1024 && line.ends_with('\n');
    if (seen.empty() || (whole && seen.rfind('\r') == 0)) break;
    found.mime_version |= BeginsWith(line, "mime-version:");
    found.date |= BeginsWith(line, "date:");
    found.message_id |= BeginsWith(line, "message-id:");
  }
  return found;
}

class MemoryFile {
 public:
  MemoryFile() : fd_(memfd_create("submission", MFD_CLOEXEC)) { Require(fd_ >= 0); }
  ~MemoryFile() { close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  int get() const { return fd_; }
  void Fill(std::string_view bytes) const {
    Require(ftruncate(fd_, 0) == 0 && lseek(fd_, 0, SEEK_SET) == 0);
    Require(pwrite(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  }
  std::string Bytes() const {
    std::string bytes(static_cast<std::size_t>(lseek(fd_, 0, SEEK_END)), '\0');
    Require(pread(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    return bytes;
  }

 private:
  int fd_;
};

void TryMessage(std::string_view message) {
  static const MemoryFile source;
  static const MemoryFile target;
  source.Fill(message);
  target.Fill("");
  qob::LineReader reader;
  reader.Attach(source.get());
  qob::FieldsPresent present;
  Require(qob::LookForFields(&reader, &present));
  const qob::FieldsPresent wanted = Found(message);
  Require(present.mime_version == wanted.mime_version && present.date == wanted.date &&
          present.message_id == wanted.message_id);
  qob::FileWriter writer;
  writer.Attach(target.get());
  Require(qob::CopyMessage(&reader, &writer));
  Require(writer.Flush());
  Require(target.Bytes() == Copied(message));
}

void TryAddresses(const std::string& text) {
  const std::string_view address = text.c_str();
  std::size_t count = 0;
  qob::ForEachRecipient(address, "home.example", [&](std::string&&) { ++count; });
  Require(count > 0);
  const qob::SenderAddress sender = qob::ReadSender(address);
  Require(!sender.text.empty() || address.empty());
  Require(sender.domain.empty() || sender.text.ends_with("@" + sender.domain));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool ready = [] {
    LogSetSink(&NoLog, nullptr);
    setenv("TZ", "UTC0", 1);
    qob::os::SetClock([] { return std::int64_t{1'794'738'245}; });
    return true;
  }();
  Require(ready);
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  TryMessage(bytes);
  if (size <= 4096) TryAddresses(bytes);
  return 0;
}
