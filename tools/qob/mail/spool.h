// Text on its way into a message: a file without a name that holds it, and what it holds.
#ifndef TOOLS_QOB_MAIL_SPOOL_H
#define TOOLS_QOB_MAIL_SPOOL_H

#include <cstdint>
#include <string>
#include <string_view>

#include "../line_ends.h"
#include "../system_scratch.h"
#include "text_scan.h"

namespace cli::mail {

class Spool {
 public:
  enum class Look { kAtAll, kAtSize };

  // raw: the bytes stay as they are; else every bare line feed becomes CR LF. look: what of the
  // traits is wanted. Throws Failure, as all below.
  explicit Spool(bool raw, Look look = Look::kAtAll);

  void Write(std::string_view block);
  // The end of the text; nothing is written after it.
  void Finish();

  const TextTraits& traits() const { return traits_; }
  // What the library opens.
  std::string path() const { return sys::PathOf(file_); }
  sys::File& file() { return file_; }

 private:
  void Flush();

  bool raw_;
  Look look_;
  sys::File file_;
  std::string folder_;
  LineEndWriter ends_;
  TextScan scan_;
  std::int64_t size_bytes_ = 0;
  TextTraits traits_;
  std::string text_;
};

}  // namespace cli::mail

#endif
