// Completion for bash: one case per command, one per option with a value.
#include "pages.h"

namespace cli {
namespace {

std::string Quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

// The case label of an option that takes a value: "-o|--output".
std::string Label(const OptionRow& option) {
  const std::string name(LongName(option));
  return ShortName(option).empty() ? name : std::string(ShortName(option)) + "|" + name;
}

std::string Reply(Offers offers, const std::string& words) {
  switch (offers) {
    case Offers::kFiles:
      return "COMPREPLY=($(compgen -f -- \"$word\"))";
    case Offers::kFolders:
      return "COMPREPLY=($(compgen -d -- \"$word\"))";
    case Offers::kWords:
      return "COMPREPLY=($(compgen -W " + Quoted(words) + " -- \"$word\"))";
    case Offers::kNothing:
      break;
  }
  return "COMPREPLY=()";
}

std::string OptionWords(const CommandRow& command) {
  std::string words;
  for (const OptionRow& option : command.options) {
    for (const std::string_view name : {ShortName(option), LongName(option)}) {
      if (!name.empty()) words += (words.empty() ? "" : " ") + std::string(name);
    }
  }
  return words;
}

std::string CommandCase(const CommandRow& command) {
  std::string text = "    " + Quoted(command.name) + ")\n      case \"$before\" in\n";
  for (const OptionRow& option : command.options) {
    if (option.value[0] == '\0') continue;
    text +=
        "        " + Label(option) + ") " + Reply(option.offers, option.words) + "; return ;;\n";
  }
  text += "      esac\n      if [[ $word == -* ]]; then\n        " +
          Reply(Offers::kWords, OptionWords(command)) + "\n      else\n";
  const Offers operands =
      command.operands.empty() ? Offers::kNothing : command.operands.front().offers;
  return text + "        " + Reply(operands, "") + "\n      fi\n      ;;\n";
}

std::string FirstWords() {
  std::string words = "--help --version";
  std::string last;
  for (const CommandRow& command : Commands()) {
    const std::string_view name = command.name;
    const std::string first(name.substr(0, name.find(' ')));
    if (first != last) words += " " + first;
    last = first;
  }
  return words;
}

std::string FamilyWords(const std::string& family) {
  std::string words;
  for (const CommandRow& command : Commands()) {
    const std::string_view name = command.name;
    if (name.starts_with(family + " "))
      words += (words.empty() ? "" : " ") + std::string(name.substr(family.size() + 1));
  }
  return words;
}

}  // namespace

std::string BashCompletion() {
  std::string text =
      "# bash completion for qob, made from its table of commands\n"
      "_qob() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} "
      "command=${COMP_WORDS[1]}\n"
      "  COMPREPLY=()\n"
      "  if ((COMP_CWORD == 1)); then\n"
      "    " +
      Reply(Offers::kWords, FirstWords()) + "\n    return\n  fi\n  case \"$command\" in\n";
  for (const FamilyRow& family : Families()) {
    text += std::string("    ") + family.name + ")\n      if ((COMP_CWORD == 2)); then\n        " +
            Reply(Offers::kWords, FamilyWords(family.name)) +
            "\n        return\n      fi\n      command+=\" ${COMP_WORDS[2]}\"\n      ;;\n";
  }
  text += "  esac\n  case \"$command\" in\n";
  for (const CommandRow& command : Commands()) text += CommandCase(command);
  return text + "  esac\n}\ncomplete -o filenames -F _qob qob\n";
}

}  // namespace cli
