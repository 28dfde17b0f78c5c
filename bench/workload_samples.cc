// The samples: lists, header values, dates, lines and encoded files.
#include "workload.h"
#include "workload_values.h"

namespace bench {

std::vector<std::string> AddressLists(bool mixed, std::size_t lists, std::size_t per_list) {
  Random random(kSeed + (mixed ? 2 : 3));
  std::vector<std::string> out;
  for (; lists > 0; --lists) out.push_back(AddressList(&random, per_list, mixed, ", "));
  return out;
}

std::vector<std::string> EncodedHeaders(std::size_t count) {
  Random random(kSeed + 4);
  std::vector<std::string> out;
  for (; count > 0; --count) out.push_back(EncodedText(&random));
  return out;
}

std::vector<EightBitText> EightBitHeaders(std::size_t count) {
  Random random(kSeed + 5);
  std::vector<EightBitText> out;
  for (; count > 0; --count) out.push_back(EightBitHeader(&random));
  return out;
}

std::vector<std::string> DateTexts(std::size_t count) {
  Random random(kSeed + 6);
  std::vector<std::string> out;
  for (; count > 0; --count) out.push_back(DateText(&random));
  return out;
}

std::string TextLines(std::size_t bytes) {
  Random random(kSeed + 7);
  std::string out;
  out.reserve(bytes + 128);
  while (out.size() < bytes) {
    const std::size_t length = 20 + random.Below(81);
    const std::size_t end = out.size() + length - 2;
    while (out.size() < end) {
      out += CommonWord(&random);
      out.push_back(' ');
    }
    out.resize(end);
    out += "\r\n";
  }
  return out;
}

std::string Base64Sample(std::size_t bytes) {
  Random random(kSeed + 8);
  return Base64Lines(random.Bytes(bytes / 78 * 57));
}

std::string QuotedPrintableSample(std::size_t bytes) {
  Random random(kSeed + 9);
  return QuotedPrintable(Paragraphs(&random, bytes * 9 / 10, true));
}

std::string UuSample(std::size_t bytes) {
  Random random(kSeed + 10);
  return UuBlock("sample.bin", random.Bytes(bytes / 63 * 45));
}

std::string BinHexSample(std::size_t bytes) {
  Random random(kSeed + 11);
  // One kilobyte in sixteen is a run, as programs and pictures have them.
  std::string data;
  const std::size_t wanted = bytes / 66 * 64 / 4 * 3;
  std::size_t packed = 0;
  while (packed < wanted) {
    if (random.Percent(6)) {
      data.append(1024, static_cast<char>(random.Below(64)));
      packed += 15;
    } else {
      data += random.Bytes(1024);
      packed += 1028;
    }
  }
  return BinHexStream("sample", data);
}

}  // namespace bench
