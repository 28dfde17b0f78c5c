// GMime's side of the comparison.
//
// Streams are GMimeStreamFs with the parser's defaults (content kept as ranges of the open file),
// which is its fastest way of reading files. Everything made is released inside the measured time,
// as on our side.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <gmime/gmime.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "workload.h"

namespace {

using bench::DataDirectory;

// The block in which content is handed to a filter in memory.
constexpr std::size_t kFilterBlock = 65536;

GMimeMessage* ParseFile(const std::string& path) {
  GMimeStream* stream = g_mime_stream_fs_open(path.c_str(), O_RDONLY, 0, nullptr);
  if (stream == nullptr) throw std::runtime_error("cannot open " + path);
  GMimeParser* parser = g_mime_parser_new_with_stream(stream);
  g_object_unref(stream);
  GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
  g_object_unref(parser);
  if (message == nullptr) throw std::runtime_error("cannot parse " + path);
  return message;
}

// Writes one decoded leaf to a file and removes it again.
void ExtractLeaf(GMimeObject* part, const std::string& directory) {
  static std::size_t counter = 0;
  const std::string path = directory + "/PEER" + std::to_string(counter++);
  GMimeDataWrapper* content = g_mime_part_get_content(reinterpret_cast<GMimePart*>(part));
  std::FILE* file = std::fopen(path.c_str(), "wbx");
  if (file == nullptr) throw std::runtime_error("cannot create " + path);
  // A stdio stream with a large buffer was faster here than GMimeStreamFs, which writes every 4096
  // bytes.
  std::setvbuf(file, nullptr, _IOFBF, kFilterBlock);
  GMimeStream* out = g_mime_stream_file_new(file);
  if (content != nullptr && g_mime_data_wrapper_write_to_stream(content, out) < 0) {
    throw std::runtime_error("cannot write " + path);
  }
  g_mime_stream_flush(out);
  g_object_unref(out);
  unlink(path.c_str());
}

void ExtractTree(GMimeObject* top, const std::string& directory) {
  std::vector<GMimeObject*> open = {top};
  while (!open.empty()) {
    GMimeObject* object = open.back();
    open.pop_back();
    if (GMIME_IS_MULTIPART(object)) {
      auto* multipart = reinterpret_cast<GMimeMultipart*>(object);
      for (int i = g_mime_multipart_get_count(multipart); i > 0; --i) {
        open.push_back(g_mime_multipart_get_part(multipart, i - 1));
      }
    } else if (GMIME_IS_MESSAGE_PART(object)) {
      GMimeMessage* message =
          g_mime_message_part_get_message(reinterpret_cast<GMimeMessagePart*>(object));
      if (message != nullptr) open.push_back(g_mime_message_get_mime_part(message));
    } else if (GMIME_IS_PART(object)) {
      ExtractLeaf(object, directory);
    }
  }
}

void ReadMessages(benchmark::State& state, const std::vector<std::string>& paths, bool extract) {
  const std::string directory = bench::OutputDirectory().string();
  std::uintmax_t bytes = 0;
  for (const std::string& path : paths) bytes += std::filesystem::file_size(path);
  for (auto _ : state) {
    for (const std::string& path : paths) {
      GMimeMessage* message = ParseFile(path);
      if (extract) ExtractTree(g_mime_message_get_mime_part(message), directory);
      g_object_unref(message);
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
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

void DecodeWithFilter(benchmark::State& state, const char* file, GMimeContentEncoding encoding) {
  std::string text = bench::ReadWhole(DataDirectory() / file);
  GMimeFilter* filter = g_mime_filter_basic_new(encoding, FALSE);
  for (auto _ : state) {
    g_mime_filter_reset(filter);
    for (std::size_t at = 0; at < text.size(); at += kFilterBlock) {
      char* out = nullptr;
      std::size_t size = 0;
      std::size_t prespace = 0;
      g_mime_filter_filter(filter, text.data() + at, std::min(kFilterBlock, text.size() - at), 0,
                           &out, &size, &prespace);
      benchmark::DoNotOptimize(out);
    }
  }
  g_object_unref(filter);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void Base64(benchmark::State& state) {
  DecodeWithFilter(state, "base64.txt", GMIME_CONTENT_ENCODING_BASE64);
}
void QuotedPrintable(benchmark::State& state) {
  DecodeWithFilter(state, "qp.txt", GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
}

// A body file through an encoding filter to a new file, which is then removed.
void EncodeFile(benchmark::State& state, const char* file, GMimeContentEncoding encoding) {
  const std::string from = (DataDirectory() / file).string();
  const std::string to = bench::OutputDirectory().string() + "/PEER";
  for (auto _ : state) {
    GMimeStream* in = g_mime_stream_fs_open(from.c_str(), O_RDONLY, 0, nullptr);
    std::FILE* target = std::fopen(to.c_str(), "wbx");
    if (in == nullptr || target == nullptr) throw std::runtime_error("cannot open " + from);
    std::setvbuf(target, nullptr, _IOFBF, kFilterBlock);  // as in ExtractLeaf
    GMimeStream* out = g_mime_stream_file_new(target);
    GMimeStream* filtered = g_mime_stream_filter_new(out);
    GMimeFilter* filter = g_mime_filter_basic_new(encoding, TRUE);
    g_mime_stream_filter_add(reinterpret_cast<GMimeStreamFilter*>(filtered), filter);
    if (g_mime_stream_write_to_stream(in, filtered) < 0 || g_mime_stream_flush(filtered) < 0) {
      throw std::runtime_error("cannot encode " + from);
    }
    g_object_unref(filter);
    g_object_unref(filtered);
    g_object_unref(out);
    g_object_unref(in);
    unlink(to.c_str());
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(std::filesystem::file_size(from)));
}

void Base64Write(benchmark::State& state) {
  EncodeFile(state, "body.bin", GMIME_CONTENT_ENCODING_BASE64);
}
void QuotedPrintableWrite(benchmark::State& state) {
  EncodeFile(state, "body.txt", GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
}

void ParseAddresses(benchmark::State& state, const char* file) {
  const std::vector<std::string> lists = bench::ReadTexts(DataDirectory() / file);
  std::int64_t addresses = 0;
  for (auto _ : state) {
    for (const std::string& text : lists) {
      InternetAddressList* list = internet_address_list_parse(nullptr, text.c_str());
      addresses += internet_address_list_length(list);
      g_object_unref(list);
    }
  }
  state.SetItemsProcessed(addresses);
}

void AddressesMixed(benchmark::State& state) { ParseAddresses(state, "addresses-mixed.txt"); }
void AddressesPlain(benchmark::State& state) { ParseAddresses(state, "addresses-plain.txt"); }

void WordsDecode(benchmark::State& state) {
  const std::vector<std::string> texts = bench::ReadTexts(DataDirectory() / "words-encoded.txt");
  for (auto _ : state) {
    for (const std::string& text : texts) {
      char* result = g_mime_utils_header_decode_text(nullptr, text.c_str());
      benchmark::DoNotOptimize(result);
      g_free(result);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}

void WordsEncode(benchmark::State& state) {
  const std::vector<bench::EightBitText> texts =
      bench::ReadEightBitTexts(DataDirectory() / "words-8bit.txt");
  for (auto _ : state) {
    for (const bench::EightBitText& text : texts) {
      char* result =
          g_mime_utils_header_encode_text(nullptr, text.utf8.c_str(), text.charset.c_str());
      benchmark::DoNotOptimize(result);
      g_free(result);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}

void Dates(benchmark::State& state) {
  const std::vector<std::string> texts = bench::ReadTexts(DataDirectory() / "dates.txt");
  for (auto _ : state) {
    for (const std::string& text : texts) {
      GDateTime* date = g_mime_utils_header_decode_date(text.c_str());
      if (date == nullptr) throw std::runtime_error("no date: " + text);
      g_date_time_unref(date);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}

BENCHMARK(ParseMixed)->Name("parse_mixed")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ParseBig)->Name("parse_big")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ExtractMixed)->Name("extract_mixed")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ExtractBig)->Name("extract_big")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Base64)->Name("base64")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(QuotedPrintable)->Name("quoted_printable")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Base64Write)->Name("base64_write")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(QuotedPrintableWrite)
    ->Name("quoted_printable_write")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AddressesMixed)->Name("addresses_mixed")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AddressesPlain)->Name("addresses_plain")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WordsDecode)->Name("words_decode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WordsEncode)->Name("words_encode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Dates)->Name("dates")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  g_mime_init();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  g_mime_shutdown();
  return 0;
}
