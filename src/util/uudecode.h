// Uuencoded blocks: "begin <mode> <name>", lines of a count character and groups of four, a line of
// count 0, "end".
//
// A decoder is fed the pieces of a file one by one (a line feed ends a piece, and so do 1024
// bytes), so that every reader of files can drive it. What lines mean is tested only where a line
// begins: the rest of a line that is longer than a piece is passed over.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "lineio/file_writer.h"
#include "lineio/line_reader.h"

namespace qob {

// True for a begin line; *name then receives the text after the mode without the blanks around it,
// cut to 255 bytes. The line's own end may be there or not.
bool ParseBeginLine(std::string_view line, std::string_view* name);

// Bytes a line can give: its count has six bits. A decoder may store up to kUuRoom bytes, of which
// the count says how many are good.
inline constexpr std::size_t kUuLineBytes = 63;
inline constexpr std::size_t kUuRoom = 96;

class UuDecoder {
 public:
  enum class State {
    kSearching,  // no begin line yet
    kData,       // inside the block
    kTail,       // behind the line of count 0: the end line follows or the block is incomplete
    kComplete,   // the end line was seen
    kBroken,     // the block ended without it
  };

  // Takes the next piece and stores its bytes at `out`, which has room for kUuRoom; gives their
  // number.
  std::size_t Feed(std::string_view piece, bool at_line_start, char* out);
  State state() const { return state_; }
  bool done() const { return state_ == State::kComplete || state_ == State::kBroken; }
  // From the begin line; good once state() is no more kSearching.
  const std::string& name() const { return name_; }

 private:
  State state_ = State::kSearching;
  std::string name_;
};

// Decodes one block from the reader's position on into the writer, and flushes it. With `limited`
// no more than `limit` bytes of input are taken: a line longer than what remains ends the search,
// and so does a limit consumed exactly. True when the end line was seen and everything was written;
// *name receives the begin line's name (also of an incomplete block) unless a write failed. Throws
// std::bad_alloc.
bool UudecodeRange(LineReader& reader, std::int64_t limit, bool limited, FileWriter& writer,
                   std::string* name);

}  // namespace qob
