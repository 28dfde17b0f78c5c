// Completion for fish: one line for every command and every option.
#include "pages.h"

namespace cli {
namespace {

std::string Quoted(std::string_view text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') result += '\\';
    result += c;
  }
  return result + "'";
}

std::string First(std::string_view name) { return std::string(name.substr(0, name.find(' '))); }

// The condition that a command line is about this command.
std::string Condition(const CommandRow& command) {
  const std::string_view name = command.name;
  const std::string first = First(name);
  std::string condition = "__fish_seen_subcommand_from " + first;
  if (first.size() != name.size())
    condition += "; and __fish_seen_subcommand_from " + std::string(name.substr(first.size() + 1));
  return Quoted(condition);
}

std::string Value(const OptionRow& option) {
  if (option.value[0] == '\0') return {};
  switch (option.offers) {
    case Offers::kFiles:
      return " -r -F";
    case Offers::kFolders:
      return " -x -a " + Quoted("(__fish_complete_directories)");
    case Offers::kWords:
      return " -x -a " + Quoted(option.words);
    case Offers::kNothing:
      break;
  }
  return " -x";
}

std::string OptionLine(const CommandRow& command, const OptionRow& option) {
  std::string line = "complete -c qob -n " + Condition(command);
  if (!ShortName(option).empty()) line += " -s " + std::string(ShortName(option).substr(1));
  return line + " -l " + std::string(LongName(option).substr(2)) + Value(option) + " -d " +
         Quoted(option.help) + "\n";
}

std::string CommandLines(const CommandRow& command) {
  std::string text;
  const Offers operands =
      command.operands.empty() ? Offers::kNothing : command.operands.front().offers;
  if (operands == Offers::kFiles) text += "complete -c qob -n " + Condition(command) + " -F\n";
  for (const OptionRow& option : command.options) text += OptionLine(command, option);
  return text;
}

std::string NameLine(const CommandRow& command) {
  const std::string_view name = command.name;
  const std::string first = First(name);
  if (first.size() == name.size()) {
    return "complete -c qob -n __fish_use_subcommand -a " + first + " -d " +
           Quoted(command.summary) + "\n";
  }
  std::string others;
  for (const CommandRow& other : Commands()) {
    const std::string_view other_name = other.name;
    if (other_name.starts_with(first + " "))
      others += " " + std::string(other_name.substr(first.size() + 1));
  }
  const std::string condition =
      "__fish_seen_subcommand_from " + first + "; and not __fish_seen_subcommand_from" + others;
  return "complete -c qob -n " + Quoted(condition) + " -a " +
         std::string(name.substr(first.size() + 1)) + " -d " + Quoted(command.summary) + "\n";
}

}  // namespace

std::string FishCompletion() {
  std::string text =
      "# fish completion for qob, made from its table of commands\ncomplete -c qob -f\n";
  text += "complete -c qob -n __fish_use_subcommand -s V -l version -d " +
          Quoted("the version of qob") + "\n";
  text += "complete -c qob -n __fish_use_subcommand -s h -l help -d " +
          Quoted("show the commands") + "\n";
  for (const FamilyRow& family : Families()) {
    text += std::string("complete -c qob -n __fish_use_subcommand -a ") + family.name + " -d " +
            Quoted(family.summary) + "\n";
  }
  for (const CommandRow& command : Commands()) text += NameLine(command);
  for (const CommandRow& command : Commands()) text += CommandLines(command);
  return text;
}

}  // namespace cli
