// BinHex text from memory: whole and in pieces it must give the same forks or the same refusal.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "macfile/binhex_decoder.h"

namespace {

using qob::binhex::Decoder;

// The format expands up to a hundredfold; more than this is not looked at.
constexpr std::uint32_t kForkLimit = 1 << 20;

struct Forks {
  std::string data;
  std::string resource;
};

int32_t Take(std::string* fork, const void* buffer, uint32_t count, uint32_t* total) {
  if (*total != fork->size()) std::abort();
  if (count > kForkLimit - *total) return -1;
  fork->append(static_cast<const char*>(buffer), count);
  *total += count;
  return 0;
}
extern "C" int32_t TakeData(void* context, const void* buffer, uint32_t count, uint32_t* total) {
  return Take(&static_cast<Forks*>(context)->data, buffer, count, total);
}
extern "C" int32_t TakeResource(void* context, const void* buffer, uint32_t count,
                                uint32_t* total) {
  return Take(&static_cast<Forks*>(context)->resource, buffer, count, total);
}

struct Outcome {
  Decoder::Status status;
  Forks forks;
};

Outcome Decode(std::string_view text, std::size_t piece) {
  Outcome outcome;
  const auto decoder =
      std::make_unique<Decoder>(qob::binhex::ForkWriters{&outcome.forks, &TakeData, &TakeResource});
  while (!text.empty() && decoder->Feed(text.substr(0, piece)) == Decoder::Status::kMore) {
    text.remove_prefix(std::min(piece, text.size()));
  }
  outcome.status = decoder->Finish();
  if (outcome.status == Decoder::Status::kDone) {
    const qob::binhex::Header& header = decoder->header();
    if (header.data_length != outcome.forks.data.size() ||
        header.resource_length != outcome.forks.resource.size()) {
      std::abort();
    }
  }
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t piece = 1 + data[0] % 70;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  const Outcome whole = Decode(text, size);
  const Outcome pieces = Decode(text, piece);
  if (whole.status != pieces.status) std::abort();
  if (whole.status == Decoder::Status::kDone &&
      (whole.forks.data != pieces.forks.data || whole.forks.resource != pieces.forks.resource)) {
    std::abort();
  }
  return 0;
}
