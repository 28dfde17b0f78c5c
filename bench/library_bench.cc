// Our side of the comparison, through the public interface of the shared library.
#include <benchmark/benchmark.h>
#include <qob3xapi/qob3xapi.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "site.h"
#include "workload.h"

namespace {

using bench::DataDirectory;

std::int64_t SizeOf(const std::filesystem::path& path) {
  return static_cast<std::int64_t>(std::filesystem::file_size(path));
}

// Containers hold nothing of their own; what remains is what a peer calls the leaves.
bool IsContainer(const MimeBodyPart* part) { return part->children != nullptr; }

void ExtractAll(const MimeMessagePool* pool, const std::string& path) {
  const std::int32_t file = fileopen(path.c_str(), 0, 1);
  if (file < 0) throw std::runtime_error("cannot open " + path);
  for (std::int32_t i = 0; i < pool->count; ++i) {
    MimeBodyPart* part = MimeGetMsg(pool, i);
    if (IsContainer(part)) continue;
    char* name = MimeGetBody(part, 0, file);
    if (name == nullptr) throw std::runtime_error("cannot extract from " + path);
    MimeFreeFile(name);
  }
  fileclose(file);
}

void ReadMessages(benchmark::State& state, const std::vector<std::string>& paths, bool extract) {
  std::int64_t bytes = 0;
  for (const std::string& path : paths) bytes += SizeOf(path);
  for (auto _ : state) {
    for (const std::string& path : paths) {
      MimeMessagePool* pool = nullptr;
      if (MimeParseMessage(path.c_str(), 1, &pool) < 1)
        throw std::runtime_error("cannot parse " + path);
      if (extract) ExtractAll(pool, path);
      MimeFreeMessage(&pool);
    }
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

void ParseMixed(benchmark::State& state) {
  ReadMessages(state, bench::MixedPaths(DataDirectory()), false);
}
void ParseBig(benchmark::State& state) {
  ReadMessages(state, {(DataDirectory() / "big.eml").string()}, false);
}
void ExtractMixed(benchmark::State& state) {
  ReadMessages(state, bench::MixedPaths(DataDirectory()), true);
}
void ExtractBig(benchmark::State& state) {
  ReadMessages(state, {(DataDirectory() / "big.eml").string()}, true);
}

void Lines(benchmark::State& state) {
  const std::string path = (DataDirectory() / "lines.txt").string();
  for (auto _ : state) {
    const std::int32_t file = fileopen(path.c_str(), 0, 1);
    if (file < 0) throw std::runtime_error("cannot open " + path);
    char* line = nullptr;
    while (QOB_getline(file, &line) > 0) benchmark::DoNotOptimize(line);
    fileclose(file);
  }
  state.SetBytesProcessed(state.iterations() * SizeOf(path));
}

void Uudecode(benchmark::State& state) {
  const std::string path = (DataDirectory() / "sample.uu").string();
  const std::string output = (bench::OutputDirectory() / "ours.bin").string();
  for (auto _ : state) {
    const std::int32_t in = fileopen(path.c_str(), 0, 1);
    const std::int32_t out = filecreate(output.c_str(), 0, 1);
    char* name = nullptr;
    if (uudecode(in, 0, out, &name) != 1) throw std::runtime_error("uudecode failed");
    fileclose(out);
    fileclose(in);
    FreeString(name);
    std::filesystem::remove(output);
  }
  state.SetBytesProcessed(state.iterations() * SizeOf(path));
}

void BinHex(benchmark::State& state) {
  const std::string path = (DataDirectory() / "sample.hqx").string();
  for (auto _ : state) {
    const std::int32_t in = fileopen(path.c_str(), 0, 1);
    char* output = nullptr;
    char* name = nullptr;
    if (ConvertBinHexToAS(path.c_str(), in, static_cast<std::int32_t>(SizeOf(path)), &output,
                          &name) != 0) {
      throw std::runtime_error("ConvertBinHexToAS failed");
    }
    fileclose(in);
    FreeString(name);
    MimeFreeFile(output);
  }
  state.SetBytesProcessed(state.iterations() * SizeOf(path));
}

// A whole message of one part from a body file; its header is a hundred bytes.
void BuildFrom(benchmark::State& state, const char* file, const char* type, const char* encoding) {
  const std::string body = (DataDirectory() / file).string();
  for (auto _ : state) {
    char* const path =
        MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, type, "x-bench", nullptr, encoding,
                         nullptr, nullptr, body.c_str(), nullptr, 0);
    if (path == nullptr) throw std::runtime_error("cannot build from " + body);
    MimeFreeFile(path);
  }
  state.SetBytesProcessed(state.iterations() * SizeOf(body));
}

void Base64Write(benchmark::State& state) { BuildFrom(state, "body.bin", "image", "base64"); }
void QuotedPrintableWrite(benchmark::State& state) {
  BuildFrom(state, "body.txt", "text", "quoted-printable");
}

// The parser may blank escaped quotes in its text, so every list is copied first, as a caller has
// to.
void ParseAddresses(benchmark::State& state, const char* file) {
  const std::vector<std::string> lists = bench::ReadTexts(DataDirectory() / file);
  std::string scratch;
  RecipTbl table = {};
  std::int64_t addresses = 0;
  for (auto _ : state) {
    for (const std::string& text : lists) {
      scratch = text;
      addresses += RecipParse(scratch.data(), &table, 1);
      Clear_RT(&table);
    }
  }
  state.SetItemsProcessed(addresses);
}

void AddressesMixed(benchmark::State& state) { ParseAddresses(state, "addresses-mixed.txt"); }
void AddressesPlain(benchmark::State& state) { ParseAddresses(state, "addresses-plain.txt"); }

void ConvertWords(benchmark::State& state, const std::vector<std::string>& texts,
                  char* (*convert)(const char*)) {
  for (auto _ : state) {
    for (const std::string& text : texts) {
      char* result = convert(text.c_str());
      benchmark::DoNotOptimize(result);
      free(result);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}

void WordsDecodeExported(benchmark::State& state) {
  ConvertWords(state, bench::ReadTexts(DataDirectory() / "words-encoded.txt"), rfc1522decoding);
}

void WordsEncodeExported(benchmark::State& state) {
  std::vector<std::string> texts;
  for (const bench::EightBitText& text :
       bench::ReadEightBitTexts(DataDirectory() / "words-8bit.txt")) {
    texts.push_back(text.local);
  }
  ConvertWords(state, texts, rfc1522encoding);
}

void Dates(benchmark::State& state) {
  const std::vector<std::string> texts = bench::ReadTexts(DataDirectory() / "dates.txt");
  for (auto _ : state) {
    for (const std::string& text : texts) {
      UtcDate* date = nullptr;
      if (rfc2UTC(text.c_str(), &date) != 1) throw std::runtime_error("no date: " + text);
      free(date);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}

BENCHMARK(ParseMixed)->Name("parse_mixed")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ParseBig)->Name("parse_big")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ExtractMixed)->Name("extract_mixed")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ExtractBig)->Name("extract_big")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Lines)->Name("lines")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Uudecode)->Name("uudecode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BinHex)->Name("binhex")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AddressesMixed)->Name("addresses_mixed")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AddressesPlain)->Name("addresses_plain")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WordsDecodeExported)
    ->Name("words_decode_exported")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(WordsEncodeExported)
    ->Name("words_encode_exported")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Base64Write)->Name("base64_write")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(QuotedPrintableWrite)
    ->Name("quoted_printable_write")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Dates)->Name("dates")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  const bench::Site site;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
