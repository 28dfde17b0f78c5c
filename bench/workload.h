// The workload both sides are measured on: messages, address lists, header texts, dates and encoded
// files.
//
// Everything follows from the seed alone. Messages are realistic in shape (trace fields, folded
// headers, encoded words, nested multiparts, attachments, encapsulated messages) and have CR LF
// line ends.
#pragma once
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

inline constexpr std::uint64_t kSeed = 0x716F6233;
inline constexpr std::size_t kMixedMessages = 2000;
inline constexpr std::size_t kBigMessageBytes = 200'000'000;
inline constexpr std::size_t kCodecFileBytes = 100'000'000;   // lines, uuencode and BinHex files
inline constexpr std::size_t kMemoryCodecBytes = 16'000'000;  // base64 and quoted-printable text

// Message number `index` of the mixed set.
std::string MixedMessage(std::size_t index);
std::string BigMessage();
// Address lists, one per element, `per_list` addresses each. Plain: bare addr-specs; mixed:
// phrases, quotes, comments, words.
std::vector<std::string> AddressLists(bool mixed, std::size_t lists, std::size_t per_list);
// Header values with encoded words, as they stand in messages.
std::vector<std::string> EncodedHeaders(std::size_t count);
// A header value as a writer hands it over: in a charset, and the same in UTF-8.
struct EightBitText {
  std::string charset;
  std::string local;
  std::string utf8;
};
std::vector<EightBitText> EightBitHeaders(std::size_t count);
std::vector<std::string> DateTexts(std::size_t count);
// Lines of 20 to 100 bytes, line end included.
std::string TextLines(std::size_t bytes);
// Encoded text of about `bytes` bytes.
std::string Base64Sample(std::size_t bytes);
std::string QuotedPrintableSample(std::size_t bytes);
// The two file formats with their own framing, about `bytes` bytes.
std::string UuSample(std::size_t bytes);
std::string BinHexSample(std::size_t bytes);

// Writes all of it below `directory` (mixed/00000.eml .., big.eml, *.txt, sample.uu, sample.hqx)
// and a stamp; does nothing when the stamp of the same version stands there already.
void WriteWorkload(const std::filesystem::path& directory);

// The bodies and Japanese texts of the writing rows (body.bin, body.txt, shift_jis.txt, jis.txt), with
// a stamp of their own.
void WriteWritingSamples(const std::filesystem::path& directory);

// One element per line of a file that WriteWorkload made; an element's own folds are kept as "\r\n
// " by an escape.
std::vector<std::string> ReadTexts(const std::filesystem::path& file);
std::vector<EightBitText> ReadEightBitTexts(const std::filesystem::path& file);
std::string ReadWhole(const std::filesystem::path& file);
// The mixed set's paths in order.
std::vector<std::string> MixedPaths(const std::filesystem::path& directory);

// Where the data lies: $QOB_BENCH_DATA, which compare sets; and where both sides write:
// $QOB_BENCH_OUT.
std::filesystem::path DataDirectory();
std::filesystem::path OutputDirectory();

}  // namespace bench
