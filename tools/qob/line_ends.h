// Bare line feeds brought to CR LF, and positions brought back.
#ifndef TOOLS_QOB_LINE_ENDS_H
#define TOOLS_QOB_LINE_ENDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// Takes a text in blocks; every line feed without a carriage return before it gets one.
class LineEndWriter {
 public:
  void Take(std::string_view block, std::string* result);

 private:
  bool after_return_ = false;
};

// Takes the same text in blocks and answers, for ascending positions in the converted text, where
// they lie in the original.
class LineEndMap {
 public:
  explicit LineEndMap(std::vector<std::int64_t> ascending) : wanted_(std::move(ascending)) {}
  void Take(std::string_view block);
  // One answer for each wanted position; positions at or behind the end of the text become its end.
  std::vector<std::int64_t> Finish();

 private:
  void AnswerUpTo(std::int64_t converted_end);

  std::vector<std::int64_t> wanted_;
  std::vector<std::int64_t> answers_;
  std::int64_t original_ = 0;  // bytes of the original taken
  std::int64_t inserted_ = 0;  // carriage returns that the converted text has more
  bool after_return_ = false;
};

}  // namespace cli

#endif
