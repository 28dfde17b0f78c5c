#include "flat_table.h"

#include <algorithm>

#include "utf8.h"

namespace cli {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kBlockBytes = 64 * 1024;

bool IsPrintable(char c) { return c >= 0x20 && c < 0x7F; }

}  // namespace

std::string_view CutToWidth(std::string_view utf8, std::size_t width) {
  std::size_t at = 0;
  for (std::size_t taken = 0; at < utf8.size(); ++at) {
    if ((static_cast<unsigned char>(utf8[at]) & 0xC0) != 0x80 && taken++ == width) break;
  }
  return utf8.substr(0, at);
}

FlatTable::FlatTable(std::vector<Column> columns) : columns_(std::move(columns)) {
  for (const Column& column : columns_) widths_.push_back(Width(column.head));
}

void FlatTable::Reserve(std::size_t rows) {
  constexpr std::size_t kUsualRowBytes = 128;
  cells_.reserve(rows * columns_.size());
  text_.reserve(rows * kUsualRowBytes);
}

void FlatTable::Cell(std::string_view text) {
  std::size_t bytes = text.size();
  std::size_t width = bytes;
  if (std::all_of(text.begin(), text.end(), IsPrintable)) {
    text_ += text;
  } else {
    const std::string visible = Visible(text);
    text_ += visible;
    bytes = visible.size();
    width = Width(visible);
  }
  cells_.push_back({static_cast<std::uint32_t>(bytes), static_cast<std::uint32_t>(width)});
  widths_[next_column_] = std::max(widths_[next_column_], width);
  if (++next_column_ == columns_.size()) next_column_ = 0;
}

void FlatTable::Note(std::string_view text) {
  const std::size_t start = text_.size();
  text_ += Visible(text);
  cells_.push_back({static_cast<std::uint32_t>(text_.size() - start), kNote});
}

void FlatTable::AppendCell(std::size_t column, std::string_view text, std::size_t width,
                           std::string* out) const {
  const std::size_t blanks = widths_[column] - width;
  const bool last = column + 1 == columns_.size();
  if (columns_[column].right) out->append(blanks, ' ');
  *out += text;
  if (!last) out->append(kGap + (columns_[column].right ? 0 : blanks), ' ');
}

void FlatTable::AppendHead(const Paint& paint, std::size_t line_width, std::string* out) const {
  std::string line;
  for (std::size_t i = 0; i < columns_.size(); ++i)
    AppendCell(i, columns_[i].head, Width(columns_[i].head), &line);
  EndLine(0, line_width, &line);
  line.pop_back();
  *out += paint.Bold(line) + "\n";
}

void FlatTable::EndLine(std::size_t start, std::size_t line_width, std::string* out) const {
  if (line_width > 0 && out->size() - start > line_width)
    out->resize(start + CutToWidth(std::string_view(*out).substr(start), line_width).size());
  while (out->size() > start && out->back() == ' ') out->pop_back();
  *out += '\n';
}

void FlatTable::Append(const Paint& paint, std::size_t line_width, std::string* out) const {
  Append(
      paint, line_width, [](std::string*) {}, out);
}

void FlatTable::Append(const Paint& paint, std::size_t line_width, const Sink& sink,
                       std::string* out) const {
  AppendHead(paint, line_width, out);
  std::size_t column = 0;
  std::size_t start = out->size();
  std::string_view left = text_;
  for (const Extent& cell : cells_) {
    const std::string_view text = left.substr(0, cell.bytes);
    left.remove_prefix(cell.bytes);
    if (cell.width == kNote) {
      *out += text;
    } else {
      AppendCell(column, text, cell.width, out);
      if (++column == columns_.size()) column = 0;
    }
    if (column != 0) continue;
    EndLine(start, line_width, out);
    sink(out);
    start = out->size();
  }
}

void FlatTable::Print(const Paint& paint, std::size_t line_width) const {
  std::string text;
  const auto write_blocks = [](std::string* block) {
    if (block->size() < kBlockBytes) return;
    Out().Write(*block);
    block->clear();
  };
  Append(paint, line_width, write_blocks, &text);
  Out().Write(text);
}

}  // namespace cli
