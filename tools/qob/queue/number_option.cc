#include "number_option.h"

#include <charconv>
#include <cstdint>
#include <string>

#include "../failure.h"

namespace cli::queue {

std::size_t NumberOption(const Arguments& arguments, const char* option, std::size_t otherwise,
                         std::size_t least, std::size_t most) {
  if (!arguments.Has(option)) return otherwise;
  const std::string text = arguments.Value(option);
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  if (whole && number >= least && number <= most) return number;
  const std::string range = most == SIZE_MAX
                                ? std::to_string(least) + " up"
                                : std::to_string(least) + " to " + std::to_string(most);
  throw Failure(ExitCode::kUsage,
                std::string(option) + " " + text + ": give a whole number from " + range);
}

}  // namespace cli::queue
