// The exported decoder over line I/O handles.
#include <cstddef>
#include <memory>
#include <utility>
#include <string_view>

#include <qob3xapi/util.h>

#include "frame/guard.h"
#include "frame/heap.h"
#include "lineio/file_object.h"
#include "lineio/handle_pool.h"
#include "util/uudecode.h"

namespace {

using qob::FileObject;
using qob::UuDecoder;

// Collects decoded bytes for one write call.
class Output {
 public:
  // Throws std::bad_alloc.
  explicit Output(FileObject& object) : object_(object), buffer_(new char[kSize]) {}
  // Null after a failed write.
  char* Room() {
    if (kSize - used_ < qob::kUuRoom && !Flush()) return nullptr;
    return buffer_.get() + used_;
  }
  void Advance(std::size_t count) { used_ += count; }
  bool Flush() {
    const std::string_view bytes(buffer_.get(), std::exchange(used_, 0));
    return bytes.empty() || qob::WriteText(object_, bytes) == 1;
  }

 private:
  static constexpr std::size_t kSize = 64 * 1024;

  FileObject& object_;
  std::size_t used_ = 0;
  std::unique_ptr<char[]> buffer_;
};

// Feeds the decoder until it is done, the input or the limit ends; false after a failed write.
bool Decode(FileObject& input, int32_t limit, Output& output, UuDecoder& decoder) {
  int64_t left = limit;
  bool at_line_start = true;
  std::string_view piece;
  while (!decoder.done() && !(limit != 0 && left <= 0)) {
    if (qob::ReadPiece(input, &piece) != 1) break;
    left -= static_cast<int64_t>(piece.size());
    if (limit != 0 && left < 0) break;
    char* room = output.Room();
    if (room == nullptr) return false;
    output.Advance(decoder.Feed(piece, at_line_start, room));
    at_line_start = piece.back() == '\n';
  }
  return output.Flush();
}

int32_t DecodeBlock(FileObject& input, int32_t limit, FileObject& output, char** file_name) {
  UuDecoder decoder;
  Output sink(output);
  if (!Decode(input, limit, sink, decoder)) return 0;
  if (!decoder.name().empty() && file_name != nullptr) {
    char* name = qob::HeapCopy(decoder.name());
    if (name == nullptr) return 0;
    *file_name = name;
  }
  return decoder.state() == UuDecoder::State::kComplete ? 1 : 0;
}

}  // namespace

extern "C" QOBAPI int32_t uudecode(int32_t input, int32_t limit, int32_t output, char** fileName) {
  FileObject* from = qob::FindInPool(input);
  FileObject* to = qob::FindInPool(output);
  if (from == nullptr || to == nullptr) return 0;
  return qob::Guarded(int32_t{0}, [&] { return DecodeBlock(*from, limit, *to, fileName); });
}
