// Walks over a channel: in the order of commit, undisturbed by what comes and goes, and by several
// at once.
#include <algorithm>

#include "mq_support.h"
#include "platform/spool/names.h"
#include "support/faults.h"
#include "support/two_processes.h"

namespace qob {
namespace {

using namespace testing;
using Ids = std::vector<std::uint32_t>;

class Walking : public QueueTest {
 protected:
  static store::Entry Find(store::RecordFile& file, std::uint32_t id,
                           spool::MessageRecord* record) {
    const std::string key = spool::RecordKey(id, spool::kMessageKind);
    store::Entry at;
    EXPECT_EQ(file.Find(0, store::Seek::kEqual,
                        store::IndexKey(file.description().keys[0], std::as_bytes(std::span(key))),
                        &at, spool::Bytes(*record)),
              store::kOk);
    return at;
  }
  void DeleteMessageRecord(std::uint32_t id) {
    const auto file = Database();
    spool::MessageRecord record;
    const store::Entry at = Find(*file, id, &record);
    ASSERT_EQ(file->Delete(at), store::kOk);
  }
  void SetState(std::uint32_t id, const char* state) {
    const auto file = Database();
    spool::MessageRecord record;
    store::Entry at = Find(*file, id, &record);
    spool::SetField(record.stateText, state);
    ASSERT_EQ(file->Update(&at, spool::Bytes(record)), store::kOk);
  }
  static std::uint32_t Next(MQChannel* channel) {
    std::uint32_t id = 0;
    EXPECT_NE(GetNextMQEntry(channel, &id), 0);
    return id;
  }
};

TEST_F(Walking, MeetsTheEntriesOfItsChannelInTheOrderOfCommit) {
  Envelope envelope;
  envelope.To("r@b.example");
  MQContext* const early = Ready(envelope);  // made first, committed last
  Submit("DSN");
  Submit("SMTP");
  Submit("DSN");
  ASSERT_NE(CloseMQEntry(early), 0);
  const ChannelPtr dsn(OpenMQChannel("DSN"));
  const ChannelPtr smtp(OpenMQChannel("SMTP"));
  const ChannelPtr other(OpenMQChannel("dsn"));
  EXPECT_EQ(Walk(dsn.get()), (Ids{1, 3, 0}));
  EXPECT_EQ(Walk(smtp.get()), Ids{2});
  EXPECT_EQ(Walk(other.get()), Ids{});
}

TEST_F(Walking, MeetsNothingInAnEmptyChannel) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  std::uint32_t id = 99;
  EXPECT_EQ(GetFirstMQEntry(channel.get(), &id), 0);
  EXPECT_EQ(GetNextMQEntry(channel.get(), &id), 0);
  EXPECT_EQ(id, 99u) << "untouched";
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Walking, NullIsRefused) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  std::uint32_t id = 0;
  EXPECT_EQ(GetFirstMQEntry(nullptr, &id), 0);
  EXPECT_EQ(GetNextMQEntry(nullptr, &id), 0);
  EXPECT_EQ(GetFirstMQEntry(channel.get(), nullptr), 0);
  EXPECT_EQ(GetNextMQEntry(channel.get(), nullptr), 0);
}

TEST_F(Walking, BeginsAtTheFirstByEitherCall) {
  Submit();
  Submit();
  const ChannelPtr channel(OpenMQChannel("DSN"));
  EXPECT_EQ(Next(channel.get()), 0u);
  EXPECT_EQ(Next(channel.get()), 1u);
  std::uint32_t id = 0;
  EXPECT_NE(GetFirstMQEntry(channel.get(), &id), 0);
  EXPECT_EQ(id, 0u);
}

TEST_F(Walking, GoesOnWhenTheEntryItStandsOnIsTakenOff) {
  for (int i = 0; i < 5; ++i) Submit();
  const ChannelPtr channel(OpenMQChannel("DSN"));
  Ids met;
  std::uint32_t id = 0;
  for (bool more = GetFirstMQEntry(channel.get(), &id) != 0; more;
       more = GetNextMQEntry(channel.get(), &id) != 0) {
    met.push_back(id);
    EXPECT_NE(RemoveMQQID(channel.get(), id), 0);
  }
  EXPECT_EQ(met, (Ids{0, 1, 2, 3, 4}));
  EXPECT_EQ(Walk(channel.get()), Ids{});
}

TEST_F(Walking, IsUndisturbedByEntriesTakenOffBeforeAndBehindIt) {
  for (int i = 0; i < 6; ++i) Submit();
  const ChannelPtr channel(OpenMQChannel("DSN"));
  const ChannelPtr remover(OpenMQChannel("DSN"));
  EXPECT_EQ(Next(channel.get()), 0u);
  EXPECT_EQ(Next(channel.get()), 1u);
  EXPECT_EQ(Next(channel.get()), 2u);
  for (const std::uint32_t id : {0u, 2u, 3u, 5u}) EXPECT_NE(RemoveMQQID(remover.get(), id), 0);
  EXPECT_EQ(Next(channel.get()), 4u);
  std::uint32_t id = 0;
  EXPECT_EQ(GetNextMQEntry(channel.get(), &id), 0);
}

TEST_F(Walking, MeetsWhatComesMeanwhileAndBehindItsEnd) {
  Submit();
  const ChannelPtr channel(OpenMQChannel("DSN"));
  EXPECT_EQ(Next(channel.get()), 0u);
  Submit();
  EXPECT_EQ(Next(channel.get()), 1u);
  std::uint32_t id = 0;
  EXPECT_EQ(GetNextMQEntry(channel.get(), &id), 0);
  EXPECT_EQ(GetNextMQEntry(channel.get(), &id), 0);
  EXPECT_NE(RemoveMQQID(channel.get(), 0), 0);
  EXPECT_NE(RemoveMQQID(channel.get(), 1), 0) << "the last mark is gone: orders are not used again";
  Submit();
  EXPECT_EQ(Next(channel.get()), 2u);
}

TEST_F(Walking, OfTwoChannelsOfOneNameEachHasItsPlace) {
  for (int i = 0; i < 3; ++i) Submit();
  const ChannelPtr one(OpenMQChannel("DSN"));
  const ChannelPtr other(OpenMQChannel("DSN"));
  EXPECT_EQ(Next(one.get()), 0u);
  EXPECT_EQ(Next(one.get()), 1u);
  EXPECT_EQ(Next(other.get()), 0u);
  EXPECT_NE(RemoveMQQID(one.get(), 1), 0);
  EXPECT_EQ(Next(other.get()), 2u);
  EXPECT_EQ(Next(one.get()), 2u);
}

TEST_F(Walking, PassesOverMarksWithoutTheirMessage) {
  for (int i = 0; i < 5; ++i) Submit();
  for (const std::uint32_t id : {0u, 1u, 3u}) DeleteMessageRecord(id);
  const ChannelPtr channel(OpenMQChannel("DSN"));
  EXPECT_EQ(Walk(channel.get()), (Ids{2, 4}));
  DeleteMessageRecord(4);
  EXPECT_EQ(Walk(channel.get()), Ids{2});
  EXPECT_EQ(Now().marks.size(), 5u) << "passed over, not taken away";
}

TEST_F(Walking, PassesOverHeldMessagesUntilTheyAreReleased) {
  for (int i = 0; i < 4; ++i) Submit();
  SetState(0, "HELD");
  SetState(2, "HELD");
  SetState(3, "held");  // of another program
  const ChannelPtr channel(OpenMQChannel("DSN"));
  EXPECT_EQ(Walk(channel.get()), (Ids{1, 3}));
  SetState(2, "");
  EXPECT_EQ(Walk(channel.get()), (Ids{1, 2, 3}));
  EXPECT_NE(EnvelopePtr(GetMQEnvelope(0)), nullptr) << "its envelope stays";
}

TEST_F(Walking, InAChildMeetsNothingByAnInheritedChannel) {
  Submit();
  const ChannelPtr channel(OpenMQChannel("DSN"));
  EXPECT_EQ(InChild([&] {
              std::uint32_t id = 0;
              if (GetFirstMQEntry(channel.get(), &id) != 0) return 1;
              const ChannelPtr own(OpenMQChannel("DSN"));
              return GetFirstMQEntry(own.get(), &id) != 0 && id == 0 ? 0 : 2;
            }),
            0);
  EXPECT_EQ(Walk(channel.get()), Ids{0});
}

TEST_F(Walking, WithoutMemoryEndsAndKeepsItsPlace) {
  for (int i = 0; i < 3; ++i) Submit();
  const ChannelPtr channel(OpenMQChannel("DSN"));
  Next(channel.get());
  std::int32_t more = 0;
  std::uint32_t id = 0;
  FailEachAllocation([&] { more = GetNextMQEntry(channel.get(), &id); },
                     [&](bool failed) {
                       if (more != 0) {
                         ASSERT_EQ(id, 1u);
                         GetFirstMQEntry(channel.get(), &id);
                       }
                       if (!failed) {
                         ASSERT_NE(more, 0);
                       }
                     },
                     2000);
}

TEST_F(Walking, WithoutMemoryAnEnvelopeIsReadOrNot) {
  Submit();
  EnvelopePtr envelope;
  FailEachAllocation([&] { envelope.reset(GetMQEnvelope(0)); },
                     [&](bool failed) {
                       if (!failed) {
                         ASSERT_NE(envelope, nullptr);
                       }
                       envelope.reset();
                     },
                     3000);
}

}  // namespace
}  // namespace qob
