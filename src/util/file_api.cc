// The exported calls on files of the temporary directory and on text files.
#include <algorithm>
#include <string>

#include <qob3xapi/util.h>

#include "frame/config.h"
#include "frame/guard.h"
#include "frame/heap.h"
#include "frame/report.h"
#include "platform/spool/counter.h"
#include "util/tab_expand.h"
#include "util/temp_file.h"

extern "C" {

QOBAPI char* QOBGetTempFileName(const char*, const char* prefix) {
  return qob::Guarded(static_cast<char*>(nullptr), [&]() -> char* {
    const std::string path = qob::TempName(prefix == nullptr ? "" : prefix);
    return path.empty() ? nullptr : qob::HeapCopy(path);
  });
}

QOBAPI int32_t tabExpand(const char* path) {
  return qob::Guarded(int32_t{-1}, [&] {
    const std::string value = qob::ConfigText("Options", "TabSize", "8", 10);
    const int32_t size = std::min(qob::LeadingNumber(value), qob::kLargestTabSize);
    if (size <= 0) return int32_t{0};
    if (path == nullptr) return int32_t{-1};
    qob::Report(qob::kDetail, "Expanding tab in text attachment, tabsize = %d", size);
    return qob::ExpandTabsInFile(path, size) ? int32_t{0} : int32_t{-1};
  });
}

}  // extern "C"

QOBAPI int32_t GetUniqueId(void) {
  return qob::Guarded(int32_t{-1}, [] {
    if (*qob::TempDir() == '\0') return int32_t{-1};
    return qob::spool::NextUnique(qob::TempDir());
  });
}
