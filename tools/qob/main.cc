// qob: mail from the command line. Finds the command, runs it, and turns whatever goes wrong into
// one line and an exit code.
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "output.h"
#include "system.h"

namespace cli {
namespace {

struct RunRow {
  std::string_view name;
  ExitCode (*run)(const Arguments&);
};

constexpr RunRow kRuns[] = {
    {"parse", RunParse},
    {"extract", RunExtract},
    {"header", RunHeader},
    {"build", RunBuild},
    {"send", RunSend},
    {"bounce", RunBounce},
    {"dsn send", RunDsnSend},
    {"dsn parse", RunDsnParse},
    {"notice", RunNotice},
    {"sendlog", RunSendLog},
    {"address", RunAddress},
    {"date", RunDate},
    {"word encode", RunWordEncode},
    {"word decode", RunWordDecode},
    {"binhex encode", RunBinHexEncode},
    {"binhex decode", RunBinHexDecode},
    {"uudecode", RunUudecode},
    {"jis encode", RunJisEncode},
    {"jis decode", RunJisDecode},
    {"jis check", RunJisCheck},
    {"channel list", RunChannelList},
    {"channel show", RunChannelShow},
    {"channel drain", RunChannelDrain},
    {"init", RunInit},
    {"config show", RunConfigShow},
    {"config get", RunConfigGet},
    {"config set", RunConfigSet},
    {"config check", RunConfigCheck},
    {"magic list", RunMagicList},
    {"magic find", RunMagicFind},
    {"magic add", RunMagicAdd},
    {"magic update", RunMagicUpdate},
    {"magic remove", RunMagicRemove},
    {"magic import", RunMagicImport},
    {"magic export", RunMagicExport},
    {"peer list", RunPeerList},
    {"peer get", RunPeerGet},
    {"peer set", RunPeerSet},
    {"peer remove", RunPeerRemove},
    {"peer explain", RunPeerExplain},
    {"ban list", RunBanList},
    {"ban add", RunBanAdd},
    {"ban remove", RunBanRemove},
    {"ban check", RunBanCheck},
    {"queue list", RunQueueList},
    {"queue show", RunQueueShow},
    {"queue stats", RunQueueStats},
    {"queue shape", RunQueueShape},
    {"queue recipients", RunQueueRecipients},
    {"queue reasons", RunQueueReasons},
    {"queue watch", RunQueueWatch},
    {"queue retry", RunQueueRetry},
    {"queue hold", RunQueueHold},
    {"queue release", RunQueueRelease},
    {"queue remove", RunQueueRemove},
    {"queue move", RunQueueMove},
    {"queue lock", RunQueueLock},
    {"queue unlock", RunQueueUnlock},
    {"queue check", RunQueueCheck},
};

ExitCode RunCommand(const Arguments& arguments) {
  for (const RunRow& row : kRuns) {
    if (row.name == arguments.command->name) return row.run(arguments);
  }
  throw Failure(ExitCode::kSoftware,
                std::string("the command ") + arguments.command->name + " has no code");
}

// "qob dsn ID" is short for "qob dsn send ID".
std::vector<char*> FullWords(int count, char** words) {
  static char send[] = "send";
  std::vector<char*> all(words, words + count);
  if (count <= 2 || std::string_view(words[1]) != "dsn") return all;
  for (const std::string_view member : {"send", "parse", "-h", "--help"}) {
    if (member == words[2]) return all;
  }
  all.insert(all.begin() + 2, send);
  return all;
}

ExitCode Run(int count, char** words) {
  std::vector<char*> all = FullWords(count, words);
  Arguments arguments;
  std::string printed;
  ExitCode code = ExitCode::kOk;
  if (ParseArguments(static_cast<int>(all.size()), all.data(), &arguments, &printed)) {
    code = RunCommand(arguments);
  } else {
    Out().Write(printed);
  }
  Out().Flush();
  return code;
}

ExitCode GuardedRun(int count, char** words) {
  try {
    return Run(count, words);
  } catch (const Failure& failure) {
    Out().FlushQuietly();
    Message(failure.what());
    return failure.code();
  } catch (const std::bad_alloc&) {
    sys::WriteMessage("qob: out of memory: close other programs, or give fewer files at once\n");
  } catch (const std::exception& error) {
    Message(std::string("internal error: ") + error.what());
  }
  return ExitCode::kSoftware;
}

}  // namespace
}  // namespace cli

int main(int count, char** words) { return static_cast<int>(cli::GuardedRun(count, words)); }
