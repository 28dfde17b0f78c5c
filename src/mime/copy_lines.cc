#include "mime/copy_lines.h"

#include "platform/os/ascii.h"

namespace qob {
namespace {

constexpr std::size_t kBlock = LineReader::kBlockSize / 2;

bool IsEnvelopeLine(std::string_view line) {
  if (line.size() < 2 || line[0] != '#') return false;
  const unsigned char kind = ascii::Upper(static_cast<unsigned char>(line[1]));
  return kind == 'F' || kind == 'R' || kind == 'D';
}

}  // namespace

bool CopyRest(LineReader& in, FileWriter& out) {
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    if (window.empty()) return !out.failed();
    if (!out.Write(window)) return false;
    in.Consume(window.size());
  }
}

bool SkipEnvelopeLines(LineReader& in) {
  bool within = false;  // a line whose end was not in view yet
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    if (window.empty() || (!within && !IsEnvelopeLine(window))) return true;
    const std::size_t end = window.find('\n');
    within = end == std::string_view::npos;
    in.Consume(within ? window.size() : end + 1);
  }
}

}  // namespace qob
