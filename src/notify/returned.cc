#include "notify/returned.h"

#include "lineio/line_reader.h"
#include "mime/copy_lines.h"

namespace qob::notify {

Step CopyHeader(const char* message_file, FileWriter& out) {
  LineReader in;
  if (!in.Open(message_file)) return Step::kOpen;
  if (!SkipEnvelopeLines(in)) return Step::kRead;
  LineReader::Piece line;
  for (;;) {
    const LineReader::Status status = in.Next(&line);
    if (status == LineReader::Status::kError) return Step::kRead;
    if (status == LineReader::Status::kEnd) return Step::kDone;
    if (line.at_line_start && line.text == "\r\n") return Step::kDone;
    if (!out.Write(line.text)) return Step::kWrite;
  }
}

BuiltFile WholeMessagePart(const char* message_file) {
  return BuildPart("message", "rfc822", "7bit", message_file);
}

Step HeaderPart(const char* message_file, BuiltFile* part) {
  Draft header;
  const Step step = header.Fill([&](FileWriter& out) { return CopyHeader(message_file, out); });
  if (step != Step::kDone) return step;
  *part = BuildPart("text", "RFC822-Headers", "7bit", header.path());
  return *part == nullptr ? Step::kPart : Step::kDone;
}

}  // namespace qob::notify
