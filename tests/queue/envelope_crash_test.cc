// The process is killed, or the power goes, at every moment of an envelope call: the records are as
// before the call or as after it, and once the call has said yes they are as after it.
#include <filesystem>

#include "crash/fault_layer.h"
#include "queue/envelope_calls.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

using crash::FaultLayer;

constexpr int kSaidYes = 0;
constexpr int kKilled = -1;

class EnvelopeCrash : public EnvelopeCallsTest {
 protected:
  void Close() {
    ASSERT_EQ(CloseMesgFile(&db_), 0);
    db_ = {};
  }
  void Open(const std::string& directory) {
    ASSERT_EQ(OpenMesgFile(directory.c_str(), &db_), 0) << directory;
  }
  // The call in a process of its own, whose end prepare() has set. Once it has said yes the power
  // goes, if it was to go at all.
  template <class Prepare>
  int InOwnProcess(const CallRow& row, bool power, Prepare prepare) {
    return InChild([&] {
      FaultLayer::Install(spool_.queue());
      if (OpenMesgFile(nullptr, &db_) != 0) return 1;
      prepare();
      if (row.call(path_.c_str(), &db_) != row.success) return 2;
      if (power) FaultLayer::Cut(1, Images());
      return kSaidYes;
    });
  }
  std::string Images() const { return spool_.path("images"); }
  // At every moment of every call that changes anything. durable: what it said yes to must stand.
  void CutPower(bool durable);
  void ExpectOneOf(const std::vector<std::string>& wanted, bool said_yes) {
    const std::vector<std::string> after = Bytes();
    if (said_yes) {
      EXPECT_EQ(after, wanted);
    } else {
      EXPECT_TRUE(after == before_ || after == wanted) << "neither as before nor as wanted";
    }
  }

  int lost_ = 0;
};

TEST_F(EnvelopeCrash, AKilledProcessLeavesWholeRecords) {
  for (const CallRow& row : Rows()) {
    const std::vector<std::string> wanted = Wanted(row);
    if (wanted == before_) continue;  // it only reads
    int end = kKilled;
    std::uint64_t nth = 1;
    for (; end == kKilled; ++nth) {
      SCOPED_TRACE(::testing::Message() << row.name << ", operation " << nth);
      ASSERT_LT(nth, 100u);
      ASSERT_NO_FATAL_FAILURE(Close());
      end = InOwnProcess(row, false, [&] { FaultLayer::KillAt(nth); });
      ASSERT_TRUE(end == kKilled || end == kSaidYes) << end;
      ASSERT_NO_FATAL_FAILURE(Open(spool_.queue()));
      ExpectOneOf(wanted, end == kSaidYes);
      Fill();
    }
    EXPECT_GT(nth, 2u) << row.name << " changes nothing on the disk";
  }
}

void EnvelopeCrash::CutPower(bool durable) {
  for (const CallRow& row : Rows()) {
    const std::vector<std::string> wanted = Wanted(row);
    if (wanted == before_) continue;
    int end = crash::kCutExit;
    for (std::uint64_t nth = 1; end == crash::kCutExit; ++nth) {
      ASSERT_LT(nth, 100u);
      ASSERT_NO_FATAL_FAILURE(Close());
      end = InOwnProcess(row, true, [&] { FaultLayer::CutAt(nth, nth, Images()); });
      ASSERT_TRUE(end == crash::kCutExit || end == kSaidYes) << end;
      for (const crash::Loss loss : crash::kLosses) {
        SCOPED_TRACE(::testing::Message()
                     << row.name << ", operation " << nth << ", " << crash::NameOf(loss));
        ASSERT_NO_FATAL_FAILURE(Open(Images() + "/" + crash::NameOf(loss)));
        ExpectOneOf(wanted, durable && end == kSaidYes);
        if (end == kSaidYes && Bytes() != wanted) ++lost_;
        ASSERT_NO_FATAL_FAILURE(Close());
      }
      std::filesystem::remove_all(Images());
      ASSERT_NO_FATAL_FAILURE(Open(spool_.queue()));
      Fill();
    }
  }
}

TEST_F(EnvelopeCrash, WhatACallSaidYesToSurvivesAPowerCut) {
  CutPower(true);
  EXPECT_EQ(lost_, 0);
}

// What the site has chosen then; and the proof that these cuts find what was not flushed.
TEST_F(EnvelopeCrash, WithSystemDurabilityAPowerCutMayTakeTheLastCallButNeverHalfOfIt) {
  ASSERT_NO_FATAL_FAILURE(Close());
  spool_.SetIni("[Store]\nDurability=system\n");
  ASSERT_NO_FATAL_FAILURE(Open(spool_.queue()));
  Fill();
  CutPower(false);
  EXPECT_GT(lost_, 0);
}

}  // namespace
}  // namespace qob::testing
