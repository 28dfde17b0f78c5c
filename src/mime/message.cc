// From a file name to a pool of parts.
#include "mime/message.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>

#include "frame/report.h"
#include "lineio/open_file.h"
#include "mime/plain_parser.h"
#include "mime/tree_parser.h"
#include "platform/os/ascii.h"
#include "platform/os/directory.h"

namespace qob {
namespace {

constexpr std::int32_t kFailed = -1;
// Also for a file larger than the positions of the public face reach.
constexpr char kMimeUnreadable[] = "ParseMimeMessage: file cannot be read.";
constexpr char kPlainUnreadable[] = "ParseNonMimeMessage failed: message file cannot be read.";

bool IsNamed(const char* file_name) { return file_name != nullptr && *file_name != '\0'; }

const char* TextOf(TreeParser::Result result) {
  switch (result) {
    case TreeParser::Result::kReadError:
      return "ParseMimeMessage: getline failed.";
    case TreeParser::Result::kNoBoundary:
      return "ParseMimeMessage: boundary line is missing.";
    case TreeParser::Result::kBadBoundary:
      return "ParseMimeMessage: boundary line not valid.";
    case TreeParser::Result::kNotMime:
      return "ParseMimeMessage: not a valid MIME message.";
    case TreeParser::Result::kDone:
    case TreeParser::Result::kBadField:
      break;
  }
  return nullptr;
}

std::int32_t Failed(const char* text) {
  Report(kFailure, "%s", text);
  return kFailed;
}

std::int32_t HandOut(PoolPtr from, MimeMessagePool** pool) {
  *pool = from.release();
  return (*pool)->count;
}

std::int32_t ParseTree(const char* file_name, bool descend, MimeMessagePool** pool) {
  LineReader reader;
  if (!reader.Open(file_name)) return Failed("ParseMimeMessage: fileopen failed.");
  if (reader.size() > kMaxMessageSize) return Failed(kMimeUnreadable);
  TreeParser parser(&reader, file_name, descend);
  const TreeParser::Result result = parser.Parse();
  if (result == TreeParser::Result::kDone) return HandOut(parser.TakePool(), pool);
  const char* text = TextOf(result);
  return text == nullptr ? kFailed : Failed(text);
}

// As FileOpen opens for reading: nobody may be writing the file.
struct UnsharedFile {
  explicit UnsharedFile(const char* file_name) {
    const os::Result<os::Handle> opened = os::OpenFile(file_name, ReadMode(os::Share::kRead));
    if (!opened) {
      Report(kFailure, "CreateFile failed.");
      return;
    }
    file = os::FileHandle(opened.value);
    TraceOpen(file_name, file.get());
  }
  ~UnsharedFile() {
    if (file) TraceClose(file.get());
  }
  UnsharedFile(const UnsharedFile&) = delete;
  UnsharedFile& operator=(const UnsharedFile&) = delete;

  os::FileHandle file;
};

std::int32_t ParsePlain(const char* file_name, PoolPtr built, MimeMessagePool** pool) {
  const UnsharedFile opened(file_name);
  if (!opened.file) return Failed("ParseNonMimeMessage failed: fileopen failed.");
  LineReader reader;
  reader.Attach(opened.file.get());
  if (reader.size() > kMaxMessageSize) return Failed(kPlainUnreadable);
  if (!PlainParser(&reader, file_name, built.get()).Parse()) {
    return Failed("ParseNonMimeMessage failed: getline failed.");
  }
  return HandOut(std::move(built), pool);
}

PoolPtr PoolWithFirstPart(const char* file_name) {
  try {
    PoolPtr pool = NewPool();
    AddPart(pool.get(), file_name, 0);
    return pool;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// What the header says about the message.
enum class Kind { kUnreadable, kNoMemory, kMime, kPlain };

struct HeaderDelete {
  void operator()(addr822* header) const {
    Free822Header(header);
    std::free(header);
  }
};

Kind KindOf(const char* file_name) {
  const std::int32_t handle = fileopen(file_name, 0, 1);
  if (handle == -1) return Kind::kUnreadable;
  const std::unique_ptr<addr822, HeaderDelete> header(New822Header());
  std::int32_t lines = 0;
  std::int32_t status_line = 0;
  const bool parsed =
      header != nullptr && ParseHdr(handle, header.get(), &lines, &status_line) != 0;
  fileclose(handle);
  if (header == nullptr) return Kind::kNoMemory;
  const bool mime =
      parsed && header->mimeVersion != nullptr && ascii::StartsWithFold(header->mimeVersion, "1.");
  return mime ? Kind::kMime : Kind::kPlain;
}

}  // namespace

std::int32_t ReadMimeMessage(const char* file_name, bool descend, MimeMessagePool** pool) noexcept {
  if (!IsNamed(file_name)) return Failed("ParseMimeMessage: filename not valid.");
  try {
    if (!os::IsReadableFile(file_name)) return Failed(kMimeUnreadable);
    return ParseTree(file_name, descend, pool);
  } catch (...) {
    return Failed("ParseMimeMessage: out of memory.");
  }
}

std::int32_t ReadPlainMessage(const char* file_name, MimeMessagePool** pool) noexcept {
  if (!IsNamed(file_name)) return kFailed;
  try {
    if (!os::IsReadableFile(file_name)) return Failed(kPlainUnreadable);
    PoolPtr built = PoolWithFirstPart(file_name);
    if (built == nullptr) return Failed("ParseNonMimeMessage failed. out of memory.");
    return ParsePlain(file_name, std::move(built), pool);
  } catch (...) {
    return Failed("ParseNonMimeMessage failed: out of memory.");
  }
}

std::int32_t ReadMessage(const char* file_name, std::int32_t flags,
                         MimeMessagePool** pool) noexcept {
  try {
    if (!IsNamed(file_name) || !os::IsReadableFile(file_name)) return kFailed;
    switch (KindOf(file_name)) {
      case Kind::kUnreadable:
        return kFailed;
      case Kind::kNoMemory:
        return Failed("MimeParseMessage failed: out of memory.");
      case Kind::kMime:
        return ReadMimeMessage(file_name, flags != 0, pool);
      case Kind::kPlain:
        break;
    }
    return ReadPlainMessage(file_name, pool);
  } catch (...) {
    return Failed("MimeParseMessage failed: out of memory.");
  }
}

}  // namespace qob
