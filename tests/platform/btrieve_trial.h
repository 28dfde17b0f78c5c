// BTRCALL and the naive model side by side: every command goes to both, and what they answer must
// be the same.
#pragma once
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "btrieve_model.h"
#include "btrieve_support.h"

namespace qob::testing {

inline std::string Told(const Command& command) {
  return "operation " + std::to_string(command.operation) + " cursor " +
         std::to_string(command.cursor) + " index " + std::to_string(command.key_number) +
         " key \"" + command.key.substr(0, 20) + "\" of " + std::to_string(command.key.size());
}

class Trial {
 public:
  explicit Trial(int cursors) : real_(cursors), model_(cursors) {
    EXPECT_EQ(real_.Do(CreateFile(path())).status, 0);
  }
  std::string path() const { return spool_.queue() + "\\trial.btr"; }
  Command Open(int cursor) const { return OpenFile(cursor, path()); }

  Answer Do(const Command& command) {
    const Answer answer = real_.Do(command);
    const bool inserted = command.operation == B_INSERT && answer.status == 0;
    if (inserted) {
      last_number_ = Read32(real_.Do(PositionOf(command.cursor)).data, 0);
      EXPECT_FALSE(model_.HasNumber(last_number_)) << "a record number was given twice";
    }
    const Answer expected = model_.Do(command, last_number_);
    EXPECT_EQ(answer.status, expected.status) << Told(command);
    EXPECT_TRUE(answer.data == expected.data) << Told(command) << ": another record";
    return answer;
  }
  std::uint32_t last_number() const { return last_number_; }
  Machine& real() { return real_; }
  const TempSpool& spool() const { return spool_; }

 private:
  TempSpool spool_;
  Machine real_;
  ModelFile model_;
  std::uint32_t last_number_ = 0;
};

}  // namespace qob::testing
