// The exported profile calls.
#include <qob3xapi/frame.h>

#include "frame/config.h"
#include "frame/guard.h"

extern "C" {

QOBAPI uint32_t QOBGetPrivateProfileString(const char* section, const char* key,
                                           const char* defaultText, char* buffer, uint32_t size,
                                           const char* file) {
  return qob::Guarded(
      uint32_t{0}, [&] { return qob::ProfileText(section, key, defaultText, buffer, size, file); });
}

QOBAPI int32_t QOBGetPrivateProfileInt(const char* section, const char* key, int32_t defaultValue,
                                       const char* file) {
  return qob::Guarded(int32_t{0},
                      [&] { return qob::ProfileInt(section, key, defaultValue, file); });
}

QOBAPI int32_t QOBWritePrivateProfileString(const char* section, const char* key, const char* value,
                                            const char* file) {
  return qob::Guarded(int32_t{0}, [&] {
    return int32_t{qob::WriteProfileText(section, key, value, file) ? 1 : 0};
  });
}

QOBAPI void UseINI(void) { qob::SetProfileMode(qob::kProfileIni); }
QOBAPI void UseConfigAPI(void) { qob::SetProfileMode(qob::kProfileConfigApi); }

}  // extern "C"
