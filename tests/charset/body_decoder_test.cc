// The decoders from file to file: counts, positions, short reads, failing calls.
#include "charset/body_decoder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "charset/base64.h"
#include "charset/body_models.h"
#include "support/failing_allocator.h"
#include "support/faults.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

using testing::TempSpool;

struct Decoded {
  int result;
  std::string bytes;
};
bool operator==(const Decoded& a, const Decoded& b) {
  return a.result == b.result && a.bytes == b.bytes;
}

class BodyFile : public ::testing::Test {
 protected:
  using Decode = int (*)(QOB_OSHANDLE, std::int64_t, QOB_OSHANDLE);

  // Decodes `count` bytes from `start` of a file that holds `text`.
  Decoded Run(Decode decode, std::string_view text, std::int64_t count, std::int64_t start = 0) {
    const std::string from = spool_.File("in", text);
    const os::FileHandle in(os::OpenFile(from, {}).value);
    const os::FileHandle out = NewOutput();
    EXPECT_TRUE(os::SeekFile(in.get(), start, os::From::kStart));
    const int result = decode(in.get(), count, out.get());
    return {result, TempSpool::Read(spool_.path("out"))};
  }
  Decoded Base64(std::string_view text) {
    return Run(DecodeBase64File, text, static_cast<std::int64_t>(text.size()));
  }
  Decoded QuotedPrintable(std::string_view text) {
    return Run(DecodeQPFile, text, static_cast<std::int64_t>(text.size()));
  }

  os::FileHandle NewOutput() {
    os::OpenMode mode;
    mode.access = os::Access::kWrite;
    mode.share = os::Share::kRead;
    mode.create = os::Create::kAlways;
    const os::Result<os::Handle> out = os::OpenFile(spool_.path("out"), mode);
    EXPECT_TRUE(out);
    return os::FileHandle(out.value);
  }

  TempSpool spool_;
};

TEST_F(BodyFile, DecodesBase64) {
  EXPECT_EQ(Base64("SGVsbG8sIHdvcmxk\r\nIQ==\r\n"), (Decoded{1, "Hello, world!"}));
  EXPECT_EQ(Base64("QUI"), (Decoded{1, "AB"}));
}

TEST_F(BodyFile, DecodesQuotedPrintable) {
  EXPECT_EQ(QuotedPrintable("Gr=FC=DFe=\r\n!\r\n\r\n"), (Decoded{1,
                                                                 "Gr\xFC\xDF"
                                                                 "e!\r\n"}));
}

TEST_F(BodyFile, RefusesACountOfZeroAndBelow) {
  for (const std::int64_t count : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN}) {
    EXPECT_EQ(Run(DecodeBase64File, "QUJD", count).result, -1);
    EXPECT_EQ(Run(DecodeQPFile, "abc", count).result, -1);
  }
}

TEST_F(BodyFile, ReadsExactlyItsRange) {
  EXPECT_EQ(Run(DecodeBase64File, "****QUJD****", 4, 4), (Decoded{1, "ABC"}));
  EXPECT_EQ(Run(DecodeQPFile, "xxxxa=41bxxxx", 5, 4), (Decoded{1, "aAb"}));
}

TEST_F(BodyFile, EndsQuietlyAtPaddingAndBoundary) {
  EXPECT_EQ(Base64("-x"), (Decoded{1, ""}));
  EXPECT_EQ(Base64("=x"), (Decoded{1, ""}));
  EXPECT_EQ(Base64("QUJD--boundary*"), (Decoded{1, "ABC"}));
}

TEST_F(BodyFile, RefusesBytesOutsideTheAlphabet) {
  EXPECT_EQ(Base64("Not base64 at all, really.").result, -1);
  EXPECT_EQ(Base64("QUJD*").result, -1);
}

TEST_F(BodyFile, IsIncompleteWhenAnEscapeIsCut) {
  EXPECT_EQ(QuotedPrintable("abc="), (Decoded{0, ""}));
  EXPECT_EQ(QuotedPrintable("abc=4"), (Decoded{0, ""}));
  EXPECT_EQ(QuotedPrintable("abc=\r"), (Decoded{0, ""}));
  EXPECT_EQ(QuotedPrintable("abc=\r\n"), (Decoded{1, "abc"}));
}

TEST_F(BodyFile, FailsWhenTheFileEndsBeforeTheCount) {
  EXPECT_EQ(Run(DecodeBase64File, "QUJD", 5).result, -1);
  EXPECT_EQ(Run(DecodeQPFile, "abcd", 5).result, -1);
  EXPECT_EQ(Run(DecodeQPFile, "", 1).result, -1);
  EXPECT_EQ(Run(DecodeBase64File, std::string(1000, 'A'), 1001).result, -1);
  EXPECT_EQ(Run(DecodeQPFile, std::string(1000, 'A'), INT64_MAX).result, -1);
}

// Input is read in blocks of 256 bytes: data that ends in a whole block needs none of the bytes
// behind it.
TEST_F(BodyFile, NeedsNoMoreThanTheBlockInWhichTheDataEnds) {
  std::string text(300, 'A');
  text[100] = '=';
  EXPECT_EQ(Run(DecodeBase64File, text, 1000).result, 1);
  text[100] = 'A';
  text[255] = '-';
  EXPECT_EQ(Run(DecodeBase64File, text, 1000).result, 1);
  text[255] = 'A';
  text[256] = '=';
  EXPECT_EQ(Run(DecodeBase64File, text, 1000).result, -1);
  EXPECT_EQ(Run(DecodeBase64File, text, 300).result, 1);
  EXPECT_EQ(Run(DecodeBase64File, "QUI=", 100).result, -1);
}

TEST_F(BodyFile, DecodesBodiesLargerThanItsBuffers) {
  std::minstd_rand random(5);
  std::string base64;
  while (base64.size() < 300000) {
    for (int i = 0; i < 76; ++i) base64 += kBase64Alphabet[random() % 64];
    base64 += "\r\n";
  }
  const testing::ModelResult expected = testing::ModelBase64(base64);
  EXPECT_TRUE(Base64(base64) == (Decoded{expected.result, expected.bytes}));
  std::string text;
  while (text.size() < 200000)
    text += random() % 9 == 0 ? "=C3=A4\r\n" : random() % 9 == 0 ? "\n" : "plain words ";
  const testing::ModelResult plain = testing::ModelQuotedPrintable(text);
  EXPECT_TRUE(QuotedPrintable(text) == (Decoded{plain.result, plain.bytes}));
}

TEST_F(BodyFile, FailsOnHandlesThatAreNone) {
  const os::FileHandle out = NewOutput();
  EXPECT_EQ(DecodeBase64File(os::kNoHandle, 4, out.get()), -1);
  EXPECT_EQ(DecodeQPFile(os::kNoHandle, 4, out.get()), -1);
  const os::FileHandle in(os::OpenFile(spool_.File("in", "QUJD"), {}).value);
  EXPECT_EQ(DecodeBase64File(in.get(), 4, os::kNoHandle), -1);
  EXPECT_TRUE(os::SeekFile(in.get(), 0, os::From::kStart));
  EXPECT_EQ(DecodeQPFile(in.get(), 4, os::kNoHandle), -1);
}

TEST_F(BodyFile, FailsWhenTheDiskIsFull) {
  os::OpenMode mode;
  mode.access = os::Access::kWrite;
  mode.share = os::Share::kRead;
  const os::Result<os::Handle> full = os::OpenFile("/dev/full", mode);
  if (!full) GTEST_SKIP() << "/dev/full cannot be opened here";
  const os::FileHandle out(full.value);
  const os::FileHandle in(os::OpenFile(spool_.File("in", "QUJDQUJD"), {}).value);
  EXPECT_EQ(DecodeBase64File(in.get(), 8, out.get()), -1);
  EXPECT_TRUE(os::SeekFile(in.get(), 0, os::From::kStart));
  EXPECT_EQ(DecodeQPFile(in.get(), 8, out.get()), -1);
}

TEST_F(BodyFile, FailsWithEachFailingReadAndWrite) {
  const std::string base64(200000, 'A');
  const std::string text(100000, 'x');
  for (const os::Call call : {os::Call::kRead, os::Call::kWrite}) {
    for (const Decode decode : {&DecodeBase64File, &DecodeQPFile}) {
      const std::string& body = decode == &DecodeBase64File ? base64 : text;
      const os::FileHandle in(os::OpenFile(spool_.File("in", body), {}).value);
      const os::FileHandle out = NewOutput();
      int result = 0;
      testing::FailEachCall(
          call,
          [&] {
            os::SeekFile(in.get(), 0, os::From::kStart);
            result = decode(in.get(), static_cast<std::int64_t>(body.size()), out.get());
          },
          [&](bool triggered) { EXPECT_EQ(result, triggered ? -1 : 1); }, ENOSPC);
    }
  }
}

TEST_F(BodyFile, FailsWithEachFailingAllocation) {
  const os::FileHandle in(os::OpenFile(spool_.File("in", "QUJD"), {}).value);
  const os::FileHandle out = NewOutput();
  for (const Decode decode : {&DecodeBase64File, &DecodeQPFile}) {
    int result = 0;
    testing::FailEachAllocation(
        [&] {
          os::SeekFile(in.get(), 0, os::From::kStart);
          result = decode(in.get(), 4, out.get());
        },
        [&](bool triggered) { EXPECT_EQ(result, triggered ? -1 : 1); });
  }
}

TEST_F(BodyFile, DecodesIntoAWriterBehindWhatItHolds) {
  const os::FileHandle in(os::OpenFile(spool_.File("in", "QUJDa=42c\r\n"), {}).value);
  FileWriter writer;
  ASSERT_TRUE(writer.Create(spool_.path("written").c_str()));
  EXPECT_TRUE(writer.Write("head "));
  EXPECT_EQ(DecodeBase64Body(in.get(), 4, &writer), 1);
  EXPECT_EQ(DecodeQuotedPrintableBody(in.get(), 7, &writer), 1);
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(TempSpool::Read(spool_.path("written")), "head ABCaBc");
}

}  // namespace
}  // namespace qob
