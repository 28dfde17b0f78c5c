#include "platform/os/path.h"

#include <algorithm>

namespace qob::os {

std::string NativePath(std::string_view path) {
  std::string native(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

}  // namespace qob::os
