// Child processes for tests of what holds between processes.
#pragma once
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace qob::testing {

// Runs work() in a child; the result is what it returned (0..255), or -1 when it was killed.
inline int Wait(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

template <class Work>
pid_t Spawn(Work&& work) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) _exit(work());
  return child;
}

template <class Work>
int InChild(Work&& work) {
  return Wait(Spawn(work));
}

// work(index) in `count` children at once; their results in order.
template <class Work>
std::vector<int> InChildren(int count, Work&& work) {
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) children.push_back(Spawn([&, i] { return work(i); }));
  std::vector<int> results;
  for (pid_t child : children) results.push_back(Wait(child));
  return results;
}

// work() in a child that has given up root. kNotPossible when this process is not root and so
// cannot (said on stderr).
inline constexpr int kNotPossible = 250;
template <class Work>
int WithoutPrivileges(Work&& work) {
  if (geteuid() != 0) return InChild(work);  // not privileged anyway
  return InChild([&] {
    constexpr uid_t kNobody = 65534;
    if (setgid(kNobody) != 0 || setuid(kNobody) != 0 || geteuid() == 0) {
      std::fputs("CANNOT GIVE UP ROOT HERE: refusals by permission are not tested\n", stderr);
      return kNotPossible;
    }
    return static_cast<int>(work());
  });
}

}  // namespace qob::testing
