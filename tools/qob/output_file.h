// Files as a whole: read block by block, and handed on to where --output says.
#ifndef TOOLS_QOB_OUTPUT_FILE_H
#define TOOLS_QOB_OUTPUT_FILE_H

#include <array>
#include <string>
#include <string_view>

#include "arguments.h"
#include "system.h"

namespace cli {

// "b" of "a/b"; the whole of a name without a slash.
std::string LastComponent(const std::string& path);

// Hands a file to a function block by block; false when it cannot be read or the function gives up.
template <typename Take>
bool ForEachBlock(const std::string& path, Take take) {
  constexpr std::size_t kBlockBytes = 65536;
  sys::File file = sys::File::OpenToRead(path);
  std::array<char, kBlockBytes> block;
  std::ptrdiff_t got = file ? 1 : -1;
  while (got > 0) {
    got = file.Read(block.data(), block.size());
    if (got > 0 && !take(std::string_view(block.data(), static_cast<std::size_t>(got))))
      return false;
  }
  return got == 0;
}

// The file at source becomes the one that --output names, which --force lets take the place of
// another; without --output, or with -, its bytes go to standard output. Throws Failure.
void DeliverOutput(const std::string& source, const Arguments& arguments);

}  // namespace cli

#endif
