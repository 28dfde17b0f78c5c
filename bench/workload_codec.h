// The encoders of the workload generator: base64, quoted-printable, uuencode, BinHex and encoded
// words.
//
// They are the generator's own and share nothing with the library, so that what is measured never
// wrote its own input.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace bench {

// A small deterministic generator of numbers (splitmix64): the same seed gives the same bytes on
// every machine.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next();
  // 0 .. bound - 1.
  std::size_t Below(std::size_t bound);
  // low .. high, both included, small ones more frequent: the logarithm is spread evenly.
  std::size_t LogBetween(std::size_t low, std::size_t high);
  bool Percent(std::size_t share) { return Below(100) < share; }
  std::string Bytes(std::size_t count);

 private:
  std::uint64_t state_;
};

// Lines of 76 characters, each with CR LF.
std::string Base64Lines(std::string_view bytes);
// The same without any line end, as encoded words have it.
std::string Base64Text(std::string_view bytes);
// Text with CR LF line ends; lines of at most 76 characters, soft breaks where needed.
std::string QuotedPrintable(std::string_view text);
// One uuencoded block with begin and end line.
std::string UuBlock(std::string_view name, std::string_view bytes);
// One BinHex 4.0 stream with its marker line; data fork only.
std::string BinHexStream(std::string_view name, std::string_view data);
// Text whose characters all are within ISO-8859-1.
std::string ToLatin1(std::string_view utf8);
// =?charset?Q?..?= or =?charset?B?..?=, one word.
std::string EncodedWord(std::string_view charset, std::string_view text, bool base64);

}  // namespace bench
