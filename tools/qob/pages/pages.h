// The pages that are made from the table of commands: man pages and shell completions.
#ifndef TOOLS_QOB_PAGES_PAGES_H
#define TOOLS_QOB_PAGES_PAGES_H

#include <string>

#include "command_table.h"

namespace cli {

// qob.1, the page about the whole; and the page of one command ("word encode" ->
// qob-word-encode.1).
std::string MainManPage();
std::string CommandManPage(const CommandRow& command);
std::string ManPageName(const CommandRow& command);

std::string BashCompletion();
std::string ZshCompletion();
std::string FishCompletion();

}  // namespace cli

#endif
