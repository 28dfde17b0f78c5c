// The parameters of Content-Type and Content-Disposition.
#include "mime/parameter_list.h"

#include <algorithm>

#include "frame/config.h"
#include "frame/report.h"
#include "mime/comment.h"
#include "platform/os/ascii.h"

namespace qob {
namespace {

constexpr std::size_t kMaxQuotedValue = 65535;
constexpr std::size_t kShownText = 20;
constexpr std::size_t kSwitchSize = 10;

int Size(std::string_view text) {
  return static_cast<int>(std::min<std::size_t>(text.size(), 1024));
}

bool IsBlankValue(std::string_view value) {
  const std::string_view bare = ascii::Trim(value);
  return bare.empty() || bare == "\"\"";
}

}  // namespace

bool ParameterRules::AcceptBlank() {
  if (accept_blank_ < 0) {
    accept_blank_ =
        ConfigIs("Options", "AcceptBlankValueInContentTypeParm", "NO", kSwitchSize, "YES") ? 1 : 0;
  }
  return accept_blank_ == 1;
}

void ParameterReader::Read(ChainBuilder* chain) {
  while (at_ < text_.size()) {
    if (text_[at_] != ';') {
      Report(kFailure, "Missing parm separator.");
      return;
    }
    ++at_;
    if (!ReadOne(chain)) return;
  }
}

// One parameter, *at_ behind its semicolon; afterwards at the end or, if all is well, at the next
// semicolon. False when the rest of the field cannot be read.
bool ParameterReader::ReadOne(ChainBuilder* chain) {
  bool comments_closed = SkipComments(text_, &at_);
  const std::size_t start = at_;
  if (comments_closed && (start == text_.size() || text_[start] == ';')) return true;
  const std::size_t equals =
      comments_closed ? FindOutsideComments(text_, start, "=;") : std::string_view::npos;
  if (equals != std::string_view::npos) {
    if (equals == text_.size() || text_[equals] == ';') return ReportInvalid(start);
    const std::string_view attribute = TrimComments(text_.substr(start, equals - start));
    if (!IsMimeToken(attribute)) return ReportInvalid(start);
    at_ = equals + 1;
    std::string_view value;
    if (!rules_->strict) {
      value = ReadLooseValue();
    } else if (!ReadStrictValue(&value)) {
      return true;
    }
    if (IsBlankValue(value) && !rules_->AcceptBlank()) return ReportInvalid(start);
    entry_.assign(attribute).append("=").append(value);
    chain->Append(entry_);
    comments_closed = SkipComments(text_, &at_);
  } else {
    comments_closed = false;
  }
  if (comments_closed) return true;
  Report(kFailure, "\"%.*s\" field invalid. %s", Size(field_name_), field_name_.data(),
         kBadComment);
  return false;
}

// A token or a quoted string. False when it was reported and skipped.
bool ParameterReader::ReadStrictValue(std::string_view* value) {
  const std::size_t behind_equals = at_;
  if (!SkipComments(text_, &at_)) at_ = behind_equals;
  if (at_ < text_.size() && text_[at_] == '"') return ReadQuoted(value);
  const std::size_t end = std::min(text_.find_first_of("; \t\r\n", at_), text_.size());
  *value = text_.substr(at_, end - at_);
  at_ = end;
  return true;
}

bool ParameterReader::ReadQuoted(std::string_view* value) {
  const std::size_t start = at_;
  std::size_t at = start + 1;
  while (at < text_.size() && text_[at] != '"') at += text_[at] == '\\' ? 2 : 1;
  if (at >= text_.size()) {
    // No later value can open with a quote: this search would have met it. So it is made once.
    ReportUnclosedQuote();
    SkipToSemicolon();
    return false;
  }
  at_ = at + 1;
  *value = text_.substr(start, at_ - start);
  if (value->size() - 2 <= kMaxQuotedValue) return true;
  Report(kFailure, "Quoted value too big.");
  SkipToSemicolon();
  return false;
}

// Up to the next ';', CR or LF without a backslash before it, quotes and all.
std::string_view ParameterReader::ReadLooseValue() {
  const std::size_t start = at_;
  std::size_t end = start;
  for (;;) {
    end = text_.find_first_of(";\r\n", end);
    if (end == std::string_view::npos) end = text_.size();
    if (end == text_.size() || end == start || text_[end - 1] != '\\') break;
    ++end;
  }
  at_ = end;
  return text_.substr(start, end - start);
}

// Always true, for the caller to go on with the next parameter.
bool ParameterReader::ReportInvalid(std::size_t start) {
  const std::string_view shown = text_.substr(start, kShownText);
  Report(kFailure, "Invalid parm in \"%.*s\" header: %.*s", Size(field_name_), field_name_.data(),
         Size(shown), shown.data());
  at_ = std::max(at_, start);
  SkipToSemicolon();
  return true;
}

void ParameterReader::ReportUnclosedQuote() {
  if (end_ == FieldEnd::kNextLine) {
    Report(kFailure, "Missing quote in \"%.*s\" parms.", Size(field_name_), field_name_.data());
    return;
  }
  if (end_ == FieldEnd::kReadError) Report(kFailure, "ReadNextHeaderLine: getline failed.");
  Report(kFailure, "Premature end of file, or file read error.");
}

void ParameterReader::SkipToSemicolon() { at_ = std::min(text_.find(';', at_), text_.size()); }

std::string_view UnquoteParameter(std::string_view value) {
  value = ascii::TrimLeft(value);
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
    return value.substr(1, value.size() - 2);
  return value;
}

bool FindParameter(const ms* chain, std::string_view name, std::string_view* value) {
  for (const ms* node = chain; node != nullptr; node = node->next) {
    if (node->text == nullptr || !ascii::StartsWithFold(node->text, name)) continue;
    const std::string_view entry = node->text;
    const std::size_t equals = entry.find('=');
    *value = equals == std::string_view::npos ? std::string_view() : entry.substr(equals + 1);
    return true;
  }
  return false;
}

}  // namespace qob
