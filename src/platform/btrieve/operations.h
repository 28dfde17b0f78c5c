// The operations of the record manager, one function each. They work on a loaded position block and
// leave it changed as the operation says; nothing of them knows where the block came from.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/btrieve/block.h"
#include "platform/store/record_file.h"

namespace qob::btrieve {

// What a caller handed in. data: null and 0 bytes where the caller gave no buffer or no length.
struct Arguments {
  std::span<std::byte> data;
  const char* key = nullptr;
  std::uint8_t key_length = 0;
  std::int8_t key_number = 0;
};

// What an operation gives back: the status, and on success how many bytes of the data buffer count.
struct Outcome {
  store::Status status = store::kOk;
  std::size_t used = 0;
};

Outcome Create(const Arguments& in);
// Makes the block anew; on failure it is left as it was.
Outcome Open(const Arguments& in, std::uint32_t process, Block* block);

Outcome Insert(store::RecordFile& file, const Arguments& in, Block* block);
Outcome Update(store::RecordFile& file, const Arguments& in, Block* block);
Outcome Delete(store::RecordFile& file, const Arguments& in, Block* block);
Outcome Get(store::RecordFile& file, store::Seek seek, const Arguments& in, Block* block);
Outcome GetNext(store::RecordFile& file, const Arguments& in, Block* block);
Outcome GetPosition(const Arguments& in, const Block& block);
Outcome GetDirect(store::RecordFile& file, const Arguments& in, Block* block);
Outcome Stat(store::RecordFile& file, const Arguments& in);

}  // namespace qob::btrieve
