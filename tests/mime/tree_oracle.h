// The reader of MIME messages once more, written the slow and plain way: the whole file in memory,
// cut into lines, one rule after the other for each of them. It knows only the few header fields
// that the generated messages hold.
#pragma once
#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

namespace qob::testing {

struct OraclePart {
  std::string type;  // in lower case, "" for none
  std::string encoding;
  std::string boundary;
  int start = 0;
  int body = 0;
  int end = 0;
  int role = 0;
  std::vector<int> children;
  bool operator==(const OraclePart&) const = default;
};

class TreeOracle {
 public:
  // The parts, or nothing for a message that cannot be read.
  static std::vector<OraclePart> Parse(const std::string& bytes, bool descend) {
    TreeOracle oracle(bytes, descend);
    return oracle.Run() ? oracle.parts_ : std::vector<OraclePart>{};
  }

 private:
  struct Line {
    std::string text;
    int begin;
    int end;
  };
  struct Frame {
    int part;
    bool multipart;
    std::string delimiter;
  };
  enum State { kHeader, kPreamble, kBody, kEpilogue };

  TreeOracle(const std::string& bytes, bool descend)
      : descend_(descend), size_(static_cast<int>(bytes.size())) {
    std::size_t at = 0;
    while (at < bytes.size()) {
      std::size_t feed = bytes.find('\n', at);
      const std::size_t next = feed == std::string::npos ? bytes.size() : feed + 1;
      lines_.push_back({bytes.substr(at, next - at), static_cast<int>(at), static_cast<int>(next)});
      at = next;
    }
  }

  static std::string Lower(std::string text) {
    for (char& c : text) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
  }
  static bool Begins(const std::string& text, const std::string& prefix) {
    return Lower(text.substr(0, prefix.size())) == Lower(prefix);
  }

  int NewPart(int start) {
    parts_.push_back({});
    parts_.back().start = start;
    state_ = kHeader;
    return static_cast<int>(parts_.size()) - 1;
  }
  void Link(int container, int child) {
    parts_[static_cast<std::size_t>(container)].children.push_back(child);
    parts_[static_cast<std::size_t>(container)].role = 1;
    parts_[static_cast<std::size_t>(child)].role = 2;
  }
  OraclePart& Part(int index) { return parts_[static_cast<std::size_t>(index)]; }

  // -1: no delimiter; the index of a frame; the number of frames for the pending multipart.
  int MatchingFrame(const std::string& line, bool* closing) const {
    int best = -1;
    std::size_t length = 0;
    if (state_ == kPreamble && Begins(line, pending_)) {
      best = static_cast<int>(stack_.size());
      length = pending_.size();
    }
    for (int i = static_cast<int>(stack_.size()) - 1; i >= 0; --i) {
      const Frame& frame = stack_[static_cast<std::size_t>(i)];
      if (frame.multipart && Begins(line, frame.delimiter) && frame.delimiter.size() > length) {
        best = i;
        length = frame.delimiter.size();
      }
    }
    if (best >= 0) *closing = line.substr(length, 2) == "--";
    return best;
  }

  void Field(const std::string& line) {
    OraclePart& part = Part(current_);
    const std::string low = Lower(line);
    const auto value = [&](const std::string& name) {
      return low.substr(name.size(), low.find('\r') - name.size());
    };
    if (low.rfind("content-type: ", 0) == 0 && part.type.empty()) {
      std::string text = value("content-type: ");
      const std::size_t boundary = text.find("; boundary=");
      if (boundary != std::string::npos) {
        part.boundary = text.substr(boundary + 11);
        text.resize(boundary);
      }
      part.type = text;
    }
    if (low.rfind("content-transfer-encoding: ", 0) == 0 && part.encoding.empty()) {
      part.encoding = value("content-transfer-encoding: ");
    }
  }

  static bool IsPlainMessage(const OraclePart& part) {
    return part.type == "message/rfc822" && (part.encoding.empty() || part.encoding == "7bit" ||
                                             part.encoding == "8bit" || part.encoding == "binary");
  }

  bool HeaderEnds(const Line& line) {
    OraclePart& part = Part(current_);
    part.body = line.end;
    no_uu_ = no_binhex_ = false;
    if (part.type.rfind("multipart/", 0) == 0) {
      if (part.boundary.empty()) return false;
      pending_ = "--" + part.boundary;
      state_ = kPreamble;
    } else if (IsPlainMessage(part) && descend_) {
      stack_.push_back({current_, false, ""});
      current_ = NewPart(line.end);
    } else {
      state_ = kBody;
    }
    return true;
  }

  // A block that begins at line `first`: the line behind its last one, or 0 when it has no end.
  std::size_t EndOfUu(std::size_t first) const {
    for (std::size_t i = first + 1; i < lines_.size(); ++i) {
      bool closing = false;
      if (MatchingFrame(lines_[i].text, &closing) >= 0) return 0;
      const std::string low = Lower(lines_[i].text);
      if (low == "end\r\n") return i + 1;
      if (i + 1 == lines_.size() && (low == "end" || low == "end\n")) return i + 1;
    }
    return 0;
  }
  std::size_t EndOfBinHex(std::size_t first) const {
    bool data = false;
    for (std::size_t i = first + 1; i < lines_.size(); ++i) {
      bool closing = false;
      if (MatchingFrame(lines_[i].text, &closing) >= 0) return 0;
      std::size_t from = 0;
      if (!data) {
        if (lines_[i].text[0] != ':') continue;
        data = true;
        from = 1;
      }
      if (lines_[i].text.find(':', from) != std::string::npos) return i + 1;
    }
    return 0;
  }

  // The line to go on with.
  std::size_t BodyLine(std::size_t at) {
    const OraclePart& part = Part(current_);
    if (state_ != kBody || !(part.type.empty() || part.type == "text/plain")) return at + 1;
    const bool uu = !no_uu_ && Begins(lines_[at].text, "begin ");
    const bool binhex =
        !no_binhex_ && Begins(lines_[at].text, "(this file must be converted with binhex 4.0)");
    if (!uu && !binhex) return at + 1;
    const std::size_t behind = uu ? EndOfUu(at) : EndOfBinHex(at);
    if (behind == 0) {
      (uu ? no_uu_ : no_binhex_) = true;
      return at + 1;
    }
    const int text = current_;
    const State state = state_;
    const int child = NewPart(lines_[at].begin);
    state_ = state;
    Part(child).body = lines_[at].begin;
    Part(child).end = lines_[behind - 1].end;
    Part(child).type = uu ? "x-embedded" : "application/mac-binhex40";
    if (uu) Part(child).encoding = "x-uuencode";
    Link(text, child);
    return behind;
  }

  void Delimiter(int frame, bool closing, const Line& line) {
    if (frame == static_cast<int>(stack_.size())) {
      stack_.push_back({current_, true, pending_});
    } else {
      if (state_ == kHeader) Part(current_).body = line.begin;
      while (static_cast<int>(stack_.size()) - 1 != frame) {
        Part(current_).end = line.begin;
        Link(stack_.back().part, current_);
        current_ = stack_.back().part;
        stack_.pop_back();
      }
      Part(current_).end = line.begin;
      Link(stack_.back().part, current_);
    }
    if (closing) {
      current_ = stack_.back().part;
      stack_.pop_back();
      state_ = kEpilogue;
    } else {
      current_ = NewPart(line.end);
    }
  }

  bool Run() {
    current_ = NewPart(0);
    std::string field;
    std::size_t i = 0;
    while (i < lines_.size()) {
      const Line& line = lines_[i];
      bool closing = false;
      const int frame = MatchingFrame(line.text, &closing);
      if (frame >= 0) {
        Delimiter(frame, closing, line);
        ++i;
      } else if (state_ != kHeader) {
        i = BodyLine(i);
      } else {
        if (line.text == "\r\n") {
          if (!HeaderEnds(line)) return false;
        } else if (line.text[0] != '#' && line.text[0] != ' ') {
          Field(line.text);
        }
        ++i;
      }
    }
    if (state_ == kPreamble) return false;
    if (state_ == kHeader) Part(current_).body = size_;
    for (OraclePart& part : parts_) {
      if (part.end == 0) part.end = size_;
    }
    for (std::size_t k = parts_.size(); k-- > 0;) {
      if (IsPlainMessage(parts_[k]) && !parts_[k].children.empty())
        parts_[k].end = Part(parts_[k].children.back()).end;
    }
    return true;
  }

  bool descend_;
  int size_;
  std::vector<Line> lines_;
  std::vector<OraclePart> parts_;
  std::vector<Frame> stack_;
  std::string pending_;
  State state_ = kHeader;
  int current_ = 0;
  bool no_uu_ = false;
  bool no_binhex_ = false;
};

}  // namespace qob::testing
