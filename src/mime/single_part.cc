#include "mime/single_part.h"

#include <algorithm>
#include <optional>

#include "charset/body_encoder.h"
#include "charset/shift_jis_to_jis.h"
#include "frame/config.h"
#include "frame/report.h"
#include "lineio/line_reader.h"
#include "mime/copy_lines.h"
#include "mime/new_message.h"
#include "mime/parameter_list.h"
#include "platform/os/ascii.h"
#include "util/uuencode.h"

namespace qob {
namespace {

constexpr std::string_view kName = "name=";
constexpr std::string_view kCharset = "charset=";
constexpr std::size_t kMarkBytes = 32;

bool Is(std::string_view text, std::string_view word) { return ascii::EqualFold(text, word); }

// A request with its defaults in place.
struct Content {
  explicit Content(const SinglePart& part)
      : type(part.type == nullptr ? "application" : part.type),
        subtype(part.subtype == nullptr ? "x-unknown" : part.subtype),
        encoding(part.encoding != nullptr ? std::string_view(part.encoding)
                 : Is(type, "text")       ? "quoted-printable"
                                          : "base64"),
        parameters(part.parameters) {
    const bool inline_text = Is(type, "text") && Is(subtype, "plain");
    disposition = inline_text || Is(type, "message") ? "inline" : "attachment";
    const bool encoded = Is(encoding, "base64") || Is(encoding, "quoted-printable");
    if ((part.flags & 1) != 0 && encoded) encoding = "x-uue";
    for (const ms* node = parameters; node != nullptr; node = node->next) {
      if (ascii::StartsWithFold(TextOf(node), kName)) name_parameter = TextOf(node);
    }
  }

  std::string_view type;
  std::string_view subtype;
  std::string_view encoding;
  std::string_view disposition;
  std::string_view name_parameter;  // the last one, "name=" included; empty when there is none
  const ms* parameters;
};

void WriteLine(std::string_view name, std::string_view value, FileWriter& out) {
  out.Write(name);
  out.Write(value);
  out.Write("\r\n");
}

void WriteContentHeader(const SinglePart& part, const Content& content,
                        const EncodingSettings& settings, FileWriter& out) {
  out.Write("Content-type: ");
  out.Write(content.type);
  out.Write("/");
  out.Write(content.subtype);
  WriteParameters(content.parameters, settings, out);
  out.Write("\r\n");
  WriteLine("Content-transfer-encoding: ", content.encoding, out);
  if (IsGiven(part.description)) WriteLine("Content-description: ", part.description, out);
  if (IsGiven(part.content_id)) WriteLine("Content-Id: ", part.content_id, out);
  out.Write("Content-disposition: ");
  out.Write(content.disposition);
  if (!content.name_parameter.empty()) {
    out.Write("; file");
    out.Write(HeaderParameter(content.name_parameter, settings).value());
  }
  out.Write("\r\n");
}

bool IsJapanese(const Content& content) {
  for (const ms* node = content.parameters; node != nullptr; node = node->next) {
    const std::string_view parameter = TextOf(node);
    if (!ascii::StartsWithFold(parameter, kCharset)) continue;
    const std::string_view value = parameter.substr(kCharset.size());
    return Is(value, "ISO-2022-JP") || Is(value, "\"ISO-2022-JP\"");
  }
  return false;
}

bool WriteJapanese(LineReader& body, FileWriter& out) {
  Report(kDetail, "Attempting to convert text file in ShiftJIS format.");
  const std::string mark = ConfigText("Options", "InvalidCharacterMark", "", kMarkBytes);
  const bool written =
      ShiftJisToJis(body, mark.empty() ? std::nullopt : std::optional<std::string_view>(mark), out);
  if (written) {
    Report(kDetail, "...Done.");
  } else {
    Report(kFailure, "ShiftJIS2JIS conversion failed.");
  }
  return written;
}

bool WriteText(const Content& content, LineReader& body, FileWriter& out) {
  if (IsJapanese(content)) return WriteJapanese(body, out);
  const bool is_message = Is(content.type, "message") && Is(content.subtype, "rfc822");
  return (!is_message || SkipEnvelopeLines(body)) && CopyRest(body, out);
}

bool WriteBody(const Content& content, LineReader& body, FileWriter& out) {
  if (Is(content.encoding, "base64")) return WriteBase64(body, out);
  if (Is(content.encoding, "quoted-printable")) {
    const bool text = Is(content.type, "text") || Is(content.type, "message");
    return WriteQuotedPrintable(body, text ? QuotedForm::kText : QuotedForm::kBinary, out);
  }
  if (Is(content.encoding, "x-uue") || Is(content.encoding, "x-uuencode")) {
    const std::string_view name =
        content.name_parameter.empty()
            ? std::string_view("unknown.dat")
            : UnquoteParameter(content.name_parameter.substr(kName.size()));
    return WriteUuencoded(body, name, out);
  }
  if (Is(content.encoding, "7bit")) return WriteText(content, body, out);
  Report(kFailure, "Cannot send unencoded binary via Mime.");
  return false;
}

}  // namespace

TempFile BuildSinglePart(const SinglePart& part) {
  if (part.body_file == nullptr) return {};
  const BuildSettings settings = ReadBuildSettings();
  const Content content(part);
  return NewMessage([&](FileWriter& out) {
    WriteMessageHeader(part.header, settings, out);
    if (part.flags == 0) WriteContentHeader(part, content, settings.encoding, out);
    out.Write("\r\n");
    LineReader body;
    return !out.failed() && body.Open(part.body_file) && WriteBody(content, body, out);
  });
}

TempFile BuildAroundPart(const SinglePart& part) {
  if (part.body_file == nullptr) return {};
  const BuildSettings settings = ReadBuildSettings();
  return NewMessage([&](FileWriter& out) {
    WriteMessageHeader(part.header, settings, out);
    LineReader body;
    return !out.failed() && body.Open(part.body_file) && CopyRest(body, out);
  });
}

}  // namespace qob
