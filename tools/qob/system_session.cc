// Work that must not be cut short, and who does it.
#include "system.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace cli::sys {
namespace {

constexpr std::array kPoliteSignals = {SIGHUP, SIGINT, SIGTERM};
volatile std::sig_atomic_t asked = 0;

extern "C" void NoteSignal(int number) { asked = number; }

std::string NameOfUser(uid_t user) {
  std::vector<char> buffer(1024);
  for (;;) {
    passwd entry{};
    passwd* found = nullptr;
    const int error = ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    if (error == ERANGE && buffer.size() < (1U << 20)) {
      buffer.resize(buffer.size() * 2);
    } else {
      return found != nullptr ? found->pw_name : std::to_string(user);
    }
  }
}

}  // namespace

void DelaySignals() {
  for (const int number : kPoliteSignals) {
    struct sigaction action {};
    if (::sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = NoteSignal;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(number, &action, nullptr);
  }
  std::signal(SIGPIPE, SIG_IGN);  // a reader that goes away is a write error at the end of a step
}

bool EndAsked() { return asked != 0; }

void EndIfAsked() {
  const int number = asked;
  if (number == 0) return;
  std::signal(number, SIG_DFL);
  ::raise(number);
}

std::string UserName() {
  const uid_t user = ::getuid();
  std::string name = NameOfUser(user);
  const std::string before = user == 0 ? Environment("SUDO_USER").value_or("") : "";
  if (!before.empty()) name += " (" + before + ")";
  return name;
}

}  // namespace cli::sys
