// The MIME header-field reader.
#include "mime/content_fields.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "frame/config.h"
#include "frame/report.h"
#include "mime/comment.h"
#include "mime/part_pool.h"
#include "platform/os/ascii.h"

namespace qob {
namespace {

constexpr std::size_t kSwitchSize = 10;
constexpr std::size_t kMaxTypeText = 255;

enum FieldKind { kVersion, kDescription, kId, kType, kDisposition, kEncoding, kUnknown };
constexpr std::array<std::string_view, kUnknown> kNames = {
    "mime-version:", "content-description:", "content-id:",
    "content-type:", "content-disposition:", "content-transfer-encoding:"};

FieldKind KindOf(std::string_view line) {
  if (line.empty() || (line[0] != 'c' && line[0] != 'C' && line[0] != 'm' && line[0] != 'M'))
    return kUnknown;
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (ascii::StartsWithFold(line, kNames[i])) return static_cast<FieldKind>(i);
  }
  return kUnknown;
}

void ReportInvalid(std::string_view name) {
  Report(kFailure, "\"%.*s\" field invalid.", static_cast<int>(name.size()), name.data());
}

void ReportInvalid(std::string_view name, const char* why) {
  Report(kFailure, "\"%.*s\" field invalid. %s", static_cast<int>(name.size()), name.data(), why);
}

void CheckVersion(std::string_view name, std::string_view value) {
  std::size_t at = 0;
  if (!SkipComments(value, &at)) {
    ReportInvalid(name, kBadComment);
  } else if (at == value.size()) {
    ReportInvalid(name);
  } else if (FindOutsideComments(value, at, {}) == std::string_view::npos) {
    ReportInvalid(name, kBadComment);
  }
}

void ReadId(std::string_view name, std::string_view value, char** id) {
  std::size_t at = 0;
  if (!SkipComments(value, &at)) return ReportInvalid(name, kBadComment);
  std::size_t behind = at;
  if (at < value.size() && value[at] == '<') {
    behind = value.find('>', at);
    if (behind == std::string_view::npos) return ReportInvalid(name);
  } else if (at == value.size()) {
    return ReportInvalid(name);
  }
  if (FindOutsideComments(value, behind, {}) == std::string_view::npos)
    return ReportInvalid(name, kBadComment);
  SetText(id, value);
}

// Where a token ends that stands at `at`: at white space, a comment, or one of `more`.
std::size_t TokenEnd(std::string_view value, std::size_t at, std::string_view more) {
  while (at < value.size() && !ascii::IsSpace(static_cast<unsigned char>(value[at])) &&
         value[at] != '(' && more.find(value[at]) == std::string_view::npos) {
    ++at;
  }
  return at;
}

void ReadEncoding(std::string_view name, std::string_view value, char** encoding) {
  std::size_t at = 0;
  const bool closed = SkipComments(value, &at);
  const std::string_view token = value.substr(at, TokenEnd(value, at, {}) - at);
  if (!closed || !IsMimeToken(token)) return ReportInvalid(name);
  SetText(encoding, token);
}

// Place of the first '/' outside comments, or npos.
std::size_t FindSlash(std::string_view text) {
  std::size_t slash = FindOutsideComments(text, 0, "/");
  if (slash == std::string_view::npos)
    slash = text.find('/');  // a comment that the cut to 255 left open
  return slash == text.size() ? std::string_view::npos : slash;
}

}  // namespace

ContentFields::ContentFields() {
  rules_.strict = ConfigIs("Options", "StrictMimeParsing", "YES", kSwitchSize, "YES");
}

bool ContentFields::IsWanted(std::string_view line) { return KindOf(line) != kUnknown; }

bool ContentFields::Read(std::string_view line, FieldEnd end, MimeBodyPart* part) {
  const FieldKind kind = KindOf(line);
  if (kind == kUnknown) return true;
  const std::size_t name_size = kNames[kind].size() - 1;
  const Field field{line.substr(0, name_size), ascii::TrimLeft(line.substr(name_size + 1)), end};
  switch (kind) {
    case kVersion:
      CheckVersion(field.name, field.value);
      break;
    case kDescription:
      if (part->contentDescription != nullptr) break;
      if (field.value.empty()) {
        ReportInvalid(field.name);
      } else {
        SetText(&part->contentDescription, field.value);
      }
      break;
    case kId:
      if (part->contentId == nullptr) ReadId(field.name, field.value, &part->contentId);
      break;
    case kType:
      if (part->contentType == nullptr) return ReadType(field, part);
      break;
    case kDisposition:
      if (part->contentDisposition == nullptr) ReadDisposition(field, part);
      break;
    case kEncoding:
      if (part->contentTransferEncoding != nullptr) break;
      ReadEncoding(field.name, field.value, &part->contentTransferEncoding);
      break;
    case kUnknown:
      break;
  }
  return true;
}

bool ContentFields::ReadType(const Field& field, MimeBodyPart* part) {
  if (field.value.empty()) {
    ReportInvalid(field.name);
    return true;
  }
  const std::size_t semicolon = FindOutsideComments(field.value, 0, ";");
  if (semicolon == std::string_view::npos) {
    ReportInvalid(field.name, kBadComment);
    return true;
  }
  const std::string_view text = TrimComments(field.value.substr(0, semicolon));
  if (ReadTypeAndSubtype(field, text, part) == TypeResult::kNoSubtype) return false;
  ReadParameters(field, field.value.substr(semicolon), &part->contentTypeParams);
  return true;
}

ContentFields::TypeResult ContentFields::ReadTypeAndSubtype(const Field& field,
                                                            std::string_view text,
                                                            MimeBodyPart* part) {
  if (text.size() > kMaxTypeText) {
    Report(kDetail, "type/subtype bigger than tmp");
    text = text.substr(0, kMaxTypeText);
  }
  const std::size_t slash = FindSlash(text);
  const std::string_view type = TrimComments(text.substr(0, std::min(slash, text.size())));
  const std::string_view subtype =
      slash == std::string_view::npos ? std::string_view() : TrimComments(text.substr(slash + 1));
  if (subtype.empty()) {
    ReportInvalid(field.name, "Missing subtype.");
    return TypeResult::kNoSubtype;
  }
  const bool misplaced = type.empty() || subtype.find('/') != std::string_view::npos;
  if (misplaced) Report(kFailure, "Misplaced slash.");
  const bool usable = !misplaced && IsMimeToken(type) && IsMimeToken(subtype);
  SetText(&part->contentSubtype, usable ? subtype : "octet-stream");
  SetText(&part->contentType, usable ? type : "application");
  if (usable) {
    Report(kDetail, "Found %s/%s", part->contentType, part->contentSubtype);
    return TypeResult::kFound;
  }
  Report(kFailure, "\"%.*s\" field invalid. Defaulting to %s/%s.",
         static_cast<int>(field.name.size()), field.name.data(), part->contentType,
         part->contentSubtype);
  return TypeResult::kDefaulted;
}

void ContentFields::ReadDisposition(const Field& field, MimeBodyPart* part) {
  std::size_t at = 0;
  if (!SkipComments(field.value, &at)) return ReportInvalid(field.name, kBadComment);
  const std::size_t end = TokenEnd(field.value, at, ";");
  const std::string_view token = field.value.substr(at, end - at);
  if (!IsMimeToken(token)) return ReportInvalid(field.name);
  SetText(&part->contentDisposition, token);
  at = end;
  if (!SkipComments(field.value, &at)) return ReportInvalid(field.name, kBadComment);
  ReadParameters(field, field.value.substr(at), &part->contentDispositionParams);
}

void ContentFields::ReadParameters(const Field& field, std::string_view text, ms** chain) {
  if (text.empty()) return;
  ChainBuilder found;
  ParameterReader(field.name, text, field.end, &rules_).Read(&found);
  *chain = found.Release();
}

}  // namespace qob
