// The exported conversions on files: what they write, what they refuse, and that a failure leaves
// nothing behind.
#include <qob3xapi/lineio.h>
#include <qob3xapi/macfile.h>
#include <qob3xapi/util.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "macfile/plain_binhex.h"
#include "platform/spool/site.h"
#include "support/captured_log.h"
#include "support/failing_allocator.h"
#include "support/faults.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

// A heap name from the library, with its file.
class Output {
 public:
  ~Output() { Clear(); }
  char** out() { return &name_; }
  const char* get() const { return name_; }
  std::string Bytes() const { return name_ == nullptr ? "" : TempSpool::Read(name_); }
  void Clear() {
    if (name_ == nullptr) return;
    std::string native = name_;
    for (char& c : native) c = c == '\\' ? '/' : c;
    std::filesystem::remove(native);
    FreeString(name_);
    name_ = nullptr;
  }

 private:
  char* name_ = nullptr;
};

class Name {
 public:
  ~Name() { FreeString(text_); }
  char** out() { return &text_; }
  const char* get() const { return text_; }

 private:
  char* text_ = nullptr;
};

class MacFileConvert : public ::testing::Test {
 protected:
  MacFileConvert() {
    spool::FillSite(spool::TheSite());
    InitLineIO();
  }
  ~MacFileConvert() override { TerminateLineIO(); }

  std::string ToBinHex(const std::string& apple_single, const char* fallback = nullptr) {
    const std::string path = spool_.File("in.as", apple_single);
    Output output;
    EXPECT_EQ(ConvertASToBinHex(path.c_str(), fallback, output.out()), 0);
    return output.Bytes();
  }
  int32_t RefusesToBinHex(const std::string& apple_single, const char* fallback = "x") {
    const std::string path = spool_.File("in.as", apple_single);
    char unset[] = "unset";
    char* output = unset;
    const int32_t result = ConvertASToBinHex(path.c_str(), fallback, &output);
    EXPECT_EQ(output, nullptr);
    EXPECT_TRUE(spool_.TempFiles().empty());
    return result;
  }
  // Converts the text that stands at `offset` in a file.
  int32_t FromBinHex(const std::string& text, std::int32_t offset, std::int32_t count,
                     Output* output, Name* name) {
    const std::string path = spool_.File("in.hqx", text);
    const int32_t handle = fileopen(path.c_str(), 0, 1);
    EXPECT_EQ(setfpos(handle, offset), offset);
    const int32_t result =
        ConvertBinHexToAS(path.c_str(), handle, count, output->out(), name->out());
    EXPECT_EQ(getfpos(handle), offset);
    EXPECT_EQ(fileclose(handle), 1);
    return result;
  }
  void ExpectAppleSingle(const std::string& text, const MacFile& file, const char* what = "") {
    Output output;
    Name name;
    MacFile plain = file;
    plain.flags = 0;
    EXPECT_EQ(FromBinHex(text, 0, static_cast<std::int32_t>(text.size()), &output, &name), 0)
        << what;
    EXPECT_EQ(output.Bytes(), PlainAppleSingle(plain)) << what;
    EXPECT_STREQ(name.get(), file.name.c_str()) << what;
  }
  void ExpectRefused(const std::string& text, const char* what = "") {
    Output output;
    Name name;
    EXPECT_EQ(FromBinHex(text, 0, static_cast<std::int32_t>(text.size()), &output, &name), -1)
        << what;
    EXPECT_EQ(output.get(), nullptr) << what;
    EXPECT_EQ(name.get(), nullptr) << what;
    EXPECT_TRUE(spool_.TempFiles().empty()) << what;
  }

  static MacFile Sample() {
    MacFile file;
    file.name = "Picture 1";
    file.type = "PICT";
    file.creator = "ttxt";
    file.flags = 0x0100;
    file.data = Noise(70000);
    file.resource = std::string(500, '\x90') + Noise(3000, 5);
    return file;
  }

  TempSpool spool_;
};

TEST_F(MacFileConvert, WritesTheKnownSmallFile) {
  MacFile file;
  file.data = "Hi";
  EXPECT_EQ(ToBinHex(PlainAppleSingle(file)),
            std::string(kBannerLine) + ":!@%!9%9B9(4dH(3!N!8#!*!%`(a)DARU!!$r:\r\n\r\n");
}

TEST_F(MacFileConvert, ComesBackAsTheSameFile) {
  const MacFile file = Sample();
  ExpectAppleSingle(ToBinHex(PlainAppleSingle(file)), file);
}

TEST_F(MacFileConvert, ReadsTextThatWasNeverCompressed) {
  const MacFile file = Sample();
  ExpectAppleSingle(PlainBinHex(file), file);
}

TEST_F(MacFileConvert, NamesItsFilesAfterBinHex) {
  const std::string path = spool_.File("in.as", PlainAppleSingle(Sample()));
  Output output;
  ASSERT_EQ(ConvertASToBinHex(path.c_str(), "f", output.out()), 0);
  const std::string name = output.get();
  EXPECT_EQ(name.substr(0, spool_.temp().size() + 5), spool_.temp() + "\\binh");
}

TEST_F(MacFileConvert, GivesAnEmptyResourceForkJustTwoZeroBytes) {
  MacFile file;
  file.data = "data";
  const std::string text = ToBinHex(PlainAppleSingle(file));
  // Header, data, its CRC, two zero bytes, and padding to a whole group.
  const std::string packed = std::string("\x01\x61\0TEXTttxt\0\x90\x05\x04\0\x90\x04", 18) +
                             Big(PlainCrc(PlainHeader(file)), 2) + "data" +
                             Big(PlainCrc("data"), 2) + std::string(2, '\0');
  const std::string padded = packed + std::string((3 - packed.size() % 3) % 3, '\xFF');
  EXPECT_EQ(text, std::string(kBannerLine) + Lines(padded) + "\r\n");
}

TEST_F(MacFileConvert, FindsNameAndFinderInfoBehindALongDataFork) {
  MacFile file = Sample();
  file.data = Noise(20 * 1024);
  file.resource.clear();
  ExpectAppleSingle(ToBinHex(PlainAppleSingle(file)), file);
}

TEST_F(MacFileConvert, ReadsEntriesInAnyOrderAndOverlapping) {
  // Name first, then Finder info, then both forks in the same bytes.
  const std::string body = "nameTEXTttxt" + std::string(24, '\0') + "forks";
  std::string apple = Big(0x00051600, 4) + Big(0x00020000, 4) + std::string(16, '\0') + Big(4, 2);
  apple += Big(3, 4) + Big(74, 4) + Big(4, 4);
  apple += Big(9, 4) + Big(78, 4) + Big(32, 4);
  apple += Big(2, 4) + Big(110, 4) + Big(5, 4);
  apple += Big(1, 4) + Big(111, 4) + Big(3, 4);
  MacFile file;
  file.name = "name";
  file.data = "ork";
  file.resource = "forks";
  ExpectAppleSingle(ToBinHex(apple + body), file);
}

TEST_F(MacFileConvert, TakesTheFallbackNameOnlyWithoutARealName) {
  MacFile file;
  file.name.clear();
  file.data = "d";
  const std::string nameless = PlainAppleSingle(file);
  file.name = "fallback";
  ExpectAppleSingle(ToBinHex(nameless, "fallback"), file, "empty entry");
  std::string missing = nameless;
  missing[26 + 2 * 12 + 3] = 4;  // the name's id
  ExpectAppleSingle(ToBinHex(missing, "fallback"), file, "no entry");
  file.name = "own";
  ExpectAppleSingle(ToBinHex(PlainAppleSingle(file), "fallback"), file, "own name");
  EXPECT_EQ(RefusesToBinHex(nameless, nullptr), -1);
  EXPECT_EQ(RefusesToBinHex(nameless, ""), -1);
}

TEST_F(MacFileConvert, CutsNamesTo63Bytes) {
  MacFile file;
  const std::string name(100, 'n');
  file.name = name;
  const std::string own = PlainAppleSingle(file);
  file.name.clear();
  const std::string nameless = PlainAppleSingle(file);
  file.name = name.substr(0, 63);
  ExpectAppleSingle(ToBinHex(own), file, "own");
  ExpectAppleSingle(ToBinHex(nameless, name.c_str()), file, "fallback");
}

TEST_F(MacFileConvert, HasZeroTypeAndCreatorWithoutFinderInfo) {
  MacFile file;
  std::string apple = PlainAppleSingle(file);
  apple[26 + 3 * 12 + 3] = 4;
  file.type = file.creator = std::string(4, '\0');
  ExpectAppleSingle(ToBinHex(apple), file);
}

TEST_F(MacFileConvert, KeepsTheFinderFlagsInBinHex) {
  MacFile file = Sample();
  const std::string path = spool_.File("in.hqx", ToBinHex(PlainAppleSingle(file)));
  std::string forks;
  const BinHexForkWriter take = [](void* context, const void* buffer, uint32_t count,
                                   uint32_t* total) {
    static_cast<std::string*>(context)->append(static_cast<const char*>(buffer), count);
    *total += count;
    return int32_t{0};
  };
  Name name;
  uint32_t type = 0, creator = 0, third = 0;
  EXPECT_EQ(SplitBinHexForks(&forks, path.c_str(), 0, 1 << 30, take, take, name.out(), &type,
                             &creator, &third),
            0);
  EXPECT_STREQ(name.get(), "Picture 1");
  EXPECT_EQ(type, 0x50494354U);
  EXPECT_EQ(creator, 0x74747874U);
  EXPECT_EQ(third, 0x0100U);
  EXPECT_EQ(forks, file.data + file.resource);
}

TEST_F(MacFileConvert, RefusesFilesThatAreNoAppleSingle) {
  const std::string good = PlainAppleSingle(Sample());
  EXPECT_EQ(RefusesToBinHex(""), -1);
  EXPECT_EQ(RefusesToBinHex("just a text, longer than any header of such a file would have to be, "
                            "so that only the magic can tell"),
            -1);
  Output output;
  EXPECT_EQ(ConvertASToBinHex(spool_.path("missing").c_str(), "x", output.out()), -1);
  EXPECT_EQ(ConvertASToBinHex(spool_.root().c_str(), "x", output.out()), -1);
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(MacFileConvert, RefusesAnAppleSingleCutAnywhere) {
  MacFile file;
  file.data = "some data";
  file.resource = "resources";
  const std::string good = PlainAppleSingle(file);
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_EQ(RefusesToBinHex(good.substr(0, size)), -1) << size;
  }
}

TEST_F(MacFileConvert, RefusesEntriesBeyondTheFile) {
  const std::string good = PlainAppleSingle(Sample());
  for (int entry = 0; entry < 4; ++entry) {
    for (const std::uint64_t offset : {std::uint64_t{good.size()}, std::uint64_t{0xFFFFFFF0}}) {
      std::string bad = good;
      bad.replace(static_cast<std::size_t>(26 + entry * 12 + 4), 4, Big(offset, 4));
      EXPECT_EQ(RefusesToBinHex(bad), -1) << entry << " " << offset;
    }
    std::string bad = good;
    bad.replace(static_cast<std::size_t>(26 + entry * 12 + 8), 4, Big(0xFFFFFFFF, 4));
    EXPECT_EQ(RefusesToBinHex(bad), -1) << entry;
  }
}

TEST_F(MacFileConvert, StartsWhereTheHandleStandsAndEndsWithTheCount) {
  const MacFile file = Sample();
  MacFile plain = file;
  plain.flags = 0;
  const std::string before = "Subject: x\r\n\r\n:7~ not this\r\n";
  const std::string text = PlainBinHex(file);
  const std::string after = "\r\n:!!!!\r\n";
  Output output;
  Name name;
  EXPECT_EQ(FromBinHex(before + text + after, static_cast<std::int32_t>(before.size()),
                       static_cast<std::int32_t>(text.size()), &output, &name),
            0);
  EXPECT_EQ(output.Bytes(), PlainAppleSingle(plain));
  Output none;
  Name no_name;
  EXPECT_EQ(FromBinHex(before + text + after, static_cast<std::int32_t>(before.size()),
                       static_cast<std::int32_t>(text.size() - 8), &none, &no_name),
            -1);
  EXPECT_EQ(spool_.TempFiles().size(), 1U);
}

TEST_F(MacFileConvert, FallsBackToAColonInsideALine) {
  const MacFile file = Sample();
  ExpectAppleSingle("quoted " + Lines(Literal(PlainSections(file))), file, "early");
  ExpectAppleSingle(std::string(200000, 'x') + Lines(Literal(PlainSections(file))), file, "late");
  ExpectRefused("Note: this is no BinHex\r\n", "no BinHex");
  ExpectRefused(std::string(kBannerLine), "banner only");
  ExpectRefused(":", "colon only");
  ExpectRefused("::", "two colons");
}

TEST_F(MacFileConvert, RefusesTextCutAnywhere) {
  MacFile file;
  file.data = "some data";
  file.resource = "res";
  const std::string text = PlainBinHex(file);
  for (std::size_t size = 1; size < text.rfind(':'); ++size) ExpectRefused(text.substr(0, size));
  ExpectAppleSingle(text.substr(0, text.rfind(':')), file, "only the trailer missing");
}

TEST_F(MacFileConvert, LogsOnlyTheCrcTexts) {
  CapturedLog log;
  MacFile file = Sample();
  std::string sections = PlainSections(file);
  sections[20 + file.name.size() + 2] ^= 1;
  ExpectRefused(Lines(Literal(sections)));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].level, 1);
  EXPECT_EQ(log.lines()[0].text, "Data fork CRC error.");
  log.Clear();
  Name name;
  Output output;
  EXPECT_EQ(ConvertBinHexToAS(spool_.path("missing").c_str(), 12345, 10, output.out(), name.out()),
            -1);
  const BinHexForkWriter writer = [](void*, const void*, uint32_t, uint32_t*) {
    return int32_t{0};
  };
  uint32_t value = 0;
  EXPECT_EQ(SplitBinHexForks(nullptr, spool_.path("missing").c_str(), 0, 10, writer, writer,
                             name.out(), &value, &value, &value),
            -1);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(MacFileConvert, RefusesMissingPointersAndDefinesItsOutputs) {
  char unset[] = "unset";
  const std::string path = spool_.File("in.hqx", PlainBinHex(Sample()));
  EXPECT_EQ(ConvertASToBinHex(path.c_str(), "x", nullptr), -1);
  char* output = unset;
  EXPECT_EQ(ConvertASToBinHex(nullptr, "x", &output), -1);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(ConvertASToBinHex("", "x", &output), -1);

  char* name = unset;
  output = unset;
  EXPECT_EQ(ConvertBinHexToAS(nullptr, 3, 1, &output, &name), -1);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(name, nullptr);
  const int32_t handle = fileopen(path.c_str(), 0, 1);
  EXPECT_EQ(ConvertBinHexToAS(path.c_str(), handle, 1 << 30, nullptr, &name), -1);
  EXPECT_EQ(ConvertBinHexToAS(path.c_str(), handle, 1 << 30, &output, nullptr), -1);
  EXPECT_EQ(ConvertBinHexToAS(path.c_str(), handle, 0, &output, &name), -1);
  EXPECT_EQ(ConvertBinHexToAS(path.c_str(), handle, -5, &output, &name), -1);
  EXPECT_EQ(ConvertBinHexToAS(path.c_str(), handle + 1000, 1 << 30, &output, &name), -1);
  fileclose(handle);

  const BinHexForkWriter writer = [](void*, const void*, uint32_t, uint32_t*) {
    return int32_t{0};
  };
  uint32_t type = 7, creator = 7, third = 7;
  name = unset;
  EXPECT_EQ(SplitBinHexForks(nullptr, nullptr, 0, 1 << 30, writer, writer, &name, &type, &creator,
                             &third),
            -1);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(type | creator | third, 0U);
  const char* p = path.c_str();
  EXPECT_EQ(SplitBinHexForks(nullptr, p, -1, 9, writer, writer, &name, &type, &creator, &third),
            -1);
  EXPECT_EQ(SplitBinHexForks(nullptr, p, 0, 9, nullptr, writer, &name, &type, &creator, &third),
            -1);
  EXPECT_EQ(SplitBinHexForks(nullptr, p, 0, 9, writer, nullptr, &name, &type, &creator, &third),
            -1);
  EXPECT_EQ(SplitBinHexForks(nullptr, p, 0, 9, writer, writer, nullptr, &type, &creator, &third),
            -1);
  EXPECT_EQ(SplitBinHexForks(nullptr, p, 0, 9, writer, writer, &name, nullptr, &creator, &third),
            -1);
  EXPECT_EQ(SplitBinHexForks(nullptr, p, 0, 9, writer, writer, &name, &type, nullptr, &third), -1);
  EXPECT_EQ(SplitBinHexForks(nullptr, p, 0, 9, writer, writer, &name, &type, &creator, nullptr),
            -1);
  EXPECT_TRUE(spool_.TempFiles().empty());
}

TEST_F(MacFileConvert, FailsWithoutATemporaryDirectory) {
  const std::string apple = spool_.File("in.as", PlainAppleSingle(Sample()));
  spool::TheSite().temp_dir[0] = '\0';
  Output output;
  EXPECT_EQ(ConvertASToBinHex(apple.c_str(), "x", output.out()), -1);
  spool::FillSite(spool::TheSite());
}

// One attempt under a fault: it succeeds with the right bytes, or fails and leaves nothing.
class MacFileFaults : public MacFileConvert {
 protected:
  MacFileFaults() {
    MacFile file = Sample();
    apple_ = PlainAppleSingle(file);
    text_ = PlainBinHex(file);
    file.flags = 0;
    back_ = PlainAppleSingle(file);
    apple_path_ = spool_.File("in.as", apple_);
    text_path_ = spool_.File("in.hqx", text_);
    whole_ = ToBinHex(apple_);
    handle_ = fileopen(text_path_.c_str(), 0, 1);
  }
  ~MacFileFaults() override { fileclose(handle_); }

  void Encode() { result_ = ConvertASToBinHex(apple_path_.c_str(), "x", &output_); }
  void Decode() {
    result_ = ConvertBinHexToAS(text_path_.c_str(), handle_, 1 << 30, &output_, &name_);
  }
  // Failures that cannot spoil the bytes (closing an input, advice) may pass.
  void Check(bool triggered, const std::string& expected) {
    ASSERT_TRUE(triggered || result_ == 0);
    if (result_ == 0) {
      ASSERT_NE(output_, nullptr);
      ASSERT_EQ(TempSpool::Read(output_), expected);
      std::string native = output_;
      for (char& c : native) c = c == '\\' ? '/' : c;
      std::filesystem::remove(native);
    } else {
      ++failures_;
      ASSERT_EQ(result_, -1);
      ASSERT_EQ(output_, nullptr);
      ASSERT_EQ(name_, nullptr);
    }
    ASSERT_TRUE(spool_.TempFiles().empty());
    FreeString(output_);
    FreeString(name_);
    output_ = name_ = nullptr;
  }

  std::string apple_, text_, whole_, back_, apple_path_, text_path_;
  int32_t handle_ = -1;
  int32_t result_ = 0;
  char* output_ = nullptr;
  char* name_ = nullptr;
  int failures_ = 0;
};

TEST_F(MacFileFaults, EveryAllocation) {
  FailEachAllocation([&] { Encode(); }, [&](bool t) { Check(t, whole_); });
  EXPECT_GT(failures_, 2);
  failures_ = 0;
  FailEachAllocation([&] { Decode(); }, [&](bool t) { Check(t, back_); });
  EXPECT_GT(failures_, 2);
}

TEST_F(MacFileFaults, EveryOpenReadWriteSeekAndClose) {
  for (const os::Call call : {os::Call::kOpen, os::Call::kRead, os::Call::kWrite, os::Call::kSeek,
                              os::Call::kClose, os::Call::kStat}) {
    SCOPED_TRACE(static_cast<int>(call));
    failures_ = 0;
    FailEachCall(
        call, [&] { Encode(); }, [&](bool t) { Check(t, whole_); });
    EXPECT_GT(failures_, 0);
    if (call == os::Call::kStat) continue;  // decoding asks for no size
    failures_ = 0;
    FailEachCall(
        call, [&] { Decode(); }, [&](bool t) { Check(t, back_); });
    EXPECT_GT(failures_, 0);
  }
}

TEST_F(MacFileFaults, AFullDisk) {
  FailEachCall(
      os::Call::kWrite, [&] { Encode(); }, [&](bool t) { Check(t, whole_); }, ENOSPC);
  FailEachCall(
      os::Call::kWrite, [&] { Decode(); }, [&](bool t) { Check(t, back_); }, ENOSPC);
}

}  // namespace
}  // namespace qob::testing
