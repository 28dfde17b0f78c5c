// One parsed command line: which command, its switches, its values and its operands.
#ifndef TOOLS_QOB_ARGUMENTS_H
#define TOOLS_QOB_ARGUMENTS_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "command_table.h"
#include "failure.h"

namespace cli {

class Arguments {
 public:
  const CommandRow* command = nullptr;
  std::map<std::string, std::vector<std::string>, std::less<>>
      values;  // by long option name; a switch has one "1"
  std::vector<std::string> operands;

  bool Has(std::string_view option) const { return values.find(option) != values.end(); }
  // The last value given, or the other text.
  std::string Value(std::string_view option, std::string_view otherwise = "") const;
  std::vector<std::string> All(std::string_view option) const;
  // The values of a numeric option; a value that is no number from 0 up is a usage failure.
  std::vector<int> Numbers(std::string_view option) const;
};

// The line that a usage failure gives.
Failure UsageFailure(const std::string& what, const std::string& command);
// Too few or too many operands are a usage failure that names them as the table does.
void CheckOperands(const CommandRow& command, const std::vector<std::string>& given);

// Parses the command line. Prints help or the version and returns false when that is all that was
// asked for; throws Failure(kUsage) for a line that does not fit the table.
bool ParseArguments(int count, char** words, Arguments* arguments, std::string* printed);

}  // namespace cli

#endif
