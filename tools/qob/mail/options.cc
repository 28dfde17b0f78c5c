#include "options.h"

#include <algorithm>
#include <array>

#include "../config_keys.h"
#include "../failure.h"
#include "../system.h"
#include "../utf8.h"
#include "values.h"

namespace cli::mail {
namespace {

constexpr std::size_t kLongestCharset = 40;
constexpr std::size_t kLongestText = 100'000;  // of a header value

constexpr const char* kMessageOptions[] = {
    "--from",         "--to",     "--cc",   "--bcc",      "--subject", "--header",
    "--body",         "--text",   "--type", "--no-body",  "--charset", "--encoding",
    "--text-charset", "--attach", "--part", "--multipart"};

// Fields that have their own option, or that the system writes.
constexpr const char* kReservedFields[] = {"from",    "to",           "cc",       "bcc",
                                           "subject", "mime-version", "received", "return-path"};
constexpr const char* kAddressFields[] = {
    "reply-to",         "sender",        "errors-to",         "resent-from",
    "resent-to",        "resent-cc",     "resent-bcc",        "resent-sender",
    "mail-followup-to", "mail-reply-to", "return-receipt-to", "disposition-notification-to"};

struct EncodingRow {
  const char* name;
  Encoding encoding;
};
constexpr EncodingRow kEncodings[] = {
    {"7bit", Encoding::k7bit},
    {"8bit", Encoding::k8bit},
    {"quoted-printable", Encoding::kQuotedPrintable},
    {"base64", Encoding::kBase64},
    {"x-uuencode", Encoding::kUuencode},
};

template <std::size_t kCount>
bool IsOneOf(std::string_view name, const char* const (&names)[kCount]) {
  return std::any_of(std::begin(names), std::end(names),
                     [&](const char* one) { return EqualFold(name, one); });
}

Encoding ParseEncoding(const std::string& what, const std::string& text) {
  for (const EncodingRow& row : kEncodings) {
    if (EqualFold(text, row.name)) return row.encoding;
  }
  throw Failure(ExitCode::kUsage,
                what + " " + text + ": give 7bit, 8bit, quoted-printable, base64 or x-uuencode");
}

std::vector<Mailbox> Addresses(const Arguments& arguments, const char* option) {
  std::vector<Mailbox> all;
  for (const std::string& text : arguments.All(option)) {
    const std::vector<Mailbox> some = ParseMailboxes(option, text);
    if (some.empty())
      throw Failure(ExitCode::kData, std::string(option) +
                                         ": no address in it: give one like "
                                         "ann@example.org");
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

// Words in another set than UTF-8 are made with the system's converter.
WordCharset Words(const std::string& charset) {
  WordCharset words;
  if (charset.empty() || EqualFold(charset, "UTF-8") || EqualFold(charset, "US-ASCII"))
    return words;
  words.name = charset;
  words.convert = [charset](std::string_view utf8) { return sys::FromUtf8(utf8, charset); };
  return words;
}

void RequireCharset(const std::string& option, const std::string& name) {
  RequireToken(option, name);
  if (name.size() > kLongestCharset || !sys::FromUtf8("a", name).has_value())
    throw Failure(ExitCode::kUsage, option + " " + name +
                                        ": no character set that this system knows: use one like "
                                        "UTF-8 or ISO-8859-1");
}

std::string ContentId(const std::string& what, const std::string& id) {
  std::string_view inner = id;
  if (inner.starts_with('<') && inner.ends_with('>')) inner = inner.substr(1, inner.size() - 2);
  RequireGraphic(what, inner, 200);
  if (inner.find_first_of("<>\"\\(),;:") != std::string_view::npos)
    throw Failure(ExitCode::kUsage, what + " " + id + ": give one like logo@example.org");
  return "<" + std::string(inner) + ">";
}

// A name without what no file name of a message should bring.
std::string NameOf(const std::string& what, const std::string& name) {
  RequireText(what, name);
  if (name.size() > 1024) throw Failure(ExitCode::kData, what + ": longer than 1024 bytes");
  return name;
}

void SetProperty(const std::string& key, const std::string& value, Attachment* part) {
  const std::string what = "--part " + key;
  RequireText(what, value);
  if (key == "type") {
    part->type = ParseMediaType(what, value);
  } else if (key == "name") {
    part->name = NameOf(what, value);
  } else if (key == "id") {
    part->id = ContentId(what, value);
  } else if (key == "description") {
    part->description = value;
  } else if (key == "encoding") {
    part->encoding = ParseEncoding(what, value);
  } else if (key == "disposition" && (value == "inline" || value == "attachment")) {
    part->disposition = value;
  } else {
    throw Failure(ExitCode::kUsage,
                  what + "=" + value +
                      ": give type, name, id, description, encoding or disposition (inline or "
                      "attachment), and file at the end");
  }
}

Attachment PlainAttachment(const std::string& file) {
  if (file.empty() || file == "-")
    throw Failure(ExitCode::kUsage, "--attach " + file + ": give the name of a file");
  Attachment part;
  part.file = file;
  const std::string name = file.substr(file.find_last_of('/') + 1);
  part.name =
      IsUtf8(name) && name.find_first_of("\r\n") == std::string::npos ? name : Repaired(name);
  std::replace_if(
      part.name.begin(), part.name.end(), [](char c) { return c == '\r' || c == '\n'; }, '_');
  part.type = GuessedType(name);
  part.disposition = "attachment";
  return part;
}

void ReadBody(const Arguments& arguments, MessageOptions* options) {
  const int ways = (arguments.Has("--body") ? 1 : 0) + (arguments.Has("--text") ? 1 : 0) +
                   (arguments.Has("--no-body") ? 1 : 0);
  if (ways > 1) throw Failure(ExitCode::kUsage, "give one of --body, --text and --no-body");
  options->has_body = !arguments.Has("--no-body");
  options->body_file = arguments.Value("--body", "-");
  if (options->body_file.empty())
    throw Failure(ExitCode::kUsage, "--body: the name is empty: name a file");
  if (arguments.Has("--text")) options->body_text = arguments.Value("--text") + "\n";
  if (arguments.Has("--type"))
    options->body_type = ParseMediaType("--type", arguments.Value("--type"));
  if (arguments.Has("--encoding"))
    options->body_encoding = ParseEncoding("--encoding", arguments.Value("--encoding"));
  for (const char* option : {"--charset", "--text-charset"}) {
    if (arguments.Has(option)) RequireCharset(option, arguments.Value(option));
  }
  options->charset = arguments.Value("--charset");
  options->text_charset = arguments.Value("--text-charset");
}

void ReadParts(const Arguments& arguments, MessageOptions* options) {
  for (const std::string& file : arguments.All("--attach"))
    options->attachments.push_back(PlainAttachment(file));
  for (const std::string& text : arguments.All("--part"))
    options->attachments.push_back(ParsePart(text));
  if (!options->has_body && options->attachments.empty())
    throw Failure(ExitCode::kUsage, "--no-body: give files to send with --attach");
  if (arguments.Has("--multipart")) {
    options->multipart = arguments.Value("--multipart");
    RequireToken("--multipart", options->multipart);
  } else if (options->attachments.size() + (options->has_body ? 1 : 0) > 1) {
    options->multipart = "mixed";
  }
  const bool alternative = EqualFold(options->multipart, "alternative");
  for (Attachment& part : options->attachments) {
    if (alternative && part.type.IsText() && part.disposition.empty()) {
      part.is_body = true;
      continue;
    }
    const bool shown = alternative || EqualFold(options->multipart, "related");
    if (part.disposition.empty()) part.disposition = shown ? "inline" : "attachment";
  }
}

}  // namespace

bool AsksForMessage(const Arguments& arguments) {
  return std::any_of(std::begin(kMessageOptions), std::end(kMessageOptions),
                     [&](const char* option) { return arguments.Has(option); });
}

MessageOptions ReadMessageOptions(const Arguments& arguments) {
  MessageOptions options;
  ReadBody(arguments, &options);
  ReadParts(arguments, &options);
  options.raw = arguments.Has("--raw");
  options.words = Words(options.charset);
  options.from = Addresses(arguments, "--from");
  if (options.from.size() > 1)
    throw Failure(ExitCode::kUsage, "--from: more than one address: give one");
  options.to = Addresses(arguments, "--to");
  options.cc = Addresses(arguments, "--cc");
  options.bcc = Addresses(arguments, "--bcc");
  options.subject = arguments.Value("--subject");
  RequireText("--subject", options.subject);
  if (options.subject.size() > kLongestText)
    throw Failure(ExitCode::kData, "--subject: longer than 100000 bytes");
  for (const std::string& text : arguments.All("--header"))
    options.headers.push_back(HeaderLine(text, options.words));
  return options;
}

const char* EncodingName(Encoding encoding) {
  for (const EncodingRow& row : kEncodings) {
    if (row.encoding == encoding) return row.name;
  }
  return "";
}

std::string HeaderLine(const std::string& text, const WordCharset& words) {
  RequireText("--header", text);
  const std::size_t colon = std::min(text.find(':'), text.size());
  const std::string name = text.substr(0, colon);
  if (colon == text.size() || !IsFieldName(name) || name.size() > 70)
    throw Failure(ExitCode::kData,
                  "--header \"" + text + "\": give one like \"Reply-To: ann@example.org\"");
  if (IsOneOf(name, kReservedFields) || EqualFold(std::string_view(name).substr(0, 8), "content-"))
    throw Failure(ExitCode::kUsage,
                  "--header " + name +
                      ": this field is written by the command or has an option of "
                      "its own; see 'qob build --help'");
  const std::string_view value = Trimmed(std::string_view(text).substr(colon + 1));
  if (value.empty()) throw Failure(ExitCode::kData, "--header " + name + ": its value is empty");
  if (value.size() > kLongestText)
    throw Failure(ExitCode::kData, "--header " + name + ": longer than 100000 bytes");
  if (!IsOneOf(name, kAddressFields)) return name + ": " + HeaderText(value, words);
  std::string line;
  for (const Mailbox& mailbox : ParseMailboxes("--header " + name, value)) {
    line += (line.empty() ? name + ": " : ",\r\n ") + HeaderForm(mailbox, words);
  }
  if (line.empty()) throw Failure(ExitCode::kData, "--header " + name + ": no address in it");
  return line;
}

Attachment ParsePart(const std::string& text) {
  Attachment part;
  std::string rest = text;
  bool typed = false;
  while (!rest.starts_with("file=")) {
    const std::size_t comma = rest.find(',');
    const std::size_t equals = rest.find('=');
    if (comma == std::string::npos || equals == std::string::npos || equals > comma)
      throw Failure(ExitCode::kUsage,
                    "--part " + text + ": give one like type=image/png,id=logo,file=logo.png");
    const std::string key = rest.substr(0, equals);
    SetProperty(key, rest.substr(equals + 1, comma - equals - 1), &part);
    typed = typed || key == "type";
    rest.erase(0, comma + 1);
  }
  const Attachment plain = PlainAttachment(rest.substr(5));
  part.file = plain.file;
  if (!typed) part.type = plain.type;
  if (part.name.empty()) part.name = plain.name;
  return part;
}

}  // namespace cli::mail
