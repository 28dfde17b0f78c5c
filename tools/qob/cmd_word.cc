// qob word: encoded words, made and read by the library.
#include <cstdlib>
#include <memory>

#include <qob3xapi/rfc1522.h>

#include "commands.h"
#include "encoded_text.h"
#include "json_line.h"
#include "output.h"
#include "private_site.h"
#include "system.h"
#include "text_input.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.word/1";

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

std::string Taken(char* result) {
  const std::unique_ptr<char, FreeText> text(result);
  if (text == nullptr) throw std::bad_alloc();
  return text.get();
}

// The value in the character set that the words will name.
std::string InCharset(const std::string& text, const std::string& charset) {
  if (!IsUtf8(text))
    throw Failure(ExitCode::kData,
                  "not UTF-8: convert it first, or use --site for bytes of the site's own set");
  const auto converted = sys::FromUtf8(text, charset);
  if (!converted.has_value()) {
    throw Failure(ExitCode::kData, "cannot be written in " + charset +
                                       ": check its name, or use another one with --charset");
  }
  return *converted;
}

void PrintResult(const Arguments& arguments, const std::string& input, const std::string& result) {
  if (!arguments.Has("--json")) return Out().Line(result);
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "input", input);
  PutText(&line, "output", result);
  Out().Line(JsonText(line));
}

std::string Decoded(const Arguments& arguments, const std::string& text) {
  if (!arguments.Has("--bytes")) return DecodedText(text);
  if (text.empty()) return {};
  return Taken(arguments.Has("--site") ? rfc1522decoding(text.c_str())
                                       : rfc1522decoding_wmc(text.c_str()));
}

}  // namespace

ExitCode RunWordEncode(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  const bool by_site = arguments.Has("--site");
  const std::string charset = arguments.Value("--charset", "UTF-8");
  if (by_site && (arguments.Has("--charset") || arguments.Has("--encoding"))) {
    throw Failure(
        ExitCode::kUsage,
        "word encode: --site takes the place of --charset and --encoding: give one or the other");
  }
  if (charset.size() > 31 || charset.find_first_of("?=/ \t\r\n\"';") != std::string::npos) {
    throw Failure(ExitCode::kUsage,
                  "word encode: " + charset +
                      " is no name of a character set: use one like UTF-8 or ISO-8859-1");
  }
  if (!by_site) {
    // The encoder reads its settings from the configuration, and the private copy of it is ours to
    // set.
    site.Set("Gateway", "LocalCharSet", charset);
    site.Set("Options", "RFC1522codingMethod",
             arguments.Value("--encoding", "q") == "q" ? "Quoted-printable" : "base64");
    site.Set("Options", "EnableRFC1522Encoding", "YES");
  }
  const ExitCode code = ForEachText(arguments.operands, [&](const std::string& text) {
    const std::string value = by_site ? text : InCharset(text, charset);
    PrintResult(arguments, text, Taken(rfc1522encoding(value.c_str())));
  });
  Out().Flush();
  return code;
}

ExitCode RunWordDecode(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  if (arguments.Has("--site") && !arguments.Has("--bytes")) {
    throw Failure(ExitCode::kUsage, "word decode: --site goes with --bytes: give both");
  }
  const ExitCode code = ForEachText(arguments.operands, [&](const std::string& text) {
    const std::string decoded = Decoded(arguments, text);
    // Decoded text is foreign text: on a terminal it must not steer it. --bytes gives the bytes as
    // they are.
    const bool visible = !arguments.Has("--bytes") && !arguments.Has("--json");
    PrintResult(arguments, text, visible ? Visible(decoded) : decoded);
  });
  Out().Flush();
  return code;
}

}  // namespace cli
