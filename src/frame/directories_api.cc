// The exported directory getters.
#include <qob3xapi/frame.h>

#include "frame/config.h"

extern "C" {

QOBAPI const char* GetQueueDir(void) { return qob::QueueDir(); }
QOBAPI const char* GetTempDir(void) { return qob::TempDir(); }
QOBAPI const char* GetInstallDir(void) { return qob::InstallDir(); }

}  // extern "C"
