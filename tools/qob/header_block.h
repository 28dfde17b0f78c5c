// A header block as it stands in a file: its fields one by one, for what the library's record does
// not keep.
#ifndef TOOLS_QOB_HEADER_BLOCK_H
#define TOOLS_QOB_HEADER_BLOCK_H

#include <string>
#include <string_view>
#include <vector>

namespace cli {

struct HeaderField {
  std::string name;   // as written, without the colon; "" for a line that is no field
  std::string value;  // unfolded: the line ends are gone, the white space behind them stays
};

// The fields up to the first empty line. Lines of queue envelopes ("#F", "#R") are left out.
std::vector<HeaderField> FieldsOf(std::string_view block);

}  // namespace cli

#endif
