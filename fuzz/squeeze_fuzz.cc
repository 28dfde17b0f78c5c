// Records squeezed and read again: any record comes back as it was, and any pieces behind a
// checksum that fits are read as a plain reader reads them, or refused where it refuses them.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/store/crc32c.h"
#include "platform/store/squeeze.h"
#include "support/exact_copy.h"

namespace {

using Bytes = std::span<const std::byte>;

Bytes BytesOf(std::string_view text) { return std::as_bytes(std::span(text.data(), text.size())); }

void RoundTrip(Bytes record, std::int64_t number) {
  std::string squeezed;
  qob::store::Squeeze(record, number, &squeezed);
  const qob::testing::ExactCopy copy(squeezed);
  const Bytes bytes = BytesOf(copy.view());
  std::vector<std::byte> again(record.size(), std::byte{0x5A});
  if (!qob::store::Unsqueeze(bytes, number, again)) std::abort();
  if (!std::equal(again.begin(), again.end(), record.begin())) std::abort();
  if (qob::store::Unsqueeze(bytes, number + 1, again)) std::abort();
}

// As the format's table says, byte by byte. False for what is no squeezed record of that length.
bool ReadPlainly(std::string_view pieces, std::size_t length, std::string* record) {
  record->clear();
  std::size_t at = 0;
  for (bool zeros = false; at < pieces.size(); zeros = !zeros) {
    std::size_t count = 0;
    int shift = 0;
    for (;; shift += 7) {
      if (at == pieces.size() || shift > 21) return false;
      const auto byte = static_cast<unsigned char>(pieces[at++]);
      count |= static_cast<std::size_t>(byte & 0x7F) << shift;
      if (byte < 0x80) break;
    }
    if (count > length - record->size()) return false;
    if (!zeros && count > pieces.size() - at) return false;
    record->append(zeros ? std::string(count, '\0') : std::string(pieces.substr(at, count)));
    if (!zeros) at += count;
  }
  record->resize(length);
  return true;
}

void ReadAny(std::string_view pieces, std::size_t length) {
  constexpr std::byte kSeven[8] = {std::byte{7}};
  const std::uint32_t sum = qob::store::Crc32c(qob::store::Crc32c(0, BytesOf(pieces)), kSeven);
  std::string sealed;
  for (int i = 0; i < 4; ++i) sealed += static_cast<char>(sum >> (8 * i));
  sealed += pieces;
  const qob::testing::ExactCopy copy(sealed);
  std::vector<std::byte> record(length);
  const bool good = qob::store::Unsqueeze(BytesOf(copy.view()), 7, record);
  std::string expected;
  if (good != ReadPlainly(pieces, length, &expected)) std::abort();
  if (good && !std::ranges::equal(record, BytesOf(expected))) std::abort();
}

}  // namespace

// Bytes 0 and 1: the length of the record that the rest is read as.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > 1 << 16) return 0;
  const std::size_t length = static_cast<std::size_t>(data[0]) | std::size_t{data[1]} << 8;
  const qob::testing::ExactCopy rest({reinterpret_cast<const char*>(data) + 2, size - 2});
  RoundTrip(BytesOf(rest.view()), static_cast<std::int64_t>(length));
  ReadAny(rest.view(), length);
  std::vector<std::byte> record(length);
  qob::store::Unsqueeze(BytesOf(rest.view()), 7, record);
  return 0;
}
