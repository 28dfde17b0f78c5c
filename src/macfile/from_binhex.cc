// BinHex 4.0 text to its two forks, and to an AppleSingle file.
#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "lineio/file_writer.h"
#include "macfile/applesingle.h"
#include "macfile/binhex_decoder.h"
#include "macfile/convert.h"
#include "platform/os/file.h"
#include "util/temp_file.h"

namespace qob {
namespace {

using Block = std::array<char, 64 * 1024>;

// Feeds [offset, offset + size) of the file, or as much of it as there is; false when it cannot be
// read.
bool FeedFrom(os::Handle file, std::int64_t offset, std::int64_t size, Block* block,
              binhex::Decoder* decoder) {
  if (!os::SeekFile(file, offset, os::From::kStart)) return false;
  while (size > 0) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::int64_t>(size, sizeof(Block)));
    const os::Result<std::size_t> got = os::ReadFile(file, block->data(), wanted);
    if (!got) return false;
    if (decoder->Feed({block->data(), got.value}) != binhex::Decoder::Status::kMore) break;
    if (got.value < wanted) break;
    size -= static_cast<std::int64_t>(wanted);
  }
  decoder->Finish();
  return true;
}

// The context of the fork writer below.
struct Output {
  FileWriter file;
  std::uint32_t fork_lengths[2] = {0, 0};
};

// Both forks go to the same file, one behind the other.
extern "C" int32_t WriteFork(void* context, const void* buffer, uint32_t count, uint32_t* total) {
  Output* output = static_cast<Output*>(context);
  if (!output->file.Write({static_cast<const char*>(buffer), count})) return -1;
  *total += count;
  return 0;
}

// False also for forks that an AppleSingle file's 32-bit offsets cannot hold.
bool WriteRest(const binhex::Header& header, FileWriter* file) {
  constexpr std::uint64_t kOffsetLimit = 0xFFFFFFFF;
  if (std::uint64_t{applesingle::kWrittenHeaderSize} + header.data_length + header.resource_length +
          header.name.size() >
      kOffsetLimit) {
    return false;
  }
  file->Write(header.name);
  file->Write(applesingle::MakeFinderInfo({header.type, header.creator, 0}));
  if (!file->Flush() || !os::SeekFile(file->handle(), 0, os::From::kStart)) return false;
  file->Write(applesingle::MakeHeader(header.data_length, header.resource_length,
                                      static_cast<std::uint32_t>(header.name.size())));
  return file->Close();
}

}  // namespace

bool SplitForks(const BinHexText& text, const binhex::ForkWriters& writers,
                binhex::Header* header) {
  const os::Result<os::Handle> opened = os::OpenFile(text.path, {.sequential = true});
  if (!opened) return false;
  const os::FileHandle file(opened.value);
  const auto block = std::make_unique<Block>();
  auto decoder = std::make_unique<binhex::Decoder>(writers);
  if (!FeedFrom(file.get(), text.offset, text.size, block.get(), decoder.get())) return false;
  const std::int64_t stray = decoder->stray_colon();
  if (stray >= 0) {
    decoder = std::make_unique<binhex::Decoder>(writers);
    if (!FeedFrom(file.get(), text.offset + stray, text.size - stray, block.get(), decoder.get())) {
      return false;
    }
  }
  if (decoder->Finish() != binhex::Decoder::Status::kDone) return false;
  *header = decoder->header();
  return true;
}

AppleSingleResult BinHexToAppleSingle(const BinHexText& text) {
  TempFile output(TempName("binhex"));
  Output forks;
  if (!output || !forks.file.Create(output.path().c_str())) return {};
  forks.file.Write(applesingle::MakeHeader(0, 0, 0));
  binhex::Header header;
  if (!SplitForks(text, {&forks, &WriteFork, &WriteFork}, &header)) return {};
  AppleSingleResult result;
  result.name.reset(HeapCopy(header.name));
  if (!result.name || !WriteRest(header, &forks.file)) return {};
  result.path.reset(output.HandOut());
  if (!result.path) return {};
  return result;
}

}  // namespace qob
