// Turns a body-part record into files.
#include "mime/body.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <qob3xapi/lineio.h>
#include <qob3xapi/macfile.h>

#include "charset/body_decoder.h"
#include "charset/word_decoder.h"
#include "charset/word_settings.h"
#include "frame/heap.h"
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"
#include "lineio/open_file.h"
#include "mime/part_pool.h"
#include "platform/os/ascii.h"
#include "platform/os/directory.h"
#include "util/temp_file.h"
#include "util/uudecode.h"

namespace qob {
namespace {

constexpr char kBodyPrefix[] = "MIME";
constexpr char kOwnTextPrefix[] = "mime";

// A new temporary file under construction, gone again unless it is handed out. It is made as a new
// file: a file that took the name since the name was found free stays untouched, and another name
// is tried.
class Output {
 public:
  // False when it cannot be made.
  bool Create(const char* prefix) {
    for (int tried = 0; tried < kNamesTried; ++tried) {
      std::string path = TempName(prefix);
      if (path.empty()) return false;
      const os::Result<os::Handle> made =
          os::OpenFile(path, {os::Access::kWrite, os::Share::kRead, os::Create::kNew});
      if (made) {
        name_.emplace(std::move(path));
        file_ = os::FileHandle(made.value);
        writer_.Attach(made.value);
        return true;
      }
      if (made.error == os::kExists) continue;
      os::RemoveFile(path);  // it may stand although it could not be opened as wanted
      return false;
    }
    return false;
  }
  FileWriter& writer() { return writer_; }
  // True when everything stands on disk.
  bool Close() {
    const bool written = writer_.Close();
    return os::CloseFile(file_.Release()) == 0 && written;
  }
  // The name for the caller; null, and no file, without memory for it.
  char* HandOut() { return name_->HandOut(); }

 private:
  static constexpr int kNamesTried = 10;

  std::optional<TempFile> name_;
  os::FileHandle file_;  // closed before the file is removed
  FileWriter writer_;
};

enum class Decoder { kNone, kBase64, kQuotedPrintable, kUuencode, kBinHex };

// The first capital U, or without one the first u, begins "uue"; so does the first u of either
// case.
bool NamesUuencode(std::string_view encoding) {
  const std::size_t first = encoding.find_first_of("Uu");
  if (first == std::string_view::npos) return false;
  const std::size_t capital = encoding.find('U');
  return ascii::StartsWithFold(encoding.substr(first), "uue") ||
         (capital != std::string_view::npos &&
          ascii::StartsWithFold(encoding.substr(capital), "uue"));
}

Decoder DecoderOf(const MimeBodyPart& part) {
  const std::string_view encoding =
      part.contentTransferEncoding == nullptr ? "7bit" : part.contentTransferEncoding;
  if (ascii::EqualFold(encoding, "base64")) return Decoder::kBase64;
  if (ascii::EqualFold(encoding, "quoted-printable")) return Decoder::kQuotedPrintable;
  if (NamesUuencode(encoding)) return Decoder::kUuencode;
  if (TextIs(part.contentSubtype, "mac-binhex40")) return Decoder::kBinHex;
  return Decoder::kNone;
}

void ReplaceTrueName(MimeBodyPart* part, HeapText name) {
  std::free(part->trueName);
  part->trueName = name.release();
}

// What a decoder made of the body: a name, or the word that the body is to be delivered as it
// stands, or a failure for good.
struct Decoded {
  char* name = nullptr;
  bool deliver_raw = false;
};
constexpr Decoded kUndecodable{nullptr, true};

Decoded DecodeTransfer(const MimeBodyPart& part, Decoder decoder, os::Handle source) {
  Output output;
  if (!output.Create(kBodyPrefix)) return {};
  const std::int64_t size = std::int64_t{part.contentEnd} - part.bodyStart;
  if (!os::SeekFile(source, part.bodyStart, os::From::kStart)) return kUndecodable;
  const int result = decoder == Decoder::kBase64
                         ? DecodeBase64Body(source, size, &output.writer())
                         : DecodeQuotedPrintableBody(source, size, &output.writer());
  if (result != 1 || !output.Close()) return kUndecodable;
  return {output.HandOut(), false};
}

Decoded DecodeUuencode(MimeBodyPart* part) {
  LineReader reader;
  if (!reader.Open(part->fileName)) return {};
  Output output;
  if (!output.Create(kBodyPrefix)) return {};
  std::string name;
  const std::int64_t size = std::int64_t{part->contentEnd} - part->bodyStart;
  const bool complete =
      reader.Seek(part->bodyStart) && UudecodeRange(reader, size, true, output.writer(), &name);
  if (!complete || !output.Close()) {
    ReplaceTrueName(part, nullptr);
    return kUndecodable;
  }
  if (!name.empty()) SetText(&part->trueName, name);
  return {output.HandOut(), false};
}

Decoded DecodeBinHex(MimeBodyPart* part) {
  const std::int32_t handle = fileopen(part->fileName, 0, 1);
  if (handle == -1) return {};
  char* output_name = nullptr;
  char* binhex_name = nullptr;
  int result = -1;
  if (part->bodyStart >= 0 && setfpos(handle, part->bodyStart) == part->bodyStart) {
    result = ConvertBinHexToAS(part->fileName, handle, part->contentEnd - part->bodyStart,
                               &output_name, &binhex_name);
  }
  fileclose(handle);
  ReplaceTrueName(part, HeapText(result == 0 ? binhex_name : nullptr));
  return result == 0 ? Decoded{output_name, false} : kUndecodable;
}

// [from, to) of the source as it stands, or as much of it as there is.
bool CopyRange(os::Handle source, std::int64_t from, std::int64_t to, FileWriter* writer) {
  if (!os::SeekFile(source, from, os::From::kStart)) return false;
  while (from < to) {
    const std::size_t wanted = static_cast<std::size_t>(
        std::min<std::int64_t>(to - from, static_cast<std::int64_t>(FileWriter::kBufferSize)));
    char* room = writer->Reserve(wanted);
    if (room == nullptr) return false;
    const os::Result<std::size_t> got = os::ReadFile(source, room, wanted);
    if (!got) return false;
    writer->Advance(got.value);
    if (got.value < wanted) break;
    from += static_cast<std::int64_t>(wanted);
  }
  return true;
}

char* CopyVerbatim(const MimeBodyPart& part, bool raw, os::Handle source) {
  Output output;
  if (!output.Create(kBodyPrefix)) return nullptr;
  if (!CopyRange(source, raw ? part.contentStart : part.bodyStart, part.contentEnd,
                 &output.writer()))
    return nullptr;
  return output.Close() ? output.HandOut() : nullptr;
}

// Writes lines with their encoded words decoded. The settings are read when the first word is met.
class HeaderWriter {
 public:
  explicit HeaderWriter(FileWriter* writer) : writer_(writer) {}

  bool Write(std::string_view line) {
    if (line.find("=?") == std::string_view::npos) return writer_->Write(line);
    if (!settings_) settings_ = ReadDecodingSettings();
    char* room = writer_->Reserve(line.size());
    if (room == nullptr) return false;
    writer_->Advance(DecodeWords(line, *settings_, room));
    return true;
  }

 private:
  FileWriter* writer_;
  std::optional<DecodingSettings> settings_;
};

// The lines of [bodyStart, contentEnd) that lie outside the children.
bool WriteOwnText(const MimeBodyPart& part, LineReader* reader, FileWriter* writer) {
  if (!reader->Seek(part.bodyStart)) return false;
  const std::int32_t children = ChildCount(part);
  std::int32_t next = 0;
  LineReader::Piece piece;
  while (reader->position() < part.contentEnd) {
    const LineReader::Status status = reader->Next(&piece);
    if (status != LineReader::Status::kPiece) return status == LineReader::Status::kEnd;
    if (next == children || part.children[next] == nullptr ||
        piece.end <= part.children[next]->bodyStart) {
      if (!writer->Write(piece.text)) return false;
    } else if (!reader->Seek(part.children[next++]->contentEnd)) {
      return false;
    }
  }
  return true;
}

// A read error ends the block as the end of the file does: what was read of the header is
// delivered.
bool WriteHeader(const MimeBodyPart& part, LineReader* reader, FileWriter* writer) {
  if (!reader->Seek(part.contentStart)) return true;
  HeaderWriter decoded(writer);
  bool envelope_line = false;
  LineReader::Piece piece;
  while (reader->Next(&piece) == LineReader::Status::kPiece) {
    if (piece.at_line_start)
      envelope_line = piece.text.starts_with("#F") || piece.text.starts_with("#R");
    if (!envelope_line && !decoded.Write(piece.text)) return false;
    if (piece.end >= part.bodyStart) break;
  }
  return true;
}

}  // namespace

char* ExtractBody(MimeBodyPart* part, bool raw, os::Handle file) {
  if (part->contentEnd < part->bodyStart) return nullptr;
  os::FileHandle own;
  if (file == os::kNoHandle) {
    if (part->fileName == nullptr) return nullptr;
    const os::Result<os::Handle> opened =
        os::OpenFile(part->fileName, ReadMode(os::Share::kReadWrite));
    if (!opened) return nullptr;
    own = os::FileHandle(opened.value);
    file = own.get();
  }
  Decoded decoded = kUndecodable;
  if (!raw && part->contentEnd > part->bodyStart) {
    switch (const Decoder decoder = DecoderOf(*part)) {
      case Decoder::kBase64:
      case Decoder::kQuotedPrintable:
        decoded = DecodeTransfer(*part, decoder, file);
        break;
      case Decoder::kUuencode:
        decoded = DecodeUuencode(part);
        break;
      case Decoder::kBinHex:
        decoded = DecodeBinHex(part);
        break;
      case Decoder::kNone:
        break;
    }
  }
  return decoded.deliver_raw ? CopyVerbatim(*part, raw, file) : decoded.name;
}

char* ExtractOwnText(const MimeBodyPart& part) {
  if (part.contentEnd <= part.bodyStart || part.fileName == nullptr) return nullptr;
  LineReader reader;
  Output output;
  if (!reader.Open(part.fileName) || !output.Create(kOwnTextPrefix)) return nullptr;
  return WriteOwnText(part, &reader, &output.writer()) && output.Close() ? output.HandOut()
                                                                         : nullptr;
}

char* ExtractHeader(const MimeBodyPart& part) {
  if (part.contentStart >= part.contentEnd || part.fileName == nullptr) return nullptr;
  Output output;
  LineReader reader;
  if (!output.Create(kBodyPrefix) || !reader.Open(part.fileName)) return nullptr;
  return WriteHeader(part, &reader, &output.writer()) && output.Close() ? output.HandOut()
                                                                        : nullptr;
}

}  // namespace qob
