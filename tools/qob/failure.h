// How a command ends badly: one exit code of the sysexits family and one line for standard error
// that names the thing that failed and says what to do about it.
#ifndef TOOLS_QOB_FAILURE_H
#define TOOLS_QOB_FAILURE_H

#include <stdexcept>
#include <string>

namespace cli {

enum class ExitCode : int {
  kOk = 0,
  kUsage = 64,       // wrong option or operand
  kData = 65,        // the input is not what the command reads
  kNoInput = 66,     // the input does not exist or cannot be opened
  kSoftware = 70,    // out of memory, or a case that should not happen
  kCantCreate = 73,  // an output file or directory cannot be made
  kIo = 74,          // reading or writing failed half-way
  kTemporary = 75,   // held by another process: try again
  kNoPermission = 77,
  kConfig = 78,  // the configuration is wrong
};

class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& line) : std::runtime_error(line), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// A failure that ends the whole command, not only the message at hand.
class FatalFailure : public Failure {
 public:
  using Failure::Failure;
};

}  // namespace cli

#endif
