// The exported text calls.
#include <qob3xapi/util.h>

#include "frame/guard.h"
#include "frame/heap.h"
#include "platform/os/path.h"
#include "util/text.h"

extern "C" {

QOBAPI char* EliminateCntrlChars(char* text) {
  if (text != nullptr) qob::RemoveControls(text);
  return text;
}

QOBAPI char* QOBNativePath(const char* path) {
  if (path == nullptr) return nullptr;
  return qob::Guarded(static_cast<char*>(nullptr),
                      [&] { return qob::HeapCopy(qob::os::NativePath(path)); });
}

}  // extern "C"
