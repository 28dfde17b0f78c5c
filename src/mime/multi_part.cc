#include "mime/multi_part.h"

#include <array>
#include <cstdio>

#include "frame/config.h"
#include "lineio/line_reader.h"
#include "mime/copy_lines.h"
#include "mime/new_message.h"
#include "platform/os/ascii.h"
#include "platform/os/directory.h"
#include "platform/os/process.h"

namespace qob {
namespace {

constexpr std::string_view kPreamble =
    "This is a Mime message, which your current mail reader\r\n"
    "may not understand. Parts of the message will appear as\r\n"
    "text. To process the remainder, you will need to use a Mime\r\n"
    "compatible mail reader. Contact your vendor for details.\r\n";
constexpr std::size_t kPathBytes = 260;

// Two messages of one thread within one second share it.
std::string NewBoundary() {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "QOB.Boundary.%08X%08X", static_cast<unsigned>(os::Now()),
                static_cast<unsigned>(os::ThreadId()));
  return text.data();
}

// Ends the header. A preamble file that vanishes after it was found leaves that to the first
// delimiter.
bool WritePreamble(FileWriter& out) {
  const std::string path = ConfigText("Options", "mimePreambleFile", "none", kPathBytes);
  if (ascii::EqualFold(path, "none") || !os::IsReadableFile(path)) {
    out.Write("\r\n");
    return out.Write(kPreamble);
  }
  LineReader in;
  if (!in.Open(path.c_str())) return true;
  out.Write("\r\n");
  return CopyRest(in, out);
}

bool WriteContentHeader(const MultiPart& message, const std::string& boundary,
                        const EncodingSettings& settings, FileWriter& out) {
  out.Write("Content-type: multipart/");
  out.Write(message.subtype == nullptr ? "mixed" : message.subtype);
  out.Write("; boundary=\"");
  out.Write(boundary);
  out.Write("\"");
  WriteParameters(message.parameters, settings, out);
  out.Write("\r\n");
  const HeaderFields& header = message.header;
  const bool bare = header.from == nullptr && header.to == nullptr && header.cc == nullptr &&
                    header.subject == nullptr;
  return bare || WritePreamble(out);
}

bool WriteParts(const MultiPart& message, const std::string& boundary, FileWriter& out) {
  if (message.part_files == nullptr) return true;
  for (const char* const* file = message.part_files; *file != nullptr; ++file) {
    LineReader in;
    if (!in.Open(*file)) return false;
    if (!boundary.empty()) out.Write("\r\n--" + boundary + "\r\n");
    if (!CopyRest(in, out)) return false;
  }
  return true;
}

bool WriteMessage(const MultiPart& message, FileWriter& out) {
  const BuildSettings settings = ReadBuildSettings();
  WriteMessageHeader(message.header, settings, out);
  if (message.flags != 0) return WriteParts(message, "", out);
  const std::string boundary = NewBoundary();
  return WriteContentHeader(message, boundary, settings.encoding, out) &&
         WriteParts(message, boundary, out) && out.Write("\r\n--" + boundary + "--\r\n");
}

}  // namespace

TempFile BuildMultiPart(const MultiPart& message) {
  return NewMessage([&](FileWriter& out) { return WriteMessage(message, out); });
}

}  // namespace qob
