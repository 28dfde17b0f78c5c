// A message that another program made: its header is looked at, the rest goes through block by
// block.
#ifndef TOOLS_QOB_MAIL_READY_MESSAGE_H
#define TOOLS_QOB_MAIL_READY_MESSAGE_H

#include <string>
#include <string_view>
#include <vector>

#include "input.h"
#include "spool.h"

namespace cli::mail {

class ReadyMessage {
 public:
  // Reads the header. Throws Failure.
  explicit ReadyMessage(Input input);

  bool HasField(std::string_view name) const;
  // The addresses of To, Cc and Bcc, or of their Resent- forms where there is one. Throws Failure
  // for one that is none.
  std::vector<std::string> Recipients() const;

  // Takes the Bcc fields out.
  void RemoveBcc();
  // One more line at the end of the header.
  void AddField(const std::string& line);

  // The whole message: the header, mended to be one, and what comes behind it. raw: nothing is
  // mended. Throws Failure.
  void WriteTo(Spool* spool, bool raw);

 private:
  struct Field {
    std::string name;  // as written
    std::string text;  // with name, folds and line ends
  };
  bool NextLine(std::string* line);
  void ReadHeader();
  void WriteRest(Spool* spool);

  Input input_;
  std::string pending_;    // read, and not yet taken
  std::size_t at_ = 0;     // in it
  std::string from_line_;  // "From ..." of a mailbox
  std::vector<Field> fields_;
  std::string empty_line_;  // that ends the header; "" when there was none
  std::string body_;        // the first of it
};

}  // namespace cli::mail

#endif
