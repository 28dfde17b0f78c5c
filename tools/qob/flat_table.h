// A table of many rows for people, kept as one text: columns are padded to their widest cell, with
// two blanks between them, and the last is left as it is. Cells are made safe to show.
#ifndef TOOLS_QOB_FLAT_TABLE_H
#define TOOLS_QOB_FLAT_TABLE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "output.h"

namespace cli {

class FlatTable {
 public:
  struct Column {
    std::string_view head;
    bool right = false;  // numbers stand at the right
  };

  explicit FlatTable(std::vector<Column> columns);

  // Room for so many rows, so that they are not moved as they become more.
  void Reserve(std::size_t rows);
  void Cell(std::string_view text);
  // A line of its own between two rows, without columns.
  void Note(std::string_view text);

  // line_width: characters of a line, 0 = as many as it has.
  void Print(const Paint& paint, std::size_t line_width) const;
  // The same, the line ends included.
  void Append(const Paint& paint, std::size_t line_width, std::string* out) const;

 private:
  struct Extent {
    std::uint32_t bytes;
    std::uint32_t width;  // kNote: no cell but a note
  };
  static constexpr std::uint32_t kNote = 0xFFFFFFFF;
  using Sink = std::function<void(std::string* text)>;  // may take away what it is given

  // Calls the sink after every line.
  void Append(const Paint& paint, std::size_t line_width, const Sink& sink, std::string* out) const;
  void AppendHead(const Paint& paint, std::size_t line_width, std::string* out) const;
  void AppendCell(std::size_t column, std::string_view text, std::size_t width,
                  std::string* out) const;
  void EndLine(std::size_t start, std::size_t line_width, std::string* out) const;

  std::vector<Column> columns_;
  std::vector<std::size_t> widths_;
  std::string text_;
  std::vector<Extent> cells_;
  std::size_t next_column_ = 0;
};

// The first so many characters of a text.
std::string_view CutToWidth(std::string_view utf8, std::size_t width);

}  // namespace cli

#endif
