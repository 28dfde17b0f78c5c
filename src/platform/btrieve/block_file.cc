#include "platform/btrieve/block_file.h"

#include "platform/btrieve/block.h"
#include "platform/btrieve/open_files.h"
#include "platform/os/process.h"

namespace qob::btrieve {

std::shared_ptr<store::RecordFile> FileBehind(const void* position_block) {
  const Block block = Block::Load(position_block);
  const std::uint32_t process = os::ProcessId();
  if (block.magic != kMagic || block.process != process) return nullptr;
  OpenFiles* files = OpenFiles::Existing(process);
  return files == nullptr ? nullptr : files->Get({block.slot, block.generation});
}

}  // namespace qob::btrieve
