// Just enough of AppleSingle to hand a plain file to the BinHex encoder, and to tell an AppleSingle
// file from others.
#ifndef TOOLS_QOB_APPLESINGLE_H
#define TOOLS_QOB_APPLESINGLE_H

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

bool IsAppleSingle(std::string_view first_bytes);

struct MacFile {
  std::string name;
  std::string type;     // four characters
  std::string creator;  // four characters
  std::uint32_t data_bytes = 0;
};

// What stands in an AppleSingle file before and behind the data fork.
std::string AppleSingleHead(const MacFile& file);
std::string AppleSingleTail(const MacFile& file);

}  // namespace cli

#endif
