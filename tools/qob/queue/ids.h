// Ids of messages as people write them: eight hexadecimal digits of either case.
#ifndef TOOLS_QOB_QUEUE_IDS_H
#define TOOLS_QOB_QUEUE_IDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cli::queue {

// "0001A2B3"
std::string IdText(std::uint32_t id);

// What the operands of a command ask for: ids, "-" for ids from standard input (one on each line,
// empty lines passed over), then a filter. All of them together narrow the choice: with ids and a
// filter, those of the ids that match.
struct Operands {
  bool has_ids = false;            // ids were given, even if standard input held none
  std::vector<std::uint32_t> ids;  // in the order given, each once
  std::string filter;              // the words of the filter, a blank between them; "" = none
};

// Throws Failure: kData for a line of standard input that is no id, naming it.
Operands ReadOperands(const std::vector<std::string>& words);
// The same where only ids are taken: kUsage for anything else.
std::vector<std::uint32_t> ReadIds(const std::vector<std::string>& words);

}  // namespace cli::queue

#endif
