// A message's whole road through the queue, its travellers killed at any moment: nothing that was
// acknowledged is lost, nothing is there twice.
//
//   crash_road_kill [--rounds N] [--seed S] [--seconds T] [--directory D]
//
// Two processes do the same: draw an id, write the message's file, its status, its envelope and its
// recipients, release it, walk the queue, bump retries, move messages to a second directory and
// delete them. Each notes in memory that outlives it what it is about to do and what it was told. A
// killed one leaves its locks; after each round they are cleared, as a boot would, and a fresh
// process compares directories and database with the notes. Exit code 0, or 1 with what is wrong.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include <qob3xapi/envelope.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>

#include "crash/ledger.h"
#include "crash/trial_options.h"
#include "platform/store/record_file.h"
#include "support/two_processes.h"

namespace qob::crash {
namespace {

namespace fs = std::filesystem;

constexpr int kTravellers = 2;
constexpr int kMostMessages = 4000;  // of one traveller, dead ones included
constexpr int kMostRecipients = 3;
constexpr int kLiving = 12;  // about as many stand at a time
constexpr int kFailed = 1;
constexpr char kChannel[] = "smtp";

// How far a message is known to be. What a call was about to change when its process died may be
// done or not; what a call acknowledged is.
enum class Stage : std::uint8_t { kNone, kWriting, kWaiting, kMoving, kMoved, kDeleting, kGone };

struct Message {
  Stage stage = Stage::kNone;
  int written_recipients = 0;  // acknowledged
  std::uint32_t id = 0;
  std::uint32_t bytes = 0;
  int retries = 0;           // acknowledged
  bool is_retrying = false;  // one more may count
};

struct Traveller {
  std::atomic<int> count{0};
  std::array<Message, kMostMessages> messages{};
  std::uint64_t acknowledged = 0;
};

struct Shared {
  std::array<Traveller, kTravellers> travellers;
};

struct Place {
  explicit Place(const std::string& root)
      : config(root + "/config"),
        temp(root + "/temp"),
        queue(root + "/queue"),
        later(root + "/later") {}
  void Make() const {
    for (const std::string& name : {config, temp, queue, later}) fs::create_directories(name);
    std::ofstream(config + "/twmta.ini")
        << "[Gateway]\nQueueDirectory=" << queue << "\nTemporaryDirectory=" << temp << "\n";
    setenv("QOB_CONFIG_DIR", config.c_str(), 1);
  }
  const std::string config, temp, queue, later;
};

std::string NameOf(std::uint32_t id) {
  char text[9];
  std::snprintf(text, sizeof text, "%08X", id);
  return text;
}
std::string ContentOf(const Message& message) {
  return std::string(message.bytes, static_cast<char>('a' + message.id % 26));
}
std::string AddressOf(std::uint32_t id, int recipient) {
  return "r" + std::to_string(recipient) + "@" + NameOf(id) + ".example";
}

int Complain(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  return kFailed;
}

// ---- on the road

class Walker {
 public:
  Walker(const Place& place, Traveller& own, std::uint64_t seed)
      : place_(place), own_(own), dice_(seed) {}

  int Run() {
    store::SetLogLimitPages(24);
    if (InitQOBDll_NOMQ("road") != 1) return Complain("start");
    if (const int status = OpenMesgFile(nullptr, &db_); status != 0) {
      return Complain("open gives " + std::to_string(status));
    }
    for (int i = 0; i < own_.count; ++i) {
      const Stage stage = own_.messages[static_cast<std::size_t>(i)].stage;
      living_ += stage == Stage::kWaiting ? 1 : 0;
    }
    while (own_.count < kMostMessages - 1) {
      const int step = dice_.Below(10);
      const std::string wrong = step < 4   ? Create()
                                : step < 6 ? Retry()
                                : step < 7 ? Scan()
                                : step < 8 ? Move()
                                           : Delete();
      if (!wrong.empty()) return Complain(wrong);
    }
    for (;;) pause();
  }

 private:
  Message* Any(Stage stage) {
    const int count = own_.count;
    for (int i = 0; i < 40 && count > 0; ++i) {
      const int back = dice_.Below(std::min(count, 60));
      Message& one = own_.messages[static_cast<std::size_t>(count - 1 - back)];
      if (one.stage == stage) return &one;
    }
    return nullptr;
  }
  std::string PathOf(const std::string& directory, const Message& one) const {
    return directory + "\\" + NameOf(one.id);
  }

  std::string Create() {
    if (living_ > kLiving) return Delete();
    char* path = GetNewQueueId(place_.queue.c_str(), &db_);
    if (path == nullptr) return "no new id";
    Message& one = own_.messages[static_cast<std::size_t>(own_.count.load())];
    one.id = static_cast<std::uint32_t>(std::strtoul(path + std::strlen(path) - 8, nullptr, 16));
    one.bytes = 1 + static_cast<std::uint32_t>(dice_.Below(5000));
    one.stage = Stage::kWriting;
    ++own_.count;
    std::string wrong = WriteFile(path, one);
    if (wrong.empty()) wrong = WriteEnvelope(path, one);
    if (!wrong.empty()) return wrong;
    one.stage = Stage::kWaiting;
    ++own_.acknowledged;
    ++living_;
    ReleaseQueueId(path);
    return "";
  }

  static std::string WriteFile(const std::string& path, const Message& one) {
    std::string name = path + ".msg";
    for (char& c : name) c = c == '\\' ? '/' : c;
    std::ofstream out(name, std::ios::binary);
    out << ContentOf(one);
    return out.flush() ? "" : "cannot write the message";
  }

  std::string WriteEnvelope(const char* path, Message& one) {
    char sender[] = "sender@a.example";
    const EnvFrom from{sender, nullptr, 0, 0, nullptr};
    if (CreateStatusFile(path, "queued", &db_) != 0) return "no status";
    if (CreateEnvelope(path, &from, &db_) != 0) return "no envelope";
    const int recipients = 1 + static_cast<int>(one.bytes % kMostRecipients);
    for (int i = 0; i < recipients; ++i) {
      std::string address = AddressOf(one.id, i);
      const EnvRecip to{address.data(), nullptr, 0, nullptr};
      if (AddEnvelopeRecipient(path, &to, &db_) != 0) return "no recipient";
      ++one.written_recipients;
    }
    return "";
  }

  // Under the message's lock, as every program of the system.
  template <class Work>
  std::string Locked(const std::string& path, Work&& work) {
    if (CreateLockFile(path.c_str()) != 0) return "";  // the other's scan stands on it
    std::string wrong = work();
    DeleteLockFile(path.c_str());
    return wrong;
  }

  std::string Retry() {
    Message* one = Any(Stage::kWaiting);
    if (one == nullptr) return "";
    const std::string path = PathOf(place_.queue, *one);
    return Locked(path, [&]() -> std::string {
      one->is_retrying = true;
      if (BumpMessageRetryCount(path.c_str(), &db_) != one->retries + 1) return "no retry";
      ++one->retries;
      one->is_retrying = false;
      ++own_.acknowledged;
      return "";
    });
  }

  // Nothing is met twice in one scan.
  std::string Scan() {
    std::set<std::string> met;
    const QueueScanFilter any{0, 0, 1};
    char* path = FindFirstQueueId(place_.queue.c_str(), &db_, &any);
    while (path != nullptr) {
      const bool fresh = met.insert(path).second;
      ReleaseQueueId(path);
      if (!fresh) return "met twice in one scan";
      path = FindNextQueueId(place_.queue.c_str(), &db_, &any);
    }
    return "";
  }

  std::string Move() {
    Message* one = Any(Stage::kWaiting);
    if (one == nullptr) return "";
    const std::string path = PathOf(place_.queue, *one);
    return Locked(path, [&]() -> std::string {
      one->stage = Stage::kMoving;
      if (MoveQueueId(path.c_str(), place_.later.c_str(), &db_) != 0) return "no move";
      one->stage = Stage::kMoved;
      ++own_.acknowledged;
      --living_;
      return "";
    });
  }

  std::string Delete() {
    Message* one = Any(Stage::kWaiting);
    if (one == nullptr) return "";
    const std::string path = PathOf(place_.queue, *one);
    return Locked(path, [&]() -> std::string {
      one->stage = Stage::kDeleting;
      if (DeleteQueueId(path.c_str(), kChannel, &db_) != 0) return "no deletion";
      one->stage = Stage::kGone;
      ++own_.acknowledged;
      --living_;
      return "";
    });
  }

  const Place& place_;
  Traveller& own_;
  Dice dice_;
  MesgHandle db_{};
  int living_ = 0;
};

// ---- afterwards

struct Seen {
  int heads = 0;  // F records
  std::string directory;
  int retries = 0;
  std::set<std::string> recipients;
  int recipient_records = 0;
};

class Judge {
 public:
  Judge(const Place& place, Shared& shared) : place_(place), shared_(shared) {}

  int Run() {
    if (InitQOBDll_NOMQ("judge") != 1) return Complain("start");
    // What a boot does before any program of the system runs.
    UnlockAllMessage(place_.queue.c_str());
    UnlockAllMessage(place_.later.c_str());
    std::string wrong = ReadDatabase();
    if (wrong.empty()) wrong = CheckStore();
    std::set<std::uint32_t> ids;
    for (Traveller& traveller : shared_.travellers) {
      for (int i = 0; i < traveller.count && wrong.empty(); ++i) {
        Message& one = traveller.messages[static_cast<std::size_t>(i)];
        if (!ids.insert(one.id).second) wrong = "id given twice";
        if (wrong.empty()) wrong = JudgeOne(&one);
        if (!wrong.empty()) wrong = NameOf(one.id) + ": " + wrong;
      }
    }
    for (const auto& [id, seen] : seen_) {
      if (wrong.empty() && !ids.contains(id) && seen.heads + seen.recipient_records > 0) {
        wrong = NameOf(id) + ": records of no message";
      }
    }
    return wrong.empty() ? 0 : Complain(wrong);
  }

 private:
  std::string ReadDatabase() {
    MesgHandle db{};
    if (const int status = OpenMesgFile(nullptr, &db); status != 0) {
      return "open gives " + std::to_string(status);
    }
    MesgRecord record{};
    int status = GetFirstMesgRecordByKey(&db, &record, 0);
    for (; status == 0; status = GetNextMesgRecordByKey(&db, &record, 0)) {
      if (std::strlen(record.key) != 9) return "a key that is none";
      const std::string name(record.key, 8);  // the letter behind it may be a digit as well
      Seen& seen = seen_[static_cast<std::uint32_t>(std::strtoul(name.c_str(), nullptr, 16))];
      if (record.key[8] == 'f') {
        ++seen.heads;
        seen.directory = record.directoryName;
        seen.retries = record.retryCount;
      } else {
        ++seen.recipient_records;
        seen.recipients.insert(record.address);
      }
    }
    CloseMesgFile(&db);
    return status == 9 ? "" : "walk ends with " + std::to_string(status);
  }

  std::string CheckStore() const {
    std::shared_ptr<store::RecordFile> file;
    std::string problem;
    store::Status status = store::RecordFile::Open(place_.queue + "/mesg.btr", {}, &file);
    if (status == store::kOk) status = file->Check(&problem, nullptr);
    return status == store::kOk && problem.empty() ? "" : "check finds " + problem;
  }

  bool HasFile(const std::string& directory, const Message& one) const {
    std::ifstream in(directory + "/" + NameOf(one.id) + ".msg", std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return in.is_open() && all.str() == ContentOf(one);
  }

  // Wholly there, in that directory.
  std::string Whole(const Message& one, const std::string& directory) {
    const Seen& seen = seen_[one.id];
    if (seen.heads != 1) return std::to_string(seen.heads) + " records of the message";
    if (seen.directory != fs::path(directory).filename()) return "in directory " + seen.directory;
    if (!HasFile(directory, one)) return "its file is missing or another";
    return Recipients(one, 1 + static_cast<int>(one.bytes % kMostRecipients));
  }

  // Each once, and at least those that were acknowledged.
  std::string Recipients(const Message& one, int at_most) {
    const Seen& seen = seen_[one.id];
    const int count = seen.recipient_records;
    if (count < one.written_recipients || count > at_most) {
      return std::to_string(count) + " recipients of " + std::to_string(one.written_recipients);
    }
    for (int i = 0; i < count; ++i) {
      if (!seen.recipients.contains(AddressOf(one.id, i))) return "a recipient is missing";
    }
    return static_cast<int>(seen.recipients.size()) == count ? "" : "a recipient twice";
  }

  // Which of the places a killed call may have left it at; its owner goes on from there.
  std::string JudgeOne(Message* one) {
    Seen& seen = seen_[one->id];
    switch (one->stage) {
      case Stage::kNone:
        return "noted, but not begun";
      case Stage::kWriting:
        return JudgeWriting(one);
      case Stage::kWaiting: {
        const int most = one->retries + (one->is_retrying ? 1 : 0);
        if (seen.retries < one->retries || seen.retries > most) return "retries are others";
        one->retries = seen.retries;
        one->is_retrying = false;
        return Whole(*one, place_.queue);
      }
      case Stage::kMoving:
        return JudgeMoving(one);
      case Stage::kMoved: {
        std::string wrong = Whole(*one, place_.later);
        return wrong.empty() ? Sweep(one) : wrong;
      }
      case Stage::kDeleting:
        return JudgeDeleting(one);
      case Stage::kGone:
        return Nothing(*one);
    }
    return "no stage";
  }

  std::string Nothing(const Message& one) {
    const Seen& seen = seen_[one.id];
    if (seen.heads + seen.recipient_records > 0) return "deleted, but records stand";
    return HasFile(place_.queue, one) || HasFile(place_.later, one) ? "deleted, but its file stands"
                                                                    : "";
  }

  // Never acknowledged as a whole: what was stands, and is taken away.
  std::string JudgeWriting(Message* one) {
    const Seen& seen = seen_[one->id];
    if (seen.heads > 1) return "its record twice";
    std::string wrong = Recipients(*one, one->written_recipients + 1);
    return wrong.empty() ? Sweep(one) : wrong;
  }

  std::string JudgeMoving(Message* one) {
    const bool here = HasFile(place_.queue, *one);
    const bool there = HasFile(place_.later, *one);
    if (here == there) return here ? "its file twice" : "its file is lost";
    const Seen& seen = seen_[one->id];
    const bool record_there = seen.directory == fs::path(place_.later).filename();
    if (there && !record_there) return "the file went before the record";
    if (record_there && here) {
      // An interrupted move is finished.
      fs::rename(place_.queue + "/" + NameOf(one->id) + ".msg",
                 place_.later + "/" + NameOf(one->id) + ".msg");
    }
    one->stage = record_there ? Stage::kMoved : Stage::kWaiting;
    return Whole(*one, record_there ? place_.later : place_.queue);
  }

  // The record goes first, the file last: without a record the file may stand, never the reverse
  // beyond the moment before the record went.
  std::string JudgeDeleting(Message* one) {
    const Seen& seen = seen_[one->id];
    if (seen.heads == 1 && !HasFile(place_.queue, *one)) return "a record without its file";
    if (seen.heads == 1) {
      one->stage = Stage::kWaiting;
      return Whole(*one, place_.queue);
    }
    return Sweep(one);
  }

  std::string Sweep(Message* one) {
    MesgHandle db{};
    if (OpenMesgFile(nullptr, &db) != 0) return "cannot open to sweep";
    const std::string path = place_.queue + "\\" + NameOf(one->id);
    DestroyQueueId(path.c_str(), &db);
    CloseMesgFile(&db);
    for (const std::string& directory : {place_.queue, place_.later}) {
      fs::remove(directory + "/" + NameOf(one->id) + ".msg");
    }
    one->stage = Stage::kGone;
    seen_[one->id] = {};
    return "";
  }

  const Place& place_;
  Shared& shared_;
  std::map<std::uint32_t, Seen> seen_;
};

bool Round(const Place& place, Dice& dice, Shared& shared) {
  std::array<pid_t, kTravellers> children{};
  for (std::size_t i = 0; i < kTravellers; ++i) {
    const std::uint64_t seed = dice.Next();
    children[i] =
        testing::Spawn([&, i] { return Walker(place, shared.travellers[i], seed).Run(); });
  }
  usleep(static_cast<useconds_t>(20000 + dice.Below(60000)));
  bool good = true;
  for (pid_t child : children) {
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
  for (; round < options.rounds && !clock.IsOver(); ++round) {
    if (!Round(place, dice, *shared) ||
        testing::InChild([&] { return Judge(place, *shared).Run(); }) != 0) {
      std::fprintf(stderr, "round %d of seed %llu: see %s\n", round,
                   static_cast<unsigned long long>(options.seed), options.directory.c_str());
      return kFailed;
    }
  }
  std::uint64_t acknowledged = 0;
  int messages = 0;
  for (const Traveller& one : shared->travellers) {
    acknowledged += one.acknowledged;
    messages += one.count;
  }
  std::printf("%d rounds, %d messages, %llu steps acknowledged, none lost, none twice\n", round,
              messages, static_cast<unsigned long long>(acknowledged));
  return 0;
}

}  // namespace
}  // namespace qob::crash

int main(int argc, char** argv) { return qob::crash::RunTrials(argc, argv, qob::crash::Run); }
