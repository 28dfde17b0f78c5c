// Quoted-printable bodies: line ends, escapes, every kernel, every split.
#include "charset/quoted_printable_decoder.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "charset/body_models.h"
#include "support/exact_copy.h"

namespace qob {
namespace {

using testing::ExactCopy;
using testing::ModelQuotedPrintable;
using testing::ModelResult;

class Feeder {
 public:
  void Feed(std::string_view piece) {
    const ExactCopy in(piece);
    const std::size_t room = QuotedPrintableDecoder::Room(piece.size());
    const std::unique_ptr<char[]> out(new char[room]);
    const std::size_t written = decoder_.Feed(in.view(), out.get());
    ASSERT_LE(written, room);
    bytes_.append(out.get(), written);
  }
  ModelResult Result() const { return {decoder_.complete() ? 1 : 0, bytes_}; }

 private:
  QuotedPrintableDecoder decoder_;
  std::string bytes_;
};

ModelResult Decode(std::string_view text) {
  Feeder feeder;
  feeder.Feed(text);
  return feeder.Result();
}

TEST(QuotedPrintable, DropsTheLineEndThatClosesTheBody) {
  EXPECT_EQ(Decode("a\r\n"), (ModelResult{1, "a"}));
  EXPECT_EQ(Decode("a\r\n\r\n"), (ModelResult{1, "a\r\n"}));
  EXPECT_EQ(Decode("a\n"), (ModelResult{1, "a"}));
  EXPECT_EQ(Decode("\r\n"), (ModelResult{1, ""}));
  EXPECT_EQ(Decode("a"), (ModelResult{1, "a"}));
}

TEST(QuotedPrintable, WritesEveryLineEndAsCrLf) {
  EXPECT_EQ(Decode("a\nb"), (ModelResult{1, "a\r\nb"}));
  EXPECT_EQ(Decode("a\r\nb"), (ModelResult{1, "a\r\nb"}));
  EXPECT_EQ(Decode("\n\n\nb"), (ModelResult{1, "\r\n\r\n\r\nb"}));
}

TEST(QuotedPrintable, DropsCarriageReturns) {
  EXPECT_EQ(Decode("a\rb"), (ModelResult{1, "ab"}));
  EXPECT_EQ(Decode("a\r\r\r\nb"), (ModelResult{1, "a\r\nb"}));
}

TEST(QuotedPrintable, LetsACarriageReturnFlushTheLineEndBeforeIt) {
  EXPECT_EQ(Decode("a\n\r"), (ModelResult{1, "a\r\n"}));
  EXPECT_EQ(Decode("a\r\n\r"), (ModelResult{1, "a\r\n"}));
}

TEST(QuotedPrintable, JoinsSoftLineBreaks) {
  EXPECT_EQ(Decode("ab=\r\ncd"), (ModelResult{1, "abcd"}));
  EXPECT_EQ(Decode("ab=\r\n"), (ModelResult{1, "ab"}));
  EXPECT_EQ(Decode("a\r\n=\r\nb"), (ModelResult{1, "a\r\nb"}));
}

TEST(QuotedPrintable, DropsWhateverFollowsASoftBreaksCarriageReturn) {
  EXPECT_EQ(Decode("a=\rxb"), (ModelResult{1, "ab"}));
  EXPECT_EQ(Decode("a=\r=b"), (ModelResult{1, "ab"}));
}

TEST(QuotedPrintable, DecodesEscapesOfEitherCase) {
  EXPECT_EQ(Decode("=41=6a=6A=fF=00."), (ModelResult{1, std::string("Ajj\xFF\0.", 6)}));
}

TEST(QuotedPrintable, CountsBytesThatAreNoDigitsAsZero) {
  EXPECT_EQ(Decode("=4Gx"), (ModelResult{1, "\x40x"}));
  EXPECT_EQ(Decode("=G1x"), (ModelResult{1, "\x01x"}));
  EXPECT_EQ(Decode("==3Dx"), (ModelResult{1,
                                          "\x03"
                                          "Dx"}));
  EXPECT_EQ(Decode("=\n1x"), (ModelResult{1, "\x01x"}));
  EXPECT_EQ(Decode("=1\nx"), (ModelResult{1, "\x10x"}));
  EXPECT_EQ(Decode("=1\r\nx"), (ModelResult{1, "\x10\r\nx"}));
  EXPECT_EQ(Decode("=\xC3\xA9x"), (ModelResult{1, std::string("\0x", 2)}));
}

TEST(QuotedPrintable, IsIncompleteInsideAnEscape) {
  EXPECT_EQ(Decode("ab=").result, 0);
  EXPECT_EQ(Decode("ab=4").result, 0);
  EXPECT_EQ(Decode("ab=\r").result, 0);
  EXPECT_EQ(Decode("ab=\r\n").result, 1);
  EXPECT_EQ(Decode("ab=41").result, 1);
}

TEST(QuotedPrintable, CopiesEveryOtherByte) {
  std::string all;
  for (int c = 0; c < 256; ++c) {
    if (c != '=' && c != '\r' && c != '\n') all += static_cast<char>(c);
  }
  EXPECT_EQ(Decode(all), (ModelResult{1, all}));
}

TEST(QuotedPrintable, KeepsTrailingBlanksOfLines) {
  EXPECT_EQ(Decode("a  \r\nb"), (ModelResult{1, "a  \r\nb"}));
}

struct NamedKernel {
  const char* name;
  QuotedPrintableKernel kernel;
};

void PrintTo(const NamedKernel& kernel, std::ostream* out) { *out << kernel.name; }

std::vector<NamedKernel> Kernels() {
  std::vector<NamedKernel> kernels = {{"portable", &CopyPlainPortable}};
  if (QuotedPrintableKernelSse2() != nullptr)
    kernels.push_back({"sse2", QuotedPrintableKernelSse2()});
  if (QuotedPrintableKernelAvx2() != nullptr)
    kernels.push_back({"avx2", QuotedPrintableKernelAvx2()});
  return kernels;
}

class QuotedPrintableKernels : public ::testing::TestWithParam<NamedKernel> {
 protected:
  void SetUp() override { UseQuotedPrintableKernel(GetParam().kernel); }
  void TearDown() override { UseQuotedPrintableKernel(nullptr); }
};

TEST_P(QuotedPrintableKernels, SeeEveryIrregularityInEveryPlace) {
  for (const char* piece :
       {"=41",      "=\r\n",     "\r\n",  "\n",      "\r",      "\r\r\n", "\n\r",
        "=",        "=4",        "=G",    "==",      "=\n",     "=\rx",   "=4\r\n",
        "\r\n\r\n", "=41=42=43", "=4=41", "\r\n=41", "=41\r\n", "\n\n"}) {
    for (std::size_t place = 0; place < 140; ++place) {
      const std::string text = std::string(place, 'x') + piece + std::string(140, 'y');
      ASSERT_EQ(Decode(text), ModelQuotedPrintable(text)) << piece << " behind " << place;
      const std::string last = std::string(place, 'x') + piece;
      ASSERT_EQ(Decode(last), ModelQuotedPrintable(last)) << piece << " last behind " << place;
    }
  }
}

TEST_P(QuotedPrintableKernels, TakeTheirInputCutAnywhere) {
  const std::string text = std::string(70, 'a') + "=\r\n" + std::string(20, 'b') +
                           "=C3=A4\r\n\r\n" + std::string(75, 'c') + "\n=\rz\r\r\n=zz" +
                           std::string(80, 'd') + "=3D=\r\n\r\n";
  const ModelResult expected = ModelQuotedPrintable(text);
  for (std::size_t first = 0; first <= text.size(); ++first) {
    for (std::size_t second = first; second <= text.size(); second += 5) {
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

TEST_P(QuotedPrintableKernels, AgreeWithThePlainDecoderOnAnyText) {
  std::minstd_rand random(1521);
  const std::string_view pieces[] = {"=41", "=fF", "=\r\n", "\r\n",     "\n",
                                     "\r",  "=",   "=4",    "\r\n\r\n", "=3D=3D"};
  for (int round = 0; round < 6000; ++round) {
    std::string text;
    const auto size = random() % 500;
    const auto spice = random() % 40 + 1;
    while (text.size() < size) {
      if (random() % spice != 0) {
        text += static_cast<char>('a' + random() % 26);
      } else if (random() % 6 != 0) {
        text += pieces[random() % std::size(pieces)];
      } else {
        text += static_cast<char>(random() % 256);
      }
    }
    ASSERT_EQ(Decode(text), ModelQuotedPrintable(text)) << text;
  }
}

INSTANTIATE_TEST_SUITE_P(Each, QuotedPrintableKernels, ::testing::ValuesIn(Kernels()),
                         [](const auto& kernel) { return std::string(kernel.param.name); });

}  // namespace
}  // namespace qob
