// Standard output and standard error: buffered data with its write errors, messages that always
// begin with "qob: ", columns, colour, and the progress line of a terminal.
#ifndef TOOLS_QOB_OUTPUT_H
#define TOOLS_QOB_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// Data for standard output. A write that fails throws FatalFailure; Flush must be called at the
// end.
class Output {
 public:
  void Write(std::string_view text);
  void Line(std::string_view text);
  void Flush();
  // Gives up what was not written.
  void Discard() {
    buffer_.clear();
    error_ = 0;
  }
  // For the way out of a failure: an error is kept for the next Flush.
  void FlushQuietly() noexcept;

 private:
  // Writes the text, which may be the buffer, and empties the buffer.
  void Send(std::string_view text);

  std::string buffer_;
  int error_ = 0;  // of the first write that failed; nothing is written after it
};

Output& Out();

// One line on standard error, "qob: " in front, unsafe characters made visible.
void Message(std::string_view text);

// Colour by --color, the terminal, NO_COLOR and TERM.
class Paint {
 public:
  explicit Paint(const std::string& when);
  std::string Bold(const std::string& text) const;
  std::string Warning(const std::string& text) const;

 private:
  bool on_ = false;
};

// A table of texts: every column but the last is padded to its widest cell, two blanks between
// columns. The rows are asked for twice, first for their widths, so that a long table is never kept
// whole.
class Columns {
 public:
  using Cells = std::vector<std::string>;

  explicit Columns(Cells heads) : heads_(std::move(heads)) {}
  void Print(std::size_t count, const std::function<Cells(std::size_t)>& row,
             const Paint& paint) const;

 private:
  Cells heads_;
};

// "12/345 what" on the terminal that standard error is; nothing elsewhere. Rewritten in place at
// most ten times a second.
class Progress {
 public:
  explicit Progress(std::size_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { Clear(); }

  void Step(const std::string& what);
  void Clear();

 private:
  std::size_t total_;
  std::size_t done_ = 0;
  std::int64_t shown_at_ = 0;
};

// Characters a text takes on a terminal, counted as one each.
std::size_t Width(std::string_view utf8);

}  // namespace cli

#endif
