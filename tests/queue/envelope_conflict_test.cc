// Others change a record between our reading and our writing of it: no change is lost, no field
// comes back.
#include <functional>
#include <thread>

#include "platform/btrieve/hooks.h"
#include "queue/envelope_support.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

// Lets others do something before each of the next `times` writes.
class Others {
 public:
  Others(int times, std::function<void()> act) {
    left_ = times;
    act_ = std::move(act);
    btrieve::TestBeforeWrite([] {
      if (inside_ || left_ == 0) return;
      inside_ = true;
      --left_;
      act_();
      inside_ = false;
    });
  }
  ~Others() { btrieve::TestBeforeWrite(nullptr); }
  Others(const Others&) = delete;
  Others& operator=(const Others&) = delete;
  int left() const { return left_; }

 private:
  static inline int left_ = 0;
  static inline bool inside_ = false;
  static inline std::function<void()> act_;
};

class EnvelopeConflict : public EnvelopeTest {
 protected:
  void SetUp() override {
    EnvelopeTest::SetUp();
    ASSERT_EQ(OpenMesgFile(nullptr, &other_), 0);
    path_ = MessageTo("0001A2B3", {"a@x.example", "b@x.example", "c@x.example"});
  }
  void TearDown() override {
    CloseMesgFile(&other_);
    EnvelopeTest::TearDown();
  }
  const char* path() const { return path_.c_str(); }
  std::function<void()> OtherBumps() {
    return [this] { BumpMessageRetryCount(path(), &other_); };
  }
  std::function<void()> OtherRemovesMessage() {
    return [this] {
      MesgRecord record;
      RemoveMesgRecord(&other_, "0001A2B3F", &record);
    };
  }
  std::function<void()> OtherSetsState(std::size_t place, const char* state) {
    return [=, this] { SetState("0001A2B3R", place, state); };
  }
  std::vector<LogLine> Conflicts(std::size_t count) const {
    return std::vector<LogLine>(count, {1, "env", "UpdateMesgRecord 0001A2B3F failed: 80"});
  }
  std::vector<LogLine> Conflicts(std::size_t count, const std::string& text,
                                 const std::string& reason = kConflictText) const {
    std::vector<LogLine> lines = Conflicts(count);
    lines.push_back({6, "env", text + " failed, " + path_ + ": " + reason});
    return lines;
  }
  static constexpr char kConflictText[] = "Btrieve encountered a record-level conflict.";
  static constexpr char kMissingText[] = "[Reason] No such a record is found in the database.";

  std::string path_;
  MesgHandle other_{};
};

TEST_F(EnvelopeConflict, ABumpInTheMiddleOfABumpIsCountedToo) {
  const Others others(1, OtherBumps());
  EXPECT_EQ(BumpMessageRetryCount(path(), &db_), 2);
  EXPECT_EQ(StoredMessage().retryCount, 2);
  EXPECT_EQ(log_.lines(), Conflicts(1));
}

TEST_F(EnvelopeConflict, AChangeKeepsTheFieldsThatOthersWroteMeanwhile) {
  {
    const Others others(1, [this] {
      UpdateMessageStatus(path(), "theirs", &other_);
      UpdateDelayNotifyStatus(path(), &other_);
    });
    EXPECT_EQ(SetMessageRetryTime(path(), 77, &db_), 0);
  }
  const MesgRecord stored = StoredMessage();
  EXPECT_STREQ(stored.statusText, "theirs");
  EXPECT_EQ(stored.delayNotifyStatus, 1);
  EXPECT_EQ(stored.retryTime, 77);
  EXPECT_STREQ(stored.address, "ann@a.example");
}

TEST_F(EnvelopeConflict, ASenderIsWrittenIntoTheNewerRecord) {
  const Others others(1, OtherBumps());
  const EnvFrom sender = Sender("new@a.example");
  EXPECT_EQ(CreateEnvelope(path(), &sender, &db_), 0);
  EXPECT_STREQ(StoredMessage().address, "new@a.example");
  EXPECT_EQ(StoredMessage().retryCount, 1);
  EXPECT_EQ(log_.lines(), Conflicts(1));
}

TEST_F(EnvelopeConflict, SevenConflictsAreOvercome) {
  const Others others(7, OtherBumps());
  EXPECT_EQ(UpdateMessageStatus(path(), "mine", &db_), 0);
  EXPECT_STREQ(StoredMessage().statusText, "mine");
  EXPECT_EQ(StoredMessage().retryCount, 7);
  EXPECT_EQ(log_.lines(), Conflicts(7));
}

struct Changer {
  const char* text;
  std::int32_t (*call)(const char* path, MesgHandle* db);
  std::int32_t result;
};
constexpr EnvFrom kSender = {const_cast<char*>("new@a.example"), nullptr, 0, 0, nullptr};

constexpr Changer kChangers[] = {
    {"UpdateMessageStatus",
     [](const char* path, MesgHandle* db) { return UpdateMessageStatus(path, "mine", db); }, -1},
    {"UpdateMessageStatus", &BumpMessageRetryCount, -1},
    {"SetMessageRetryTime",
     [](const char* path, MesgHandle* db) { return SetMessageRetryTime(path, 5, db); }, -1},
    {"UpdateMessagePartNumber",
     [](const char* path, MesgHandle* db) { return UpdateMessagePartNumber(path, 5, db); }, -1},
    {"UpdateDelayNotifyStatus", &UpdateDelayNotifyStatus, -1},
    {"CreateEnvelope",
     [](const char* path, MesgHandle* db) { return CreateEnvelope(path, &kSender, db); }, 0},
    {"CreateEnvelope",
     [](const char* path, MesgHandle* db) { return CreateSMTPEnvelope(path, &kSender, db); }, 0},
};

// The writing of a sender is not reported; its loss is logged all the same.
TEST_F(EnvelopeConflict, EightConflictsEndEachChangeInItsOwnWords) {
  for (const Changer& row : kChangers) {
    const Others others(8, [this] { SetMessageRetryTime(path(), 1, &other_); });
    log_.Clear();
    EXPECT_EQ(row.call(path(), &db_), row.result) << row.text;
    EXPECT_EQ(log_.lines(), Conflicts(8, row.text)) << row.text;
    EXPECT_EQ(others.left(), 0);
  }
  const MesgRecord stored = StoredMessage();
  EXPECT_STREQ(stored.statusText, "queued");
  EXPECT_STREQ(stored.address, "ann@a.example");
  EXPECT_EQ(stored.retryTime, 1);
  EXPECT_EQ(stored.retryCount, 0);
  EXPECT_EQ(stored.partNumber, 0);
  EXPECT_EQ(stored.delayNotifyStatus, 0);
}

TEST_F(EnvelopeConflict, AMessageRemovedMeanwhileIsNotFoundAgain) {
  constexpr const char* kNotFound[] = {"UpdateMessageStatus",     "BumpMessageRetryCount",
                                       "SetMessageRetryTime",     "UpdateMessagePartNumber",
                                       "UpdateDelayNotifyStatus", "CreateEnvelope",
                                       "CreateEnvelope"};
  std::size_t at = 0;
  for (const Changer& row : kChangers) {
    if (Stored("0001A2B3F").empty()) Message();
    const Others others(1, OtherRemovesMessage());
    log_.Clear();
    EXPECT_EQ(row.call(path(), &db_), -1);
    EXPECT_EQ(log_.lines(), Conflicts(1, kNotFound[at], kMissingText));
    EXPECT_TRUE(Stored("0001A2B3F").empty());
    ++at;
  }
}

TEST_F(EnvelopeConflict, ARecipientIsUpdatedInItsNewerState) {
  const Others others(1, OtherSetsState(1, "delivered"));
  const EnvRecip change = Recipient("b@x.example", "mine", 9);
  EXPECT_EQ(UpdateEnvelopeRecipient(path(), &change, &db_), 0);
  const std::vector<MesgRecord> stored = Stored("0001A2B3R");
  ASSERT_EQ(stored.size(), 3u);
  EXPECT_STREQ(stored[1].secondText, "mine");
  EXPECT_STREQ(stored[1].stateText, "delivered");
  EXPECT_EQ(stored[1].notifyFlags, 9);
  EXPECT_STREQ(stored[0].secondText, "second");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(EnvelopeConflict, TwoConflictsEndAnUpdateOfARecipient) {
  int round = 0;
  const Others others(2, [&] { SetState("0001A2B3R", 1, round++ == 0 ? "delivered" : "failed"); });
  const EnvRecip change = Recipient("b@x.example", "mine", 9);
  EXPECT_EQ(UpdateEnvelopeRecipient(path(), &change, &db_), -1);
  EXPECT_STREQ(Stored("0001A2B3R")[1].secondText, "second");
  EXPECT_STREQ(Stored("0001A2B3R")[1].stateText, "failed");
  EXPECT_EQ(log_.lines(),
            (std::vector<LogLine>{
                {1, "env", std::string("UpdateEnvelopeRecipient failed, ") + kConflictText}}));
}

TEST_F(EnvelopeConflict, ARecipientDeletedMeanwhileIsLookedForOnceMore) {
  const Others others(1, [this] { DeleteEnvelopeRecipient(path(), "b@x.example", &other_); });
  const EnvRecip change = Recipient("b@x.example", "mine", 9);
  EXPECT_EQ(UpdateEnvelopeRecipient(path(), &change, &db_), 0);  // the end of the file
  EXPECT_EQ(Walk(path_), (Texts{"a@x.example", "c@x.example"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(EnvelopeConflict, ARecipientChangedMeanwhileIsDeletedAllTheSame) {
  const Others others(1, OtherSetsState(1, "delivered"));
  EXPECT_EQ(DeleteEnvelopeRecipient(path(), "b@x.example", &db_), 2);
  EXPECT_EQ(Walk(path_), (Texts{"a@x.example", "c@x.example"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(EnvelopeConflict, ARecipientDeletedByTwoIsDeletedOnce) {
  const Others others(1, [this] { DeleteEnvelopeRecipient(path(), "b@x.example", &other_); });
  EXPECT_EQ(DeleteEnvelopeRecipient(path(), "b@x.example", &db_), 2);
  EXPECT_EQ(Walk(path_), (Texts{"a@x.example", "c@x.example"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(EnvelopeConflict, TwoConflictsEndADeleteOfARecipient) {
  int round = 0;
  const Others others(2, [&] { SetState("0001A2B3R", 1, round++ == 0 ? "delivered" : "failed"); });
  EXPECT_EQ(DeleteEnvelopeRecipient(path(), "b@x.example", &db_), -1);
  EXPECT_EQ(Walk(path_).size(), 3u);
  EXPECT_EQ(log_.lines(),
            (std::vector<LogLine>{
                {1, "env",
                 std::string("DeleteEnvelopeRecipient failed, Btrieve error: ") + kConflictText}}));
}

// Counts until `wanted` of its calls were counted; a call that lost eight times is made again.
int Bump(const std::string& path, MesgHandle* db, int wanted) {
  int done = 0;
  for (int tries = 0; done < wanted && tries < 20 * wanted; ++tries) {
    if (BumpMessageRetryCount(path.c_str(), db) > 0) ++done;
  }
  return done;
}

TEST_F(EnvelopeConflict, TwoProcessesThatCountAtOnceAreBothCounted) {
  const std::vector<int> results = InChildren(2, [&](int) {
    MesgHandle mine{};
    if (OpenMesgFile(nullptr, &mine) != 0) return 2;
    return Bump(path_, &mine, 1000) == 1000 ? 0 : 1;
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0}));
  EXPECT_EQ(GetMessageRetryCount(path(), &db_), 2000);
}

TEST_F(EnvelopeConflict, TwoThreadsWithHandlesOfTheirOwnAreBothCounted) {
  MesgHandle handles[2] = {db_, other_};
  std::thread threads[2];
  int done[2] = {};
  for (std::size_t i = 0; i < 2; ++i) {
    threads[i] = std::thread([&, i] { done[i] = Bump(path_, &handles[i], 200); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(done[0] + done[1], 400);
  EXPECT_EQ(GetMessageRetryCount(path(), &db_), 400);
}

}  // namespace
}  // namespace qob::testing
