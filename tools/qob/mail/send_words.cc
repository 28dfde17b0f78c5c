#include "send_words.h"

#include <vector>

#include "../help.h"
#include "../option_words.h"

namespace cli::mail {

std::optional<bool> ParseMailWords(int count, char** words, Arguments* arguments,
                                   std::string* printed) {
  const std::string_view name = count > 1 ? words[1] : "";
  if (name != "build") return std::nullopt;
  const CommandRow& row = *FindCommand(name);
  const std::vector<std::string> rest(words + 2, words + count);
  ReadWords(row, rest, {}, true, arguments);
  if (arguments->Has("--help")) {
    *printed = CommandHelp(row);
    return false;
  }
  CheckOperands(row, arguments->operands);
  return true;
}

}  // namespace cli::mail
