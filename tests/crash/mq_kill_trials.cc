// Submitters and delivery agents of the message queue, killed at any moment: what was acknowledged
// is in the queue until an agent has handled it, and no message is handled twice.
//
//   crash_mq_kill [--rounds N] [--seed S] [--seconds T] [--directory D]
//
// Two processes submit messages, two others walk the same channel: they take an entry's lock, look
// again whether it stands, handle it and remove it. Each notes in memory that outlives it what it
// is about to do and what it was told. A killed one leaves its locks; after each round they are
// cleared, as a boot would, and a fresh process compares queue and notes. At the end what is left
// over is mended by `qob queue check --repair`, which finds nothing else. Exit code 0, or 1 with
// what is wrong.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <qob3xapi/envelope.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>
#include <qobplatform/mqapi.h>

#include "crash/ledger.h"
#include "crash/queue_check.h"
#include "crash/submission.h"
#include "crash/trial_options.h"
#include "platform/store/record_file.h"
#include "support/two_processes.h"

namespace qob::crash {
namespace {

namespace fs = std::filesystem;

constexpr int kSubmitters = 2;
constexpr int kAgents = 2;
constexpr int kMostMessages = 3000;  // of one submitter
constexpr int kFailed = 1;

struct Message {
  Submission note;
  std::atomic<int> handled_in{-1};  // the round
  std::atomic<bool> leaving{false};
  std::atomic<bool> gone{false};  // told so
};

struct Shared {
  std::array<std::array<Message, kMostMessages>, kSubmitters> messages;
  std::array<std::atomic<int>, kSubmitters> counts{};
  Message& Of(int number) {
    return messages[static_cast<std::size_t>(number / kMostMessages)]
                   [static_cast<std::size_t>(number % kMostMessages)];
  }
};

struct Place {
  explicit Place(const std::string& root)
      : root_(root), config(root + "/config"), temp(root + "/temp"), queue(root + "/queue") {}
  void Make() const {
    umask(077);
    for (const std::string& name : {config, temp, queue}) fs::create_directories(name);
    std::ofstream(config + "/twmta.ini")
        << "[Gateway]\nQueueDirectory=" << queue << "\nTemporaryDirectory=" << temp << "\n";
    setenv("QOB_CONFIG_DIR", config.c_str(), 1);
  }
  const std::string root_, config, temp, queue;
};

int Complain(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  return kFailed;
}

// ---- a submitter

int SubmitOn(Shared& shared, int submitter) {
  store::SetLogLimitPages(24);
  if (InitQOBDll("submit") != 1) return Complain("no start");
  std::atomic<int>& count = shared.counts[static_cast<std::size_t>(submitter)];
  while (count < kMostMessages) {
    const int number = submitter * kMostMessages + count++;
    Message& one = shared.Of(number);
    Submit(number, &one.note);
    if (one.note.told != Told::kAcknowledged) return Complain("refused by itself");
  }
  for (;;) pause();
}

// ---- an agent

class Agent {
 public:
  Agent(Shared& shared, int round, std::uint64_t seed)
      : shared_(shared), round_(round), dice_(seed) {}

  int Run() {
    store::SetLogLimitPages(24);
    if (InitQOBDll("agent") != 1) return Complain("no start");
    if (OpenMesgFile(nullptr, &db_) != 0) return Complain("no database");
    MQChannel* const channel = OpenMQChannel(kChannels[0]);
    other_ = OpenMQChannel(kChannels[1]);
    if (channel == nullptr || other_ == nullptr) return Complain("no channel");
    for (;;) {
      std::uint32_t id = 0;
      for (bool more = GetFirstMQEntry(channel, &id) != 0; more;
           more = GetNextMQEntry(channel, &id) != 0) {
        if (dice_.Below(3) == 0) continue;
        const std::string wrong = Take(id);
        if (!wrong.empty()) return Complain(wrong);
      }
    }
  }

 private:
  std::string Take(std::uint32_t id) {
    const std::string path = GetMQPathNameById(id, "");
    if (CreateLockFile(path.c_str()) != 0) return "";
    const std::string wrong = Handle(id, path);
    DeleteLockFile(path.c_str());
    return wrong;
  }

  // Between the walk and the lock another one may have been quicker.
  bool Stands(const std::string& path) {
    EnvFrom* const sender = GetEnvelopeFrom(path.c_str(), &db_);
    FreeEnvFrom(sender);
    return sender != nullptr;
  }

  std::string Handle(std::uint32_t id, const std::string& path) {
    if (!Stands(path)) return "";
    std::string name = path + ".msg";
    for (char& c : name) c = c == '\\' ? '/' : c;
    std::ifstream in(name, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    if (!in.is_open()) return "an entry without its file";
    int number = 0;
    if (std::sscanf(all.str().c_str(), "message %d", &number) != 1 ||
        all.str() != ContentOf(number)) {
      return "an entry with another file";
    }
    Message& one = shared_.Of(number);
    if (one.gone) return "removed, and met again";
    if (one.handled_in.exchange(round_) == round_) return "handled twice";
    one.leaving = true;
    RemoveMQQID(other_, id);
    if (DeleteQueueId(path.c_str(), kChannels[0], &db_) != 0) return "cannot be removed";
    one.gone = true;
    return "";
  }

  Shared& shared_;
  const int round_;
  Dice dice_;
  MesgHandle db_{};
  MQChannel* other_ = nullptr;
};

// ---- afterwards

std::string JudgeOne(const QueueView& view, const Message& one, int number) {
  if (!one.note.begun) return "";
  if (one.gone) {
    return view.ids().contains(one.note.id) ? "removed, but something of it stands" : "";
  }
  if (one.leaving) return view.JudgeLeaving(one.note.id, number);
  return view.Judge(one.note, number);
}

int Judge(const Place& place, Shared& shared) {
  if (InitQOBDll("judge") != 1) return Complain("no start");
  UnlockAllMessage(place.queue.c_str());
  QueueView view(place.queue);
  std::string wrong = view.Read();
  std::set<std::uint32_t> given;
  for (int submitter = 0; submitter < kSubmitters; ++submitter) {
    const int count = shared.counts[static_cast<std::size_t>(submitter)];
    for (int i = 0; i < count && wrong.empty(); ++i) {
      const int number = submitter * kMostMessages + i;
      const Message& one = shared.Of(number);
      wrong = JudgeOne(view, one, number);
      if (wrong.empty() && one.note.begun && !given.insert(one.note.id).second) {
        wrong = "its id is given twice";
      }
      if (!wrong.empty()) wrong = "message " + std::to_string(number) + ": " + wrong;
    }
  }
  for (const std::uint32_t id : view.ids()) {
    if (wrong.empty() && !given.contains(id)) wrong = "an entry that nobody made";
  }
  return wrong.empty() ? 0 : Complain(wrong);
}

int JudgeLeftovers(const Place& place) {
  const std::set<std::string> known = {"orphan-file", "stray-mark", "stray-note"};
  for (const std::string& word : RunQueueCheck(place.config, place.root_, "--repair")) {
    if (!known.contains(word)) return Complain("check finds " + word);
  }
  return RunQueueCheck(place.config, place.root_, "").empty() ? 0 : Complain("repair leaves some");
}

bool Round(Dice& dice, Shared& shared, int round) {
  std::array<pid_t, kSubmitters + kAgents> children{};
  for (std::size_t i = 0; i < children.size(); ++i) {
    const int number = static_cast<int>(i);
    const std::uint64_t seed = dice.Next();
    children[i] = testing::Spawn([&shared, number, round, seed] {
      return number < kSubmitters ? SubmitOn(shared, number) : Agent(shared, round, seed).Run();
    });
  }
  usleep(static_cast<useconds_t>(20000 + dice.Below(60000)));
  bool good = true;
  for (const pid_t child : children) {
    usleep(static_cast<useconds_t>(dice.Below(8000)));
    kill(child, SIGKILL);
    int status = 0;
    good = waitpid(child, &status, 0) == child && WIFSIGNALED(status) && good;
  }
  return good;
}

int Run(const TrialOptions& options) {
  const Place place(options.directory);
  place.Make();
  const SharedMemory<Shared> shared;
  Dice dice(options.seed);
  const Clock clock(options.seconds);
  int round = 0;
  bool good = true;
  for (; round < options.rounds && !clock.IsOver() && good; ++round) {
    good =
        Round(dice, *shared, round) && testing::InChild([&] { return Judge(place, *shared); }) == 0;
  }
  good = good && JudgeLeftovers(place) == 0 &&
         testing::InChild([&] { return Judge(place, *shared); }) == 0;
  if (!good) {
    std::fprintf(stderr, "round %d of seed %llu: see %s\n", round,
                 static_cast<unsigned long long>(options.seed), options.directory.c_str());
    return kFailed;
  }
  int submitted = 0;
  int handled = 0;
  for (int submitter = 0; submitter < kSubmitters; ++submitter) {
    const int count = shared->counts[static_cast<std::size_t>(submitter)];
    submitted += count;
    for (int i = 0; i < count; ++i)
      handled += shared->Of(submitter * kMostMessages + i).gone ? 1 : 0;
  }
  std::printf("%d rounds, %d messages, %d handled, none lost, none twice\n", round, submitted,
              handled);
  return 0;
}

}  // namespace
}  // namespace qob::crash

int main(int argc, char** argv) { return qob::crash::RunTrials(argc, argv, qob::crash::Run); }
