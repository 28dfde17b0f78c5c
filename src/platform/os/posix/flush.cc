// The fault points are passed before the thread begins, in the order file, directory, so that tests
// see the same calls whatever the system does at the same time.
#include "platform/os/flush.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "platform/os/file.h"
#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"

namespace qob::os {
namespace {

constexpr std::size_t kStackSize = 256 * 1024;

// An open file whose flush has been allowed.
struct Flush {
  FileHandle file;
  int error = 0;

  void Prepare(std::string_view path, int flags);
  void Run();
};

void Flush::Prepare(std::string_view path, int flags) {
  const NativeName name(path);
  error = name.error();
  if (error != 0) return;
  const int fd = System(Call::kOpen, name.view(), [&] {
    return open(name.c_str(), flags | O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  });
  if (fd < 0) {
    error = errno;
    return;
  }
  file = FileHandle(fd);
  error = Fault(Call::kFlush, name.view());
}

void Flush::Run() {
  if (error != 0) return;
  int result = 0;
  do result = fsync(static_cast<int>(file.get()));
  while (result != 0 && errno == EINTR);
  if (result != 0) error = errno;
}

void* RunThere(void* flush) {
  static_cast<Flush*>(flush)->Run();
  return nullptr;
}

// A thread that takes no signal: the program's handlers stay on the program's threads.
class Helper {
 public:
  explicit Helper(Flush* flush) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return;
    sigset_t all;
    sigfillset(&all);
    started_ = pthread_attr_setstacksize(&attributes, kStackSize) == 0 &&
               pthread_attr_setsigmask_np(&attributes, &all) == 0 &&
               pthread_create(&thread_, &attributes, &RunThere, flush) == 0;
    pthread_attr_destroy(&attributes);
  }
  ~Helper() {
    if (started_) pthread_join(thread_, nullptr);
  }
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;
  bool started() const { return started_; }

 private:
  pthread_t thread_{};
  bool started_ = false;
};

}  // namespace

FlushErrors FlushWithDirectory(std::string_view file, std::string_view directory) {
  Flush content;
  content.Prepare(file, 0);
  if (content.error != 0) return {content.error, 0};
  Flush names;
  names.Prepare(directory, O_DIRECTORY);
  {
    const Helper helper(&names);
    content.Run();
    if (!helper.started()) names.Run();
  }
  // Some file systems cannot flush a directory; there is nothing more to do on those.
  if (names.error == EINVAL || names.error == EROFS) names.error = 0;
  return {content.error, names.error};
}

}  // namespace qob::os
