// Character set conversion with the system's iconv.
#include "system.h"

#include <array>
#include <cerrno>

#include <iconv.h>

namespace cli::sys {
namespace {

class Converter {
 public:
  Converter(const std::string& to, const std::string& from)
      : handle_(::iconv_open(to.c_str(), from.c_str())) {}
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (Known()) ::iconv_close(handle_);
  }

  bool Known() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  // One step: appends what it converted to *result; 0, or the errno that stopped it.
  int Step(std::string_view* text, std::string* result) {
    std::array<char, 4096> block;
    char* from = const_cast<char*>(text->data());  // iconv takes char** but does not write there
    std::size_t from_left = text->size();
    char* to = block.data();
    std::size_t to_left = block.size();
    const std::size_t outcome = ::iconv(handle_, &from, &from_left, &to, &to_left);
    const int error = outcome == static_cast<std::size_t>(-1) ? errno : 0;
    result->append(block.data(), block.size() - to_left);
    text->remove_prefix(text->size() - from_left);
    return error;
  }

  void Finish(std::string* result) {
    std::array<char, 64> block;
    char* to = block.data();
    std::size_t to_left = block.size();
    ::iconv(handle_, nullptr, nullptr, &to, &to_left);
    result->append(block.data(), block.size() - to_left);
  }

 private:
  iconv_t handle_;
};

}  // namespace

std::optional<std::string> ToUtf8(std::string_view text, const std::string& charset) {
  Converter converter("UTF-8", charset);
  if (charset.empty() || !converter.Known()) return std::nullopt;
  std::string result;
  while (!text.empty()) {
    const int error = converter.Step(&text, &result);
    if (error == E2BIG || error == 0) continue;
    result += "\xEF\xBF\xBD";
    if (error != EILSEQ) break;  // EINVAL: the text ends inside a character
    text.remove_prefix(1);
  }
  return result;
}

std::optional<std::string> FromUtf8(std::string_view text, const std::string& charset) {
  Converter converter(charset, "UTF-8");
  if (charset.empty() || !converter.Known()) return std::nullopt;
  std::string result;
  while (!text.empty()) {
    const int error = converter.Step(&text, &result);
    if (error != 0 && error != E2BIG) return std::nullopt;
  }
  converter.Finish(&result);
  return result;
}

}  // namespace cli::sys
