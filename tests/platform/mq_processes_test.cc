// Several delivery agents at once on one channel, beside submitters: who takes the lock first
// handles a message, and nobody else does.
#include <qob3xapi/envelope.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>

#include <array>
#include <atomic>

#include "crash/ledger.h"
#include "mq_support.h"
#include "support/two_processes.h"

namespace qob {
namespace {

using namespace testing;

constexpr int kSubmitters = 2;
constexpr int kAgents = 4;
constexpr int kEach = 60;
constexpr int kMessages = kSubmitters * kEach;

struct Shared {
  std::atomic<int> handled{0};
  std::array<std::atomic<int>, kMessages> times{};
};

int SubmitEach(int submitter) {
  if (InitQOBDll("submit") != 1) return 1;
  for (int i = 0; i < kEach; ++i) {
    const std::string number = std::to_string(submitter * kEach + i);
    Envelope envelope;
    envelope.To((number + "@b.example").c_str());
    MQContext* const entry = CreateMQEntry();
    if (entry == nullptr) return 2;
    WriteMessage(entry, number);
    InsertMQChannel(entry, "SMTP", 255);
    PutMQEnvelope(entry, envelope.get());
    if (CloseMQEntry(entry) == 0) return 3;
  }
  return 0;
}

class Agent {
 public:
  explicit Agent(Shared& shared) : shared_(shared) {}

  int Run() {
    if (InitQOBDll("agent") != 1 || OpenMesgFile(nullptr, &db_) != 0) return 1;
    const ChannelPtr channel(OpenMQChannel("SMTP"));
    if (channel == nullptr) return 2;
    while (shared_.handled < kMessages) {
      for (const std::uint32_t id : Walk(channel.get())) {
        if (!Take(id)) return 3;
      }
    }
    return 0;
  }

 private:
  bool Take(std::uint32_t id) {
    const std::string path = GetMQPathNameById(id, "");
    if (CreateLockFile(path.c_str()) != 0) return true;
    bool good = true;
    EnvFrom* const sender = GetEnvelopeFrom(path.c_str(), &db_);
    if (sender != nullptr) {  // nobody was quicker
      const std::string number = TempSpool::Read(path + ".msg");
      const EnvelopePtr put(GetMQEnvelope(id));
      good = put != nullptr && put->recipients.head->record->address == number + "@b.example";
      if (good) ++shared_.times[static_cast<std::size_t>(std::stoi(number))];
      good = DeleteQueueId(path.c_str(), "SMTP", &db_) == 0 && good;
      ++shared_.handled;
    }
    FreeEnvFrom(sender);
    DeleteLockFile(path.c_str());
    return good;
  }

  Shared& shared_;
  MesgHandle db_{};
};

TEST(ManyAgents, HandleEachMessageOnce) {
  const TempSpool spool;
  const crash::SharedMemory<Shared> shared;
  const std::vector<int> results = InChildren(kSubmitters + kAgents, [&](int number) {
    return number < kSubmitters ? SubmitEach(number) : Agent(*shared).Run();
  });
  EXPECT_EQ(results, std::vector<int>(kSubmitters + kAgents, 0));
  for (int i = 0; i < kMessages; ++i) {
    EXPECT_EQ(shared->times[static_cast<std::size_t>(i)], 1) << "message " << i;
  }
  EXPECT_EQ(shared->handled, kMessages);
  EXPECT_TRUE(StandingIn(spool.queue()) == Standing()) << "something is left in the queue";
}

}  // namespace
}  // namespace qob
