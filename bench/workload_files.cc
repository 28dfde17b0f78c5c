// The workload on disk.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "workload.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

// Changes whenever the generator's output does, so that older data is made anew.
constexpr std::string_view kVersion = "workload 2\n";

void WriteWhole(const fs::path& file, std::string_view bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error("cannot write " + file.string());
}

// A fold inside an element is written as a vertical tab: the file has one element per line.
void WriteTexts(const fs::path& file, const std::vector<std::string>& texts) {
  std::string all;
  for (std::string text : texts) {
    for (std::size_t at = text.find("\r\n "); at != std::string::npos;
         at = text.find("\r\n ", at)) {
      text.replace(at, 3, "\v");
    }
    all += text + "\n";
  }
  WriteWhole(file, all);
}

std::string MessageName(std::size_t index) {
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "%05zu.eml", index);
  return name.data();
}

fs::path FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') {
    throw std::runtime_error(std::string(name) + " is not set: run bench/compare");
  }
  return value;
}

}  // namespace

void WriteWorkload(const fs::path& directory) {
  const fs::path stamp = directory / "stamp";
  if (fs::exists(stamp) && ReadWhole(stamp) == kVersion) return;
  fs::create_directories(directory / "mixed");
  for (std::size_t i = 0; i < kMixedMessages; ++i) {
    WriteWhole(directory / "mixed" / MessageName(i), MixedMessage(i));
  }
  WriteWhole(directory / "big.eml", BigMessage());
  WriteTexts(directory / "addresses-mixed.txt", AddressLists(true, 2000, 20));
  WriteTexts(directory / "addresses-plain.txt", AddressLists(false, 2000, 20));
  WriteTexts(directory / "words-encoded.txt", EncodedHeaders(5000));
  std::vector<std::string> rows;
  for (const EightBitText& text : EightBitHeaders(5000)) {
    rows.push_back(text.charset + "\t" + text.local + "\t" + text.utf8);
  }
  WriteTexts(directory / "words-8bit.txt", rows);
  WriteTexts(directory / "dates.txt", DateTexts(5000));
  WriteWhole(directory / "lines.txt", TextLines(kCodecFileBytes));
  WriteWhole(directory / "base64.txt", Base64Sample(kMemoryCodecBytes));
  WriteWhole(directory / "qp.txt", QuotedPrintableSample(kMemoryCodecBytes));
  WriteWhole(directory / "sample.uu", UuSample(kCodecFileBytes));
  WriteWhole(directory / "sample.hqx", BinHexSample(kCodecFileBytes));
  WriteWhole(stamp, kVersion);
}

std::string ReadWhole(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  std::string bytes(static_cast<std::size_t>(fs::file_size(file)), '\0');
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

std::vector<std::string> ReadTexts(const fs::path& file) {
  const std::string all = ReadWhole(file);
  std::vector<std::string> texts;
  for (std::size_t start = 0; start < all.size();) {
    const std::size_t end = all.find('\n', start);
    std::string text = all.substr(start, end - start);
    for (std::size_t at = text.find('\v'); at != std::string::npos; at = text.find('\v', at)) {
      text.replace(at, 1, "\r\n ");
    }
    texts.push_back(std::move(text));
    start = end + 1;
  }
  return texts;
}

std::vector<EightBitText> ReadEightBitTexts(const fs::path& file) {
  std::vector<EightBitText> texts;
  for (const std::string& row : ReadTexts(file)) {
    const std::size_t first = row.find('\t');
    const std::size_t second = row.find('\t', first + 1);
    texts.push_back(
        {row.substr(0, first), row.substr(first + 1, second - first - 1), row.substr(second + 1)});
  }
  return texts;
}

std::vector<std::string> MixedPaths(const fs::path& directory) {
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < kMixedMessages; ++i) {
    paths.push_back((directory / "mixed" / MessageName(i)).string());
  }
  return paths;
}

fs::path DataDirectory() { return FromEnvironment("QOB_BENCH_DATA"); }

fs::path OutputDirectory() { return FromEnvironment("QOB_BENCH_OUT"); }

}  // namespace bench
