// Base64 bodies: known answers, every irregular byte, every kernel, every split.
#include "charset/base64_decoder.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "charset/base64.h"
#include "charset/body_models.h"
#include "support/exact_copy.h"

namespace qob {
namespace {

using testing::ExactCopy;
using testing::ModelBase64;
using testing::ModelResult;
using Status = Base64Decoder::Status;

// Feeds the pieces from exact blocks into blocks of exactly the promised room.
class Feeder {
 public:
  void Feed(std::string_view piece) {
    const ExactCopy in(piece);
    const std::size_t room = Base64Decoder::Room(piece.size());
    const std::unique_ptr<char[]> out(new char[room]);
    std::size_t written = 0;
    status_ = decoder_.Feed(in.view(), out.get(), &written);
    ASSERT_LE(written, room);
    bytes_.append(out.get(), written);
  }
  ModelResult Result() const { return {status_ == Status::kInvalid ? -1 : 1, bytes_}; }
  Status status() const { return status_; }

 private:
  Base64Decoder decoder_;
  Status status_ = Status::kMore;
  std::string bytes_;
};

ModelResult Decode(std::string_view text) {
  Feeder feeder;
  feeder.Feed(text);
  return feeder.Result();
}

TEST(Base64, DecodesKnownTexts) {
  const struct {
    const char* text;
    const char* bytes;
  } rows[] = {{"", ""},
              {"Zg==", "f"},
              {"Zm8=", "fo"},
              {"Zm9v", "foo"},
              {"Zm9vYg==", "foob"},
              {"Zm9vYmE=", "fooba"},
              {"Zm9vYmFy", "foobar"}};
  for (const auto& row : rows) EXPECT_EQ(Decode(row.text), (ModelResult{1, row.bytes})) << row.text;
}

TEST(Base64, GivesTheBytesOfAGroupCutShort) {
  EXPECT_EQ(Decode("QUI"), (ModelResult{1, "AB"}));
  EXPECT_EQ(Decode("QU"), (ModelResult{1, "A"}));
  EXPECT_EQ(Decode("Q"), (ModelResult{1, ""}));
  EXPECT_EQ(Decode("QUJDRA"), (ModelResult{1, "ABCD"}));
}

TEST(Base64, EndsAtPaddingDashAndNul) {
  EXPECT_EQ(Decode("QUJD=QUJD"), (ModelResult{1, "ABC"}));
  EXPECT_EQ(Decode("QUI=QUJD"), (ModelResult{1, "AB"}));
  EXPECT_EQ(Decode("QUJD\r\n--boundary"), (ModelResult{1, "ABC"}));
  EXPECT_EQ(Decode(std::string_view("QUJD\0*", 6)), (ModelResult{1, "ABC"}));
  for (const char* text : {"-x", "=x", "=", "-"})
    EXPECT_EQ(Decode(text), (ModelResult{1, ""})) << text;
}

TEST(Base64, TakesHelloForData) { EXPECT_EQ(Decode("Hello"), (ModelResult{1, "\x1D\xE9\x65"})); }

TEST(Base64, RefusesEveryOtherByte) {
  for (int c = 0; c < 256; ++c) {
    const char byte = static_cast<char>(c);
    const bool allowed =
        std::string_view(
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/ \t\r\n\v\f=-")
                .find(byte) != std::string_view::npos ||
        c == 0;
    for (const std::size_t before : {0u, 1u, 4u, 31u, 32u, 47u}) {
      const std::string text = std::string(before, 'A') + byte + std::string(60, 'A');
      EXPECT_EQ(Decode(text).result, allowed ? 1 : -1) << c << " behind " << before;
    }
  }
}

TEST(Base64, SkipsWhiteSpaceInsideGroups) {
  EXPECT_EQ(Decode("Q U\tJ\r\nD\v\f"), (ModelResult{1, "ABC"}));
  EXPECT_EQ(Decode("\r\n\r\nQUJD\n\n\nQUJD\r"), (ModelResult{1, "ABCABC"}));
}

TEST(Base64, IgnoresInputBehindItsEnd) {
  Feeder feeder;
  feeder.Feed("QUJD=");
  EXPECT_EQ(feeder.status(), Status::kEnd);
  feeder.Feed("QUJD");
  EXPECT_EQ(feeder.status(), Status::kEnd);
  EXPECT_EQ(feeder.Result().bytes, "ABC");
  Feeder invalid;
  invalid.Feed("QUJD*");
  EXPECT_EQ(invalid.status(), Status::kInvalid);
  invalid.Feed("QUJD");
  EXPECT_EQ(invalid.status(), Status::kInvalid);
}

TEST(Base64, TableHoldsTheAlphabetAndNothingElse) {
  int known = 0;
  for (int c = 0; c < 256; ++c) known += kBase64Values[static_cast<std::size_t>(c)] != kNotBase64;
  EXPECT_EQ(known, 64);
  EXPECT_EQ(kBase64Values['A'], 0);
  EXPECT_EQ(kBase64Values['Z'], 25);
  EXPECT_EQ(kBase64Values['a'], 26);
  EXPECT_EQ(kBase64Values['z'], 51);
  EXPECT_EQ(kBase64Values['0'], 52);
  EXPECT_EQ(kBase64Values['9'], 61);
  EXPECT_EQ(kBase64Values['+'], 62);
  EXPECT_EQ(kBase64Values['/'], 63);
  EXPECT_EQ(kBase64Values['='], kNotBase64);
  EXPECT_EQ(kBase64Values[0xE9], kNotBase64);
}

TEST(Base64, EncodesGroupsWithTheirPadding) {
  char out[5] = {};
  Base64EncodeGroup('M', 'a', 'n', 0, out);
  EXPECT_STREQ(out, "TWFu");
  Base64EncodeGroup('M', 'a', 0, 1, out);
  EXPECT_STREQ(out, "TWE=");
  Base64EncodeGroup('M', 0, 0, 2, out);
  EXPECT_STREQ(out, "TQ==");
  Base64EncodeGroup(0xFF, 0xFF, 0xFF, 0, out);
  EXPECT_STREQ(out, "////");
  Base64EncodeGroup(0xFB, 0xEF, 0xBE, 0, out);
  EXPECT_STREQ(out, "++++");
}

struct NamedKernel {
  const char* name;
  Base64Kernel kernel;
};

void PrintTo(const NamedKernel& kernel, std::ostream* out) { *out << kernel.name; }

std::vector<NamedKernel> Kernels() {
  std::vector<NamedKernel> kernels = {{"portable", &DecodeGroupsPortable}};
  if (Base64KernelSsse3() != nullptr) kernels.push_back({"ssse3", Base64KernelSsse3()});
  if (Base64KernelAvx2() != nullptr) kernels.push_back({"avx2", Base64KernelAvx2()});
  return kernels;
}

class Base64Kernels : public ::testing::TestWithParam<NamedKernel> {
 protected:
  void SetUp() override { UseBase64Kernel(GetParam().kernel); }
  void TearDown() override { UseBase64Kernel(nullptr); }

  static std::string Letters(std::minstd_rand* random, std::size_t size) {
    std::string text;
    while (text.size() < size) text += kBase64Alphabet[(*random)() % 64];
    return text;
  }
};

TEST_P(Base64Kernels, DecodeEveryCharacterInEveryPlace) {
  for (std::size_t place = 0; place < 64; ++place) {
    for (char c : kBase64Alphabet) {
      std::string text(64, 'A');
      text[place] = c;
      EXPECT_EQ(Decode(text), ModelBase64(text)) << place << c;
    }
  }
}

TEST_P(Base64Kernels, StopAtEveryByteInEveryPlace) {
  for (std::size_t place = 0; place < 70; ++place) {
    for (int c = 0; c < 256; ++c) {
      std::string text(70, 'k');
      text[place] = static_cast<char>(c);
      EXPECT_EQ(Decode(text), ModelBase64(text)) << place << ' ' << c;
    }
  }
}

TEST_P(Base64Kernels, DecodeLinesOfEveryLength) {
  std::minstd_rand random(76);
  for (std::size_t width = 1; width <= 130; ++width) {
    for (const char* line_end : {"\r\n", "\n", " \r\n", "\r"}) {
      std::string text;
      for (int line = 0; line < 5; ++line) text += Letters(&random, width) + line_end;
      EXPECT_EQ(Decode(text), ModelBase64(text)) << width;
    }
  }
}

TEST_P(Base64Kernels, TakeTheirInputCutAnywhere) {
  std::minstd_rand random(3);
  for (const std::string& text :
       {Letters(&random, 76) + "\r\n" + Letters(&random, 76) + "\r\n" + Letters(&random, 18) + "==",
        "QUI\r\nx" + Letters(&random, 61) + "\t \n" + Letters(&random, 33) + "*abcd"}) {
    const ModelResult expected = ModelBase64(text);
    for (std::size_t first = 0; first <= text.size(); ++first) {
      for (std::size_t second = first; second <= text.size(); second += 7) {
        Feeder feeder;
        feeder.Feed(std::string_view(text).substr(0, first));
        feeder.Feed(std::string_view(text).substr(first, second - first));
        feeder.Feed(std::string_view(text).substr(second));
        ASSERT_EQ(feeder.Result(), expected) << first << ' ' << second;
      }
    }
    Feeder single;
    for (char c : text) single.Feed({&c, 1});
    EXPECT_EQ(single.Result(), expected);
  }
}

TEST_P(Base64Kernels, AgreeWithThePlainDecoderOnAnyText) {
  std::minstd_rand random(64);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const auto size = random() % 400;
    const auto spice = random() % 60 + 1;  // one irregular byte in so many
    while (text.size() < size) {
      if (random() % spice != 0) {
        text += kBase64Alphabet[random() % 64];
      } else if (random() % 8 != 0) {
        text += " \t\r\n\v\f\r\n"[random() % 8];
      } else {
        text += static_cast<char>(random() % 256);
      }
    }
    EXPECT_EQ(Decode(text), ModelBase64(text)) << text;
  }
}

INSTANTIATE_TEST_SUITE_P(Each, Base64Kernels, ::testing::ValuesIn(Kernels()),
                         [](const auto& kernel) { return std::string(kernel.param.name); });

TEST(Base64, UsesAVectorKernelWhereThereIsOne) {
  if (Base64KernelAvx2() != nullptr) {
    EXPECT_EQ(FastestBase64Kernel(), Base64KernelAvx2());
  } else if (Base64KernelSsse3() != nullptr) {
    EXPECT_EQ(FastestBase64Kernel(), Base64KernelSsse3());
  } else {
    EXPECT_EQ(FastestBase64Kernel(), &DecodeGroupsPortable);
  }
}

}  // namespace
}  // namespace qob
