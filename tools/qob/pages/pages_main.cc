// qob_pages MANDIR COMPLETIONDIR: writes every man page and every completion script.
#include <fstream>
#include <iostream>

#include "pages.h"

namespace {

bool Write(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) std::cerr << "qob_pages: " << path << ": cannot be written\n";
  return static_cast<bool>(file);
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) {
    std::cerr << "usage: qob_pages MANDIR COMPLETIONDIR\n";
    return 64;
  }
  const std::string man = std::string(words[1]) + "/";
  const std::string completions = std::string(words[2]) + "/";
  bool done = Write(man + "qob.1", cli::MainManPage());
  for (const cli::CommandRow& command : cli::Commands()) {
    done = Write(man + cli::ManPageName(command), cli::CommandManPage(command)) && done;
  }
  done = Write(completions + "qob.bash", cli::BashCompletion()) && done;
  done = Write(completions + "_qob", cli::ZshCompletion()) && done;
  done = Write(completions + "qob.fish", cli::FishCompletion()) && done;
  return done ? 0 : 73;
}
