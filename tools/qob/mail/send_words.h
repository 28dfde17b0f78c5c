// The command lines of 'qob build' and 'qob send', and of programs that hand over their mail by the
// name sendmail.
#ifndef TOOLS_QOB_MAIL_SEND_WORDS_H
#define TOOLS_QOB_MAIL_SEND_WORDS_H

#include <optional>
#include <string>

#include "../arguments.h"
#include "../failure.h"

namespace cli::mail {

// As ParseArguments; nothing when the line is for another command. The tool may have been called by
// the names sendmail, newaliases and mailq.
std::optional<bool> ParseMailWords(int count, char** words, Arguments* arguments,
                                   std::string* printed);

// Called by one of those names: nothing is printed that the caller does not expect.
bool IsStandIn(const Arguments& arguments);

// What -b asks for other than taking a message: done, with its code. Throws Failure for what only a
// mail server can do.
std::optional<ExitCode> RunForeignMode(const Arguments& arguments);

}  // namespace cli::mail

#endif
