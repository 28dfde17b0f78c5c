// The exported calls that make and release a pool of parts.
#include <qob3xapi/mimeparse.h>

#include <cstdlib>

#include "frame/guard.h"
#include "mime/message.h"
#include "mime/part_pool.h"
#include "platform/os/directory.h"

extern "C" QOBAPI int32_t MimeParseMessage(const char* fileName, int32_t flags,
                                           MimeMessagePool** pool) {
  if (pool == nullptr) return -1;
  return qob::ReadMessage(fileName, flags, pool);
}

extern "C" QOBAPI int32_t ParseMimeMessage(const char* fileName, int32_t flags,
                                           MimeMessagePool** pool) {
  if (pool == nullptr) return -1;
  *pool = nullptr;
  return qob::ReadMimeMessage(fileName, flags != 0, pool);
}

extern "C" QOBAPI int32_t ParseNonMimeMessage(const char* fileName, MimeMessagePool** pool) {
  if (pool == nullptr) return -1;
  return qob::ReadPlainMessage(fileName, pool);
}

extern "C" QOBAPI void MimeFreeMessage(MimeMessagePool** pool) {
  if (pool == nullptr) return;
  qob::PoolPtr(*pool).reset();
  *pool = nullptr;
}

extern "C" QOBAPI void MimeFreeFile(char* fileName) {
  if (fileName == nullptr || *fileName == '\0') return;
  qob::Guarded(0, [&] { return qob::os::RemoveFile(fileName); });
  std::free(fileName);
}
