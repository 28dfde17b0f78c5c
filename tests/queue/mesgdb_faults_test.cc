// The message database without memory: 101 or the work is done, and nothing in between.
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "mesgdb_support.h"
#include "support/failing_allocator.h"

namespace {

using namespace qob::testing;

class MesgdbMemory : public MessageDatabaseTest {
 protected:
  void SetUp() override {
    spool_.SetIni("[Store]\nDurability=system\n");
    MessageDatabaseTest::SetUp();
    Put("aF", "old", "dir", "state");
  }
  std::string Stored() {
    MesgRecord record;
    return FindMesgRecord(&db_, "aF", &record) == 0 ? record.address : "none";
  }
  // `call` gives 0 and leaves `done`, or 101 and leaves `undone`.
  void FailEach(const std::function<void()>& before, const std::function<int()>& call,
                const char* undone, const char* done) {
    int status = -1;
    before();
    FailEachAllocation([&] { status = call(); },
                       [&](bool triggered) {
                         ASSERT_TRUE(status == 0 || (triggered && status == 101)) << status;
                         ASSERT_EQ(Stored(), status == 0 ? done : undone);
                         before();
                       });
  }
};

TEST_F(MesgdbMemory, OpeningGives101OrAHandle) {
  FailEach([] {},
           [] {
             MesgHandle db;
             const int status = OpenMesgFile(nullptr, &db);
             const int closed = CloseMesgFile(&db);
             EXPECT_EQ(closed, status == 0 ? 0 : 3) << "a failed open leaves no handle";
             return status;
           },
           "old", "old");
}

TEST_F(MesgdbMemory, FindingAndWalking) {
  MesgRecord record;
  FailEach([] {}, [&] { return FindMesgRecord(&db_, "aF", &record); }, "old", "old");
  FailEach([] {}, [&] { return GetFirstMesgRecordByKey(&db_, &record, 2); }, "old", "old");
}

TEST_F(MesgdbMemory, UpdatingWritesAllOrNothing) {
  const MesgRecord fresh = Record("aF", "new", "other", "texts");
  const MesgRecord old = Record("aF", "old", "dir", "state");
  FailEach([&] { ASSERT_EQ(UpdateMesgRecord(&db_, "aF", &old), 0); },
           [&] { return UpdateMesgRecord(&db_, "aF", &fresh); }, "old", "new");
}

TEST_F(MesgdbMemory, RemovingDeletesOrNot) {
  MesgRecord record;
  FailEach(
      [&] {
        if (Stored() == "none") Put("aF", "old", "dir", "state");
      },
      [&] { return RemoveMesgRecord(&db_, "aF", &record); }, "old", "none");
}

}  // namespace
