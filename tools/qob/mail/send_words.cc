#include "send_words.h"

#include <algorithm>
#include <vector>

#include "../commands.h"
#include "../config_keys.h"
#include "../help.h"
#include "../option_words.h"
#include "../output_file.h"

namespace cli::mail {
namespace {

constexpr std::string_view kStandIn = "(sendmail)";

// What programs give to sendmail beside the options of the table: -b and -B mean something, an -O
// or -o may be about dots, the rest is about how a mail server works.
constexpr ForeignOption kForeign[] = {
    {'b', true},  {'o', true},  {'O', true},  {'B', true},  {'r', true},  {'e', true},
    {'h', true},  {'p', true},  {'A', true},  {'C', true},  {'L', true},  {'X', true},
    {'d', true},  {'q', true},  {'D', true},  {'M', true},  {'G', false}, {'U', false},
    {'m', false}, {'n', false}, {'x', false}, {'c', false}, {'E', false},
};

bool SaysYes(std::string_view value) {
  return EqualFold(value, "true") || EqualFold(value, "yes") || value == "1" || value.empty();
}

// "-oi", "-O IgnoreDots=true".
bool IgnoresDots(const Arguments& arguments) {
  const std::vector<std::string> old = arguments.All("-o");
  if (std::find(old.begin(), old.end(), "i") != old.end()) return true;
  for (const std::string& option : arguments.All("-O")) {
    const std::size_t equals = std::min(option.find('='), option.size());
    if (!EqualFold(std::string_view(option).substr(0, equals), "IgnoreDots")) continue;
    return SaysYes(equals == option.size() ? "" : std::string_view(option).substr(equals + 1));
  }
  return false;
}

void TranslateForeign(Arguments* arguments) {
  if (IgnoresDots(*arguments)) arguments->values["--ignore-dots"] = {"1"};
  // -r is the older -f.
  if (arguments->Has("-r") && !arguments->Has("--sender"))
    arguments->values["--sender"] = arguments->All("-r");
  for (const std::string& type : arguments->All("-B")) {
    if (!EqualFold(type, "7BIT") && !EqualFold(type, "8BITMIME"))
      throw Failure(ExitCode::kUsage, "-B " + type + ": give 7BIT or 8BITMIME");
  }
}

bool ReadSend(const std::vector<std::string>& words, bool stand_in, Arguments* arguments,
              std::string* printed) {
  const CommandRow& row = *FindCommand("send");
  ReadWords(row, words, kForeign, !stand_in, arguments);
  if (arguments->Has("--help")) {
    *printed = CommandHelp(row);
    return false;
  }
  TranslateForeign(arguments);
  if (stand_in) arguments->values[std::string(kStandIn)] = {"1"};
  return true;
}

bool ReadBuild(const std::vector<std::string>& words, Arguments* arguments, std::string* printed) {
  const CommandRow& row = *FindCommand("build");
  ReadWords(row, words, {}, true, arguments);
  if (arguments->Has("--help")) {
    *printed = CommandHelp(row);
    return false;
  }
  CheckOperands(row, arguments->operands);
  return true;
}

}  // namespace

std::optional<bool> ParseMailWords(int count, char** words, Arguments* arguments,
                                   std::string* printed) {
  if (count < 1) return std::nullopt;
  const std::string called = LastComponent(words[0]);
  const std::vector<std::string> all(words + 1, words + count);
  if (called == "sendmail") return ReadSend(all, true, arguments, printed);
  if (called == "newaliases") return ReadSend({"-bi"}, true, arguments, printed);
  if (called == "mailq") return ReadSend({"-bp"}, true, arguments, printed);
  if (all.empty()) return std::nullopt;
  const std::vector<std::string> rest(all.begin() + 1, all.end());
  if (all.front() == "build") return ReadBuild(rest, arguments, printed);
  if (all.front() == "send") return ReadSend(rest, false, arguments, printed);
  return std::nullopt;
}

bool IsStandIn(const Arguments& arguments) { return arguments.Has(kStandIn); }

std::optional<ExitCode> RunForeignMode(const Arguments& arguments) {
  if (arguments.Has("-q"))
    throw Failure(ExitCode::kUsage,
                  "-q: the agents walk the queue by themselves; 'qob queue retry' "
                  "makes messages due");
  const std::string mode = arguments.Value("-b", "m");
  if (mode == "m") return std::nullopt;
  if (mode == "i") return ExitCode::kOk;  // there are no aliases to make anew
  if (mode == "p") {
    Arguments list;
    list.command = FindCommand("queue list");
    return RunQueueList(list);
  }
  throw Failure(
      ExitCode::kUsage,
      "-b" + mode + ": only -bm (take a message) and -bp (list the queue) are known here");
}

}  // namespace cli::mail
