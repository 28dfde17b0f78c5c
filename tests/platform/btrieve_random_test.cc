// Long random runs of commands over several cursors (copies and opens), in one process and spread
// over two: BTRCALL and the naive model must agree on every answer.
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "btrieve_trial.h"
#include "support/two_processes.h"

namespace {

using namespace qob::testing;

constexpr int kCursors = 6;

// A process of its own that does commands as they come through a pipe.
class OtherProcess {
 public:
  OtherProcess() {
    if (pipe(to_) != 0 || pipe(from_) != 0) std::abort();
    child_ = Spawn([this] { return Serve(); });
    close(to_[0]);
    close(from_[1]);
  }
  ~OtherProcess() {
    close(to_[1]);
    EXPECT_EQ(Wait(child_), 0);
    close(from_[0]);
  }
  Answer Do(const Command& command) {
    Send(to_[1], {command.operation, command.cursor, command.key_number,
                  static_cast<int>(command.room), command.from});
    SendText(to_[1], command.key);
    SendText(to_[1], command.data);
    Answer answer;
    EXPECT_TRUE(Take(from_[0], &answer.status, sizeof answer.status) &&
                TakeText(from_[0], &answer.data));
    return answer;
  }

 private:
  int Serve() {
    close(to_[1]);
    close(from_[0]);
    Machine machine(kCursors);
    int head[5];
    while (Take(to_[0], head, sizeof head)) {
      Command command{.operation = static_cast<std::uint16_t>(head[0]),
                      .cursor = head[1],
                      .key_number = head[2],
                      .room = static_cast<std::uint32_t>(head[3]),
                      .from = head[4]};
      if (!TakeText(to_[0], &command.key) || !TakeText(to_[0], &command.data)) return 1;
      const Answer answer = machine.Do(command);
      if (write(from_[1], &answer.status, sizeof answer.status) < 0) return 2;
      SendText(from_[1], answer.data);
    }
    return 0;
  }
  static void Send(int pipe, const std::array<int, 5>& head) {
    if (write(pipe, head.data(), sizeof head) != sizeof head) std::abort();
  }
  static void SendText(int pipe, const std::string& text) {
    const std::size_t size = text.size();
    if (write(pipe, &size, sizeof size) != sizeof size) std::abort();
    if (write(pipe, text.data(), size) != static_cast<ssize_t>(size)) std::abort();
  }
  static bool Take(int pipe, void* into, std::size_t size) {
    char* at = static_cast<char*>(into);
    while (size > 0) {
      const ssize_t got = read(pipe, at, size);
      if (got <= 0) return false;
      at += got;
      size -= static_cast<std::size_t>(got);
    }
    return true;
  }
  static bool TakeText(int pipe, std::string* text) {
    std::size_t size = 0;
    if (!Take(pipe, &size, sizeof size)) return false;
    text->resize(size);
    return Take(pipe, text->data(), size);
  }

  int to_[2];
  int from_[2];
  pid_t child_;
};

// Few values, so that keys collide, are walked past, and come again.
class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  int Below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(engine_); }
  template <class T, std::size_t N>
  const T& One(const T (&of)[N]) {
    return of[Below(static_cast<int>(N))];
  }

  std::string Name() {
    static const char* const names[] = {"", "a", "A", "ab", "aB", "b", "zz", "a_", "ABCDEFG", "q1"};
    return One(names);
  }
  std::int32_t Number() {
    static const std::int32_t numbers[] = {0, 1, -1, 255, 256, -256, 2147483647, -2147483647 - 1};
    return One(numbers);
  }
  std::string Text() {
    static const std::size_t lengths[] = {0, 0, 1, 3, 63, 64, 79, 80, 81, 150, 199};
    std::string text(One(lengths), 't');
    if (!text.empty()) text.back() = Below(2) == 0 ? 'T' : 'u';
    return text;
  }

  std::string Key(int index) {
    if (index == 1) return NumberKey(Number());
    return index == 2 ? Text() : Name();
  }
  Command Draw(const std::string& path, std::uint32_t tag, std::uint32_t last_number) {
    const int cursor = Below(kCursors);
    // Now and then an index that is not there.
    const int index = Below(20) == 0 ? 3 : Below(3);
    const int dice = Below(100);
    if (dice < 14) return InsertRecord(cursor, TestRecord(Name(), Number(), Text(), tag), index);
    if (dice < 24) return UpdateRecord(cursor, TestRecord(Name(), Number(), Text(), tag), index);
    if (dice < 32) return DeleteRecord(cursor, index);
    if (dice < 42) return GetRecord(B_GET_EQUAL, cursor, index, Key(index));
    if (dice < 47) return GetRecord(B_GET_GREATER, cursor, index, Key(index));
    if (dice < 52) return GetRecord(B_GET_GREATER_OR_EQUAL, cursor, index, Key(index));
    if (dice < 58) return GetRecord(B_GET_FIRST, cursor, index);
    if (dice < 84) return NextRecord(cursor, index);
    if (dice < 88) return CopyBlock(cursor, Below(kCursors));
    if (dice < 91) return PositionOf(cursor);
    if (dice < 95)
      return DirectRecord(cursor, index, last_number - static_cast<unsigned>(Below(9)));
    return dice == 95 && Below(3) == 0 ? CloseFile(cursor) : OpenFile(cursor, path);
  }

 private:
  std::mt19937 engine_;
};

// Every outcome that a run is there for must have come up, most calls must have found something to
// do.
class Outcomes {
 public:
  void Count(const Command& command, int status) {
    ++statuses_[status];
    if (status == 0) ++done_[command.operation];
  }
  void ExpectVariety(int calls) const {
    EXPECT_GT(statuses_.at(0), calls / 2);
    for (const int status : {3, 4, 6, 7, 8, 9, 80, 82}) {
      EXPECT_TRUE(statuses_.count(status) != 0) << "status " << status << " never came up";
    }
    for (const int operation :
         {B_INSERT, B_UPDATE, B_DELETE, B_GET_EQUAL, B_GET_NEXT, B_GET_GREATER,
          B_GET_GREATER_OR_EQUAL, B_GET_FIRST, B_GET_POSITION, B_GET_DIRECT}) {
      const auto found = done_.find(operation);
      EXPECT_TRUE(found != done_.end() && found->second > calls / 200) << "operation " << operation;
    }
  }

 private:
  std::map<int, int> statuses_;
  std::map<int, int> done_;
};

class BtrcallRandom : public ::testing::TestWithParam<unsigned> {};

TEST_P(BtrcallRandom, AgreesWithTheModelInOneProcess) {
  Trial trial(kCursors);
  trial.spool().SetIni("[Store]\nDurability=system\n");
  for (int i = 0; i < kCursors; ++i) ASSERT_EQ(trial.Do(trial.Open(i)).status, 0);
  Dice dice(GetParam());
  Outcomes outcomes;
  constexpr int kSteps = 3000;
  for (int step = 1; step <= kSteps; ++step) {
    const Command command =
        dice.Draw(trial.path(), static_cast<std::uint32_t>(step), trial.last_number());
    outcomes.Count(command, trial.Do(command).status);
    ASSERT_FALSE(HasFailure()) << "step " << step;
  }
  outcomes.ExpectVariety(kSteps);
}

// The model holds both processes' cursors; copies stay within one process.
TEST_P(BtrcallRandom, AgreesWithTheModelInTwoProcesses) {
  TempSpool spool;
  spool.SetIni("[Store]\nDurability=system\n");
  const std::string path = spool.queue() + "\\trial.btr";
  OtherProcess there;
  Machine here(kCursors);
  ModelFile model(2 * kCursors);
  ASSERT_EQ(here.Do(CreateFile(path)).status, 0);
  Dice dice(GetParam() + 1000);
  Outcomes outcomes;
  std::uint32_t last_number = 0;
  const auto both = [&](int process, Command command) {
    const auto one = [&](const Command& c) { return process == 0 ? here.Do(c) : there.Do(c); };
    const Answer answer = one(command);
    if (command.operation == B_INSERT && answer.status == 0) {
      last_number = Read32(one(PositionOf(command.cursor)).data, 0);
      EXPECT_FALSE(model.HasNumber(last_number));
    }
    Command shifted = command;
    shifted.cursor += process * kCursors;
    shifted.from += process * kCursors;
    const Answer expected = model.Do(shifted, last_number);
    EXPECT_EQ(answer.status, expected.status) << Told(shifted);
    EXPECT_TRUE(answer.data == expected.data) << Told(shifted);
    outcomes.Count(command, answer.status);
  };
  for (int i = 0; i < 2 * kCursors; ++i) both(i % 2, OpenFile(i / 2, path));
  constexpr int kSteps = 3000;
  for (int step = 1; step <= kSteps; ++step) {
    both(dice.Below(2), dice.Draw(path, static_cast<std::uint32_t>(step), last_number));
    ASSERT_FALSE(HasFailure()) << "step " << step;
  }
  outcomes.ExpectVariety(kSteps);
}
INSTANTIATE_TEST_SUITE_P(Seeds, BtrcallRandom, ::testing::Range(1U, 7U));

}  // namespace
