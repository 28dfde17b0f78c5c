// The open containers of a message and the delimiter lines they wait for.
//
// A multipart owns its delimiter ("--" and its boundary); an opened encapsulated message owns none
// and is never matched by itself. A line belongs to the longest delimiter that it begins with, the
// innermost one of equals: so "abc" inside "abcdef" does not swallow the outer lines, "abcdef"
// inside "abc" gets its own, and a line of an outer multipart also ends inner ones that were never
// closed (RFC 2046, section 5.1.2). The comparison is by prefix and ignores case: in a multipart of
// boundary "abc" a line "--abcXYZ" is a delimiter line too; programs of the mail system send such
// lines and count on it.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <qob3xapi/mimeparse.h>

namespace qob {

// What an encapsulated message at the top level carries as its delimiter; no line is ever tested
// against it.
inline constexpr char kPlaceholderDelimiter[] = "--QOB";

class DelimiterStack {
 public:
  // At most so many containers are open at once; a container that would be one more stays a leaf.
  static constexpr std::size_t kMaxDepth = 100;

  struct Match {
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::size_t frame = kNone;  // index of the frame, or depth() for the pending multipart
    bool closing = false;       // "--" follows
    explicit operator bool() const { return frame != kNone; }
  };

  std::size_t depth() const { return frames_.size(); }
  bool full() const { return frames_.size() >= kMaxDepth; }
  bool has_pending() const { return pending_; }
  // Some line could match.
  bool waits_for_lines() const { return pending_ || multiparts_ > 0; }
  MimeBodyPart* top() const { return frames_.back().container; }
  // The delimiter of the innermost open container, or the placeholder.
  std::string_view current_delimiter() const;

  // A multipart whose preamble is being read: its delimiter is already waited for, but it is not
  // open yet. Throws.
  void SetPending(MimeBodyPart* multipart);
  void OpenPending();
  void DropPending();
  // An encapsulated message. Throws std::bad_alloc.
  void OpenEncapsulated(MimeBodyPart* part);
  void Pop();

  // `line` is the first piece of a line that stands at a line start.
  Match Find(std::string_view line);

 private:
  struct Frame {
    MimeBodyPart* container;
    bool multipart;
    std::string folded;  // delimiter in lower case
  };

  std::vector<Frame> frames_;
  Frame pending_frame_{nullptr, true, {}};
  bool pending_ = false;
  std::size_t multiparts_ = 0;
  std::string folded_line_;
};

}  // namespace qob
