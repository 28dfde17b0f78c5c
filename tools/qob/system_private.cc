// The private directory of a run, and its removal when a signal ends the run. The handler may use
// async-signal-safe calls only, so the directory is flat, its path lies in a static buffer, and its
// entries are read with the bare system call.
#include "system.h"
#include "system_cleanup.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace cli::sys {
namespace {

constexpr std::array kEndingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGALRM, SIGXCPU};

std::array<char, PATH_MAX> private_path{};
std::array<char, NAME_MAX + 1> pending_name{};
volatile std::sig_atomic_t has_private_path = 0;
volatile std::sig_atomic_t has_pending = 0;
int pending_folder = -1;

// One entry as the kernel hands it out (getdents64).
struct KernelEntry {
  std::uint64_t inode;
  std::int64_t offset;
  std::uint16_t length;
  unsigned char type;
  char name[1];
};

bool RemoveSomeEntries(int folder) {
  alignas(KernelEntry) char block[4096];
  const long got = ::syscall(SYS_getdents64, folder, block, sizeof block);
  bool removed = false;
  for (long at = 0; at < got;) {
    const KernelEntry* const entry = reinterpret_cast<const KernelEntry*>(block + at);
    removed |= ::unlinkat(folder, entry->name, 0) == 0;
    at += entry->length;
  }
  return removed;
}

void RemoveTree() {
  const int folder = ::open(private_path.data(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder >= 0) {
    while (RemoveSomeEntries(folder)) ::lseek(folder, 0, SEEK_SET);
    ::close(folder);
  }
  ::rmdir(private_path.data());
}

// The signal is blocked while its handler runs: raised again, it ends the process when the handler
// returns.
extern "C" void CleanUpAndDie(int signal_number) {
  if (has_pending != 0) ::unlinkat(pending_folder, pending_name.data(), 0);
  if (has_private_path != 0) RemoveTree();
  std::signal(signal_number, SIG_DFL);
  ::raise(signal_number);
}

// A signal that the caller's shell set to be ignored (nohup) stays ignored.
void CatchEndingSignals() {
  for (const int number : kEndingSignals) {
    struct sigaction action {};
    if (::sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = CleanUpAndDie;
    ::sigfillset(&action.sa_mask);
    ::sigaction(number, &action, nullptr);
  }
  std::signal(SIGXFSZ, SIG_IGN);  // a file size limit then is a write error like any other
}

class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, &before_);
  }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace

int CreatePendingOutput(int folder, const std::string& name) {
  const SignalsHeld held;
  if (name.size() >= pending_name.size()) {
    errno = ENAMETOOLONG;
    return -1;
  }
  const int file =
      ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) return -1;
  std::memcpy(pending_name.data(), name.c_str(), name.size() + 1);
  pending_folder = folder;
  has_pending = 1;
  return file;
}

void PendingOutputDone() { has_pending = 0; }

std::string MakePrivateDirectory(std::string* parent, int* error) {
  *parent = Environment("TMPDIR").value_or("/tmp");
  if (parent->empty()) *parent = "/tmp";
  const std::string pattern = AbsolutePath(*parent) + "/qob-XXXXXX";
  if (pattern.size() >= private_path.size()) {
    *error = ENAMETOOLONG;
    return {};
  }
  CatchEndingSignals();
  const SignalsHeld held;
  std::memcpy(private_path.data(), pattern.c_str(), pattern.size() + 1);
  if (::mkdtemp(private_path.data()) == nullptr) {
    *error = errno;
    return {};
  }
  has_private_path = 1;
  return private_path.data();
}

void RemovePrivateDirectory() {
  const SignalsHeld held;
  if (has_private_path == 0) return;
  RemoveTree();
  has_private_path = 0;
}

}  // namespace cli::sys
