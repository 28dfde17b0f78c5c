// The gate's file is mapped by everyone who uses it, and everyone keeps a shared open-file-
// description lock on it. Who finds it missing, short or of another boot or layout takes that lock
// exclusively, so that it is never made anew below somebody who stands in it.
//
// A file that is cut while it is mapped makes every touch of it fatal (SIGBUS). Every step asks for
// its size first; a gate whose file was cut gets private memory in the file's place, for the
// thread's list of robust mutexes may still lead there, and refuses from then on, as does one whose
// file was removed: it is to be opened anew. What remains is a cut between question and touch, by
// somebody who may write to the file; only a signal handler could meet that, and a library installs
// none. The file's blocks are written before it is mapped: a full disk shows as an error here, not
// as a signal later.
//
// A waiter who is woken needs a moment to run, and the outer mutex is free for that long: on a busy
// machine the one who woke him would come back, find it free and go in again, time after time. So
// whoever was inside last looks whether anybody waits, and leaves him that moment. The count of
// waiters is a hint: one killed while he waits is counted until the pause ends in vain.
//
// A waiter's clock is the monotonic one: setting the time neither lengthens nor ends a wait.
#include "platform/os/gate.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/os/file.h"
#include "platform/os/file_status.h"
#include "platform/os/posix/native_name.h"
#include "platform/os/posix/system_call.h"
#include "platform/os/process.h"

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace qob::os {

const int kTimedOut = ETIMEDOUT;

namespace {

constexpr char kMagic[8] = {'Q', 'O', 'B', 'G', 'A', 'T', 'E', '1'};
constexpr std::uint32_t kLayoutVersion = 1;
constexpr std::size_t kFileBytes = 4096;
constexpr int kRounds = 2500;  // of kPollMs, for others who make the file anew
constexpr int kPollMs = 2;
constexpr int kFirstDescriptor = 3;
constexpr int kPauses = 100;
constexpr long kPauseNs = 100 * 1000;

struct Header {
  char magic[8];
  std::uint32_t version;
  std::uint32_t mutex_bytes;
  char boot_id[40];
  std::uint64_t inode;
};

struct Layout {
  alignas(64) Header header;
  alignas(64) pthread_mutex_t outer;
  alignas(64) pthread_mutex_t inner;
  alignas(64) std::atomic<std::int32_t> waiting;  // for the outer one
  std::atomic<std::uint32_t> last;                // the thread that was inside
};
static_assert(std::atomic<std::int32_t>::is_always_lock_free);
static_assert(offsetof(Layout, outer) == 64 && sizeof(Layout) <= kFileBytes);

Header ExpectedHeader(const std::string& boot_id, ino_t inode) {
  Header header{};
  std::memcpy(header.magic, kMagic, sizeof header.magic);
  header.version = kLayoutVersion;
  header.mutex_bytes = sizeof(pthread_mutex_t);
  std::memcpy(header.boot_id, boot_id.data(), std::min(boot_id.size(), sizeof header.boot_id - 1));
  header.inode = inode;
  return header;
}

int InitMutex(pthread_mutex_t* mutex) {
  pthread_mutexattr_t attributes;
  int error = pthread_mutexattr_init(&attributes);
  if (error != 0) return error;
  error = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  if (error == 0) error = pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  if (error == 0) error = pthread_mutex_init(mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return error;
}

int LockUntil(pthread_mutex_t* mutex, const timespec& until) {
#ifdef __SANITIZE_THREAD__
  // This compiler's sanitizer does not know pthread_mutex_clocklock and is told of it.
  __tsan_mutex_pre_lock(mutex, __tsan_mutex_try_lock);
  const int result = pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &until);
  const bool taken = result == 0 || result == EOWNERDEAD;
  __tsan_mutex_post_lock(
      mutex, taken ? __tsan_mutex_try_lock : __tsan_mutex_try_lock | __tsan_mutex_try_lock_failed,
      0);
#else
  const int result = pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &until);
#endif
  // What its holder did is guarded elsewhere; here only the order of comers is kept.
  return result == EOWNERDEAD ? pthread_mutex_consistent(mutex) : result;
}

// Never below nothing: the count may have been cleared meanwhile.
void CountDown(std::atomic<std::int32_t>* count) {
  std::int32_t seen = count->load(std::memory_order_relaxed);
  while (seen > 0 && !count->compare_exchange_weak(seen, seen - 1, std::memory_order_relaxed)) {
  }
}

timespec After(int timeout_ms) {
  timespec until{};
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += timeout_ms / 1000;
  until.tv_nsec += (timeout_ms % 1000) * 1000000L;
  if (until.tv_nsec >= 1000000000L) {
    ++until.tv_sec;
    until.tv_nsec -= 1000000000L;
  }
  return until;
}

class MappedGate final : public Gate {
 public:
  MappedGate(std::string_view path, std::string_view like) : name_(path), like_(like) {}
  ~MappedGate() override { Forget(); }

  // 0 or the error.
  int Open();
  int Enter(int timeout_ms) override;
  void Leave() override;

 private:
  int OpenFile();
  void Forget();
  int Settle();
  int CheckOrMake(bool exclusive, bool* good);
  int Make(const Header& expected);
  int WriteZeros();
  int TakePermissions();
  int SetLock(short type);
  int Map();
  void LetOthersGo();
  int EnterOuter(const timespec& until);
  // 0 or the error; ESTALE when the file was removed or cut.
  int Standing();
  bool IsWhole();

  const NativeName name_;
  const NativeName like_;
  int fd_ = -1;
  Layout* layout_ = nullptr;
  std::atomic<bool> cut_{false};
};

int MappedGate::OpenFile() {
  constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK;
  fd_ = System(Call::kOpen, name_.view(), [&] { return open(name_.c_str(), kFlags, 0600); });
  if (fd_ < 0) return errno;
  if (fd_ < kFirstDescriptor) {
    const int higher = System(Call::kOpen, name_.view(),
                              [&] { return fcntl(fd_, F_DUPFD_CLOEXEC, kFirstDescriptor); });
    if (higher < 0) return errno;
    close(fd_);
    fd_ = higher;
  }
  struct stat status {};
  const int error = Outcome(Call::kStat, name_.view(), [&] { return fstat(fd_, &status); });
  if (error != 0) return error;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

void MappedGate::Forget() {
  if (layout_ != nullptr && !cut_) munmap(layout_, kFileBytes);
  layout_ = nullptr;
  if (fd_ >= 0) close(std::exchange(fd_, -1));
}

int MappedGate::SetLock(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  const int error =
      Outcome(Call::kLock, name_.view(), [&] { return fcntl(fd_, F_OFD_SETLK, &lock); });
  return error == EACCES ? EAGAIN : error;
}

int MappedGate::WriteZeros() {
  static constexpr char kZeros[kFileBytes] = {};
  const Result<std::size_t> written = WriteFileAt(fd_, kZeros, sizeof kZeros, 0);
  if (!written) return written.error;
  return written.value == sizeof kZeros ? 0 : ENOSPC;
}

// Root makes the file for the one who owns the store: he must be able to use it afterwards.
int MappedGate::TakePermissions() {
  struct stat model {};
  struct stat own {};
  int error = Outcome(Call::kStat, like_.view(), [&] { return lstat(like_.c_str(), &model); });
  if (error == 0) error = Outcome(Call::kStat, name_.view(), [&] { return fstat(fd_, &own); });
  if (error != 0) return error;
  const uid_t owner = geteuid() == 0 ? model.st_uid : own.st_uid;
  if (owner != own.st_uid || model.st_gid != own.st_gid) {
    error = Outcome(Call::kMode, name_.view(), [&] { return fchown(fd_, owner, model.st_gid); });
    if (error != 0) return error;
  }
  const mode_t mode = model.st_mode & 0777;
  if (mode == (own.st_mode & 07777)) return 0;
  return Outcome(Call::kMode, name_.view(), [&] { return fchmod(fd_, mode); });
}

int MappedGate::Map() {
  if (layout_ != nullptr) return 0;
  void* at = MAP_FAILED;
  const int error = Outcome(Call::kOpen, name_.view(), [&] {
    at = mmap(nullptr, kFileBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
    return at == MAP_FAILED ? -1 : 0;
  });
  if (error == 0) layout_ = static_cast<Layout*>(at);
  return error;
}

// The magic comes last: a maker who dies on the way leaves a file that the next makes anew.
int MappedGate::Make(const Header& expected) {
  int error = WriteZeros();
  if (error == 0) error = TakePermissions();
  if (error == 0) error = Map();
  if (error == 0) error = InitMutex(&layout_->outer);
  if (error == 0) error = InitMutex(&layout_->inner);
  if (error != 0) return error;
  Header unnamed = expected;
  std::memset(unnamed.magic, 0, sizeof unnamed.magic);
  layout_->header = unnamed;
  std::atomic_signal_fence(std::memory_order_release);
  std::memcpy(layout_->header.magic, expected.magic, sizeof expected.magic);
  return 0;
}

int MappedGate::Standing() {
  struct stat status {};
  const int error = Outcome(Call::kStat, name_.view(), [&] { return fstat(fd_, &status); });
  if (error != 0) return error;
  return status.st_nlink > 0 && status.st_size >= static_cast<off_t>(kFileBytes) ? 0 : ESTALE;
}

bool MappedGate::IsWhole() {
  struct stat status {};
  if (!cut_ && fstat(fd_, &status) == 0 && status.st_size >= static_cast<off_t>(kFileBytes)) {
    return true;
  }
  if (!cut_.exchange(true)) {
    mmap(layout_, kFileBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1,
         0);
  }
  return false;
}

// Under the lock: *good tells whether the file can be used now.
int MappedGate::CheckOrMake(bool exclusive, bool* good) {
  const std::string boot_id = BootId();
  if (boot_id.empty()) return ENOTSUP;  // locks left by an earlier run could not be told from ours
  struct stat status {};
  int error = Outcome(Call::kStat, name_.view(), [&] { return fstat(fd_, &status); });
  if (error != 0) return error;
  if (status.st_nlink == 0) return ESTALE;
  const Header expected = ExpectedHeader(boot_id, status.st_ino);
  *good = false;
  if (status.st_size >= static_cast<off_t>(kFileBytes)) {
    if (error = Map(); error != 0) return error;
    *good = std::memcmp(&layout_->header, &expected, sizeof expected) == 0;
  }
  if (*good || !exclusive) return 0;
  error = Make(expected);
  *good = error == 0;
  return error;
}

// One try: 0, EAGAIN when others are at it, or the error.
int MappedGate::Settle() {
  bool good = false;
  int error = SetLock(F_RDLCK);
  if (error == 0) error = CheckOrMake(false, &good);
  if (error != 0 || good) return error;
  // Two who both hold the shared lock would wait for each other.
  error = SetLock(F_UNLCK);
  if (error == 0) error = SetLock(F_WRLCK);
  if (error == 0) error = CheckOrMake(true, &good);
  if (error == 0) error = SetLock(F_RDLCK);
  return error;
}

int MappedGate::Open() {
  if (name_.error() != 0) return name_.error();
  if (like_.error() != 0) return like_.error();
  for (int round = 0; round < kRounds; ++round) {
    int error = fd_ >= 0 ? 0 : OpenFile();
    if (error == 0) error = Settle();
    if (error == 0) return 0;
    if (error == ESTALE) {
      Forget();  // removed in between
    } else if (error == EAGAIN) {
      SleepMs(kPollMs);
    } else {
      return error;
    }
  }
  return EBUSY;
}

void MappedGate::LetOthersGo() {
  const std::uint32_t self = ThreadId();
  for (int pause = 0; pause < kPauses; ++pause) {
    if (layout_->waiting.load(std::memory_order_relaxed) <= 0 ||
        layout_->last.load(std::memory_order_relaxed) != self) {
      return;
    }
    const timespec moment{0, kPauseNs};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &moment, nullptr);
    if (!IsWhole()) return;
  }
  layout_->waiting.store(0, std::memory_order_relaxed);
}

int MappedGate::EnterOuter(const timespec& until) {
  LetOthersGo();
  if (!IsWhole()) return ESTALE;
  layout_->waiting.fetch_add(1, std::memory_order_relaxed);
  const int error = LockUntil(&layout_->outer, until);
  if (!IsWhole()) return ESTALE;
  CountDown(&layout_->waiting);
  return error;
}

int MappedGate::Enter(int timeout_ms) {
  if (const int fault = Fault(Call::kLock, name_.view()); fault != 0) return fault;
  if (const int error = Standing(); error != 0) return error;
  if (!IsWhole()) return ESTALE;
  const timespec until = After(timeout_ms);
  int error = EnterOuter(until);
  if (error != 0) return error;
  error = LockUntil(&layout_->inner, until);
  if (!IsWhole()) return ESTALE;
  if (error == 0) layout_->last.store(ThreadId(), std::memory_order_relaxed);
  pthread_mutex_unlock(&layout_->outer);
  return error;
}

void MappedGate::Leave() {
  if (IsWhole()) pthread_mutex_unlock(&layout_->inner);
}

}  // namespace

Result<std::unique_ptr<Gate>> Gate::Open(std::string_view path, std::string_view like) {
  auto gate = std::make_unique<MappedGate>(path, like);
  if (const int error = gate->Open(); error != 0) {
    return Result<std::unique_ptr<Gate>>::Fail(error);
  }
  return {std::move(gate), 0};
}

}  // namespace qob::os
