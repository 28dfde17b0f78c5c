// One open file behind either exported face: a 4096-byte block of read-ahead or write-behind, and
// the calls that work on it. The record callers see comes first; the full 64-bit position stands
// behind it.
//
// Reading and writing use the same fields with two meanings of `count` (valid bytes, free bytes),
// so an object does one of them: the other's calls are refused.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include <qob3xapi/lineio.h>

#include "lineio/line_index.h"
#include "platform/os/file.h"

namespace qob {

inline constexpr std::int32_t kIoBlock = 4096;
inline constexpr std::size_t kLineLimit = 1024;
inline constexpr std::uint32_t kReadAccess = 0x80000000U;
inline constexpr std::uint32_t kWriteAccess = 0x40000000U;

struct FileObject {
  QOB_FILE face;
  std::int64_t position;  // face.position shows its low 32 bits
  LineIndex lines;        // of a reader's block
};
static_assert(std::is_standard_layout_v<FileObject> && offsetof(FileObject, face) == 0);

inline FileObject* ObjectOf(QOB_FILE* file) { return reinterpret_cast<FileObject*>(file); }

// Null when memory is exhausted; the handle is then still the caller's.
FileObject* NewFileObject(os::Handle file, std::uint32_t access, std::int32_t buffered,
                          const char* path);
// Frees the object, then closes its file; pending output is lost.
void DiscardFileObject(FileObject* object);
// Writes the pending output of a writer whose flag is exactly 1, then as DiscardFileObject.
void CloseFileObject(FileObject* object);

// What the exported calls of those names do with one object; results as theirs.
inline std::int32_t ReadLine(FileObject& object, char** line);
std::int32_t ReadByte(FileObject& object);
void StepBack(FileObject& object);
std::int32_t WriteText(FileObject& object, std::string_view text);
std::int32_t WriteByte(FileObject& object, std::int32_t character);
std::int32_t SeekTo(FileObject& object, std::int32_t position);
std::int32_t PositionOf(const FileObject& object);

// The pieces of ReadLine for the library's own use: by length, without a copy where the piece
// stands whole in the block, and without losing the last piece of a file that ends with a full
// block. Result as ReadLine; *text is good until the next call on the object.
std::int32_t ReadPiece(FileObject& object, std::string_view* text);

// The parts that ReadLine's usual case needs, here so that it costs no call.

inline bool IsReader(const FileObject& object) { return object.face.access == kReadAccess; }

inline std::uint8_t* BlockEnd(const QOB_FILE& file) { return file.ioBuffer + file.count; }
inline std::size_t BytesLeft(const QOB_FILE& file) {
  return static_cast<std::size_t>(BlockEnd(file) - file.cursor);
}

inline void SetPosition(FileObject& object, std::int64_t position) {
  object.position = position;
  object.face.position = static_cast<std::uint32_t>(position);
}

inline void Take(FileObject& object, std::size_t count) {
  object.face.cursor += count;
  SetPosition(object, object.position + static_cast<std::int64_t>(count));
}

// Lines are copied in steps of this size, which most of them fit in: what stands behind the line in
// the block is copied along and means nothing. The block has room for a whole step behind its last
// byte.
inline constexpr std::size_t kCopyStep = 128;

// Any line: the first of a file or of a stretch, one that spans blocks, the last, a piece without
// line feed.
std::int32_t ReadLineSlowly(FileObject& object, char** line);

// Hands out the line that ReadLine found at the cursor.
inline std::int32_t GiveLine(FileObject& object, std::size_t length, char** line) {
  QOB_FILE& file = object.face;
  char* const to = file.lineBuffer;
  const std::uint8_t* const from = file.cursor;
  std::memcpy(to, from, kCopyStep);
  for (std::size_t done = kCopyStep; done < length; done += kCopyStep) [[unlikely]] {
      std::memcpy(to + done, from + done, kCopyStep);
    }
  to[length] = '\0';
  Take(object, length);
  *line = to;
  return 1;
}

inline std::int32_t ReadLine(FileObject& object, char** line) {
  const std::size_t length = object.lines.Take(object.face.cursor);
  if (length == 0) [[unlikely]]
    return ReadLineSlowly(object, line);
  return GiveLine(object, length, line);
}

}  // namespace qob
