#include "help.h"

#include <algorithm>

namespace cli {
namespace {

constexpr std::size_t kWidth = 79;

std::string Column(const std::string& text, std::size_t width) {
  return text.size() >= width ? text + "  " : text + std::string(width - text.size(), ' ');
}

std::string OptionText(const OptionRow& option) {
  std::string text = ShortName(option).empty() ? "    " : std::string(ShortName(option)) + ", ";
  text += LongName(option);
  if (option.value[0] != '\0') text += std::string(" ") + option.value;
  return text;
}

std::string ExamplesText(std::span<const ExampleRow> examples) {
  std::string text = "Examples:\n";
  for (const ExampleRow& example : examples) {
    text += std::string("  ") + example.line + "\n      " + example.what + "\n";
  }
  return text;
}

std::string CommandLine(const char* name, const char* summary) {
  return "  " + Column(name, 16) + summary + "\n";
}

}  // namespace

std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width) {
  std::string result;
  std::size_t column = 0;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(" \n"), text.size());
    const std::string_view word = text.substr(0, end);
    if (column != 0 && column + 1 + word.size() > width) {
      result += "\n";
      column = 0;
    }
    if (!word.empty()) {
      result += column == 0 ? std::string(indent, ' ') : " ";
      column = (column == 0 ? indent : column + 1) + word.size();
      result += word;
    }
    if (end == text.size()) break;
    if (text[end] == '\n') {
      result += "\n";
      column = 0;
    }
    text.remove_prefix(end + 1);
  }
  return result + "\n";
}

std::string MainHelp() {
  std::string text =
      "Examples:\n"
      "  qob parse message.eml                 the parts of a message\n"
      "  qob header message.eml --decoded      its header fields\n"
      "  qob extract message.eml -o parts      its bodies and attachments as files\n"
      "\n"
      "Usage: qob COMMAND [options] [operands]\n"
      "\n"
      "Commands:\n";
  for (const CommandRow& command : Commands()) text += CommandLine(command.name, command.summary);
  return text +
         "\n"
         "Options:\n"
         "  -h, --help      this text; 'qob COMMAND --help' tells about one command\n"
         "  -V, --version   the version of qob\n"
         "\n"
         "Data goes to standard output, messages to standard error. Exit codes: 0, and\n"
         "64 to 78 as in sysexits(3); qob(1) tells what each stands for.\n";
}

std::string FamilyHelp(const std::string& family) {
  std::string text = "Usage: qob " + family + " COMMAND [options] [operands]\n\nCommands:\n";
  for (const CommandRow& command : Commands()) {
    if (std::string_view(command.name).starts_with(family + " "))
      text += CommandLine(command.name, command.summary);
  }
  return text;
}

std::string CommandHelp(const CommandRow& command) {
  std::string text = ExamplesText(command.examples);
  text += "\nUsage: " + UsageLine(command) + "\n\n" + Wrapped(command.description, 0, kWidth) +
          "\nOptions:\n";
  for (const OptionRow& option : command.options) {
    const std::string help = Wrapped(option.help, 26, kWidth);
    const std::string name = "  " + OptionText(option);
    text += name.size() > 24 ? name + "\n" + help : Column(name, 26) + help.substr(26);
  }
  return text;
}

std::string VersionText() { return "qob " + std::string(kVersion) + "\n"; }

}  // namespace cli
