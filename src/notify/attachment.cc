#include "notify/attachment.h"

#include <array>
#include <string>

#include <qob3xapi/magic.h>

#include "charset/word_encoder.h"
#include "frame/report.h"
#include "platform/os/file.h"
#include "platform/os/file_status.h"
#include "platform/os/path.h"
#include "platform/spool/message_record.h"

namespace qob::notify {
namespace {

constexpr std::size_t kBlock = 16 * 1024;
constexpr std::size_t kExtensionBytes = 9;

struct Kind {
  std::string type;
  std::string subtype;
  std::string encoding;
};

// What stands behind the last dot of the file name; empty when there is none.
std::string Extension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return {};
  const std::string_view extension = name.substr(dot + 1, kExtensionBytes);
  return std::string(extension.substr(0, extension.find(' ')));
}

Kind BinaryKind(std::string_view name) {
  const std::string extension = Extension(name);
  MagicRecordBuffer found{};
  if (!extension.empty() && GetMagicFromExtension(extension.c_str(), &found.record) == 0) {
    // A field that fills its place has no end of its own.
    const Kind kind = {std::string(spool::FieldText(found.record.contentType)),
                       std::string(spool::FieldText(found.record.contentSubtype)),
                       std::string(spool::FieldText(found.record.textA))};
    if (!kind.type.empty() && !kind.subtype.empty() && !kind.encoding.empty()) return kind;
  }
  return {"application", "x-unknown", "base64"};
}

enum class Bytes {
  kText,
  kBinary,
  kNoFile  // a pipe gives its bytes once, and a device may have no end: neither is read
};

Bytes BytesOf(const char* path) {
  os::OpenMode mode;
  mode.sequential = true;
  const os::Result<os::Handle> opened = os::OpenFile(path, mode);
  if (!opened) {
    Report(kFailure, "IsFileAscii: failed to open file %.256s, error #%d", path, opened.error);
    return Bytes::kText;
  }
  const os::FileHandle file(opened.value);
  const os::Result<os::FileStatus> status = os::StatusOfOpenFile(file.get());
  if (status && status.value.kind != os::FileKind::kFile) return Bytes::kNoFile;
  for (std::array<char, kBlock> block;;) {
    const os::Result<std::size_t> got = os::ReadFile(file.get(), block.data(), block.size());
    if (!got) return Bytes::kBinary;
    if (HasEightBit({block.data(), got.value})) {
      Report(kDetail, "IsFileAscii: file contains binary data - using base64");
      return Bytes::kBinary;
    }
    if (got.value < block.size()) break;
  }
  Report(kDetail, "file is ASCII");
  return Bytes::kText;
}

}  // namespace

std::int32_t IsFileAscii(const char* path) { return BytesOf(path) == Bytes::kText ? 1 : 0; }

BuiltFile AttachmentPart(const char* path) {
  const std::string_view name = os::FileNamePart(path);
  const std::string parameter = "name=\"" + std::string(name) + '"';
  const Bytes bytes = BytesOf(path);
  if (bytes == Bytes::kNoFile) return nullptr;
  const Kind kind = bytes == Bytes::kText ? Kind{"text", "basic", "7bit"} : BinaryKind(name);
  return BuildPart(kind.type.c_str(), kind.subtype.c_str(), kind.encoding.c_str(), path,
                   OneText(parameter.c_str()).chain());
}

}  // namespace qob::notify
