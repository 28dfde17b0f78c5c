// The one table of the commands: names, options, operands, examples and prose. The parser of the
// command line, --help, the man pages and the shell completions are all made from it, so that they
// cannot disagree.
#ifndef TOOLS_QOB_COMMAND_TABLE_H
#define TOOLS_QOB_COMMAND_TABLE_H

#include <span>
#include <string>
#include <string_view>

namespace cli {

inline constexpr std::string_view kVersion = "1.0.0";

// What a shell offers for a value.
enum class Offers { kNothing, kFiles, kFolders, kWords };

struct OptionRow {
  const char* names;  // "-o,--output": short name first where there is one
  const char* value;  // "DIR", or "" for a switch
  const char* help;
  Offers offers = Offers::kNothing;
  const char* words = "";  // for kWords, divided by blanks
};

struct OperandRow {
  const char* name;  // "FILE"; "" for a command without operands
  int least = 0;
  int most = 0;  // -1: any number
  Offers offers = Offers::kNothing;
};

struct ExampleRow {
  const char* line;
  const char* what;
};

struct CommandRow {
  const char* name;  // "word encode": a family and its member, or one word
  const char* summary;
  const char* description;  // paragraphs divided by an empty line
  std::span<const OptionRow> options;
  std::span<const OperandRow> operands;
  std::span<const ExampleRow> examples;
};

std::span<const CommandRow> Commands();
const CommandRow* FindCommand(std::string_view name);

// The parts of the table, by family.
std::span<const CommandRow> MailCommands();      // parse, extract, header
std::span<const CommandRow> SendCommands();      // build, send
std::span<const CommandRow> NotifyCommands();    // bounce, dsn, notice, sendlog
std::span<const CommandRow> TextCommands();      // address, date, word
std::span<const CommandRow> CodecCommands();     // binhex, uudecode
std::span<const CommandRow> ConfigCommands();    // config
std::span<const CommandRow> JisCommands();       // jis
std::span<const CommandRow> ChannelCommands();   // channel
std::span<const CommandRow> DatabaseCommands();  // magic, peer, ban
std::span<const CommandRow> QueueCommands();     // queue: those that look
std::span<const CommandRow> QueueActCommands();  // queue: those that change

// The families that have members, with a line about each.
struct FamilyRow {
  const char* name;
  const char* summary;
};
std::span<const FamilyRow> Families();

// "qob parse [options] FILE..."
std::string UsageLine(const CommandRow& command);
// "--output" and "-o" of "-o,--output"; "" when there is no short name.
std::string_view LongName(const OptionRow& option);
std::string_view ShortName(const OptionRow& option);

}  // namespace cli

#endif
