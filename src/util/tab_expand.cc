// The copy is written to a temporary file, which then takes the source's place in one step: a crash
// leaves either the old file or the new one.
#include "util/tab_expand.h"

#include "frame/report.h"
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"
#include "platform/os/directory.h"
#include "util/temp_file.h"

namespace qob {
namespace {

bool Fail(const char* text) {
  Report(kFailure, "%s", text);
  return false;
}

bool CopyExpanded(LineReader& reader, FileWriter& writer, int tab_size) {
  int column = 0;
  std::string expanded;
  LineReader::Piece piece;
  for (;;) {
    const LineReader::Status status = reader.Next(&piece);
    if (status == LineReader::Status::kEnd) return true;
    if (status == LineReader::Status::kError) return Fail("getline failed");
    if (piece.at_line_start) column = 0;
    const bool has_tab = piece.text.find('\t') != std::string_view::npos;
    if (has_tab) {
      ExpandTabs(piece.text, tab_size, &column, &expanded);
    } else {
      column = static_cast<int>((static_cast<std::size_t>(column) + piece.text.size()) %
                                static_cast<std::size_t>(tab_size));
    }
    if (!writer.Write(has_tab ? std::string_view(expanded) : piece.text)) {
      return Fail("putline failed");
    }
  }
}

}  // namespace

void ExpandTabs(std::string_view piece, int tab_size, int* column, std::string* expanded) {
  expanded->clear();
  for (char c : piece) {
    if (c == '\t') {
      expanded->append(static_cast<std::size_t>(tab_size - *column), ' ');
      *column = 0;
      continue;
    }
    expanded->push_back(c);
    *column = (*column + 1) % tab_size;
  }
}

bool ExpandTabsInFile(const char* path, int tab_size) {
  TempFile copy(TempName("MIME"));
  if (!copy) return Fail("_qobtempnam failed");
  FileWriter writer;
  if (!writer.Create(copy.path().c_str(), true)) return Fail("filecreate failed");
  {
    LineReader reader;
    if (!reader.Open(path)) return Fail("fileopen failed");
    if (!CopyExpanded(reader, writer, tab_size)) return false;
  }
  if (!writer.Close()) return Fail("putline failed");
  if (os::CopyMode(path, copy.path()) != 0) return false;
  if (os::RenameFile(copy.path(), path, true) != 0) return false;
  copy.Forget();
  return true;
}

}  // namespace qob
