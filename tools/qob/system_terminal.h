// A terminal that a command draws on: its size, its keys, and that it is left as it was found.
#ifndef TOOLS_QOB_SYSTEM_TERMINAL_H
#define TOOLS_QOB_SYSTEM_TERMINAL_H

#include <cstddef>
#include <cstdint>

namespace cli::sys {

struct TerminalExtent {
  std::size_t columns = 80;
  std::size_t rows = 24;
};

// 80 x 24 where the terminal does not tell.
TerminalExtent TerminalSize(int descriptor);

// Takes the whole terminal that standard output is, and the keys of standard input where that is
// one too. The old picture and modes come back with the end of the object, and while the process is
// stopped from the keyboard.
class FullScreen {
 public:
  FullScreen();
  FullScreen(const FullScreen&) = delete;
  FullScreen& operator=(const FullScreen&) = delete;
  ~FullScreen();

  enum class Event {
    kTimeOut,
    kRedraw,  // the size has changed, a key asked for it, or the process goes on after a stop
    kQuit,    // "q", the end of standard input, or a signal that ends programs
  };
  Event Wait(std::int64_t milliseconds);
};

// The whole time, whatever signals are caught meanwhile.
void Sleep(std::int64_t milliseconds);

}  // namespace cli::sys

#endif
