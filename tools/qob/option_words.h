// Command lines in the manner of getopt, for the commands whose operands may be any word: an
// address or a file that is called like a command stays an operand.
#ifndef TOOLS_QOB_OPTION_WORDS_H
#define TOOLS_QOB_OPTION_WORDS_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "arguments.h"

namespace cli {

// A short option that is not in the table of the command.
struct ForeignOption {
  char letter;
  bool has_value;
};

// Reads the words behind the command's name by its row of the table: "--name value",
// "--name=value",
// "-n value", "-nvalue", switches together ("-ti"), "--" before operands that begin with a dash;
// options may stand behind operands. Values of foreign options are put under "-x"; table_first
// tells whose letter counts where both have it. Throws Failure(kUsage).
void ReadWords(const CommandRow& row, std::span<const std::string> words,
               std::span<const ForeignOption> foreign, bool table_first, Arguments* arguments);

}  // namespace cli

#endif
