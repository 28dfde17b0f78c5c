// The exported name `getline`, for callers that were built for it.
//
// The C library has another function of that name, and sanitizer runtimes intercept it. So the
// symbol is bound to a named version that is not the default one: whoever asks for getline@QOB3X_1
// finds it, and no program or library that merely means the C library's function can be bound to
// it. Compiled into the shared library alone: version names exist nowhere else. The directive is
// the assembler's own, because not every supported compiler has an attribute for it.
#include <qob3xapi/lineio.h>

extern "C" {

__asm__(".symver qob_getline_by_name, getline@QOB3X_1");
QOBAPI int32_t qob_getline_by_name(int32_t handle, char** linePointer);
QOBAPI int32_t qob_getline_by_name(int32_t handle, char** linePointer) {
  return QOB_getline(handle, linePointer);
}

}  // extern "C"
