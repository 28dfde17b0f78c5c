// Our side of the comparison where the public interface has no such call: decoders in memory, and
// encoded words with the configuration handed in. Linked with the static core.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "charset/base64_decoder.h"
#include "charset/header_encoder.h"
#include "charset/jis_to_shift_jis.h"
#include "charset/quoted_printable_decoder.h"
#include "charset/shift_jis_to_jis.h"
#include "charset/word_decoder.h"
#include "workload.h"

namespace {

using bench::DataDirectory;

// The block in which text is handed to the decoders, the same as on the peer's side.
constexpr std::size_t kBlock = 65536;

template <typename Decoder, typename Feed>
void DecodeInMemory(benchmark::State& state, const char* file, Feed feed) {
  const std::string text = bench::ReadWhole(DataDirectory() / file);
  std::vector<char> out(Decoder::Room(kBlock));
  for (auto _ : state) {
    Decoder decoder;
    for (std::size_t at = 0; at < text.size(); at += kBlock) {
      feed(&decoder, std::string_view(text).substr(at, kBlock), out.data());
      benchmark::DoNotOptimize(out.data());
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void Base64(benchmark::State& state) {
  DecodeInMemory<qob::Base64Decoder>(
      state, "base64.txt", [](qob::Base64Decoder* decoder, std::string_view in, char* out) {
        std::size_t written = 0;
        decoder->Feed(in, out, &written);
      });
}

void QuotedPrintable(benchmark::State& state) {
  DecodeInMemory<qob::QuotedPrintableDecoder>(
      state, "qp.txt", [](qob::QuotedPrintableDecoder* decoder, std::string_view in, char* out) {
        decoder->Feed(in, out);
      });
}

template <typename Text, typename Convert>
void ConvertWords(benchmark::State& state, const std::vector<Text>& texts, Convert convert) {
  for (auto _ : state) {
    for (const Text& text : texts) {
      const std::string result = convert(text);
      benchmark::DoNotOptimize(result.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(texts.size()));
}

void WordsDecode(benchmark::State& state) {
  const qob::DecodingSettings settings{"ISO-8859-1", true};
  ConvertWords(state, bench::ReadTexts(DataDirectory() / "words-encoded.txt"),
               [&](const std::string& text) { return qob::DecodeWords(text, settings); });
}

// A text in its own charset and the settings that go with it.
struct WriterText {
  std::string local;
  qob::EncodingSettings settings;
};

std::vector<WriterText> WriterTexts() {
  std::vector<WriterText> texts;
  for (const bench::EightBitText& text :
       bench::ReadEightBitTexts(DataDirectory() / "words-8bit.txt")) {
    texts.push_back({text.local, {}});
    texts.back().settings.charset = text.charset;
  }
  return texts;
}

// Free text, as the peer's call takes it.
void WordsEncode(benchmark::State& state) {
  ConvertWords(state, WriterTexts(), [](const WriterText& text) {
    return qob::EncodeHeaderText(text.local, text.settings);
  });
}

// The same after asking whether the value is one address, as the exported call does.
void WordsEncodeValue(benchmark::State& state) {
  ConvertWords(state, WriterTexts(), [](const WriterText& text) {
    return qob::EncodeHeaderValue(text.local, text.settings);
  });
}

// convert(reader, writer) from a file to a new one, which is then removed.
template <typename Convert>
void ConvertFile(benchmark::State& state, const char* file, Convert convert) {
  const std::string from = (DataDirectory() / file).string();
  const std::string to = (bench::OutputDirectory() / "ours.txt").string();
  for (auto _ : state) {
    qob::LineReader reader;
    qob::FileWriter writer;
    if (!reader.Open(from.c_str()) || !writer.Create(to.c_str()) || !convert(reader, writer) ||
        !writer.Close()) {
      throw std::runtime_error(std::string("cannot convert ") + file);
    }
    std::filesystem::remove(to);
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(std::filesystem::file_size(from)));
}

void ShiftJisToJis(benchmark::State& state) {
  ConvertFile(state, "shift_jis.txt", [](qob::LineReader& in, qob::FileWriter& out) {
    return qob::ShiftJisToJis(in, std::nullopt, out);
  });
}
void JisToShiftJis(benchmark::State& state) {
  ConvertFile(state, "jis.txt", [](qob::LineReader& in, qob::FileWriter& out) {
    return qob::JisToShiftJis(in, INT64_MAX, true, out);
  });
}

BENCHMARK(ShiftJisToJis)->Name("shift_jis_to_jis")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(JisToShiftJis)->Name("jis_to_shift_jis")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Base64)->Name("base64")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(QuotedPrintable)->Name("quoted_printable")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WordsDecode)->Name("words_decode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WordsEncode)->Name("words_encode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WordsEncodeValue)
    ->Name("words_encode_value")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
