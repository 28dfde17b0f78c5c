// BTRCALL operation by operation: what each step must answer is written here by hand, and the naive
// model must say the same.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "btrieve_trial.h"

namespace {

using namespace qob::testing;

struct Step {
  Command command;
  int status = 0;
  std::uint32_t tag = 0;  // of the record that comes back; 0 = not looked at
};

struct Row {
  const char* name;
  std::vector<Step> steps;  // on a file that cursor 0 has open
};

std::string Named(const char* name, std::uint32_t tag, std::int32_t number = 0,
                  const std::string& text = "") {
  return TestRecord(name, number, text, tag);
}

Step Ins(const char* name, std::uint32_t tag, std::int32_t number = 0,
         const std::string& text = "") {
  return {InsertRecord(0, Named(name, tag, number, text))};
}
Step Equal(const char* key, int status, std::uint32_t tag = 0, int cursor = 0) {
  return {GetRecord(B_GET_EQUAL, cursor, 0, key), status, tag};
}
Step Greater(const char* key, int status, std::uint32_t tag = 0) {
  return {GetRecord(B_GET_GREATER, 0, 0, key), status, tag};
}
Step GreaterOrEqual(const char* key, int status, std::uint32_t tag = 0) {
  return {GetRecord(B_GET_GREATER_OR_EQUAL, 0, 0, key), status, tag};
}
Step First(int index, int status, std::uint32_t tag = 0, int cursor = 0) {
  return {GetRecord(B_GET_FIRST, cursor, index), status, tag};
}
Step Next(int status, std::uint32_t tag = 0, int cursor = 0, int index = 0) {
  return {NextRecord(cursor, index), status, tag};
}
Step Upd(const std::string& record, int status, int cursor = 0, int index = 0) {
  return {UpdateRecord(cursor, record, index), status};
}
Step Del(int status, int cursor = 0, int index = 0) {
  return {DeleteRecord(cursor, index), status};
}
Step Copy(int to, int from) { return {CopyBlock(to, from)}; }
Step Number(int key, int status, std::uint32_t tag, std::uint16_t operation = B_GET_EQUAL) {
  return {GetRecord(operation, 0, 1, NumberKey(key)), status, tag};
}

const std::string kLong(150, 'x');  // a key that no block holds whole

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      {"get equal on an empty file", {Equal("a", 4)}},
      {"get first on an empty file", {First(0, 9), First(1, 9), First(2, 9)}},
      {"get greater on an empty file", {Greater("a", 9), GreaterOrEqual("", 9)}},
      {"a record is found by its key", {Ins("anna", 1), Equal("anna", 0, 1), Equal("ann", 4)}},
      {"a key of any case", {Ins("Anna", 1), Equal("aNNA", 0, 1), Equal("anna", 0, 1)}},
      {"a key that minds case",
       {Ins("a", 1, 0, "Queue"),
        {GetRecord(B_GET_EQUAL, 0, 2, "Queue"), 0, 1},
        {GetRecord(B_GET_EQUAL, 0, 2, "queue"), 4}}},
      {"an empty key is a key", {Ins("", 1), Equal("", 0, 1), First(0, 0, 1)}},
      {"equal keys come in the order of insertion",
       {Ins("a", 1), Ins("b", 2), Ins("a", 3), Ins("A", 4), Equal("a", 0, 1), Next(0, 3),
        Next(0, 4), Next(0, 2), Next(9)}},
      {"get greater is strict",
       {Ins("a", 1), Ins("b", 2), Ins("b", 3), Ins("c", 4), Greater("a", 0, 2), Greater("b", 0, 4),
        Greater("c", 9), Greater("", 0, 1)}},
      {"get greater or equal is not",
       {Ins("a", 1), Ins("b", 2), Ins("b", 3), GreaterOrEqual("b", 0, 2),
        GreaterOrEqual("aa", 0, 2), GreaterOrEqual("c", 9)}},
      {"a prefix is smaller than what it begins",
       {Ins("outbound", 1), Ins("out", 2), GreaterOrEqual("out", 0, 2), Next(0, 1)}},
      {"signed numbers in their order",
       {Ins("a", 1, 5), Ins("b", 2, -7), Ins("c", 3, 0), Ins("d", 4, 2147483647),
        Ins("e", 5, -2147483647 - 1), First(1, 0, 5), Next(0, 2, 0, 1), Next(0, 3, 0, 1),
        Next(0, 1, 0, 1), Next(0, 4, 0, 1), Next(9, 0, 0, 1), Number(-7, 0, 2),
        Number(-7, 0, 3, B_GET_GREATER), Number(-6, 0, 3, B_GET_GREATER_OR_EQUAL),
        Number(1, 4, 0)}},
      {"insert stands on the new record",
       {Ins("b", 1), Ins("a", 2), Next(0, 1), Ins("c", 3), Del(0), Equal("c", 4)}},
      {"insert stands in the index it was given",
       {Ins("a", 1, 9), {InsertRecord(0, Named("z", 2, 5), 1)}, Next(0, 1, 0, 1)}},
      {"next without a place", {Ins("a", 1), {CloseFile(0)}, Next(3)}},
      {"next on a fresh block", {{OpenFile(1, "")}, Next(8, 0, 1)}},
      {"next on another index", {Ins("a", 1), Equal("a", 0, 1), Next(7, 0, 0, 1), Next(9)}},
      {"an index outside the file",
       {Ins("a", 1),
        First(3, 6),
        First(-1, 6),
        Next(6, 0, 0, 3),
        Upd(Named("a", 2), 6, 0, 3),
        Del(6, 0, 3),
        {InsertRecord(0, Named("a", 2), 3), 6},
        Equal("a", 0, 1)}},
      {"the end leaves the place alone",
       {Ins("a", 1), First(0, 0, 1), Next(9), Next(9), Ins("b", 2), First(0, 0, 1), Next(0, 2)}},
      {"what is added behind the end is met",
       {Ins("a", 1), First(0, 0, 1), Next(9), Copy(1, 0), Ins("b", 2), Next(0, 2, 1)}},
      {"a seek that finds nothing takes the place away",
       {Ins("a", 1), Equal("a", 0, 1), Equal("x", 4), Next(8), Upd(Named("a", 2), 8), Del(8),
        Equal("a", 0, 1), Greater("a", 9), Next(8)}},
      {"update replaces the record",
       {Ins("a", 1), Upd(Named("b", 2), 0), Equal("a", 4), Equal("b", 0, 2)}},
      {"update twice through one block",
       {Ins("a", 1), Upd(Named("a", 2), 0), Upd(Named("a", 3), 0), Equal("a", 0, 3)}},
      {"an updated record keeps its place among equals",
       {Ins("a", 1), Ins("a", 2), Equal("a", 0, 1), Upd(Named("b", 3), 0), Equal("b", 0, 3),
        Upd(Named("a", 4), 0), Equal("a", 0, 4), Next(0, 2)}},
      {"a walk goes on from the key that was read",
       {Ins("a", 1), Ins("b", 2), Ins("c", 3), First(0, 0, 1), Upd(Named("z", 1), 0), Next(0, 2),
        Next(0, 3), Next(0, 1), Next(9)}},
      {"update through an index that the place is not of",
       {Ins("a", 1), First(0, 0, 1), Upd(Named("a", 2), 0, 0, 1), Equal("a", 0, 2)}},
      {"delete takes the record away",
       {Ins("a", 1), Ins("a", 2), Equal("a", 0, 1), Del(0), Equal("a", 0, 2), Del(0),
        Equal("a", 4)}},
      {"a walk goes on behind a deleted record",
       {Ins("a", 1), Ins("a", 2), Ins("b", 3), First(0, 0, 1), Del(0), Next(0, 2), Del(0),
        Next(0, 3), Del(0), Next(9), First(0, 9)}},
      {"deleted through this block",
       {Ins("a", 1), Del(0), Del(8), Upd(Named("a", 2), 8), {PositionOf(0), 8}}},
      {"deleted through a copy",
       {Ins("a", 1), Copy(1, 0), Del(0), Upd(Named("a", 2), 80, 1), Del(80, 1)}},
      {"changed through a copy",
       {Ins("a", 1), Copy(1, 0), Upd(Named("a", 2), 0), Upd(Named("a", 3), 80, 1), Del(80, 1),
        Equal("a", 0, 2, 1), Upd(Named("a", 3), 0, 1), Equal("a", 0, 3)}},
      {"changed to what it was is changed",
       {Ins("a", 1), Copy(1, 0), Upd(Named("a", 1), 0), Del(80, 1)}},
      {"copies move alone",
       {Ins("a", 1), Ins("b", 2), Ins("c", 3), First(0, 0, 1), Copy(1, 0), Next(0, 2, 1),
        Next(0, 3, 1), Next(0, 2), Next(9, 0, 1), Next(0, 3)}},
      {"a second open has a place of its own",
       {Ins("a", 1),
        {OpenFile(1, "")},
        Next(8, 0, 1),
        Equal("a", 0, 1, 1),
        Del(0, 1),
        Equal("a", 4)}},
      {"closing one open leaves the other",
       {Ins("a", 1), {OpenFile(1, "")}, {CloseFile(0)}, Equal("a", 3), Equal("a", 0, 1, 1)}},
      {"closing through a copy closes all copies",
       {Ins("a", 1),
        Copy(1, 0),
        {CloseFile(1)},
        Equal("a", 3),
        Upd(Named("a", 2), 3),
        Del(3),
        Next(3),
        First(0, 3),
        {CloseFile(0), 3},
        {CloseFile(1), 3}}},
      {"a reopened slot does not serve old copies",
       {Ins("a", 1),
        Copy(1, 0),
        {CloseFile(0)},
        {OpenFile(0, "")},
        Equal("a", 0, 1),
        Equal("a", 3, 0, 1)}},
      {"a long key is walked while its record stands",
       {Ins("a", 1, 0, kLong), Ins("b", 2, 0, kLong), Ins("c", 3, 0, kLong + "y"), First(2, 0, 1),
        Next(0, 2, 0, 2), Next(0, 3, 0, 2), Next(9, 0, 0, 2)}},
      {"a long key whose record was deleted",
       {Ins("a", 1, 0, kLong), Ins("b", 2, 0, kLong), First(2, 0, 1), Del(0, 0, 2),
        Next(82, 0, 0, 2), Next(82, 0, 0, 2), First(2, 0, 2)}},
      {"a long key that was changed",
       {Ins("a", 1, 0, kLong), Ins("b", 2, 0, kLong), First(2, 0, 1),
        Upd(Named("a", 1, 0, kLong + "z"), 0, 0, 2), Next(82, 0, 0, 2)}},
      {"a long key whose record was changed elsewhere",
       {Ins("a", 1, 0, kLong), Ins("b", 2, 0, kLong), First(2, 0, 1),
        Upd(Named("q", 7, 7, kLong), 0, 0, 2), Next(0, 2, 0, 2)}},
      {"two long keys that differ behind what a block holds",
       {Ins("a", 1, 0, kLong + "b"), Ins("b", 2, 0, kLong + "a"), First(2, 0, 2),
        Next(0, 1, 0, 2)}},
      {"a key that just fits a block lives on",
       {Ins("a", 1, 0, kLong.substr(0, 80)), Ins("b", 2, 0, kLong), First(2, 0, 1), Del(0, 0, 2),
        Next(0, 2, 0, 2)}},
      {"a direct read of what is not there",
       {Ins("a", 1), First(0, 0, 1), {DirectRecord(0, 0, 4000000000U), 4}, Next(8)}},
  };
  return rows;
}

class BtrcallTable : public ::testing::TestWithParam<std::size_t> {};

TEST_P(BtrcallTable, AnswersAsWrittenAndAsTheModel) {
  const Row& row = Rows()[GetParam()];
  SCOPED_TRACE(row.name);
  Trial trial(3);
  ASSERT_EQ(trial.Do(trial.Open(0)).status, 0);
  for (std::size_t i = 0; i < row.steps.size(); ++i) {
    SCOPED_TRACE("step " + std::to_string(i + 1));
    Step step = row.steps[i];
    if (step.command.operation == B_OPEN) step.command.key = trial.path();
    const Answer answer = trial.Do(step.command);
    ASSERT_EQ(answer.status, step.status) << Told(step.command);
    if (step.tag != 0) {
      ASSERT_EQ(TagOf(answer), step.tag) << Told(step.command);
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Rows, BtrcallTable, ::testing::Range<std::size_t>(0, Rows().size()));

TEST(BtrcallDirect, ReadsByThePositionInTheGivenIndex) {
  Trial trial(2);
  ASSERT_EQ(trial.Do(trial.Open(0)).status, 0);
  ASSERT_EQ(trial.Do(InsertRecord(0, Named("m", 1, 3))).status, 0);
  const std::uint32_t number = trial.last_number();
  ASSERT_EQ(trial.Do(InsertRecord(0, Named("a", 2, 4))).status, 0);
  EXPECT_GT(trial.last_number(), number) << "numbers ascend";
  EXPECT_EQ(TagOf(trial.Do(DirectRecord(0, 1, number))), 1U);
  EXPECT_EQ(TagOf(trial.Do(NextRecord(0, 1))), 2U);
  EXPECT_EQ(trial.Do(DirectRecord(0, 3, number)).status, 6);
  EXPECT_EQ(TagOf(trial.Do(DirectRecord(0, 0, number))), 1U);
  EXPECT_EQ(trial.Do(DeleteRecord(0)).status, 0);
  EXPECT_EQ(trial.Do(DirectRecord(0, 0, number)).status, 4);
}

TEST(BtrcallDirect, NeverMeetsANewRecordUnderAnOldNumber) {
  Trial trial(1);
  ASSERT_EQ(trial.Do(trial.Open(0)).status, 0);
  ASSERT_EQ(trial.Do(InsertRecord(0, Named("a", 1))).status, 0);
  const std::uint32_t number = trial.last_number();
  ASSERT_EQ(trial.Do(DeleteRecord(0)).status, 0);
  ASSERT_EQ(trial.Do(InsertRecord(0, Named("a", 2))).status, 0);
  EXPECT_GT(trial.last_number(), number);
  EXPECT_EQ(trial.Do(DirectRecord(0, 0, number)).status, 4);
}

}  // namespace
