// Writes or converts one body of about so many bytes: body_work KIND SIZE. Its instructions are
// counted from outside.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "charset/body_encoder.h"
#include "charset/jis_to_shift_jis.h"
#include "charset/shift_jis_to_jis.h"

namespace {

using qob::FileWriter;
using qob::LineReader;

struct Kind {
  const char* name;
  const char* head;
  const char* piece;  // repeated
  bool (*convert)(LineReader&, FileWriter&);
};

bool Base64(LineReader& in, FileWriter& out) { return qob::WriteBase64(in, out); }
bool Text(LineReader& in, FileWriter& out) {
  return qob::WriteQuotedPrintable(in, qob::QuotedForm::kText, out);
}
bool Binary(LineReader& in, FileWriter& out) {
  return qob::WriteQuotedPrintable(in, qob::QuotedForm::kBinary, out);
}
bool Jis(LineReader& in, FileWriter& out) { return qob::ShiftJisToJis(in, "<mark>", out); }
bool ShiftJis(LineReader& in, FileWriter& out) {
  return qob::JisToShiftJis(in, INT64_MAX, true, out);
}

constexpr Kind kKinds[] = {
    {"base64", "", "abcdefg", &Base64},
    {"quoted-one-line", "", "x", &Text},
    {"quoted-escapes", "", "\xFC", &Text},
    {"quoted-line-starts", "", "From .\r\n", &Text},
    {"quoted-binary", "", "a\r\n", &Binary},
    {"jis-alternating", "", "a\x88\x9F\xB6", &Jis},
    {"jis-marks", "", "\xFF", &Jis},
    {"jis-lead-bytes", "", "\x81\x20", &Jis},
    {"shift-jis-runs", "", "\x1B$B0!\x1B(B", &ShiftJis},
    {"shift-jis-open-run", "$B", "0!", &ShiftJis},
    {"shift-jis-open-runs", "", "$B0!0!\r\n", &ShiftJis},
    {"shift-jis-dollars", "", "$B", &ShiftJis},
    {"shift-jis-carriage-returns", "$B0!", "\r$B", &ShiftJis},
    {"shift-jis-escapes", "", "\x1B", &ShiftJis},
};

void Run(const Kind& kind, std::size_t size) {
  std::string text = kind.head;
  while (text.size() < size) text += kind.piece;
  const int in = memfd_create("in", 0);
  const int out = memfd_create("out", 0);
  if (write(in, text.data(), text.size()) != static_cast<ssize_t>(text.size())) std::abort();
  lseek(in, 0, SEEK_SET);
  LineReader reader;
  reader.Attach(in);
  FileWriter writer;
  writer.Attach(out);
  if (!kind.convert(reader, writer) || !writer.Flush()) std::abort();
  std::printf("%lld\n", static_cast<long long>(lseek(out, 0, SEEK_END)));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  for (const Kind& kind : kKinds) {
    if (std::string(argv[1]) != kind.name) continue;
    Run(kind, std::strtoull(argv[2], nullptr, 10));
    return 0;
  }
  std::fprintf(stderr, "no such kind of work: %s\n", argv[1]);
  return 2;
}
