// The terminal while a command fills it. What must happen in a signal handler is only noted there;
// Wait does it.
#include "system_terminal.h"
#include "system.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

namespace cli::sys {
namespace {

constexpr std::array kQuitSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::size_t kWatched = kQuitSignals.size() + 2;

volatile std::sig_atomic_t quit_asked = 0;
volatile std::sig_atomic_t stop_asked = 0;
volatile std::sig_atomic_t size_changed = 0;

extern "C" void NoteTerminalSignal(int number) {
  if (number == SIGTSTP) {
    stop_asked = 1;
  } else if (number == SIGWINCH) {
    size_changed = 1;
  } else {
    quit_asked = 1;
  }
}

// The old picture is kept by the terminal meanwhile; the cursor is hidden.
constexpr std::string_view kEnter = "\033[?1049h\033[?25l\033[2J";
constexpr std::string_view kLeave = "\033[?25h\033[?1049l";

termios old_modes{};
bool has_keys = false;
std::array<struct sigaction, kWatched> old_actions{};

void EnterScreen() {
  WriteOut(kEnter);
  if (!has_keys) return;
  termios modes = old_modes;
  modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  ::tcsetattr(STDIN_FILENO, TCSADRAIN, &modes);
}

void LeaveScreen() {
  WriteOut(kLeave);
  if (has_keys) ::tcsetattr(STDIN_FILENO, TCSADRAIN, &old_modes);
}

// Stopped with the terminal as it was; drawn anew when it goes on.
void StopHere() {
  stop_asked = 0;
  LeaveScreen();
  ::raise(SIGSTOP);
  EnterScreen();
}

int SignalOf(std::size_t i) {
  if (i < kQuitSignals.size()) return kQuitSignals[i];
  return i == kQuitSignals.size() ? SIGTSTP : SIGWINCH;
}

void WatchSignals() {
  for (std::size_t i = 0; i < kWatched; ++i) {
    struct sigaction action {};
    ::sigaction(SignalOf(i), nullptr, &old_actions[i]);
    if (old_actions[i].sa_handler == SIG_IGN) continue;
    action.sa_handler = NoteTerminalSignal;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(SignalOf(i), &action, nullptr);
  }
}

void UnwatchSignals() {
  for (std::size_t i = 0; i < kWatched; ++i) ::sigaction(SignalOf(i), &old_actions[i], nullptr);
}

// Signals other than those that end programs are held back but while poll waits, so that none can
// come between the question whether one came and the wait.
int WaitForKey(bool keys, std::int64_t milliseconds) {
  sigset_t watched;
  sigset_t before;
  ::sigemptyset(&watched);
  for (std::size_t i = 0; i < kWatched; ++i) ::sigaddset(&watched, SignalOf(i));
  ::sigprocmask(SIG_BLOCK, &watched, &before);
  int ready = 0;
  if (quit_asked == 0 && stop_asked == 0 && size_changed == 0) {
    pollfd key{STDIN_FILENO, POLLIN, 0};
    const timespec limit{milliseconds / 1000, (milliseconds % 1000) * 1'000'000};
    ready = ::ppoll(&key, keys ? 1 : 0, &limit, &before);
  }
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  return ready;
}

}  // namespace

TerminalExtent TerminalSize(int descriptor) {
  TerminalExtent extent;
  winsize size{};
  if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0) return extent;
  if (size.ws_col > 0) extent.columns = size.ws_col;
  if (size.ws_row > 0) extent.rows = size.ws_row;
  return extent;
}

FullScreen::FullScreen() {
  has_keys = ::tcgetattr(STDIN_FILENO, &old_modes) == 0;
  WatchSignals();
  EnterScreen();
}

FullScreen::~FullScreen() {
  LeaveScreen();
  UnwatchSignals();
}

FullScreen::Event FullScreen::Wait(std::int64_t milliseconds) {
  const std::int64_t until = Milliseconds() + milliseconds;
  for (std::int64_t left = milliseconds; left > 0; left = until - Milliseconds()) {
    const int ready = WaitForKey(has_keys, left);
    if (quit_asked != 0) return Event::kQuit;
    if (stop_asked != 0) {
      StopHere();
      return Event::kRedraw;
    }
    if (size_changed != 0) {
      size_changed = 0;
      return Event::kRedraw;
    }
    if (ready <= 0) continue;
    char key = 0;
    if (::read(STDIN_FILENO, &key, 1) != 1 || key == 'q' || key == 'Q') return Event::kQuit;
    if (key == ' ') return Event::kRedraw;
  }
  return Event::kTimeOut;
}

void Sleep(std::int64_t milliseconds) {
  timespec left{milliseconds / 1000, (milliseconds % 1000) * 1'000'000};
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace cli::sys
