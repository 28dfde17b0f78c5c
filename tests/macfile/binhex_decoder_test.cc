// The decoder fed from memory: what it takes, what it refuses, and that the pieces do not matter.
#include "macfile/binhex_decoder.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "macfile/plain_binhex.h"
#include "support/captured_log.h"
#include "support/exact_copy.h"

namespace qob::testing {
namespace {

using binhex::Decoder;

struct Forks {
  std::string data;
  std::string resource;
  int data_calls = 0;
  int resource_calls = 0;
  int fail_at_call = 0;
};

int32_t Take(Forks* forks, std::string* to, int* calls, const void* buffer, uint32_t count,
             uint32_t* total) {
  ++*calls;
  if (*calls == forks->fail_at_call) return -1;
  EXPECT_EQ(*total, to->size());
  to->append(static_cast<const char*>(buffer), count);
  *total += count;
  return 0;
}
extern "C" int32_t TakeData(void* context, const void* buffer, uint32_t count, uint32_t* total) {
  Forks* forks = static_cast<Forks*>(context);
  return Take(forks, &forks->data, &forks->data_calls, buffer, count, total);
}
extern "C" int32_t TakeResource(void* context, const void* buffer, uint32_t count,
                                uint32_t* total) {
  Forks* forks = static_cast<Forks*>(context);
  return Take(forks, &forks->resource, &forks->resource_calls, buffer, count, total);
}

struct Outcome {
  bool done = false;
  Forks forks;
  binhex::Header header;
  std::int64_t stray = -1;
};

Outcome Decode(std::string_view text, std::size_t piece = 1 << 20, int fail_at_call = 0) {
  Outcome outcome;
  outcome.forks.fail_at_call = fail_at_call;
  const auto decoder =
      std::make_unique<Decoder>(binhex::ForkWriters{&outcome.forks, &TakeData, &TakeResource});
  while (!text.empty()) {
    const ExactCopy exact(text.substr(0, piece));
    if (decoder->Feed(exact.view()) != Decoder::Status::kMore) break;
    text.remove_prefix(exact.size());
  }
  outcome.done = decoder->Finish() == Decoder::Status::kDone;
  if (outcome.done) outcome.header = decoder->header();
  outcome.stray = decoder->stray_colon();
  return outcome;
}

// Decodes a stream of compressed bytes.
Outcome DecodePacked(std::string_view packed) { return Decode(Lines(packed)); }

MacFile Sample() {
  MacFile file;
  file.name = "Read me";
  file.flags = 0x2140;
  file.data = Noise(1000);
  file.resource = "resources\x90\x90";
  return file;
}

void ExpectSample(const Outcome& outcome, const std::string& what = "") {
  const MacFile file = Sample();
  ASSERT_TRUE(outcome.done) << what;
  EXPECT_EQ(outcome.header.name, file.name) << what;
  EXPECT_EQ(outcome.header.type, 0x54455854U) << what;
  EXPECT_EQ(outcome.header.creator, 0x74747874U) << what;
  EXPECT_EQ(outcome.header.flags, 0x2140) << what;
  EXPECT_EQ(outcome.forks.data, file.data) << what;
  EXPECT_EQ(outcome.forks.resource, file.resource) << what;
}

TEST(BinHexDecode, ReadsTheKnownSmallFile) {
  const Outcome outcome = Decode(":!@%!9%9B9(4dH(3!N!8#!*!%`(a)DARU!!$r:");
  ASSERT_TRUE(outcome.done);
  EXPECT_EQ(outcome.header.name, "a");
  EXPECT_EQ(outcome.header.type, 0x54455854U);
  EXPECT_EQ(outcome.header.creator, 0x74747874U);
  EXPECT_EQ(outcome.header.flags, 0);
  EXPECT_EQ(outcome.forks.data, "Hi");
}

TEST(BinHexDecode, GivesBothForks) { ExpectSample(Decode(PlainBinHex(Sample()))); }

TEST(BinHexDecode, DoesNotCallTheWriterOfAnEmptyFork) {
  MacFile file;
  const Outcome outcome = Decode(PlainBinHex(file));
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.forks.data_calls, 0);
  EXPECT_EQ(outcome.forks.resource_calls, 0);
}

TEST(BinHexDecode, IsTheSameInPiecesOfEverySize) {
  const std::string text = PlainBinHex(Sample());
  for (std::size_t piece : {1, 2, 3, 4, 5, 7, 63, 64, 65, 66, 67, 400, 1000}) {
    ExpectSample(Decode(text, piece), std::to_string(piece));
  }
}

TEST(BinHexDecode, IsTheSameCutAnywhereInTwo) {
  MacFile file;
  file.data = std::string(20, 'z') + "\x90" + std::string(5, '\0');
  const std::string text = std::string(kBannerLine) + "\r\n" +
                           Lines(WithCrc(PlainHeader(file)) + "z\x90\x14" +
                                 std::string("\x90\0", 2) + std::string("\0\x90\x05", 3) +
                                 Literal(Big(PlainCrc(file.data), 2)) + std::string(2, '\0'));
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    Forks forks;
    const auto decoder =
        std::make_unique<Decoder>(binhex::ForkWriters{&forks, &TakeData, &TakeResource});
    decoder->Feed(ExactCopy(std::string_view(text).substr(0, cut)).view());
    decoder->Feed(ExactCopy(std::string_view(text).substr(cut)).view());
    ASSERT_EQ(decoder->Finish(), Decoder::Status::kDone) << cut;
    ASSERT_EQ(forks.data, file.data) << cut;
  }
}

TEST(BinHexDecode, IsRefusedWhenCutAtAnyByteBeforeTheLastCrc) {
  const MacFile file = Sample();
  const std::string text = PlainBinHex(file);
  const std::string packed = Literal(PlainSections(file));
  // The character that completes the resource CRC; only the closing colon and the line end stand
  // behind it.
  const std::size_t last = text.rfind(':');
  for (std::size_t size = 0; size < last; ++size) {
    const Outcome outcome = Decode(std::string_view(text).substr(0, size));
    ASSERT_FALSE(outcome.done) << size;
    ASSERT_EQ(file.data.substr(0, outcome.forks.data.size()), outcome.forks.data) << size;
  }
  ExpectSample(Decode(std::string_view(text).substr(0, last)), "only the colon missing");
  ASSERT_FALSE(packed.empty());
}

TEST(BinHexDecode, IsRefusedWhenItEndsWithAColonTooEarly) {
  const std::string text = PlainBinHex(Sample());
  for (std::size_t size = kBannerLine.size() + 1; size < text.rfind(':'); ++size) {
    ASSERT_FALSE(Decode(text.substr(0, size) + ":\r\n\r\n").done) << size;
  }
}

TEST(BinHexDecode, IgnoresWhatFollowsTheLastCrc) {
  const MacFile file = Sample();
  const std::string packed = Literal(PlainSections(file));
  ExpectSample(DecodePacked(packed + "\xFF\xFF"), "padding");
  ExpectSample(DecodePacked(packed + "\x90\xFF more and more"), "a run");
  ExpectSample(Decode(Lines(packed + "xyz") + "~~~\r\n:again"), "text");
}

TEST(BinHexDecode, TakesARunOfOneAsNothingAdded) {
  MacFile file;
  file.data = "Q";
  const std::string packed =
      WithCrc(PlainHeader(file)) + "Q\x90\x01" + Big(PlainCrc("Q"), 2) + std::string(2, '\0');
  const Outcome outcome = DecodePacked(packed);
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.forks.data, "Q");
}

TEST(BinHexDecode, RepeatsALiteralMarkerByte) {
  MacFile file;
  file.data = "\x90\x90\x90";
  const std::string packed = WithCrc(PlainHeader(file)) + std::string("\x90\0\x90\x03", 4) +
                             Literal(Big(PlainCrc(file.data), 2)) + std::string(2, '\0');
  const Outcome outcome = DecodePacked(packed);
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.forks.data, file.data);
}

TEST(BinHexDecode, TakesALiteralMarkerAfterARun) {
  MacFile file;
  file.data = std::string(10, 'k') + "\x90" + "l";
  const std::string packed = WithCrc(PlainHeader(file)) + "k\x90\x0A" + std::string("\x90\0l", 3) +
                             Literal(Big(PlainCrc(file.data), 2)) + std::string(2, '\0');
  EXPECT_EQ(DecodePacked(packed).forks.data, file.data);
}

TEST(BinHexDecode, RefusesARunCodeWithNothingBeforeIt) {
  const std::string good = Literal(PlainSections(Sample()));
  for (const unsigned code : {1U, 2U, 255U}) {
    EXPECT_FALSE(DecodePacked("\x90" + Big(code, 1) + good).done) << code;
    // Not even when a good stream follows.
    EXPECT_FALSE(Decode(Lines("\x90" + Big(code, 1)) + Lines(good)).done) << code;
  }
}

// Sections whose neighbouring bytes are equal, so that one run can reach over each border.
TEST(BinHexDecode, FollowsARunOverEachBorderOfTheSections) {
  // Data of zeros has CRC 0, and an empty resource fork has CRC 0: everything behind the header is
  // zeros.
  MacFile file;
  file.data = std::string(30, '\0');
  const std::string packed = WithCrc(PlainHeader(file)) + std::string("\0\x90\x22", 3);
  Outcome outcome = DecodePacked(packed);
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.forks.data, file.data);
  // Longer than what is left: the surplus is behind the resource CRC.
  outcome = DecodePacked(WithCrc(PlainHeader(file)) + std::string("\0\x90\xFF", 3));
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.forks.data, file.data);
  // From the header's CRC into the data.
  const std::string header = WithCrc(PlainHeader(file, 3, 0));
  const std::string data(3, header.back());
  const std::string into =
      header + "\x90\x04" + Literal(Big(PlainCrc(data), 2)) + std::string(2, '\0');
  ASSERT_NE(header.back(), '\x90');
  outcome = DecodePacked(into);
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.forks.data, data);
  // From the data CRC over an empty resource fork.
  MacFile zeros;
  zeros.data = std::string(1, '\0');
  EXPECT_TRUE(DecodePacked(WithCrc(PlainHeader(zeros)) + std::string("\0\0\x90\x04", 4)).done);
}

TEST(BinHexDecode, IsRefusedWhenARunEndsBeforeTheSections) {
  MacFile file;
  file.data = std::string(30, '\0');
  EXPECT_FALSE(DecodePacked(WithCrc(PlainHeader(file)) + std::string("\0\x90\x21", 3)).done);
  EXPECT_FALSE(DecodePacked(WithCrc(PlainHeader(file)) + std::string("\0\x90", 2)).done);
}

TEST(BinHexDecode, LogsADataForkCrcThatDiffers) {
  CapturedLog log;
  MacFile file = Sample();
  std::string sections = PlainSections(file);
  sections[20 + file.name.size() + 2 + 500] ^= 1;
  EXPECT_FALSE(DecodePacked(Literal(sections)).done);
  EXPECT_EQ(log.texts(1), std::vector<std::string>{"Data fork CRC error."});
}

TEST(BinHexDecode, LogsAResourceForkCrcThatDiffers) {
  CapturedLog log;
  std::string sections = PlainSections(Sample());
  sections.back() ^= 1;
  const Outcome outcome = DecodePacked(Literal(sections));
  EXPECT_FALSE(outcome.done);
  EXPECT_EQ(outcome.forks.data, Sample().data);
  EXPECT_EQ(log.texts(1), std::vector<std::string>{"Resource fork CRC error."});
}

TEST(BinHexDecode, LogsACrcOfAnEmptyForkThatIsNotNull) {
  for (const bool data_fork : {true, false}) {
    CapturedLog log;
    const std::string zeros(2, '\0');
    const std::string packed =
        WithCrc(PlainHeader(MacFile())) + (data_fork ? "\1\2" + zeros : zeros + "\1\2");
    EXPECT_FALSE(DecodePacked(packed).done);
    EXPECT_EQ(log.texts(1), std::vector<std::string>{"Empty fork CRC not null."}) << data_fork;
  }
}

TEST(BinHexDecode, SaysNothingAboutAHeaderCrcThatDiffers) {
  CapturedLog log;
  std::string sections = PlainSections(Sample());
  sections[10] ^= 1;
  const Outcome outcome = DecodePacked(Literal(sections));
  EXPECT_FALSE(outcome.done);
  EXPECT_EQ(outcome.forks.data_calls, 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST(BinHexDecode, ChecksTheHeaderCrcOverTheBytesAlone) {
  // A CRC as a table-driven program gives it over the header and two zero bytes is another one.
  const std::string header = PlainHeader(MacFile());
  std::string padded = header + std::string(2, '\0');
  EXPECT_FALSE(DecodePacked(header + Big(PlainCrc(padded), 2) + std::string(4, '\0')).done);
}

TEST(BinHexDecode, IsRefusedWhenAForkIsLongerThanTheText) {
  const MacFile file = Sample();
  for (const std::uint64_t lie :
       {file.data.size() + 1, std::uint64_t{0x7FFFFFFF}, std::uint64_t{0xFFFFFFFF}}) {
    const std::string packed = Literal(WithCrc(PlainHeader(file, lie, file.resource.size())) +
                                       WithCrc(file.data) + WithCrc(file.resource));
    EXPECT_FALSE(DecodePacked(packed).done) << lie;
    const std::string other = Literal(WithCrc(PlainHeader(file, file.data.size(), lie)) +
                                      WithCrc(file.data) + WithCrc(file.resource));
    EXPECT_FALSE(DecodePacked(other).done) << lie;
  }
}

TEST(BinHexDecode, IsRefusedWhenAForkIsShorterThanItIs) {
  CapturedLog log;
  const MacFile file = Sample();
  const std::string packed =
      Literal(WithCrc(PlainHeader(file, file.data.size() - 1, file.resource.size())) +
              WithCrc(file.data) + WithCrc(file.resource));
  EXPECT_FALSE(DecodePacked(packed).done);
  EXPECT_EQ(log.texts(1), std::vector<std::string>{"Data fork CRC error."});
}

TEST(BinHexDecode, TakesNamesOf1To63Bytes) {
  for (const std::size_t length : {1U, 31U, 62U, 63U}) {
    MacFile file = Sample();
    file.name = std::string(length, 'n');
    const Outcome outcome = Decode(PlainBinHex(file));
    EXPECT_TRUE(outcome.done) << length;
    EXPECT_EQ(outcome.header.name, file.name);
  }
  for (const std::size_t length : {0U, 64U, 128U, 255U}) {
    MacFile file = Sample();
    file.name = std::string(length, 'n');
    EXPECT_FALSE(Decode(PlainBinHex(file)).done) << length;
  }
}

TEST(BinHexDecode, StartsAtTheFirstLineThatBeginsWithAColon) {
  const std::string text = Lines(Literal(PlainSections(Sample())));
  ExpectSample(Decode("Note: see below:\r\n\r\n" + text), "colons in lines before");
  ExpectSample(Decode("\r\n \r\n" + text), "blank lines before");
  ExpectSample(Decode("bare line feeds\n" + text), "line feed");
  ExpectSample(Decode("bare carriage returns\r" + text), "carriage return");
}

TEST(BinHexDecode, TellsTheFirstColonWhenNoLineBeginsWithOne) {
  const std::string text = Lines(Literal(PlainSections(Sample())));
  const Outcome outcome = Decode("data " + text);
  EXPECT_FALSE(outcome.done);
  EXPECT_EQ(outcome.stray, 5);
  EXPECT_EQ(Decode("no colon at all").stray, -1);
  EXPECT_EQ(Decode(text).stray, -1);
}

TEST(BinHexDecode, PassesOverControlCharactersBlanksAndDelete) {
  std::string text = Lines(Literal(PlainSections(Sample())));
  std::string wild = text.substr(0, 1);
  unsigned control = 0;
  for (std::size_t i = 1; i < text.size(); ++i) {
    wild.push_back(control == 0x21 ? '\x7F' : static_cast<char>(control));
    control = (control + 1) % 0x22;
    wild.push_back(text[i]);
  }
  ExpectSample(Decode(wild));
}

TEST(BinHexDecode, SearchesOnAfterAForeignCharacterBeforeTheHeader) {
  const std::string good = Lines(Literal(PlainSections(Sample())));
  for (const char foreign : {'7', 'g', 'n', 'o', 's', '~', '{', '.', '/', ';', '\x80', '\xFF'}) {
    ExpectSample(Decode(std::string(":!@%") + foreign + "9%9B9(4\r\n" + good),
                 std::string(1, foreign));
  }
  ExpectSample(Decode(":~\r\n:~\r\n:~:~\n:7"
                      "\r\n" +
                      good),
               "several");
  EXPECT_FALSE(Decode(":!@%~9%9B9(4\r\nno colon behind").done);
  EXPECT_FALSE(Decode(":!@%~9%9B9(4: none at a line start").done);
}

TEST(BinHexDecode, SearchesOnAfterANameLengthThatIsNone) {
  const std::string good = Lines(Literal(PlainSections(Sample())));
  ExpectSample(Decode(Lines(std::string(10, '\0')) + good), "0");
  ExpectSample(Decode(Lines("\x40 and more") + good), "64");
  // Unclosed, so that the next colon is the one of the good stream.
  ExpectSample(Decode(":!!!!!!!!\r\n" + good), "unclosed");
}

TEST(BinHexDecode, EndsAtAForeignCharacterBehindTheHeader) {
  const std::string good = Lines(Literal(PlainSections(Sample())));
  for (const std::size_t at : {60U, 100U, 800U}) {
    std::string text = good;
    text[at] = '~';
    EXPECT_FALSE(Decode(text + good).done) << at;
  }
}

TEST(BinHexDecode, IsLinearInStartsThatLeadNowhere) {
  std::string text;
  for (int i = 0; i < 200000; ++i) text += ":~\n";
  ExpectSample(Decode(text + Lines(Literal(PlainSections(Sample())))));
}

TEST(BinHexDecode, EndsWhenAWriterFails) {
  MacFile file = Sample();
  file.data = Noise(200000);
  file.resource = Noise(200000, 7);
  const std::string text = PlainBinHex(file);
  const Outcome first = Decode(text, 1 << 20, 1);
  EXPECT_FALSE(first.done);
  EXPECT_EQ(first.forks.data_calls, 1);
  const Outcome third = Decode(text, 1 << 20, 3);
  EXPECT_FALSE(third.done);
  EXPECT_EQ(third.forks.data_calls, 3);
  EXPECT_EQ(third.forks.resource_calls, 0);
}

TEST(BinHexDecode, ExpandsLongRunsInSmallMemory) {
  // 300 run codes of 254 more each: 76,201 bytes out of a thousand characters.
  MacFile file;
  std::string run = "w";
  for (int i = 0; i < 300; ++i) run += "\x90\xFF";
  file.data = std::string(1 + 300 * 254, 'w');
  const std::string packed = WithCrc(PlainHeader(file)) + run +
                             Literal(Big(PlainCrc(file.data), 2)) + std::string(2, '\0');
  const Outcome outcome = DecodePacked(packed);
  EXPECT_TRUE(outcome.done);
  EXPECT_EQ(outcome.forks.data, file.data);
}

}  // namespace
}  // namespace qob::testing
