// A text from one character set to another, block by block.
#ifndef TOOLS_QOB_SYSTEM_RECODE_H
#define TOOLS_QOB_SYSTEM_RECODE_H

#include <string>
#include <string_view>

namespace cli::sys {

class Recoder {
 public:
  Recoder(const std::string& from, const std::string& to);
  Recoder(const Recoder&) = delete;
  Recoder& operator=(const Recoder&) = delete;
  ~Recoder();

  // False when the system does not know one of the two.
  explicit operator bool() const;
  // Appends what becomes of the block; a character may begin in one and end in the next. False when
  // something in it is wrong in the one set or missing in the other.
  bool Take(std::string_view block, std::string* result);
  // The end of the text; false when it ends inside a character.
  bool Finish(std::string* result);

 private:
  void* handle_;
  std::string rest_;  // the beginning of a character
};

}  // namespace cli::sys

#endif
