// The texts of --help and --version, made from the table of commands: examples first.
#ifndef TOOLS_QOB_HELP_H
#define TOOLS_QOB_HELP_H

#include <string>

#include "command_table.h"

namespace cli {

std::string MainHelp();
std::string FamilyHelp(const std::string& family);
std::string CommandHelp(const CommandRow& command);
std::string VersionText();

// Text broken into lines of at most width characters, each after indent blanks; an empty line
// divides paragraphs.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width);

}  // namespace cli

#endif
