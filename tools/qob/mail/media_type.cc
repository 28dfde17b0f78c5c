#include "media_type.h"

#include "../config_keys.h"
#include "../failure.h"
#include "values.h"

namespace cli::mail {
namespace {

struct Row {
  const char* extension;
  const char* type;
  const char* subtype;
};

constexpr Row kRows[] = {
    {"txt", "text", "plain"},
    {"text", "text", "plain"},
    {"log", "text", "plain"},
    {"md", "text", "markdown"},
    {"csv", "text", "csv"},
    {"htm", "text", "html"},
    {"html", "text", "html"},
    {"css", "text", "css"},
    {"ics", "text", "calendar"},
    {"vcf", "text", "vcard"},
    {"diff", "text", "x-diff"},
    {"patch", "text", "x-diff"},
    {"eml", "message", "rfc822"},
    {"gif", "image", "gif"},
    {"jpg", "image", "jpeg"},
    {"jpeg", "image", "jpeg"},
    {"png", "image", "png"},
    {"svg", "image", "svg+xml"},
    {"tif", "image", "tiff"},
    {"tiff", "image", "tiff"},
    {"webp", "image", "webp"},
    {"bmp", "image", "bmp"},
    {"mp3", "audio", "mpeg"},
    {"ogg", "audio", "ogg"},
    {"wav", "audio", "wav"},
    {"mp4", "video", "mp4"},
    {"mpeg", "video", "mpeg"},
    {"mpg", "video", "mpeg"},
    {"mov", "video", "quicktime"},
    {"webm", "video", "webm"},
    {"pdf", "application", "pdf"},
    {"ps", "application", "postscript"},
    {"rtf", "application", "rtf"},
    {"json", "application", "json"},
    {"xml", "application", "xml"},
    {"zip", "application", "zip"},
    {"gz", "application", "gzip"},
    {"tgz", "application", "gzip"},
    {"bz2", "application", "x-bzip2"},
    {"xz", "application", "x-xz"},
    {"tar", "application", "x-tar"},
    {"7z", "application", "x-7z-compressed"},
    {"hqx", "application", "mac-binhex40"},
    {"js", "application", "javascript"},
    {"sh", "application", "x-sh"},
    {"doc", "application", "msword"},
    {"xls", "application", "vnd.ms-excel"},
    {"ppt", "application", "vnd.ms-powerpoint"},
    {"docx", "application", "vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {"xlsx", "application", "vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {"pptx", "application", "vnd.openxmlformats-officedocument.presentationml.presentation"},
    {"odt", "application", "vnd.oasis.opendocument.text"},
    {"ods", "application", "vnd.oasis.opendocument.spreadsheet"},
    {"odp", "application", "vnd.oasis.opendocument.presentation"},
};

}  // namespace

bool MediaType::Is(std::string_view wanted_type, std::string_view wanted_subtype) const {
  return EqualFold(type, wanted_type) &&
         (wanted_subtype.empty() || EqualFold(subtype, wanted_subtype));
}

MediaType GuessedType(std::string_view file_name) {
  const std::size_t dot = file_name.rfind('.');
  if (dot != std::string_view::npos) {
    for (const Row& row : kRows) {
      if (EqualFold(file_name.substr(dot + 1), row.extension)) return {row.type, row.subtype};
    }
  }
  return {"application", "octet-stream"};
}

MediaType ParseMediaType(const std::string& what, std::string_view text) {
  const std::size_t slash = text.find('/');
  MediaType type{std::string(text.substr(0, slash)),
                 slash == std::string_view::npos ? "" : std::string(text.substr(slash + 1))};
  if (EqualFold(type.type, "multipart"))
    throw Failure(ExitCode::kUsage, what + " " + std::string(text) + ": use --multipart for that");
  if (IsToken(type.type) && IsToken(type.subtype)) return type;
  throw Failure(ExitCode::kUsage, what + " " + std::string(text) + ": give one like text/html");
}

}  // namespace cli::mail
