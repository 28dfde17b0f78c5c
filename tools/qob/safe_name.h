// File names from foreign sources: a name that a message gives is data, and what is made of it here
// is one harmless component of a path.
#ifndef TOOLS_QOB_SAFE_NAME_H
#define TOOLS_QOB_SAFE_NAME_H

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

inline constexpr std::size_t kLongestName = 255;

// One component without separators, control characters, direction marks or signs that other systems
// reserve; it does not begin with a dot, a dash, a tilde or a blank, does not end in a dot or a
// blank, is no device name, is UTF-8 and has at most longest bytes (the extension is kept). Empty
// when nothing of the name is left.
std::string SafeName(std::string_view name, std::size_t longest = kLongestName);

// The name with "-number" before its extension, within the same length; number 1 gives the name
// itself.
std::string NumberedName(const std::string& name, std::size_t number,
                         std::size_t longest = kLongestName);

// The usual extension of a content type, with its dot: ".txt", ".html", else ".bin".
std::string ExtensionFor(std::string_view type, std::string_view subtype);

}  // namespace cli

#endif
