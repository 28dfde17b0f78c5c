// AppleSingle file to BinHex 4.0 text.
#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "lineio/file_writer.h"
#include "macfile/applesingle.h"
#include "macfile/big_endian.h"
#include "macfile/binhex_encoder.h"
#include "macfile/convert.h"
#include "macfile/crc16.h"
#include "platform/os/file.h"
#include "util/temp_file.h"

namespace qob {
namespace {

using applesingle::Entries;
using applesingle::Entry;
using Block = std::array<char, 64 * 1024>;

void AddCrc(const Crc16& crc, binhex::Encoder* encoder) {
  std::string bytes;
  AppendBigEndian16(&bytes, crc.value());
  encoder->Add(bytes);
}

// An entry of length 0 is no name.
bool ReadName(os::Handle file, const Entry& entry, std::string_view fallback, std::string* name) {
  if (!applesingle::ReadEntry(file, entry, binhex::kNameLimit, name)) return false;
  if (name->empty()) *name = fallback.substr(0, binhex::kNameLimit);
  return !name->empty();
}

bool MakeHeader(os::Handle file, const Entries& entries, std::string_view fallback_name,
                std::string* header) {
  std::string name;
  std::string finder;
  if (!ReadName(file, entries.real_name, fallback_name, &name) ||
      !applesingle::ReadEntry(file, entries.finder_info, applesingle::kFinderInfoSize, &finder)) {
    return false;
  }
  const applesingle::FinderInfo info = applesingle::ParseFinderInfo(finder);
  header->push_back(static_cast<char>(name.size()));
  header->append(name);
  header->push_back('\0');  // version
  AppendBigEndian32(header, info.type);
  AppendBigEndian32(header, info.creator);
  AppendBigEndian16(header, info.flags);
  AppendBigEndian32(header, entries.data_fork.length);
  AppendBigEndian32(header, entries.resource_fork.length);
  return true;
}

void EncodeHeader(std::string_view header, binhex::Encoder* encoder) {
  Crc16 crc;
  crc.Update(header);
  encoder->Add(header);
  AddCrc(crc, encoder);
  encoder->EndSection();
}

bool EncodeFork(os::Handle file, const Entry& fork, Block* block, binhex::Encoder* encoder) {
  Crc16 crc;
  std::size_t left = fork.length;
  if (left > 0 && !os::SeekFile(file, fork.offset, os::From::kStart)) return false;
  while (left > 0) {
    const std::size_t wanted = std::min(left, block->size());
    const os::Result<std::size_t> got = os::ReadFile(file, block->data(), wanted);
    if (!got || got.value != wanted) return false;
    const std::string_view bytes(block->data(), wanted);
    crc.Update(bytes);
    encoder->Add(bytes);
    left -= wanted;
  }
  encoder->EndSection();
  AddCrc(crc, encoder);
  encoder->EndSection();
  return true;
}

}  // namespace

HeapText AppleSingleToBinHex(const char* path, std::string_view fallback_name) {
  TempFile output(TempName("binhex"));
  if (!output) return nullptr;
  const os::Result<os::Handle> opened = os::OpenFile(path, {.sequential = true});
  if (!opened) return nullptr;
  const os::FileHandle input(opened.value);
  Entries entries;
  std::string header;
  if (!applesingle::ReadEntries(input.get(), &entries) ||
      !MakeHeader(input.get(), entries, fallback_name, &header)) {
    return nullptr;
  }
  const auto block = std::make_unique<Block>();
  FileWriter writer;
  if (!writer.Create(output.path().c_str())) return nullptr;
  binhex::Encoder encoder(&writer);
  encoder.Begin();
  EncodeHeader(header, &encoder);
  if (!EncodeFork(input.get(), entries.data_fork, block.get(), &encoder) ||
      !EncodeFork(input.get(), entries.resource_fork, block.get(), &encoder)) {
    return nullptr;
  }
  encoder.Finish();
  if (!writer.Close()) return nullptr;
  return HeapText(output.HandOut());
}

}  // namespace qob
