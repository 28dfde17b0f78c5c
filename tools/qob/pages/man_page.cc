// Man pages in the man(7) macros.
#include <algorithm>

#include "pages.h"

namespace cli {
namespace {

constexpr std::string_view kExitCodes[][2] = {
    {"0", "done"},
    {"64", "an option or operand that does not fit"},
    {"65",
     "the input is not what the command reads: empty, damaged, not mail, an incomplete block"},
    {"66", "an input file does not exist or cannot be opened"},
    {"70", "out of memory, or an internal error"},
    {"73", "an output file or the private directory cannot be made"},
    {"74", "reading or writing failed, a full disk among others"},
    {"75", "another process holds the file: try again"},
    {"77", "the right to read or write is missing"},
    {"78", "the configuration is wrong, or a key is not set"},
};

// Text as roff: its escapes, dashes that stay dashes, and no line that reads as a request.
std::string Roff(std::string_view text) {
  std::string result;
  bool line_start = true;
  for (const char c : text) {
    if (line_start && (c == '.' || c == '\'')) result += "\\&";
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
    line_start = c == '\n';
  }
  return result;
}

std::string Bold(std::string_view text) { return "\\fB" + Roff(text) + "\\fR"; }
std::string Italic(std::string_view text) { return "\\fI" + Roff(text) + "\\fR"; }

std::string Dashed(std::string_view name) {
  std::string dashed(name);
  std::replace(dashed.begin(), dashed.end(), ' ', '-');
  return dashed;
}

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::string Head(const std::string& name, const std::string& summary) {
  const std::string title = Upper(name);
  return ".TH " + Roff(title) + " 1 \"\" \"qob " + std::string(kVersion) +
         "\" \"User Commands\"\n.SH NAME\n" + Roff(name) + " \\- " + Roff(summary) + "\n";
}

std::string Paragraphs(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find("\n\n"), text.size());
    result += ".PP\n" + Roff(text.substr(0, end)) + "\n";
    text.remove_prefix(std::min(text.size(), end + 2));
  }
  return result;
}

std::string Synopsis(const CommandRow& command) {
  std::string text =
      ".SH SYNOPSIS\n" + Bold(std::string("qob ") + command.name) + " [" + Italic("options") + "]";
  for (const OperandRow& operand : command.operands) {
    const std::string shown = Italic(operand.name) + (operand.most < 0 ? "..." : "");
    text += operand.least == 0 ? " [" + shown + "]" : " " + shown;
  }
  return text + "\n";
}

std::string Options(const CommandRow& command) {
  std::string text = ".SH OPTIONS\n";
  for (const OptionRow& option : command.options) {
    text += ".TP\n";
    if (!ShortName(option).empty()) text += Bold(ShortName(option)) + ", ";
    text += Bold(LongName(option));
    if (option.value[0] != '\0') text += " " + Italic(option.value);
    text += "\n" + Roff(option.help) + "\n";
  }
  return text;
}

std::string Examples(const CommandRow& command) {
  std::string text = ".SH EXAMPLES\n";
  for (const ExampleRow& example : command.examples) {
    text += ".TP\n" + Bold(example.line) + "\n" + Roff(example.what) + "\n";
  }
  return text;
}

std::string ExitCodes() {
  std::string text = ".SH EXIT STATUS\nThe codes are those of sysexits(3):\n";
  for (const auto& row : kExitCodes) text += ".TP\n" + Bold(row[0]) + "\n" + Roff(row[1]) + "\n";
  return text;
}

std::string Environment() {
  return ".SH ENVIRONMENT\n"
         ".TP\n\\fBTMPDIR\\fR\nwhere the private directory of a run is made (\\fI/tmp\\fR when not "
         "set)\n"
         ".TP\n\\fBQOB_CONFIG_DIR\\fR\nthe directory of the site's \\fItwmta.ini\\fR "
         "(\\fI/etc/qob3xapi\\fR when not set)\n"
         ".TP\n\\fBNO_COLOR\\fR\nno colour when it is set and not empty\n";
}

}  // namespace

std::string ManPageName(const CommandRow& command) { return "qob-" + Dashed(command.name) + ".1"; }

std::string CommandManPage(const CommandRow& command) {
  return Head("qob-" + Dashed(command.name), command.summary) + Synopsis(command) +
         ".SH DESCRIPTION\n" + Paragraphs(command.description) + Options(command) +
         Examples(command) +
         ".SH EXIT STATUS\nAs in \\fBqob\\fR(1).\n.SH SEE ALSO\n\\fBqob\\fR(1)\n";
}

std::string MainManPage() {
  std::string text = Head(
      "qob", "look into mail: parts, headers, addresses, dates, encoded words, embedded files");
  text +=
      ".SH SYNOPSIS\n\\fBqob\\fR \\fIcommand\\fR [\\fIoptions\\fR] "
      "[\\fIoperands\\fR]\n.br\n\\fBqob\\fR \\fB\\-\\-version\\fR\n.SH COMMANDS\n";
  for (const CommandRow& command : Commands()) {
    text +=
        ".TP\n\\fBqob\\-" + Roff(Dashed(command.name)) + "\\fR(1)\n" + Roff(command.summary) + "\n";
  }
  text += ".SH DESCRIPTION\n";
  text += Paragraphs(
      "Data goes to standard output, messages to standard error. A failure is one line that names "
      "the file and says what to do; "
      "with several files the others are still read, and the exit code is that of the first "
      "failure.\n\n"
      "FILE may be a message, an mbox, a maildir, - for standard input, or with --recursive a "
      "folder. A message of an mbox is named "
      "by the file and its number, as inbox.mbox[3]. A longer run shows how far it is when "
      "standard error is a terminal.\n\n"
      "A message whose first line ends in a bare line feed is read through a temporary copy with "
      "CR LF line ends, which is said. "
      "Byte positions are always those of the file that was given. No file that is read is ever "
      "changed.\n\n"
      "The commands that read mail do not depend on the site. Each run makes a directory of its "
      "own that only its user can enter, "
      "with a copy of the site's configuration in which the temporary directory is that directory, "
      "and the time zone that of the "
      "system when the site names none. The directory is removed at the end, also after an error, "
      "an interrupt or a hang-up. Only "
      "the config commands work on the real configuration.\n\n"
      "With --json every line of output is one JSON object; its member schema names its form and "
      "version. A text that is not UTF-8 "
      "is repaired there, and its bytes stand in base64 in a second member of the same name with "
      "_base64 behind it.");
  text += ExitCodes() + Environment();
  text +=
      ".SH FILES\n.TP\n\\fI/etc/qob3xapi/twmta.ini\\fR\nthe configuration of the site\n.SH SEE "
      "ALSO\n";
  std::string list;
  for (const CommandRow& command : Commands()) {
    list += (list.empty() ? "" : ",\n") + std::string("\\fBqob\\-") + Roff(Dashed(command.name)) +
            "\\fR(1)";
  }
  return text + list + "\n";
}

}  // namespace cli
