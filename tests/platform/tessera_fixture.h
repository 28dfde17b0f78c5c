// A relation of people in a queue directory of its own, reached as a program of the mail system
// reaches one: through a class derived from tesRel.
#pragma once
#include <qobplatform/tessera.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_spool.h"

namespace qob::testing {

inline constexpr dbError kDone = 0;
inline constexpr dbError kNotOpenNow = 3;
inline constexpr dbError kNoMatch = 4;
inline constexpr dbError kTwice = 5;
inline constexpr dbError kOtherIndexAsked = 6;
inline constexpr dbError kNothingToActOn = 8;
inline constexpr dbError kNoMoreRecords = 17;
inline constexpr dbError kEmptyFile = 22;
inline constexpr dbError kRefused = 30;
inline constexpr dbError kForbidden = 46;
inline constexpr dbError kStandsAlready = 59;
inline constexpr dbError kChangedMeanwhile = 80;
inline constexpr dbError kHeldTooLong = 84;
inline constexpr std::uint32_t kForEver = 0xFFFFFFFF;

// 4 unused bytes, the key, a text.
struct Person {
  char unused[4] = {};
  char name[16] = {};
  char room[44] = {};
};
static_assert(sizeof(Person) == 64);
inline constexpr std::uint32_t kKeyAt = 4;
inline constexpr std::uint32_t kKeyBytes = 16;

class People : public tesRel {
 public:
  People(tesseraBase& session, const std::string& directory, const char* name = "people")
      : tesRel(session, directory.c_str(), name) {
    attach(-1);
  }

  Person buffer;
  std::uint32_t size = sizeof buffer;

  void Set(std::string_view name, std::string_view room = {}) {
    buffer = {};
    name.copy(buffer.name, sizeof buffer.name);
    room.copy(buffer.room, sizeof buffer.room);
  }
  std::string name() const { return {buffer.name, strnlen(buffer.name, sizeof buffer.name)}; }
  std::string room() const { return {buffer.room, strnlen(buffer.room, sizeof buffer.room)}; }
  std::string text() const { return name() + "/" + room(); }

  dbError Add(std::string_view name, std::string_view room = {}) {
    Set(name, room);
    return add();
  }
  dbError Get(std::string_view name) {
    Set(name);
    return get(0);
  }
  // The names and rooms of a pass over all.
  std::vector<std::string> All() {
    std::vector<std::string> all;
    EXPECT_EQ(begin(0), kDone);
    dbError status = first();
    for (; status == kDone; status = next()) all.push_back(text());
    EXPECT_EQ(status, kNoMoreRecords);
    EXPECT_EQ(end(), kDone);
    return all;
  }

 protected:
  void* record() override { return &buffer; }
  uint32_t recordSize() const override { return size; }
};

using Texts = std::vector<std::string>;

class Tessera : public ::testing::Test {
 protected:
  void Make(bool duplicates = true, const char* name = "people") const {
    ASSERT_EQ(
        tesRel::create(Directory().c_str(), name, sizeof(Person), kKeyAt, kKeyBytes, duplicates),
        kDone);
  }
  std::string Directory() const { return spool_.queue(); }
  std::string Data(const char* name = "people") const { return Directory() + "/" + name + ".db"; }
  std::string Index(const char* name = "people") const { return Directory() + "/" + name + ".id0"; }
  dbError Opening(const char* name = "people") const {
    tesseraBase session;
    const People people(session, Directory(), name);
    return people.status();
  }

  TempSpool spool_;
  tesseraBase session_;
};

}  // namespace qob::testing
