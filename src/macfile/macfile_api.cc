// The exported Macintosh conversions: check the pointers, call the core, hand out.
#include <qob3xapi/lineio.h>
#include <qob3xapi/macfile.h>

#include "frame/guard.h"
#include "macfile/convert.h"

namespace {

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

}  // namespace

int32_t ConvertASToBinHex(const char* path, const char* fallbackName, char** outputName) {
  if (outputName == nullptr) return -1;
  *outputName = nullptr;
  if (IsEmpty(path)) return -1;
  return qob::Guarded(int32_t{-1}, [&] {
    *outputName =
        qob::AppleSingleToBinHex(path, fallbackName == nullptr ? "" : fallbackName).release();
    return *outputName == nullptr ? -1 : 0;
  });
}

int32_t ConvertBinHexToAS(const char* path, int32_t handle, int32_t byteCount, char** outputName,
                          char** binHexName) {
  if (outputName != nullptr) *outputName = nullptr;
  if (binHexName != nullptr) *binHexName = nullptr;
  if (IsEmpty(path) || byteCount <= 0 || outputName == nullptr || binHexName == nullptr) return -1;
  return qob::Guarded(int32_t{-1}, [&] {
    const int32_t offset = getfpos(handle);
    if (offset < 0) return -1;
    qob::AppleSingleResult result = qob::BinHexToAppleSingle({path, offset, byteCount});
    if (!result.path) return -1;
    *outputName = result.path.release();
    *binHexName = result.name.release();
    return 0;
  });
}

int32_t SplitBinHexForks(void* context, const char* path, int32_t offset, int32_t byteCount,
                         BinHexForkWriter dataWriter, BinHexForkWriter resourceWriter,
                         char** binHexName, uint32_t* fileType, uint32_t* creator,
                         uint32_t* thirdValue) {
  if (binHexName == nullptr || fileType == nullptr || creator == nullptr || thirdValue == nullptr) {
    return -1;
  }
  *binHexName = nullptr;
  *fileType = *creator = *thirdValue = 0;
  if (IsEmpty(path) || offset < 0 || byteCount <= 0 || dataWriter == nullptr ||
      resourceWriter == nullptr) {
    return -1;
  }
  return qob::Guarded(int32_t{-1}, [&] {
    qob::binhex::Header header;
    if (!qob::SplitForks({path, offset, byteCount}, {context, dataWriter, resourceWriter},
                         &header)) {
      return -1;
    }
    *binHexName = qob::HeapCopy(header.name);
    if (*binHexName == nullptr) return -1;
    *fileType = header.type;
    *creator = header.creator;
    *thirdValue = header.flags;
    return 0;
  });
}
