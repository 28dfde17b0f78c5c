// The CRC against values that python3's binascii.crc_hqx gave, and against the bit-serial form.
#include "macfile/crc16.h"

#include <gtest/gtest.h>

#include "macfile/plain_binhex.h"
#include "support/exact_copy.h"

namespace qob::testing {
namespace {

std::uint16_t Crc(std::string_view bytes) {
  Crc16 crc;
  crc.Update(bytes);
  return crc.value();
}

TEST(Crc16, OfTheCheckStringTakesNoZerosBehindIt) { EXPECT_EQ(Crc("123456789"), 0x31C3); }

TEST(Crc16, OfNothingIsZero) { EXPECT_EQ(Crc(""), 0); }

TEST(Crc16, IsTheOneOfOtherPrograms) {
  std::string bytes;
  for (unsigned i = 0; i < 40; ++i) bytes.push_back(static_cast<char>(i * 7 + 3));
  struct Row {
    std::size_t size;
    unsigned crc;
  };
  for (const Row& row : {Row{1, 0x3063}, Row{2, 0xF419}, Row{3, 0xB48B}, Row{7, 0x5832},
                         Row{8, 0x9F2A}, Row{9, 0xDF6E}, Row{15, 0x5051}, Row{16, 0xA6DF},
                         Row{17, 0x44D8}, Row{24, 0x2B18}, Row{31, 0xF4D1}, Row{40, 0x9859}}) {
    const ExactCopy exact(std::string_view(bytes).substr(0, row.size));
    EXPECT_EQ(Crc(exact.view()), row.crc) << row.size;
  }
}

TEST(Crc16, OfManyBytesIsTheOneOfOtherPrograms) {
  std::string bytes;
  for (unsigned i = 0; i < 100003; ++i) bytes.push_back(static_cast<char>(i * i + i / 7));
  EXPECT_EQ(Crc(bytes), 0xB575);
}

TEST(Crc16, IsTheSameInAnyTwoPieces) {
  const std::string bytes = Noise(50);
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    Crc16 crc;
    crc.Update(std::string_view(bytes).substr(0, cut));
    crc.Update(std::string_view(bytes).substr(cut));
    EXPECT_EQ(crc.value(), PlainCrc(bytes)) << cut;
  }
}

}  // namespace
}  // namespace qob::testing
