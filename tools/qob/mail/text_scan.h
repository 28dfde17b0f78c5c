// What a text holds, as far as it decides how mail can carry it.
#ifndef TOOLS_QOB_MAIL_TEXT_SCAN_H
#define TOOLS_QOB_MAIL_TEXT_SCAN_H

#include <cstdint>
#include <string_view>

namespace cli::mail {

struct TextTraits {
  std::int64_t size_bytes = 0;
  std::int64_t eight_bit = 0;     // bytes beyond ASCII
  std::int64_t longest_line = 0;  // without its line end
  bool utf8 = true;
  bool nul = false;
  bool bare_return = false;     // a CR without LF
  bool bare_feed = false;       // an LF without CR
  bool trailing_blank = false;  // a line ends in a blank or a tab
  bool delimiter = false;       // a line that could divide the parts of a message built here
};

// Takes a text in blocks.
class TextScan {
 public:
  void Take(std::string_view block);
  TextTraits Finish();

 private:
  void EndLine(bool returned);
  void TakeUtf8(unsigned char byte);

  TextTraits traits_;
  std::int64_t column_ = 0;
  std::size_t matched_ = 0;  // of the delimiter's beginning
  char before_ = '\n';
  char before_that_ = '\n';
  int utf8_left_ = 0;
  unsigned char utf8_low_ = 0x80;
  unsigned char utf8_high_ = 0xBF;
};

}  // namespace cli::mail

#endif
