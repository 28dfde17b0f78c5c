// What `qob queue check` finds, for trials that leave something over.
#pragma once
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace qob::crash {

// The words of the findings in the spool of that configuration, but those about the place itself;
// "-1" when the command fails. `directory` takes its output.
inline std::multiset<std::string> RunQueueCheck(const std::string& config,
                                                const std::string& directory, const char* options) {
  const std::string out = directory + "/check.json";
  const std::string command = "QOB_CONFIG_DIR='" + config + "' '" + QOB_PROGRAM +
                              "' queue check --json " + options + " > '" + out + "' 2>&1";
  const int status = std::system(command.c_str());
  std::multiset<std::string> found;
  if (!WIFEXITED(status) || (WEXITSTATUS(status) != 0 && WEXITSTATUS(status) != 65)) {
    found.insert("-1");
  }
  std::ifstream in(out);
  std::ostringstream all;
  all << in.rdbuf();
  const std::string text = all.str();
  const std::string mark = "\"finding\":";
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
    const std::size_t begin = text.find('"', at + mark.size()) + 1;
    const std::string word = text.substr(begin, text.find('"', begin) - begin);
    if (word != "volatile" && word != "modes") found.insert(word);
  }
  return found;
}

}  // namespace qob::crash
