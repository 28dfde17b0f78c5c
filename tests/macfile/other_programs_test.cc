// What other programs make of our BinHex files, and we of theirs: python3 alone, and Debian's
// macutils where installed.
#include <qob3xapi/lineio.h>
#include <qob3xapi/macfile.h>
#include <qob3xapi/util.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "macfile/plain_binhex.h"
#include "platform/spool/site.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

class OtherPrograms : public ::testing::Test {
 protected:
  OtherPrograms() {
    spool::FillSite(spool::TheSite());
    InitLineIO();
  }
  ~OtherPrograms() override { TerminateLineIO(); }

  // Our text for that file, moved to `name` below the spool.
  std::string Write(const MacFile& file, const char* name) {
    const std::string apple = spool_.File("in.as", PlainAppleSingle(file));
    char* output = nullptr;
    EXPECT_EQ(ConvertASToBinHex(apple.c_str(), "x", &output), 0);
    const std::string path = spool_.File(name, TempSpool::Read(output));
    FreeString(output);
    return path;
  }
  int Run(const std::string& command) const {
    return std::system(("cd '" + spool_.root() + "' && " + command).c_str());
  }
  static std::string Python() {
    const char* source = std::getenv("QOB_SOURCE_DIR");
    return "python3 '" + std::string(source == nullptr ? "." : source) +
           "/tests/macfile/plain_binhex.py' ";
  }
  static std::vector<MacFile> Files() {
    std::vector<MacFile> files;
    for (const std::size_t size : {0U, 1U, 2U, 3U, 40U, 255U, 256U, 257U, 1000U, 70000U}) {
      MacFile noise;
      noise.name = "noise" + std::to_string(size);
      noise.data = Noise(size);
      noise.resource = Noise(size / 2, 9);
      files.push_back(noise);
      MacFile runs;
      runs.name = "runs" + std::to_string(size);
      runs.data = std::string(size, 'r') + "\x90\x90" + std::string(size, '\0');
      runs.resource = std::string(size, '\x90');
      files.push_back(runs);
    }
    return files;
  }

  TempSpool spool_;
};

TEST_F(OtherPrograms, Python3ReadsWhatWeWrite) {
  for (const MacFile& file : Files()) {
    Write(file, "out.hqx");
    ASSERT_EQ(Run(Python() + "read out.hqx data resource > header"), 0) << file.name;
    EXPECT_EQ(TempSpool::Read(spool_.path("data")), file.data) << file.name;
    EXPECT_EQ(TempSpool::Read(spool_.path("resource")), file.resource) << file.name;
    EXPECT_EQ(TempSpool::Read(spool_.path("header")),
              "{\"name\": \"" + file.name +
                  "\", \"version\": 0, \"type\": \"TEXT\", \"creator\": \"ttxt\", \"flags\": 0}\n");
  }
}

TEST_F(OtherPrograms, WeReadAndWriteWhatPython3Writes) {
  for (const MacFile& file : Files()) {
    spool_.File("data", file.data);
    spool_.File("resource", file.resource);
    ASSERT_EQ(Run(Python() + "write " + file.name + " data resource in.hqx"), 0);
    const std::string path = spool_.path("in.hqx");
    const int32_t handle = fileopen(path.c_str(), 0, 1);
    char* output = nullptr;
    char* name = nullptr;
    EXPECT_EQ(ConvertBinHexToAS(path.c_str(), handle, 1 << 30, &output, &name), 0) << file.name;
    fileclose(handle);
    EXPECT_EQ(output == nullptr ? "" : TempSpool::Read(output), PlainAppleSingle(file))
        << file.name;
    FreeString(output);
    FreeString(name);
    // It compresses section by section as we do, so the texts are the same but for the empty last
    // line.
    EXPECT_EQ(TempSpool::Read(Write(file, "ours.hqx")), TempSpool::Read(path) + "\r\n")
        << file.name;
  }
}

TEST_F(OtherPrograms, MacutilsReadsWhatWeWrite) {
  if (Run("command -v hexbin > /dev/null") != 0)
    GTEST_SKIP() << "hexbin (macutils) is not installed";
  for (const MacFile& file : Files()) {
    Write(file, "out.hqx");
    ASSERT_EQ(Run("hexbin -3 out.hqx > messages 2>&1"), 0)
        << TempSpool::Read(spool_.path("messages"));
    EXPECT_EQ(TempSpool::Read(spool_.path(file.name + ".data")), file.data) << file.name;
    EXPECT_EQ(TempSpool::Read(spool_.path(file.name + ".rsrc")), file.resource) << file.name;
    const std::string info = TempSpool::Read(spool_.path(file.name + ".info"));
    EXPECT_NE(info.find("TEXTttxt"), std::string::npos) << file.name;
  }
}

}  // namespace
}  // namespace qob::testing
