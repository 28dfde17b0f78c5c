// The exported string chains and the release of library texts.
#include <cstdlib>

#include <qob3xapi/util.h>

#include "frame/guard.h"
#include "util/string_chain.h"

extern "C" {

QOBAPI int32_t appendString(ms** chain, const char* text) {
  return qob::Guarded(int32_t{0}, [&] { return int32_t{qob::AppendToChain(chain, text)}; });
}

QOBAPI void freeStringChain(ms* chain) {
  while (chain != nullptr) {
    ms* next = chain->next;
    std::free(chain->text);
    std::free(chain);
    chain = next;
  }
}

QOBAPI void FreeString(char* text) { std::free(text); }

}  // extern "C"
