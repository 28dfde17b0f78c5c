// Channels and the names of entries: opening, taking an entry off, and what goes with the last
// mark.
#include <qobplatform/mqapi.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "platform/spool/message_record.h"
#include "platform/spool/site.h"
#include "platform/store/record_file.h"
#include "support/failing_allocator.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob {
namespace {

using testing::InChild;
using testing::TempSpool;

struct CloseChannel {
  void operator()(MQChannel* channel) const { CloseMQChannel(channel); }
};
using ChannelPtr = std::unique_ptr<MQChannel, CloseChannel>;

class Channel : public ::testing::Test {
 protected:
  void SetUp() override { spool::TheSite() = spool::Site(); }
  void TearDown() override { spool::TheSite() = spool::Site(); }

  std::shared_ptr<store::RecordFile> Database() const {
    std::shared_ptr<store::RecordFile> file;
    EXPECT_EQ(store::RecordFile::Open(spool_.queue() + "/mesg.btr", {}, &file), store::kOk);
    return file;
  }

  TempSpool spool_;
};

TEST_F(Channel, OpensByAnyNameBeforeTheConnection) {
  for (const char* name : {"DSN", "x", "a channel of \xE9 any name"}) {
    const ChannelPtr channel(OpenMQChannel(name));
    EXPECT_NE(channel, nullptr) << name;
  }
  EXPECT_FALSE(spool::TheSite().filled);
  EXPECT_STREQ(spool::TheSite().queue_dir, "") << "the process's own record is start-up's to fill";
}

TEST_F(Channel, NeedsAName) {
  EXPECT_EQ(OpenMQChannel(nullptr), nullptr);
  EXPECT_EQ(OpenMQChannel(""), nullptr);
  EXPECT_FALSE(std::filesystem::exists(spool_.queue() + "/mesg.btr"));
}

TEST_F(Channel, MakesTheDatabaseWhenThereIsNone) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  ASSERT_NE(channel, nullptr);
  EXPECT_EQ(Database()->description().record_bytes, spool::kRecordBytes);
}

TEST_F(Channel, OpensTheSitesQueueDirectory) {
  const std::string other = spool_.path("other");
  std::filesystem::create_directory(other);
  std::strcpy(spool::TheSite().queue_dir, other.c_str());
  const ChannelPtr channel(OpenMQChannel("DSN"));
  ASSERT_NE(channel, nullptr);
  EXPECT_TRUE(std::filesystem::exists(other + "/mesg.btr"));
  EXPECT_FALSE(std::filesystem::exists(spool_.queue() + "/mesg.btr"));
}

TEST_F(Channel, CannotBeOpenedWithoutADirectoryOrInAForeignFile) {
  std::filesystem::remove_all(spool_.queue());
  EXPECT_EQ(OpenMQChannel("DSN"), nullptr);
  spool_.SetWholeIni("[Gateway]\n");
  EXPECT_EQ(OpenMQChannel("DSN"), nullptr);
  spool_.SetIni("");
  std::filesystem::create_directory(spool_.queue());
  TempSpool::Write(spool_.queue() + "/mesg.btr", "something else");
  EXPECT_EQ(OpenMQChannel("DSN"), nullptr);
  EXPECT_EQ(TempSpool::Read(spool_.queue() + "/mesg.btr"), "something else");
}

TEST_F(Channel, AnEntryIsTakenOffOnce) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  const auto file = Database();
  ASSERT_EQ(file->AddMark("DSN", 7), store::kOk);
  EXPECT_EQ(RemoveMQQID(channel.get(), 8), 0);
  EXPECT_NE(RemoveMQQID(channel.get(), 7), 0);
  EXPECT_EQ(RemoveMQQID(channel.get(), 7), 0);
}

TEST_F(Channel, OfAnotherNameIsAnother) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  const auto file = Database();
  ASSERT_EQ(file->AddMark("dsn", 7), store::kOk);
  EXPECT_EQ(RemoveMQQID(channel.get(), 7), 0);
  bool found = false;
  EXPECT_EQ(file->HasMark(7, &found), store::kOk);
  EXPECT_TRUE(found);
}

TEST_F(Channel, TheEnvelopeGoesWithTheLastMark) {
  const ChannelPtr first(OpenMQChannel("DSN"));
  const ChannelPtr second(OpenMQChannel("SMTP"));
  const auto file = Database();
  for (const char* name : {"DSN", "SMTP"}) ASSERT_EQ(file->AddMark(name, 7), store::kOk);
  ASSERT_EQ(file->PutNote(7, "envelope"), store::kOk);
  std::string note;
  EXPECT_NE(RemoveMQQID(first.get(), 7), 0);
  EXPECT_EQ(file->GetNote(7, &note), store::kOk);
  EXPECT_EQ(note, "envelope");
  EXPECT_NE(RemoveMQQID(second.get(), 7), 0);
  EXPECT_EQ(file->GetNote(7, &note), store::kNotFound);
}

TEST_F(Channel, AWrongIdLeavesTheEnvelopeAlone) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  const auto file = Database();
  ASSERT_EQ(file->PutNote(7, "envelope"), store::kOk);
  EXPECT_EQ(RemoveMQQID(channel.get(), 7), 0);
  std::string note;
  EXPECT_EQ(file->GetNote(7, &note), store::kOk);
}

TEST_F(Channel, NumbersAreUnsigned) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  ASSERT_EQ(Database()->AddMark("DSN", 0xFFFFFFFE), store::kOk);
  EXPECT_NE(RemoveMQQID(channel.get(), 0xFFFFFFFE), 0);
}

TEST_F(Channel, NullIsAllowed) {
  EXPECT_EQ(RemoveMQQID(nullptr, 7), 0);
  EXPECT_EQ(CloseMQChannel(nullptr), 0);
  MQChannel* channel = OpenMQChannel("DSN");
  EXPECT_NE(CloseMQChannel(channel), 0);
}

TEST_F(Channel, InAChildItCanOnlyBeClosed) {
  MQChannel* channel = OpenMQChannel("DSN");
  ASSERT_EQ(Database()->AddMark("DSN", 7), store::kOk);
  EXPECT_EQ(InChild([&] {
              if (RemoveMQQID(channel, 7) != 0) return 1;
              return CloseMQChannel(channel) != 0 ? 0 : 2;
            }),
            0);
  EXPECT_NE(RemoveMQQID(channel, 7), 0) << "the parent's is as it was";
  CloseMQChannel(channel);
}

TEST_F(Channel, OfTwoProcessesOneTakesAnEntryOff) {
  constexpr std::uint32_t kEntries = 200;
  {
    const ChannelPtr channel(OpenMQChannel("DSN"));
    const auto file = Database();
    store::Transaction together(*file);
    for (std::uint32_t id = 0; id < kEntries; ++id) ASSERT_EQ(file->AddMark("DSN", id), store::kOk);
    ASSERT_EQ(together.Commit(), store::kOk);
  }
  const std::vector<int> taken = testing::InChildren(2, [&](int) {
    const ChannelPtr channel(OpenMQChannel("DSN"));
    if (channel == nullptr) return 255;
    int count = 0;
    for (std::uint32_t id = 0; id < kEntries; ++id) {
      if (RemoveMQQID(channel.get(), id) != 0) ++count;
    }
    return count;
  });
  EXPECT_EQ(taken[0] + taken[1], static_cast<int>(kEntries));
}

TEST_F(Channel, WithoutMemoryItIsNotOpened) {
  ChannelPtr channel;
  testing::FailEachAllocation([&] { channel.reset(OpenMQChannel("DSN")); },
                              [&](bool failed) {
                                if (!failed) {
                                  ASSERT_NE(channel, nullptr);
                                }
                                channel.reset();
                              },
                              2000);
}

TEST_F(Channel, WithoutMemoryAnEntryIsOnItOrOff) {
  const ChannelPtr channel(OpenMQChannel("DSN"));
  const auto file = Database();
  std::int32_t removed = 0;
  testing::FailEachAllocation(
      [&] {
        testing::SuspendFailing(true);
        file->AddMark("DSN", 7);
        file->PutNote(7, "envelope");
        testing::SuspendFailing(false);
        removed = RemoveMQQID(channel.get(), 7);
      },
      [&](bool failed) {
        bool found = false;
        ASSERT_EQ(file->HasMark(7, &found), store::kOk);
        std::string note;
        ASSERT_EQ(file->GetNote(7, &note) == store::kOk, found) << "both or none";
        if (removed != 0) {
          ASSERT_FALSE(found);
        }
        if (!failed) {
          ASSERT_NE(removed, 0);
        }
      },
      2000);
}

// --- names

TEST_F(Channel, TheNameOfAnEntryIsThatOfItsQueuePath) {
  std::strcpy(spool::TheSite().queue_dir, "C:\\queue");
  EXPECT_STREQ(GetMQPathNameById(0x1A2B3, ""), "C:\\queue\\0001A2B3");
  EXPECT_STREQ(GetMQPathNameById(0x1A2B3, ".msg"), "C:\\queue\\0001A2B3.msg");
  EXPECT_STREQ(GetMQPathNameById(0xFFFFFFFF, nullptr), "C:\\queue\\FFFFFFFF");
  EXPECT_STREQ(GetMQPathName(0x1A2B3u, ".rea"), "C:\\queue\\0001A2B3.rea");
}

TEST_F(Channel, ThereIsNoNameWithoutAQueueDirectoryOrForALongExtension) {
  EXPECT_EQ(GetMQPathNameById(1, ""), nullptr);
  std::strcpy(spool::TheSite().queue_dir, "/q");
  EXPECT_EQ(GetMQPathNameById(1, std::string(2000, 'x').c_str()), nullptr);
  EXPECT_STREQ(GetMQPathNameById(1, std::string(100, 'x').c_str()),
               ("/q\\00000001" + std::string(100, 'x')).c_str());
}

TEST_F(Channel, ANameIsTheThreadsOwn) {
  std::strcpy(spool::TheSite().queue_dir, "/q");
  const char* mine = GetMQPathNameById(1, "");
  std::thread([] { EXPECT_STREQ(GetMQPathNameById(2, ""), "/q\\00000002"); }).join();
  EXPECT_STREQ(mine, "/q\\00000001");
}

}  // namespace
}  // namespace qob
