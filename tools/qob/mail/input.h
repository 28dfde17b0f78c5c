// What a command reads: a file, standard input or a text of the command line, block by block.
#ifndef TOOLS_QOB_MAIL_INPUT_H
#define TOOLS_QOB_MAIL_INPUT_H

#include <string>
#include <string_view>

#include "../system.h"
#include "../system_scratch.h"

namespace cli::mail {

class Input {
 public:
  // "-" is standard input. Throws Failure naming the file; a folder or a device is none.
  static Input OfFile(const std::string& name);
  static Input OfText(std::string text);

  // From now on a line with a single dot ends the input.
  void EndAtDot() { ends_at_dot_ = true; }

  // The next block, good until the next call; empty at the end. Throws Failure.
  std::string_view Next();

  const std::string& name() const { return name_; }
  sys::File& file() { return file_; }
  // A regular file: it can be opened once more by sys::PathOf.
  bool IsRegular() const { return stamp_.kind == sys::Kind::kRegular; }
  std::int64_t size_bytes() const { return stamp_.size_bytes; }
  // Throws Failure when the file was written to since it was opened.
  void RequireUnchanged() const;

 private:
  std::string_view ReadBlock();
  std::string_view UpToDot(std::string_view block);

  std::string name_;
  sys::File file_;
  sys::Stamp stamp_;
  std::string block_;
  std::string text_;  // of OfText
  bool from_text_ = false;
  bool ends_at_dot_ = false;
  bool ended_ = false;
  std::string held_;  // "." or ".\r" at the beginning of a line
  bool at_line_start_ = true;
  std::string judged_;
};

}  // namespace cli::mail

#endif
