#include "parameters.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "encoded_text.h"

namespace cli {
namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string Unquoted(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::string(value);
  value = value.substr(1, value.size() - 2);
  std::string result;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const bool escaped =
        value[i] == '\\' && i + 1 < value.size() && (value[i + 1] == '"' || value[i + 1] == '\\');
    if (escaped) ++i;
    result += value[i];
  }
  return result;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (Lower(c) >= 'a' && Lower(c) <= 'f') return Lower(c) - 'a' + 10;
  return -1;
}

std::string PercentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
    if (low >= 0) {
      result += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

// The first parameter of each name, by its name in lower case.
class Index {
 public:
  explicit Index(const std::vector<Parameter>& parameters) {
    for (const Parameter& parameter : parameters)
      first_.try_emplace(Lowered(parameter.attribute), &parameter);
  }
  const Parameter* Find(const std::string& name) const {
    const auto found = first_.find(name);
    return found == first_.end() ? nullptr : found->second;
  }

 private:
  static std::string Lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), Lower);
    return text;
  }
  std::unordered_map<std::string, const Parameter*> first_;
};

// Takes "charset'language'" off the front of an extended value; the character set, or "" when there
// is none.
std::string TakeCharset(std::string_view* value) {
  const std::size_t first = value->find('\'');
  const std::size_t second = first == std::string_view::npos ? first : value->find('\'', first + 1);
  if (second == std::string_view::npos) return {};
  const std::string charset(value->substr(0, first));
  value->remove_prefix(second + 1);
  return charset;
}

std::optional<std::string> Extended(const Index& index, const std::string& attribute) {
  const Parameter* const found = index.Find(attribute + "*");
  if (found == nullptr) return std::nullopt;
  std::string_view value = found->value;
  const std::string charset = TakeCharset(&value);
  return TextInUtf8(PercentDecoded(value), charset);
}

// attribute*0, attribute*1*, ...: the pieces are joined as bytes first, for a character may be
// split between two.
std::optional<std::string> Continued(const Index& index, const std::string& attribute) {
  std::string charset;
  std::string bytes;
  int number = 0;
  for (;; ++number) {
    const std::string name = attribute + "*" + std::to_string(number);
    const Parameter* const plain = index.Find(name);
    const Parameter* const extended = plain != nullptr ? nullptr : index.Find(name + "*");
    if (plain == nullptr && extended == nullptr) break;
    if (plain != nullptr) {
      bytes += plain->value;
      continue;
    }
    std::string_view value = extended->value;
    if (number == 0) charset = TakeCharset(&value);
    bytes += PercentDecoded(value);
  }
  if (number == 0) return std::nullopt;
  return charset.empty() ? bytes : TextInUtf8(bytes, charset);
}

}  // namespace

std::vector<Parameter> ParametersOf(const ms* chain) {
  std::vector<Parameter> parameters;
  for (; chain != nullptr; chain = chain->next) {
    if (chain->text == nullptr) continue;
    const std::string_view text = chain->text;
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    parameters.push_back({std::string(text.substr(0, equals)), Unquoted(text.substr(equals + 1))});
  }
  return parameters;
}

std::optional<std::string> ParameterText(const std::vector<Parameter>& parameters,
                                         const std::string& attribute) {
  const Index index(parameters);
  if (auto text = Extended(index, attribute)) return text;
  if (auto text = Continued(index, attribute)) return text;
  const Parameter* const plain = index.Find(attribute);
  if (plain == nullptr) return std::nullopt;
  return DecodedText(plain->value);
}

std::string NameFromHeader(const MimeBodyPart& part) {
  const auto file_name = ParameterText(ParametersOf(part.contentDispositionParams), "filename");
  if (file_name.has_value() && !file_name->empty()) return *file_name;
  return ParameterText(ParametersOf(part.contentTypeParams), "name").value_or("");
}

}  // namespace cli
