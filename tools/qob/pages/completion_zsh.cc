// Completion for zsh: _arguments for every command.
#include "pages.h"

namespace cli {
namespace {

// Text inside single quotes, where _arguments reads brackets and colons.
std::string Escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\'') {
      result += "'\\''";
    } else {
      if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
      result += c;
    }
  }
  return result;
}

std::string Action(Offers offers, const char* words) {
  switch (offers) {
    case Offers::kFiles:
      return "_files";
    case Offers::kFolders:
      return "_files -/";
    case Offers::kWords:
      return std::string("(") + words + ")";
    case Offers::kNothing:
      break;
  }
  return " ";
}

std::string OptionSpec(const OptionRow& option) {
  const std::string name(LongName(option));
  const std::string shorter(ShortName(option));
  const std::string value = option.value[0] == '\0' ? std::string()
                                                    : std::string(":") + option.value + ":" +
                                                          Action(option.offers, option.words);
  const std::string help = "[" + Escaped(option.help) + "]" + value + "'";
  if (shorter.empty()) return "'" + name + help;
  return "'(" + shorter + " " + name + ")'{" + shorter + "," + name + "}'" + help;
}

std::string OperandSpec(const OperandRow& operand, std::size_t place) {
  const std::string head = operand.most < 0 ? "*" : std::to_string(place);
  return "'" + head + ":" + operand.name + ":" + Action(operand.offers, "") + "'";
}

std::string CommandCase(const CommandRow& command) {
  std::string text = std::string("    '") + command.name + "')\n      _arguments -s";
  for (const OptionRow& option : command.options) text += " \\\n        " + OptionSpec(option);
  std::size_t place = 0;
  for (const OperandRow& operand : command.operands)
    text += " \\\n        " + OperandSpec(operand, ++place);
  return text + "\n      ;;\n";
}

// One row of _describe: the colon divides the name from its description.
std::string Row(std::string_view name, const char* summary) {
  return "'" + std::string(name) + ":" + Escaped(summary) + "'";
}

std::string FirstRows() {
  std::string rows;
  for (const CommandRow& command : Commands()) {
    if (std::string_view(command.name).find(' ') == std::string_view::npos)
      rows += (rows.empty() ? "" : " ") + Row(command.name, command.summary);
  }
  for (const FamilyRow& family : Families()) rows += " " + Row(family.name, family.summary);
  return rows;
}

std::string FamilyRows(const std::string& family) {
  std::string rows;
  for (const CommandRow& command : Commands()) {
    const std::string_view name = command.name;
    if (name.starts_with(family + " "))
      rows += (rows.empty() ? "" : " ") + Row(name.substr(family.size() + 1), command.summary);
  }
  return rows;
}

}  // namespace

std::string ZshCompletion() {
  std::string text =
      "#compdef qob\n"
      "# zsh completion for qob, made from its table of commands\n"
      "_qob() {\n"
      "  local command=$words[2]\n"
      "  local -a commands\n"
      "  if (( CURRENT == 2 )); then\n"
      "    commands=(" +
      FirstRows() +
      ")\n    _describe 'command' commands\n    return\n  fi\n  local skip=1\n  case $command in\n";
  for (const FamilyRow& family : Families()) {
    text += std::string("    ") + family.name +
            ")\n      if (( CURRENT == 3 )); then\n        commands=(" + FamilyRows(family.name) +
            ")\n        _describe 'command' commands\n        return\n      fi\n      command+=\" "
            "$words[3]\"\n      skip=2\n      ;;\n";
  }
  text +=
      "  esac\n  words=(\"qob\" \"${(@)words[skip+2,-1]}\")\n  (( CURRENT -= skip ))\n  case "
      "$command in\n";
  for (const CommandRow& command : Commands()) text += CommandCase(command);
  return text + "  esac\n}\n_qob \"$@\"\n";
}

}  // namespace cli
