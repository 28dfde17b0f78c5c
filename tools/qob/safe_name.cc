#include "safe_name.h"

#include <algorithm>
#include <array>

#include "utf8.h"

namespace cli {
namespace {

constexpr std::size_t kLongestExtension = 64;
// Signs that some system or shell reads as more than a letter of a name.
constexpr std::string_view kReservedSigns = "<>:\"|?*/\\";
constexpr std::string_view kBadStarts = ".-~";

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

// Each unsafe character and each malformed byte becomes an underscore.
std::string Cleaned(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Utf8Step step = NextCharacter(text);
    const bool reserved = step.valid && step.length == 1 &&
                          kReservedSigns.find(text.front()) != std::string_view::npos;
    if (!step.valid || reserved || IsUnsafeCharacter(step.code)) {
      result += '_';
    } else {
      result += text.substr(0, step.length);
    }
    text.remove_prefix(step.length);
  }
  return result;
}

std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  const std::size_t last = text.find_last_not_of(" .");
  if (first == std::string::npos || last == std::string::npos || last < first) return {};
  return text.substr(first, last - first + 1);
}

// "con", "NUL.txt", "com1" and the like name devices on some systems, with every extension.
bool IsDevice(const std::string& name) {
  static constexpr std::array<std::string_view, 8> kDevices = {
      "con", "prn", "aux", "nul", "conin$", "conout$", "clock$", "config$"};
  const std::string stem = Lower(Trimmed(name.substr(0, name.find('.'))));
  if (std::find(kDevices.begin(), kDevices.end(), stem) != kDevices.end()) return true;
  const bool numbered = stem.size() == 4 && stem[3] >= '0' && stem[3] <= '9';
  return numbered && (stem.starts_with("com") || stem.starts_with("lpt"));
}

// The longest start of the text that fits and does not cut a character.
std::string Shortened(const std::string& text, std::size_t longest) {
  if (text.size() <= longest) return text;
  std::size_t end = longest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

// Where the extension begins (its dot), or the size of the name when it has none worth keeping.
std::size_t ExtensionAt(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  const bool none = dot == std::string::npos || dot == 0 || name.size() - dot > kLongestExtension;
  return none ? name.size() : dot;
}

std::string WithInsert(const std::string& name, const std::string& insert, std::size_t longest) {
  const std::size_t at = ExtensionAt(name);
  const std::string extension = name.substr(at);
  const std::size_t taken = std::min(longest, insert.size() + extension.size());
  return Shortened(name.substr(0, at), longest - taken) + insert + extension;
}

struct TypeRow {
  std::string_view type;
  std::string_view extension;
};

constexpr TypeRow kTypes[] = {
    {"application/gzip", ".gz"},
    {"application/json", ".json"},
    {"application/pdf", ".pdf"},
    {"application/pgp-signature", ".asc"},
    {"application/postscript", ".ps"},
    {"application/rtf", ".rtf"},
    {"application/xml", ".xml"},
    {"application/zip", ".zip"},
    {"audio/mpeg", ".mp3"},
    {"audio/x-wav", ".wav"},
    {"image/bmp", ".bmp"},
    {"image/gif", ".gif"},
    {"image/jpeg", ".jpg"},
    {"image/png", ".png"},
    {"image/svg+xml", ".svg"},
    {"image/tiff", ".tiff"},
    {"message/delivery-status", ".txt"},
    {"message/rfc822", ".eml"},
    {"text/calendar", ".ics"},
    {"text/css", ".css"},
    {"text/csv", ".csv"},
    {"text/html", ".html"},
    {"text/plain", ".txt"},
    {"text/rfc822-headers", ".txt"},
    {"text/xml", ".xml"},
    {"video/mp4", ".mp4"},
    {"video/mpeg", ".mpg"},
};

}  // namespace

std::string SafeName(std::string_view name, std::size_t longest) {
  const std::size_t separator = name.find_last_of("/\\");
  if (separator != std::string_view::npos) name.remove_prefix(separator + 1);
  std::string safe = Trimmed(Cleaned(name));
  if (safe.empty()) return {};
  if (kBadStarts.find(safe.front()) != std::string_view::npos) safe.front() = '_';
  if (IsDevice(safe)) safe.insert(0, "_");
  if (safe.size() > longest) safe = WithInsert(safe, "", longest);
  safe = Trimmed(safe);
  return safe.find_first_not_of("_. ") == std::string::npos ? std::string() : safe;
}

std::string NumberedName(const std::string& name, std::size_t number, std::size_t longest) {
  const std::string insert = number < 2 ? std::string() : "-" + std::to_string(number);
  if (insert.empty() && name.size() <= longest) return name;
  return WithInsert(name, insert, longest);
}

std::string ExtensionFor(std::string_view type, std::string_view subtype) {
  const std::string wanted = Lower(std::string(type) + "/" + std::string(subtype));
  for (const TypeRow& row : kTypes) {
    if (row.type == wanted) return std::string(row.extension);
  }
  return wanted.starts_with("text/") ? ".txt" : ".bin";
}

}  // namespace cli
