// Entries: a number and its lock, the names of the files, what is kept until the commit, and the
// commit's and the discarding's outcome.
#include <sys/stat.h>

#include <cstdio>
#include <functional>
#include <thread>

#include "mq_support.h"
#include "platform/spool/names.h"
#include "support/two_processes.h"

namespace qob {
namespace {

using namespace testing;

class Entry : public QueueTest {};

// ---- a new entry

TEST_F(Entry, HasANumberAndItsLockAndNothingElse) {
  MQContext* const entry = CreateMQEntry();
  ASSERT_NE(entry, nullptr);
  const Standing now = Now();
  EXPECT_EQ(now.files, std::set<std::string>{"00000000.lck"});
  EXPECT_TRUE(now.records.empty() && now.marks.empty() && now.notes.empty());
  EXPECT_NE(DiscardMQEntry(entry), 0);
  EXPECT_TRUE(Files().empty());
}

TEST_F(Entry, NeedsTheConnection) {
  MQTerminate();
  EXPECT_EQ(CreateMQEntry(), nullptr);
  ASSERT_NE(MQInit("localhost", ""), 0);
  MQContext* const entry = CreateMQEntry();
  EXPECT_NE(entry, nullptr);
  DiscardMQEntry(entry);
  EXPECT_EQ(MQInit("", ""), 0);
  EXPECT_EQ(CreateMQEntry(), nullptr) << "a refused connection is none";
}

TEST_F(Entry, OfAProcessThatNeverConnectedIsNone) {
  EXPECT_EQ(InChild([] {
              MQTerminate();
              spool::TheSite() = spool::Site();
              return CreateMQEntry() == nullptr ? 0 : 1;
            }),
            0);
}

TEST_F(Entry, TakesNoNumberOfAnythingThatStands) {
  // 0 is locked; of 1 a message record stands, of 2 a recipient, of 3 a mark, of 4 the file, of 5
  // the reasons.
  spool_.File("queue/00000000.lck", "");
  const auto file = Database();
  for (const auto& [id, kind] : {std::pair(1u, spool::kMessageKind), {2u, spool::kRecipientKind}}) {
    spool::MessageRecord record;
    spool::ComposeMessage(spool::RecordKey(id, kind), "", 0, &record);
    store::Entry at;
    ASSERT_EQ(file->Insert(spool::Bytes(record), &at), store::kOk);
  }
  ASSERT_EQ(file->AddMark("SMTP", 3), store::kOk);
  spool_.File("queue/00000004.msg", "");
  spool_.File("queue/00000005.rea", "");
  MQContext* const entry = CreateMQEntry();
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(IdOf(entry), 6u);
  DiscardMQEntry(entry);
}

TEST_F(Entry, IsNoneWithoutTheCounter) {
  spool_.SetWholeIni("[Gateway]\nQueueDirectory=" + spool_.queue() + "\n");
  ASSERT_NE(MQInit("localhost", ""), 0);
  EXPECT_EQ(CreateMQEntry(), nullptr);
  EXPECT_TRUE(Files().empty());
}

TEST_F(Entry, IsNoneWhenTheDirectoryIsGone) {
  std::filesystem::remove_all(spool_.queue());
  EXPECT_EQ(CreateMQEntry(), nullptr);
  std::filesystem::create_directory(spool_.queue());
  MQContext* const entry = CreateMQEntry();
  EXPECT_NE(entry, nullptr) << "the database is made anew";
  DiscardMQEntry(entry);
}

TEST_F(Entry, NumbersOfTwoThreadsDiffer) {
  constexpr int kEntries = 50;
  std::vector<std::vector<std::uint32_t>> taken(2);
  std::vector<std::thread> threads;
  for (auto& mine : taken) {
    threads.emplace_back([&mine] {
      for (int i = 0; i < kEntries; ++i) {
        MQContext* const entry = CreateMQEntry();
        if (entry == nullptr) return;
        mine.push_back(IdOf(entry));
        DiscardMQEntry(entry);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::uint32_t> all;
  for (const auto& mine : taken) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(all.size(), 2u * kEntries);
}

// ---- names

TEST_F(Entry, NamesItsFiles) {
  MQContext* const entry = CreateMQEntry();
  const std::string base = spool_.queue() + "\\00000000";
  EXPECT_STREQ(GetMQPathName(entry, ""), base.c_str());
  EXPECT_STREQ(GetMQPathName(entry, nullptr), base.c_str());
  EXPECT_STREQ(GetMQPathName(entry, ".msg"), (base + ".msg").c_str());
  EXPECT_EQ(GetMQPathName(static_cast<MQContext*>(nullptr), ".msg"), nullptr);
  DiscardMQEntry(entry);
}

TEST_F(Entry, ItsNamesAreGoodTogetherUntilItsEnd) {
  MQContext* const entry = CreateMQEntry();
  const char* const base = GetMQPathName(entry, "");
  const char* const message = GetMQPathName(entry, ".msg");
  for (int i = 0; i < 100; ++i) GetMQPathName(entry, ("." + std::to_string(i)).c_str());
  EXPECT_EQ(GetMQPathName(entry, ""), base) << "the same text again";
  EXPECT_EQ(GetMQPathName(entry, ".msg"), message);
  EXPECT_STREQ(message, (std::string(base) + ".msg").c_str());
  DiscardMQEntry(entry);
}

TEST_F(Entry, AndItsNumberGiveTheSameName) {
  MQContext* const entry = CreateMQEntry();
  EXPECT_STREQ(GetMQPathName(IdOf(entry), ".msg"), GetMQPathName(entry, ".msg"));
  DiscardMQEntry(entry);
}

// ---- channels

TEST_F(Entry, ChannelsNeedAName) {
  MQContext* const entry = CreateMQEntry();
  EXPECT_EQ(InsertMQChannel(entry, nullptr, 255), 0);
  EXPECT_EQ(InsertMQChannel(entry, "", 255), 0);
  EXPECT_EQ(InsertMQChannel(nullptr, "DSN", 255), 0);
  DiscardMQEntry(entry);
}

TEST_F(Entry, WaitsOnEachChannelOnce) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const entry = Ready(envelope, "DSN");
  for (const char* name : {"SMTP", "DSN", "smtp", "SMTP"}) {
    EXPECT_NE(InsertMQChannel(entry, name, 255), 0) << name;
  }
  EXPECT_TRUE(Now().marks.empty()) << "nothing is written before the commit";
  ASSERT_NE(CloseMQEntry(entry), 0);
  using Marks = std::set<std::pair<std::string, std::uint32_t>>;
  EXPECT_EQ(Now().marks, (Marks{{"DSN", 0}, {"SMTP", 0}, {"smtp", 0}}));
}

// ---- envelopes

TEST_F(Entry, EnvelopesNeedOneSenderAndARecipient) {
  MQContext* const entry = CreateMQEntry();
  Envelope good;
  good.To("r@b.example");
  EXPECT_EQ(PutMQEnvelope(entry, nullptr), 0);
  EXPECT_EQ(PutMQEnvelope(nullptr, good.get()), 0);
  const stEnvelope empty{};
  EXPECT_EQ(PutMQEnvelope(entry, &empty), 0);
  Envelope nobody;
  EXPECT_EQ(PutMQEnvelope(entry, nobody.get()), 0) << "no recipient";
  Envelope two;
  two.To("r@b.example").AddSender("second@a.example");
  EXPECT_EQ(PutMQEnvelope(entry, two.get()), 0) << "two senders";
  Envelope no_address(nullptr);
  no_address.To("r@b.example");
  EXPECT_EQ(PutMQEnvelope(entry, no_address.get()), 0);
  Envelope no_recipient_address;
  no_recipient_address.To("r@b.example").To(nullptr);
  EXPECT_EQ(PutMQEnvelope(entry, no_recipient_address.get()), 0);
  Envelope no_record;
  no_record.To("r@b.example");
  no_record.get()->recipients.head->record = nullptr;
  EXPECT_EQ(PutMQEnvelope(entry, no_record.get()), 0);
  no_record.get()->senders.head->record = nullptr;
  EXPECT_EQ(PutMQEnvelope(entry, no_record.get()), 0);
  EXPECT_NE(PutMQEnvelope(entry, good.get()), 0);
  DiscardMQEntry(entry);
}

TEST_F(Entry, KeepsACopyOfTheEnvelope) {
  MQContext* entry = nullptr;
  {
    Envelope envelope("sender@a.example");
    envelope.To("r@b.example");
    entry = Ready(envelope);
    std::memset(envelope.sender().address, 'x', std::strlen(envelope.sender().address));
    std::memset(envelope.recipient().address, 'x', std::strlen(envelope.recipient().address));
  }
  ASSERT_NE(CloseMQEntry(entry), 0);
  const EnvelopePtr read(GetMQEnvelope(0));
  ASSERT_NE(read, nullptr);
  EXPECT_STREQ(read->senders.head->record->address, "sender@a.example");
  EXPECT_STREQ(read->recipients.head->record->address, "r@b.example");
}

TEST_F(Entry, ASecondEnvelopeReplacesTheFirstAndARefusedOneDoesNot) {
  Envelope first("first@a.example");
  first.To("r@b.example");
  MQContext* const entry = Ready(first);
  Envelope second("second@a.example");
  second.To("s@b.example");
  EXPECT_NE(PutMQEnvelope(entry, second.get()), 0);
  Envelope nobody("third@a.example");
  EXPECT_EQ(PutMQEnvelope(entry, nobody.get()), 0);
  ASSERT_NE(CloseMQEntry(entry), 0);
  const EnvelopePtr read(GetMQEnvelope(0));
  EXPECT_STREQ(read->senders.head->record->address, "second@a.example");
  EXPECT_EQ(read->recipients.count, 1u);
  EXPECT_EQ(Now().records.size(), 2u);
}

// ---- the commit

TEST_F(Entry, IsInTheQueueOnceItIsClosed) {
  const std::uint32_t id = Submit();
  const Standing now = Now();
  EXPECT_EQ(now.files, std::set<std::string>{"00000000.msg"}) << "no lock is left";
  EXPECT_EQ(now.records.size(), 2u);
  EXPECT_EQ(now.marks, (std::set<std::pair<std::string, std::uint32_t>>{{"DSN", id}}));
  EXPECT_EQ(now.notes.size(), 1u);
  EXPECT_EQ(spool_.Read(spool_.queue() + "/00000000.msg"), "the message\r\n");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Entry, WithoutAnythingItNeedsIsDiscardedByItsClose) {
  Envelope envelope;
  envelope.To("r@b.example");
  const auto refused = [&](bool file, bool channel, bool put) {
    MQContext* const entry = CreateMQEntry();
    if (file) WriteMessage(entry);
    if (channel) InsertMQChannel(entry, "DSN", 255);
    if (put) PutMQEnvelope(entry, envelope.get());
    EXPECT_EQ(CloseMQEntry(entry), 0);
    const Standing now = Now();
    EXPECT_TRUE(now == Standing()) << file << channel << put;
  };
  refused(false, true, true);
  refused(true, false, true);
  refused(true, true, false);
  refused(false, false, false);
  EXPECT_TRUE(log_.lines().empty()) << "a caller's mistake is told by the result";
}

TEST_F(Entry, TakesNothingButAFileForItsMessage) {
  Envelope envelope;
  envelope.To("r@b.example");
  const auto closes = [&](const std::function<void(const std::string&)>& make) {
    MQContext* const entry = CreateMQEntry();
    InsertMQChannel(entry, "DSN", 255);
    PutMQEnvelope(entry, envelope.get());
    make(Native(GetMQPathName(entry, ".msg")));
    return CloseMQEntry(entry) != 0;
  };
  const std::string outside = spool_.File("outside", "not ours");
  EXPECT_FALSE(
      closes([&](const std::string& path) { std::filesystem::create_symlink(outside, path); }));
  EXPECT_EQ(spool_.Read(outside), "not ours");
  EXPECT_FALSE(closes([](const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }));
  EXPECT_TRUE(Now() == Standing());
  EXPECT_TRUE(closes([](const std::string& path) { TempSpool::Write(path, ""); }))
      << "an empty message is one";
}

TEST_F(Entry, NullIsEndedByNoCall) {
  EXPECT_EQ(CloseMQEntry(nullptr), 0);
  EXPECT_EQ(DiscardMQEntry(nullptr), 0);
}

TEST_F(Entry, ALockThatIsGoneDoesNotUndoTheCommit) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const entry = Ready(envelope);
  std::filesystem::remove(Native(GetMQPathName(entry, ".lck")));
  EXPECT_NE(CloseMQEntry(entry), 0);
  EXPECT_EQ(Now().records.size(), 2u);
  ASSERT_EQ(log_.texts().size(), 1u);
  EXPECT_EQ(log_.lines()[0].module, "agent");
  EXPECT_EQ(log_.texts()[0],
            "CloseMQEntry failed, " + spool_.queue() + "\\00000000.lck: No such file or directory");
}

// ---- discarding

TEST_F(Entry, DiscardedLeavesNothing) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const entry = Ready(envelope);
  EXPECT_NE(DiscardMQEntry(entry), 0);
  EXPECT_TRUE(Now() == Standing());
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Entry, DiscardingTellsWhatItCouldNotRemove) {
  MQContext* const entry = CreateMQEntry();
  const std::string message = Native(GetMQPathName(entry, ".msg"));
  std::filesystem::create_directories(message + "/inside");
  EXPECT_EQ(DiscardMQEntry(entry), 0);
  EXPECT_EQ(Files(), std::set<std::string>{"00000000.msg"}) << "the lock is gone all the same";
  ASSERT_EQ(log_.texts().size(), 1u);
  EXPECT_TRUE(log_.texts()[0].starts_with("DiscardMQEntry failed, ")) << log_.texts()[0];
}

// ---- which queue

TEST_F(Entry, StaysInTheQueueItWasMadeIn) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const first = Ready(envelope);
  const ChannelPtr old_channel(OpenMQChannel("DSN"));
  const std::string other = spool_.path("other");
  std::filesystem::create_directory(other);
  spool_.SetWholeIni("[Gateway]\nQueueDirectory=" + other +
                     "\nTemporaryDirectory=" + spool_.temp() + "\n");
  EXPECT_NE(MQInit("localhost", ""), 0);
  MQContext* const second = Ready(envelope);
  EXPECT_EQ(BaseOf(second), other + "\\00000001");
  EXPECT_NE(CloseMQEntry(first), 0);
  EXPECT_NE(CloseMQEntry(second), 0);
  EXPECT_EQ(StandingIn(spool_.queue()).records.size(), 2u);
  EXPECT_EQ(StandingIn(other).records.size(), 2u);
  EXPECT_EQ(Walk(old_channel.get()), std::vector<std::uint32_t>{0});
  const ChannelPtr new_channel(OpenMQChannel("DSN"));
  EXPECT_EQ(Walk(new_channel.get()), std::vector<std::uint32_t>{1});
}

TEST_F(Entry, GoesOnBehindTheEndOfTheConnection) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const entry = Ready(envelope);
  MQTerminate();
  EXPECT_NE(CloseMQEntry(entry), 0);
  EXPECT_EQ(Now().records.size(), 2u);
}

// ---- a child of the process

TEST_F(Entry, IsLeftAloneByAChild) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const entry = Ready(envelope);
  const std::set<std::string> files = Files();
  EXPECT_EQ(InChild([&] {
              if (InsertMQChannel(entry, "SMTP", 255) != 0) return 1;
              if (PutMQEnvelope(entry, envelope.get()) != 0) return 2;
              return CloseMQEntry(entry) == 0 ? 0 : 3;
            }),
            0);
  EXPECT_EQ(InChild([&] { return DiscardMQEntry(entry) == 0 ? 0 : 1; }), 0);
  EXPECT_EQ(Files(), files);
  EXPECT_NE(CloseMQEntry(entry), 0) << "the parent's is as it was";
  EXPECT_EQ(Now().marks.size(), 1u);
}

TEST_F(Entry, OfAChildIsItsOwn) {
  Submit();
  EXPECT_EQ(InChild([&] { return Submit() == 1 ? 0 : 1; }), 0);
  EXPECT_EQ(InChild([&] {
              const int inner = InChild([&] { return Submit() == 2 ? 0 : 1; });
              return inner == 0 && Submit() == 3 ? 0 : 1;
            }),
            0);
  EXPECT_EQ(Submit(), 4u);
  const ChannelPtr channel(OpenMQChannel("DSN"));
  EXPECT_EQ(Walk(channel.get()), (std::vector<std::uint32_t>{0, 1, 2, 3, 4}));
}

}  // namespace
}  // namespace qob
