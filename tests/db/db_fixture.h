// A queue directory with the small databases, written and read back here by offsets that are
// counted by hand, not by the code under test.
#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>
#include <qobplatform/tessera.h>

#include "support/temp_spool.h"

namespace qob::testing {

inline constexpr std::uint32_t kForever = 0xFFFFFFFF;

// Any relation as bytes.
template <std::size_t kBytes>
class RawRelation : public tesRel {
 public:
  RawRelation(tesseraBase& session, const std::string& directory, const char* name)
      : tesRel(session, directory.c_str(), name) {
    attach(-1);
  }
  char bytes[kBytes] = {};

  void Put(std::size_t offset, std::string_view text) {
    std::memcpy(bytes + offset, text.data(), text.size());
  }
  void Number(std::size_t offset, std::int32_t value) {
    std::memcpy(bytes + offset, &value, sizeof value);
  }
  // All records, in the order of index 0.
  std::vector<std::string> All() {
    std::vector<std::string> found;
    dbError result = begin(0);
    if (result == 0) result = first();
    for (; result == 0; result = next()) found.emplace_back(bytes, kBytes);
    EXPECT_EQ(result, 17);
    end();
    return found;
  }

 private:
  void* record() override { return bytes; }
  std::uint32_t recordSize() const override { return kBytes; }
};
using RawMagic = RawRelation<380>;
using RawPeers = RawRelation<180>;
using RawBans = RawRelation<240>;

// "" where the record has none.
inline std::string TextAt(const std::string& record, std::size_t offset, std::size_t width) {
  return record.substr(offset, strnlen(record.data() + offset, width));
}
inline std::int32_t NumberAt(const std::string& record, std::size_t offset) {
  std::int32_t value = 0;
  std::memcpy(&value, record.data() + offset, sizeof value);
  return value;
}

// call() does not return before `holder` has given its lock back, and leaves it free.
template <class Call>
void ExpectToTakeTurns(tesRel& holder, Call&& call) {
  ASSERT_EQ(holder.lock(false, kForever), 0);
  std::atomic<bool> may_go = false;
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    may_go = true;
    holder.unlock();
  });
  call();
  EXPECT_TRUE(may_go);
  other.join();
  EXPECT_EQ(holder.lock(false, 0), 0);
  EXPECT_EQ(holder.unlock(), 0);
}

// As much of the text as fits, without a NUL where it fills the place.
template <std::size_t kWidth>
void Fill(char (&field)[kWidth], const char* text) {
  std::memcpy(field, text, strnlen(text, kWidth));
}

inline MagicRecord Magic(const char* extension, const char* type = "", const char* subtype = "",
                         const char* mac = "", const char* encoding = "", const char* text = "") {
  MagicRecord record{};
  Fill(record.extension, extension);
  Fill(record.contentType, type);
  Fill(record.contentSubtype, subtype);
  Fill(record.textA, encoding);
  Fill(record.textB, text);
  Fill(record.macTypeCreator, mac);
  return record;
}

// The numbers in the record's order; those not given are 0.
inline PeerRecord Peer(std::string_view domain, std::vector<std::int32_t> values = {}) {
  PeerRecord record{};
  std::memcpy(record.domain, domain.data(), std::min(domain.size(), sizeof record.domain));
  std::int32_t* const fields[] = {&record.flag0,
                                  &record.AcceptMail,
                                  &record.flag2,
                                  &record.flag3,
                                  &record.value4,
                                  &record.MaxInBoundSize,
                                  &record.MaxOutBoundSize,
                                  &record.MesageQueuedBeforeAttempt,
                                  &record.QueueRunInterval,
                                  &record.RetryPeriod,
                                  &record.MaxSMTPSessions,
                                  &record.MaxMesgPerSession};
  for (std::size_t i = 0; i < values.size(); ++i) *fields[i] = values[i];
  return record;
}

class Databases : public ::testing::Test {
 protected:
  // Flushing is the store's affair and takes the time of these tests.
  Databases() { spool_.SetIni("[Store]\nDurability=system\n"); }
  ~Databases() override {
    libmagic_fini();
    libpeer_fini();
  }

  void MakeMagic() const {
    ASSERT_EQ(tesRel::create(spool_.queue().c_str(), "magicdb", 380, 0, 4, true), 0);
  }
  void MakePeers() const {
    ASSERT_EQ(tesRel::create(spool_.queue().c_str(), "peerdb", 180, 52, 128, false), 0);
  }
  void MakeBans() const {
    ASSERT_EQ(tesRel::create(spool_.queue().c_str(), "banuserdb", 240, 0, 240, false), 0);
  }
  void StartMagic(const std::vector<MagicRecord>& records = {}) const {
    MakeMagic();
    libmagic_init();
    for (const MagicRecord& record : records) ASSERT_EQ(InsMagicRecord(&record), 0);
  }
  void StartPeers(const std::vector<PeerRecord>& records = {}) const {
    MakePeers();
    ASSERT_EQ(libpeer_init(), 0);
    for (const PeerRecord& record : records) ASSERT_EQ(InsPeerRecord(&record), 0);
  }
  void Ban(std::string_view address) const {
    tesseraBase session;
    RawBans bans(session, spool_.queue(), "banuserdb");
    bans.Put(0, address);
    ASSERT_EQ(bans.add(), 0);
  }
  // Puts what the build made where start-up looks for it.
  void InstallSeeds() const {
    std::filesystem::create_directory(spool_.path("srcdb"));
    for (const auto& seed : std::filesystem::directory_iterator(QOB_SEEDS)) {
      std::filesystem::copy_file(seed.path(), spool_.path("srcdb") / seed.path().filename());
    }
  }
  std::string Queue(const char* name) const { return spool_.queue() + "/" + name; }

  TempSpool spool_;
};

// Extensions of a pass over all records; stops by itself when the pass does not.
inline std::vector<std::string> AllExtensions(std::size_t limit = 10000) {
  std::vector<std::string> found;
  MagicRecordBuffer out{};
  std::int32_t result = GetFirstMagicRecord(&out.record);
  for (; result == 0 && found.size() < limit; result = GetNextMagicRecord(&out.record)) {
    found.emplace_back(out.record.extension);
  }
  EXPECT_EQ(result, 17);
  return found;
}
inline std::vector<std::string> AllDomains(std::size_t limit = 10000) {
  std::vector<std::string> found;
  PeerRecord out{};
  std::int32_t result = GetFirstPeerRecord(&out);
  for (; result == 0 && found.size() < limit; result = GetNextPeerRecord(&out)) {
    found.emplace_back(out.domain);
  }
  EXPECT_EQ(result, 17);
  return found;
}

}  // namespace qob::testing
