// The parameters of Content-Type and Content-Disposition: "; attribute=value" again and again.
//
// A bad parameter is reported and skipped up to the next semicolon; those before and behind it are
// kept. Each is stored as written, a quoted string with its quotes. The work is linear in the text,
// whatever stands there.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "util/string_chain.h"

namespace qob {

// What stood behind a header field: decides how an unclosed quoted string is reported.
enum class FieldEnd { kNextLine, kEndOfFile, kReadError };

struct ParameterRules {
  // [Options] StrictMimeParsing: a value is a token or a quoted string; otherwise everything up to
  // the next semicolon.
  bool strict = true;
  // Asked at the first empty value: [Options] AcceptBlankValueInContentTypeParm.
  bool AcceptBlank();

 private:
  int accept_blank_ = -1;
};

class ParameterReader {
 public:
  // `field_name` as written in the message, for the log lines; `text` begins at the first
  // semicolon.
  ParameterReader(std::string_view field_name, std::string_view text, FieldEnd end,
                  ParameterRules* rules)
      : field_name_(field_name), text_(text), end_(end), rules_(rules) {}

  // Appends what it finds to the chain. Throws std::bad_alloc.
  void Read(ChainBuilder* chain);

 private:
  bool ReadOne(ChainBuilder* chain);
  bool ReadStrictValue(std::string_view* value);
  bool ReadQuoted(std::string_view* value);
  std::string_view ReadLooseValue();
  bool ReportInvalid(std::size_t start);
  void ReportUnclosedQuote();
  void SkipToSemicolon();

  std::string_view field_name_;
  std::string_view text_;
  FieldEnd end_;
  ParameterRules* rules_;
  std::size_t at_ = 0;
  std::string entry_;
};

// The value without the white space before it and without one enclosing pair of double quotes.
std::string_view UnquoteParameter(std::string_view value);
// The text behind the "=" of the first entry that begins with `name` (case ignored); false when no
// entry does. An entry without "=" gives a null view.
bool FindParameter(const ms* chain, std::string_view name, std::string_view* value);

}  // namespace qob
