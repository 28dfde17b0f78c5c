// The command lines of 'qob build' and 'qob send', and of programs that hand over their mail by the
// name sendmail.
#ifndef TOOLS_QOB_MAIL_SEND_WORDS_H
#define TOOLS_QOB_MAIL_SEND_WORDS_H

#include <optional>
#include <string>

#include "../arguments.h"

namespace cli::mail {

// As ParseArguments; nothing when the line is for another command.
std::optional<bool> ParseMailWords(int count, char** words, Arguments* arguments,
                                   std::string* printed);

}  // namespace cli::mail

#endif
