// A gate for writers of several processes: whoever asks first goes first, so that nobody starves
// while others come and go. Two robust mutexes in a file that all of them map: a comer takes the
// outer one, waits in it for the inner one, and lets the outer one go; the others wait outside.
//
// offset  size  meaning
//      0     8  "QOBGATE1"
//      8     4  layout version, 1
//     12     4  size of a mutex on this machine
//     16    40  the kernel's boot id
//     56     8  the file's inode number
//     64     .  the outer mutex; the inner one behind it, on a cache line of its own; behind that,
//               on another, 4 bytes: how many wait for the outer one, 4 bytes: the thread that was
//               inside last
//
// A file of another machine, boot or layout, or one that was copied with a holder's mark in it, is
// made anew by the first who opens it. The gate keeps order, not safety: what it guards has locks
// of its own.
#pragma once
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/os/result.h"

namespace qob::os {

class Gate {
 public:
  // Makes the file when it is missing, with the permissions and group of `like`.
  static Result<std::unique_ptr<Gate>> Open(std::string_view path, std::string_view like);
  virtual ~Gate() = default;

  // 0; kTimedOut; or the error. A holder that died leaves the gate open. Any other error is final:
  // the file was removed or cut, and the gate is to be opened anew or done without.
  virtual int Enter(int timeout_ms) = 0;
  // By the thread that entered. A gate must not end while a thread stands in it.
  virtual void Leave() = 0;
};

extern const int kTimedOut;  // ETIMEDOUT

}  // namespace qob::os
