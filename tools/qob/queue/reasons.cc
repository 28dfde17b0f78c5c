#include "reasons.h"

#include <memory>

#include <qob3xapi/queueid.h>
#include <qob3xapi/util.h>

#include "../system.h"
#include "platform/spool/names.h"

namespace cli::queue {
namespace {

struct ChainDeleter {
  void operator()(ms* chain) const { freeStringChain(chain); }
};

}  // namespace

Reasons ReadReasons(const std::string& base) {
  Reasons reasons;
  const sys::Status file = sys::StatusOf(base + qob::spool::kReasonFile);
  if (file.kind == sys::Kind::kMissing) {
    reasons.known = sys::IsNoSuchFile(file.error);
    return reasons;
  }
  const std::unique_ptr<ms, ChainDeleter> chain(GetBounceReason(base.c_str()));
  reasons.known = chain != nullptr || file.size_bytes == 0;
  for (const ms* line = chain.get(); line != nullptr; line = line->next) {
    std::string text = line->text == nullptr ? "" : line->text;
    while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
    reasons.lines.push_back(std::move(text));
  }
  return reasons;
}

}  // namespace cli::queue
