// qob queue remove: messages leave the queue for good.
#include "../commands.h"
#include "change.h"
#include "remove_message.h"

namespace cli {

using namespace queue;

ExitCode RunQueueRemove(const Arguments& arguments) {
  Remover remover;
  return RunChange(arguments,
                   {"remove", "removed", [&](Target& target) { return remover(target); }});
}

}  // namespace cli
