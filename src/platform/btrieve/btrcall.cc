// The one entry point: finds the open file that the caller's block stands for, does the operation,
// writes the block back.
#include <qobplatform/btrcall.h>

#include <new>

#include "platform/btrieve/open_files.h"
#include "platform/btrieve/operations.h"
#include "platform/os/process.h"

namespace qob::btrieve {
namespace {

using store::RecordFile;
using store::Seek;

Outcome OnFile(std::uint16_t operation, RecordFile& file, const Arguments& in, Block* block) {
  switch (operation) {
    case B_INSERT:
      return Insert(file, in, block);
    case B_UPDATE:
      return Update(file, in, block);
    case B_DELETE:
      return Delete(file, in, block);
    case B_GET_EQUAL:
      return Get(file, Seek::kEqual, in, block);
    case B_GET_NEXT:
      return GetNext(file, in, block);
    case B_GET_GREATER:
      return Get(file, Seek::kGreater, in, block);
    case B_GET_GREATER_OR_EQUAL:
      return Get(file, Seek::kGreaterOrEqual, in, block);
    case B_GET_FIRST:
      return Get(file, Seek::kFirst, in, block);
    case B_STAT:
      return Stat(file, in);
    case B_GET_POSITION:
      return GetPosition(in, *block);
    case B_GET_DIRECT:
      return GetDirect(file, in, block);
    default:
      return {store::kNotAllowed};
  }
}

Outcome Operate(std::uint16_t operation, void* position_block, const Arguments& in) {
  if (operation == B_CREATE) return Create(in);
  if (position_block == nullptr) return {store::kNotOpen};
  const std::uint32_t process = os::ProcessId();
  Block block = Block::Load(position_block);
  if (operation == B_OPEN) {
    const Outcome outcome = Open(in, process, &block);
    if (outcome.status == store::kOk) block.Save(position_block);
    return outcome;
  }
  // A block that came over a fork is told by its own bytes: the table's mutex may have been held
  // when the process was copied.
  if (block.magic != kMagic || block.process != process) return {store::kNotOpen};
  OpenFiles* files = OpenFiles::Existing(process);
  if (files == nullptr) return {store::kNotOpen};
  const OpenFiles::Key key{block.slot, block.generation};
  const std::shared_ptr<RecordFile> file =
      operation == B_CLOSE ? files->Remove(key) : files->Get(key);
  if (file == nullptr) return {store::kNotOpen};
  if (operation == B_CLOSE) return {};
  const Outcome outcome = OnFile(operation, *file, in, &block);
  block.Save(position_block);
  return outcome;
}

}  // namespace
}  // namespace qob::btrieve

extern "C" QOBPLATAPI std::int16_t BTRCALL(std::uint16_t operation, void* positionBlock,
                                           void* dataBuffer, std::uint32_t* dataLength,
                                           void* keyBuffer, std::uint8_t keyLength,
                                           std::int8_t keyNumber) {
  namespace btrieve = qob::btrieve;
  btrieve::Arguments in;
  if (dataBuffer != nullptr && dataLength != nullptr) {
    in.data = {static_cast<std::byte*>(dataBuffer), *dataLength};
  }
  in.key = static_cast<const char*>(keyBuffer);
  in.key_length = keyLength;
  in.key_number = keyNumber;
  try {
    const btrieve::Outcome outcome = btrieve::Operate(operation, positionBlock, in);
    if (outcome.status == qob::store::kOk && dataLength != nullptr) {
      *dataLength = static_cast<std::uint32_t>(outcome.used);
    }
    return static_cast<std::int16_t>(outcome.status);
  } catch (const std::bad_alloc&) {
    return qob::store::kNoMemory;
  } catch (...) {
    return qob::store::kIoError;
  }
}
