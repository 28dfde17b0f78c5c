// The per-thread slot: reserved, given back, reserved again.
#include "platform/os/thread_slot.h"

#include <thread>

#include <gtest/gtest.h>

namespace qob::os {
namespace {

class Value : public SlotValue {
 public:
  explicit Value(int* alive) : alive_(alive) { ++*alive_; }
  ~Value() override { --*alive_; }

 private:
  int* alive_;
};

class ThreadSlot : public ::testing::Test {
 protected:
  void SetUp() override { ReleaseThreadSlot(); }
  void TearDown() override {
    SetThreadSlot(nullptr);
    ReleaseThreadSlot();
  }
  int alive_ = 0;
};

TEST_F(ThreadSlot, HoldsNothingUnlessReserved) {
  SetThreadSlot(std::make_unique<Value>(&alive_));
  EXPECT_EQ(GetThreadSlot(), nullptr);
  EXPECT_EQ(alive_, 0);
  ReserveThreadSlot();
  EXPECT_EQ(GetThreadSlot(), nullptr);
}

TEST_F(ThreadSlot, KeepsItsValueWhenReservedTwice) {
  ReserveThreadSlot();
  SetThreadSlot(std::make_unique<Value>(&alive_));
  SlotValue* const value = GetThreadSlot();
  EXPECT_NE(value, nullptr);
  ReserveThreadSlot();
  EXPECT_EQ(GetThreadSlot(), value);
}

TEST_F(ThreadSlot, ReadsAsEmptyAfterItWasGivenBack) {
  ReserveThreadSlot();
  SetThreadSlot(std::make_unique<Value>(&alive_));
  ReleaseThreadSlot();
  EXPECT_EQ(GetThreadSlot(), nullptr);
  ReserveThreadSlot();
  EXPECT_EQ(GetThreadSlot(), nullptr) << "the value belongs to an earlier reservation";
  SetThreadSlot(std::make_unique<Value>(&alive_));
  EXPECT_NE(GetThreadSlot(), nullptr);
  EXPECT_EQ(alive_, 1) << "the old value is gone";
}

TEST_F(ThreadSlot, GivingBackTwiceIsAsOnce) {
  ReserveThreadSlot();
  ReleaseThreadSlot();
  ReleaseThreadSlot();
  EXPECT_EQ(GetThreadSlot(), nullptr);
  ReserveThreadSlot();
  SetThreadSlot(std::make_unique<Value>(&alive_));
  EXPECT_NE(GetThreadSlot(), nullptr);
}

TEST_F(ThreadSlot, IsEachThreadsOwnAndFreedAtItsEnd) {
  ReserveThreadSlot();
  SetThreadSlot(std::make_unique<Value>(&alive_));
  std::thread other([&] {
    EXPECT_EQ(GetThreadSlot(), nullptr);
    SetThreadSlot(std::make_unique<Value>(&alive_));
    EXPECT_NE(GetThreadSlot(), nullptr);
    EXPECT_EQ(alive_, 2);
  });
  other.join();
  EXPECT_EQ(alive_, 1);
}

TEST_F(ThreadSlot, GivenBackByOneThreadIsEmptyInAllOthers) {
  ReserveThreadSlot();
  SetThreadSlot(std::make_unique<Value>(&alive_));
  std::thread([] { ReleaseThreadSlot(); }).join();
  EXPECT_EQ(GetThreadSlot(), nullptr);
}

}  // namespace
}  // namespace qob::os
