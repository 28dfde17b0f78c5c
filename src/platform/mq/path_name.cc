// Names of an entry's files, by its number.
#include <array>
#include <cstdio>

#include <qobplatform/mqapi.h>

#include "platform/spool/site.h"

namespace {

thread_local std::array<char, 1024> path_name;

}  // namespace

extern "C" const char* GetMQPathNameById(uint32_t id, const char* extension) {
  const char* directory = qob::spool::TheSite().queue_dir;
  if (*directory == '\0') return nullptr;
  const int length = std::snprintf(path_name.data(), path_name.size(), "%s\\%08X%s", directory, id,
                                   extension == nullptr ? "" : extension);
  // A name that was cut would be that of another file.
  return length < static_cast<int>(path_name.size()) ? path_name.data() : nullptr;
}
