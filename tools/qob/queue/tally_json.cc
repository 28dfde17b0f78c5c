#include "tally_json.h"

#include "ids.h"

namespace cli::queue {
namespace {

std::int64_t Signed(std::size_t count) { return static_cast<std::int64_t>(count); }

}  // namespace

void PutNumber(const char* name, std::optional<std::int64_t> number, JsonWriter* line) {
  line->NumberIf(name, number.has_value(), number.value_or(0));
}

void PutTally(const Tally& tally, std::int64_t now, JsonWriter* line) {
  line->Number("messages", Signed(tally.messages));
  line->Number("held", Signed(tally.held));
  PutNumber("locked", tally.LockedIfKnown(), line);
  line->Number("recipients", Signed(tally.recipients));
  line->Number("pending", Signed(tally.pending));
  PutNumber("bytes", tally.BytesIfKnown(), line);
  line->Number("sizes_unknown", Signed(tally.sizes_unknown));
  PutNumber("oldest_age", tally.OldestAge(now), line);
  if (tally.oldest == 0) {
    line->Null("oldest_id");
  } else {
    line->Text("oldest_id", IdText(tally.oldest_id));
  }
}

}  // namespace cli::queue
