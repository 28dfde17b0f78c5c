// From operands to messages: FILE may be a message, an mbox, a maildir, - for standard input, or
// with --recursive a folder.
#ifndef TOOLS_QOB_MESSAGE_WALK_H
#define TOOLS_QOB_MESSAGE_WALK_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "failure.h"
#include "mbox.h"
#include "output.h"
#include "private_site.h"
#include "working_copy.h"

namespace cli {

struct Message822 {
  std::string file;         // as the user knows it; "-" for standard input
  std::size_t in_file = 0;  // number inside its mbox, from 1; 0 for a file that holds one message
  std::size_t serial =
      0;            // number over all operands, from 1; 0 when the command reads one message only
  ByteRange range;  // of the message in its file
  const WorkingCopy* copy = nullptr;

  // "inbox.mbox[3]" or "message.eml"
  std::string Label() const {
    return in_file == 0 ? file : file + "[" + std::to_string(in_file) + "]";
  }
};

class MessageWalk {
 public:
  using Visit = std::function<void(const Message822&)>;

  MessageWalk(const PrivateSite& site, const std::vector<std::string>& operands, bool recursive);

  // Calls visit for every message. A Failure is reported with the name of its message, and the walk
  // goes on; the result is the code of the first one.
  ExitCode Run(const Visit& visit);

 private:
  struct Target {
    std::string shown;
    std::string path;
    std::optional<Failure> problem;
  };

  void AddOperand(const std::string& operand);
  void AddStandardInput();
  void AddFolder(const std::string& path);
  void AddMaildir(const std::string& path);
  void AddFilesOf(const std::string& path, bool descend);
  void AddProblem(const std::string& shown, ExitCode code, const std::string& line);
  void AddUnreadable(const std::string& shown, int error);

  void VisitFile(const Target& target, const Visit& visit);
  void VisitMessage(const Target& target, ByteRange range, std::size_t in_file,
                    std::int64_t size_bytes, const Visit& visit);
  void Report(const std::string& label, const Failure& failure);
  void TellConverted() const;

  const PrivateSite& site_;
  bool recursive_;
  std::vector<Target> targets_;
  bool many_ = false;
  std::size_t serial_ = 0;
  std::size_t converted_ = 0;
  std::string converted_label_;
  ExitCode code_ = ExitCode::kOk;
  std::optional<Progress> progress_;
};

}  // namespace cli

#endif
