// Random files, encoded and decoded by the programs of the sharutils package.
#include <cstdlib>
#include <random>

#include <qob3xapi/lineio.h>

#include "support/temp_spool.h"
#include "util/util_support.h"

namespace qob::testing {
namespace {

int Shell(const std::string& command) { return std::system(command.c_str()); }

class UudecodeOracle : public ::testing::Test {
 protected:
  void SetUp() override {
    if (Shell("command -v uuencode >/dev/null && command -v uudecode >/dev/null") != 0) {
      GTEST_SKIP() << "SHARUTILS IS NOT INSTALLED: nothing to compare with";
    }
    ASSERT_EQ(InitLineIO(), 0);
  }
  void TearDown() override { TerminateLineIO(); }

  std::string Decode(const std::string& path, int* result) {
    const int in = fileopen(path.c_str(), 0, 1);
    const int out = filecreate(spool_.path("out").c_str(), 0, 1);
    char* name = nullptr;
    *result = uudecode(in, 0, out, &name);
    FreeString(name);
    fileclose(in);
    fileclose(out);
    return TempSpool::Read(spool_.path("out"));
  }

  TempSpool spool_;
};

TEST_F(UudecodeOracle, WhatUuencodeMakesComesBack) {
  std::mt19937 random(11);
  const std::string coded = spool_.path("coded");
  for (int round = 0; round < 60; ++round) {
    std::string bytes(round < 50 ? static_cast<std::size_t>(round) * 3 % 131 : random() % 300000,
                      '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    const std::string plain = spool_.File("plain", bytes);
    ASSERT_EQ(Shell("uuencode " + plain + " name > " + coded), 0);
    int result = 0;
    EXPECT_EQ(Decode(coded, &result), bytes);
    EXPECT_EQ(result, 1);
    // With the line ends of mail.
    ASSERT_EQ(Shell("sed -i 's/$/\\r/' " + coded), 0);
    EXPECT_EQ(Decode(coded, &result), bytes);
    EXPECT_EQ(result, 1);
  }
}

// Lines of random counts and characters, as other encoders may write them.
TEST_F(UudecodeOracle, AgreesOnLinesOfAnyCount) {
  std::mt19937 random(12);
  const std::string decoded = spool_.path("decoded");
  for (int round = 0; round < 60; ++round) {
    std::string text = "begin 644 name\n";
    for (std::size_t line = random() % 40; line > 0; --line) {
      const std::size_t count = 1 + random() % 63;
      text.push_back(static_cast<char>(' ' + count));
      for (std::size_t i = (count + 2) / 3 * 4; i > 0; --i) {
        text.push_back(static_cast<char>('!' + random() % 64));
      }
      text.push_back('\n');
    }
    text += "`\nend\n";
    const std::string coded = spool_.File("coded", text);
    ASSERT_EQ(Shell("uudecode -o " + decoded + " " + coded), 0) << text;
    int result = 0;
    EXPECT_EQ(Decode(coded, &result), TempSpool::Read(decoded)) << text;
    EXPECT_EQ(result, 1);
  }
}

}  // namespace
}  // namespace qob::testing
