// A uuencoded block decoded as a description would have it: whole lines, one bit group after the
// other, no tables. What the decoder is compared with.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qob::testing {

struct NaiveBlock {
  bool complete = false;
  bool found = false;
  std::string name;
  std::string bytes;
  std::size_t consumed = 0;  // bytes of input that were looked at
};

class NaiveUudecode {
 public:
  static NaiveBlock Decode(std::string_view text) {
    NaiveBlock block;
    bool count_was_zero = false;
    bool at_line_start = true;
    while (block.consumed < text.size()) {
      std::string piece;
      while (block.consumed < text.size() && piece.size() < 1024) {
        piece.push_back(text[block.consumed++]);
        if (piece.back() == '\n') break;
      }
      const bool counts = at_line_start;
      at_line_start = piece.back() == '\n';
      if (!counts) continue;
      std::string name;
      if (IsBegin(piece, &name)) {
        if (block.found) return block;
        block.found = true;
        block.name = name;
        continue;
      }
      if (!block.found) continue;
      if (piece.back() == '\n') piece.pop_back();
      while (!piece.empty() && piece.back() == '\r') piece.pop_back();
      if (IsEnd(piece)) {
        block.complete = true;
        return block;
      }
      if (count_was_zero) return block;
      if (piece.empty() || piece[0] == '\r' || Worth(piece[0]) == 0) {
        count_was_zero = true;
        continue;
      }
      Line(piece, &block.bytes);
    }
    return block;
  }

 private:
  static int Worth(char c) { return (static_cast<unsigned char>(c) + 256 - 32) % 64; }
  static char Small(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

  static bool IsBegin(std::string line, std::string* name) {
    for (std::size_t i = 0; i < 5; ++i) {
      if (i >= line.size() || Small(line[i]) != "begin"[i]) return false;
    }
    if (line.back() == '\n') line.pop_back();
    line = line.substr(0, line.find('\r'));
    std::vector<std::string> words;
    std::size_t at = 0;
    while (at < line.size() && words.size() < 2) {
      std::string word;
      while (at < line.size() && line[at] != ' ') word.push_back(line[at++]);
      while (at < line.size() && line[at] == ' ') ++at;
      words.push_back(word);
    }
    if (words.size() < 2 || words[0].size() != 5 || words[1].empty()) return false;
    for (char c : words[1]) {
      if (c < '0' || c > '9') return false;
    }
    *name = line.substr(at);
    while (!name->empty() && (name->back() == ' ' || name->back() == '\t')) name->pop_back();
    *name = name->substr(0, 255);
    return true;
  }

  static bool IsEnd(const std::string& line) {
    if (line.size() < 3) return false;
    for (std::size_t i = 0; i < 3; ++i) {
      if (Small(line[i]) != "end"[i]) return false;
    }
    for (std::size_t i = 3; i < line.size() && line[i] != '\r'; ++i) {
      if (line[i] != ' ') return false;
    }
    return true;
  }

  static void Line(const std::string& line, std::string* bytes) {
    int bits = 0;
    int held = 0;
    std::size_t at = 1;
    for (int left = Worth(line[0]); left > 0;) {
      held = held * 64 + (at < line.size() ? Worth(line[at]) : 0);
      ++at;
      bits += 6;
      if (bits < 8) continue;
      bits -= 8;
      bytes->push_back(static_cast<char>(held >> bits));
      held &= (1 << bits) - 1;
      --left;
    }
  }
};

}  // namespace qob::testing
