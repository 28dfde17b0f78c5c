// Encodes or decodes one header of about so many bytes: charset_work KIND SIZE. Its instructions
// are counted from outside.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "charset/header_encoder.h"
#include "charset/word_decoder.h"

namespace {

std::string Repeat(std::string_view piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text += piece;
  return text;
}

std::size_t Work(const std::string& kind, std::size_t size) {
  qob::EncodingSettings settings;
  settings.charset = "ISO-8859-1";
  if (kind == "encode-q") return qob::EncodeHeaderText(Repeat("\xFC", size), settings).size();
  if (kind == "encode-b") {
    settings.base64 = true;
    return qob::EncodeHeaderText(Repeat("\xFC", size), settings).size();
  }
  if (kind == "encode-words")
    return qob::EncodeHeaderText(Repeat("a \xFC  \xFC ", size), settings).size();
  if (kind == "encode-comments")
    return qob::EncodeHeaderText("\xFC" + Repeat("((a) \xFC", size), settings).size();
  if (kind == "encode-value")
    return qob::EncodeHeaderValue("\xFC" + Repeat("(a, \"x\" ", size), settings).size();
  if (kind == "decode-q") return qob::DecodeWords(Repeat("=?x?Q?=41?= ", size), {"", true}).size();
  if (kind == "decode-b") return qob::DecodeWords(Repeat("=?x?b?QUJD?= ", size), {"", true}).size();
  if (kind == "decode-foreign")
    return qob::DecodeWords(Repeat("=?x?B?QUJD?= =?y?Q?a?=", size), {"z", false}).size();
  if (kind == "decode-open")
    return qob::DecodeWords(Repeat("=?x?b?=?", size) + Repeat("?=", size), {"", true}).size();
  std::fprintf(stderr, "no such kind of work: %s\n", kind.c_str());
  std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::printf("%zu\n", Work(argv[1], std::strtoull(argv[2], nullptr, 10)));
}
