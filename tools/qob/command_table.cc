#include "command_table.h"

#include <vector>

namespace cli {
namespace {

constexpr FamilyRow kFamilies[] = {
    {"word", "make and read encoded words"},
    {"binhex", "write and read BinHex 4.0 files"},
    {"jis", "convert Japanese text to and from ISO-2022-JP"},
    {"dsn", "report on deliveries, and read such reports"},
    {"config", "show, change and check the configuration of the site"},
    {"magic", "show and change the file types of the site"},
    {"peer", "show, change and explain what holds for domains"},
    {"ban", "show and change who is banned"},
    {"channel", "show and drain the channels on which messages wait"},
    {"queue", "show, steer and check the messages that wait"},
};

std::vector<CommandRow> Collect() {
  std::vector<CommandRow> all;
  for (const auto part : {MailCommands(), SendCommands(), NotifyCommands(), TextCommands(), CodecCommands(),
                          ConfigCommands(), JisCommands(), DatabaseCommands(), QueueCommands(),
                          QueueActCommands(), ChannelCommands()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

}  // namespace

std::span<const CommandRow> Commands() {
  static const std::vector<CommandRow> all = Collect();
  return all;
}

const CommandRow* FindCommand(std::string_view name) {
  for (const CommandRow& command : Commands()) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

std::span<const FamilyRow> Families() { return kFamilies; }

std::string UsageLine(const CommandRow& command) {
  std::string line = std::string("qob ") + command.name + " [options]";
  for (const OperandRow& operand : command.operands) {
    const std::string name = std::string(operand.name) + (operand.most < 0 ? "..." : "");
    line += operand.least == 0 ? " [" + name + "]" : " " + name;
  }
  return line;
}

std::string_view LongName(const OptionRow& option) {
  const std::string_view names = option.names;
  const std::size_t comma = names.find(',');
  return comma == std::string_view::npos ? names : names.substr(comma + 1);
}

std::string_view ShortName(const OptionRow& option) {
  const std::string_view names = option.names;
  const std::size_t comma = names.find(',');
  return comma == std::string_view::npos ? std::string_view() : names.substr(0, comma);
}

}  // namespace cli
