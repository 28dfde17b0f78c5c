#include "charset/body_encoder.h"

#include <algorithm>
#include <cstring>

#include "charset/base64.h"
#include "charset/base64_lines.h"

namespace qob {
namespace {

constexpr std::size_t kBlock = LineReader::kBlockSize / 2;
constexpr std::size_t kLinesAtOnce = 512;
constexpr std::size_t kQuotedAtOnce = 15 * 1024;
static_assert(QuotedPrintableEncoder::Room(kQuotedAtOnce) <= FileWriter::kBufferSize);

void WriteLastLine(std::string_view rest, FileWriter& out) {
  char line[kBase64LineChars];
  char* to = line;
  const auto byte = [&](std::size_t i) {
    return i < rest.size() ? static_cast<unsigned char>(rest[i]) : static_cast<unsigned char>(0);
  };
  for (std::size_t i = 0; i < rest.size(); i += 3, to += 4) {
    const int padding = rest.size() - i >= 3 ? 0 : static_cast<int>(3 - (rest.size() - i));
    Base64EncodeGroup(byte(i), byte(i + 1), byte(i + 2), padding, to);
  }
  out.Write({line, static_cast<std::size_t>(to - line)});
  // Eighteen groups make a whole line, a padded one among them too.
  out.Write(static_cast<std::size_t>(to - line) == kBase64LineChars ? "\r\n\r\n" : "\r\n");
}

}  // namespace

bool WriteBase64(LineReader& in, FileWriter& out) {
  static const Base64LineKernel encode_lines = FastestBase64Lines();
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    const std::size_t lines = std::min(window.size() / kBase64LineBytes, kLinesAtOnce);
    if (lines == 0) break;
    char* to = out.Reserve(lines * kBase64LineSize);
    if (to == nullptr) return false;
    encode_lines(reinterpret_cast<const unsigned char*>(window.data()), lines, to);
    out.Advance(lines * kBase64LineSize);
    in.Consume(lines * kBase64LineBytes);
  }
  WriteLastLine(in.window(), out);
  in.Consume(in.window().size());
  return !out.failed();
}

bool WriteQuotedPrintable(LineReader& in, QuotedForm form, FileWriter& out) {
  QuotedPrintableEncoder encoder(form);
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    if (window.empty()) return !out.failed();
    const std::string_view piece = window.substr(0, kQuotedAtOnce);
    char* const start = out.Reserve(QuotedPrintableEncoder::Room(piece.size()));
    if (start == nullptr) return false;
    char* end = start;
    const bool last = window.size() < kBlock && piece.size() == window.size();
    in.Consume(encoder.Feed(piece, last, &end));
    out.Advance(static_cast<std::size_t>(end - start));
  }
}

}  // namespace qob
