#include "notify/draft.h"

#include <qob3xapi/mimebuild.h>

namespace qob::notify {

BuiltFile BuildPart(const char* type, const char* subtype, const char* encoding, const char* body,
                    const ms* parameters) {
  return BuiltFile(MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, type, subtype, parameters,
                                    encoding, nullptr, nullptr, body, nullptr, 0));
}

}  // namespace qob::notify
