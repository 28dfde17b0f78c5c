// The lines of a uuencoded block.
#include "util/uudecode.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/os/ascii.h"
#include "util/uu_groups.h"

namespace qob {
namespace {

constexpr std::size_t kLongestName = 255;

// How many bytes the line says it holds.
std::size_t CountOf(std::string_view line) {
  if (line.empty() || line.front() == '\r') return 0;
  return (static_cast<std::size_t>(static_cast<unsigned char>(line.front())) - 32U) & 63U;
}

// The line feed, and carriage returns before it.
std::string_view CutLineEnd(std::string_view line) {
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

std::string_view CutAtReturn(std::string_view line) { return line.substr(0, line.find('\r')); }

std::string_view SkipBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text;
}

// Settles most lines with one comparison.
bool StartsWithLetter(std::string_view line, char lower) {
  return !line.empty() && (line.front() | 0x20) == lower;
}

std::string_view FirstWord(std::string_view text) { return text.substr(0, text.find(' ')); }

bool IsEndLine(std::string_view line) {
  if (!StartsWithLetter(line, 'e') || !ascii::StartsWithFold(line, "end")) return false;
  return SkipBlanks(CutAtReturn(line.substr(3))).empty();
}

// The groups of a data line; a line that is too short for its count goes on with blanks.
void DecodeGroups(std::string_view coded, std::size_t count, char* out) {
  const std::size_t groups = (count + 2) / 3;
  std::array<char, 4 * ((kUuLineBytes + 2) / 3)> padded;
  if (coded.size() < 4 * groups) {
    padded.fill(' ');
    std::memcpy(padded.data(), coded.data(), coded.size());
    coded = {padded.data(), padded.size()};
  }
  DecodeUuGroups(coded.data(), groups, out);
}

}  // namespace

bool ParseBeginLine(std::string_view line, std::string_view* name) {
  if (!StartsWithLetter(line, 'b') || !ascii::StartsWithFold(line, "begin")) return false;
  line = CutAtReturn(CutLineEnd(line));
  const std::string_view word = FirstWord(line);
  if (word.size() != 5) return false;
  std::string_view rest = SkipBlanks(line.substr(word.size()));
  const std::string_view mode = FirstWord(rest);
  if (mode.empty() || mode.find_first_not_of("0123456789") != std::string_view::npos) return false;
  rest = SkipBlanks(rest.substr(mode.size()));
  const std::size_t last = rest.find_last_not_of(" \t");
  rest = rest.substr(0, last == std::string_view::npos ? 0 : last + 1);
  *name = rest.substr(0, kLongestName);
  return true;
}

std::size_t UuDecoder::Feed(std::string_view piece, bool at_line_start, char* out) {
  if (!at_line_start || done()) return 0;
  std::string_view name;
  const bool begins = ParseBeginLine(piece, &name);
  if (state_ == State::kSearching) {
    if (!begins) return 0;
    name_ = name;
    state_ = State::kData;
    return 0;
  }
  if (begins) {
    state_ = State::kBroken;
    return 0;
  }
  std::string_view line = CutLineEnd(piece);
  if (IsEndLine(line)) {
    state_ = State::kComplete;
    return 0;
  }
  if (state_ == State::kTail) {
    state_ = State::kBroken;
    return 0;
  }
  const std::size_t count = CountOf(line);
  if (count == 0) {
    state_ = State::kTail;
    return 0;
  }
  DecodeGroups(line.substr(1), count, out);
  return count;
}

bool UudecodeRange(LineReader& reader, std::int64_t limit, bool limited, FileWriter& writer,
                   std::string* name) {
  UuDecoder decoder;
  std::int64_t left = limit;
  LineReader::Piece piece;
  while (!decoder.done() && !(limited && left <= 0)) {
    if (reader.Next(&piece) != LineReader::Status::kPiece) break;
    left -= static_cast<std::int64_t>(piece.text.size());
    if (limited && left < 0) break;
    char* room = writer.Reserve(kUuRoom);
    if (room == nullptr) return false;
    writer.Advance(decoder.Feed(piece.text, piece.at_line_start, room));
  }
  if (!writer.Flush()) return false;
  *name = decoder.name();
  return decoder.state() == UuDecoder::State::kComplete;
}

}  // namespace qob
