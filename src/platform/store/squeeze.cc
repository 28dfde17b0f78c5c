#include "platform/store/squeeze.h"

#include <algorithm>
#include <cstring>

#include "platform/store/crc32c.h"
#include "platform/store/little_endian.h"

namespace qob::store {
namespace {

constexpr std::size_t kChecksumBytes = 4;
// A shorter run costs less among the bytes around it than the two counts of a new piece.
constexpr std::size_t kShortestRun = 4;

std::uint32_t Checksum(std::span<const std::byte> pieces, std::int64_t number) {
  std::byte digits[8];
  StoreLittle(static_cast<std::uint64_t>(number), digits);
  return Crc32c(Crc32c(0, pieces), digits);
}

std::size_t ZerosFrom(std::span<const std::byte> record, std::size_t at) {
  const std::size_t from = at;
  for (; record.size() - at >= 8; at += 8) {
    std::uint64_t word;
    std::memcpy(&word, record.data() + at, 8);
    if (word != 0) break;
  }
  while (at < record.size() && record[at] == std::byte{0}) ++at;
  return at - from;
}

// Where the bytes that begin at `at` give way to a run worth squeezing, or to the end.
std::size_t EndOfBytes(std::span<const std::byte> record, std::size_t at) {
  while (at < record.size()) {
    const void* zero = std::memchr(record.data() + at, 0, record.size() - at);
    if (zero == nullptr) return record.size();
    at = static_cast<std::size_t>(static_cast<const std::byte*>(zero) - record.data());
    const std::size_t run = ZerosFrom(record, at);
    if (run >= kShortestRun || at + run == record.size()) return at;
    at += run;
  }
  return at;
}

char* PutCount(std::size_t count, char* to) {
  for (; count >= 0x80; count >>= 7) *to++ = static_cast<char>((count & 0x7F) | 0x80);
  *to++ = static_cast<char>(count);
  return to;
}

// False at the end of the bytes or for a count of more than 28 bits.
bool TakeCount(std::span<const std::byte>* from, std::size_t* count) {
  *count = 0;
  for (std::size_t i = 0; i < 4 && i < from->size(); ++i) {
    const auto byte = std::to_integer<std::size_t>((*from)[i]);
    *count |= (byte & 0x7F) << (7 * i);
    if (byte < 0x80) {
      *from = from->subspan(i + 1);
      return true;
    }
  }
  return false;
}

}  // namespace

void Squeeze(std::span<const std::byte> record, std::int64_t number, std::string* squeezed) {
  // A run of zeros is at least as long as the two counts of its piece, so only the last piece can
  // be longer than what it stands for.
  constexpr std::size_t kLastCount = 4;
  squeezed->resize(kChecksumBytes + record.size() + kLastCount);
  char* const start = squeezed->data();
  char* to = start + kChecksumBytes;
  for (std::size_t at = 0; at < record.size();) {
    const std::size_t end = EndOfBytes(record, at);
    const std::size_t zeros = ZerosFrom(record, end);
    if (end == at && end + zeros == record.size()) break;
    to = PutCount(end - at, to);
    std::memcpy(to, record.data() + at, end - at);
    to += end - at;
    at = end + zeros;
    if (at < record.size()) to = PutCount(zeros, to);
  }
  const std::span<char> pieces(start + kChecksumBytes, to);
  StoreLittle(Checksum(std::as_bytes(pieces), number), reinterpret_cast<std::byte*>(start));
  squeezed->resize(static_cast<std::size_t>(to - start));
}

bool Unsqueeze(std::span<const std::byte> squeezed, std::int64_t number,
               std::span<std::byte> record) {
  if (squeezed.size() < kChecksumBytes) return false;
  std::span<const std::byte> pieces = squeezed.subspan(kChecksumBytes);
  if (LoadLittle<std::uint32_t>(squeezed.data()) != Checksum(pieces, number)) return false;
  std::byte* to = record.data();
  std::size_t left = record.size();
  while (!pieces.empty()) {
    std::size_t count = 0;
    if (!TakeCount(&pieces, &count) || count > pieces.size() || count > left) return false;
    std::copy_n(pieces.data(), count, to);
    pieces = pieces.subspan(count);
    to += count;
    left -= count;
    if (pieces.empty()) break;
    if (!TakeCount(&pieces, &count) || count > left) return false;
    std::fill_n(to, count, std::byte{0});
    to += count;
    left -= count;
  }
  std::fill_n(to, left, std::byte{0});
  return true;
}

}  // namespace qob::store
