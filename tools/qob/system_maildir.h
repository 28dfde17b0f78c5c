// A maildir that messages are delivered to: written in tmp/, flushed, and only then given their
// names in new/, where readers look.
#ifndef TOOLS_QOB_SYSTEM_MAILDIR_H
#define TOOLS_QOB_SYSTEM_MAILDIR_H

#include <cstdint>
#include <string>

namespace cli::sys {

class Maildir {
 public:
  // Makes the directory and its three folders where they are missing, mode 0700.
  explicit Maildir(const std::string& path);
  Maildir(const Maildir&) = delete;
  Maildir& operator=(const Maildir&) = delete;
  ~Maildir();

  // Why it cannot be used; 0 when it can.
  int error() const { return error_; }
  // A new message of the head and the bytes of the file, on stable storage when it returns 0; else
  // the errno, and nothing is left.
  int Deliver(const std::string& head, const std::string& file);

 private:
  int Write(const std::string& name, const std::string& head, const std::string& file) const;

  int error_ = 0;
  int temporary_ = -1;
  int new_ = -1;
  std::uint64_t count_ = 0;
};

}  // namespace cli::sys

#endif
