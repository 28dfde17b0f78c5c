// What a parsed command line holds, asked for by name.
#include <charconv>

#include "arguments.h"
#include "failure.h"

namespace cli {

Failure UsageFailure(const std::string& what, const std::string& command) {
  return Failure(ExitCode::kUsage,
                 what + "; see 'qob " + command + (command.empty() ? "" : " ") + "--help'");
}

void CheckOperands(const CommandRow& command, const std::vector<std::string>& given) {
  std::size_t most = 0;
  std::size_t least = 0;
  for (const OperandRow& operand : command.operands) {
    if (given.size() < least + static_cast<std::size_t>(operand.least))
      throw UsageFailure(std::string(operand.name) + " is missing", command.name);
    least += static_cast<std::size_t>(operand.least);
    most = operand.most < 0 ? given.size() : most + static_cast<std::size_t>(operand.most);
  }
  if (given.size() > most)
    throw UsageFailure("\"" + given[most] + "\" is one operand too many", command.name);
}

std::string Arguments::Value(std::string_view option, std::string_view otherwise) const {
  const auto found = values.find(option);
  return found == values.end() || found->second.empty() ? std::string(otherwise)
                                                        : found->second.back();
}

std::vector<std::string> Arguments::All(std::string_view option) const {
  const auto found = values.find(option);
  return found == values.end() ? std::vector<std::string>() : found->second;
}

std::vector<int> Arguments::Numbers(std::string_view option) const {
  std::vector<int> numbers;
  for (const std::string& text : All(option)) {
    int number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 0) {
      throw Failure(ExitCode::kUsage, std::string(option) + " " + text +
                                          ": not a part number; 'qob parse' shows them");
    }
    numbers.push_back(number);
  }
  return numbers;
}

}  // namespace cli
