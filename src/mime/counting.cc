// Counts over a part and everything below it.
#include "mime/counting.h"

#include <vector>

#include "mime/part_pool.h"

namespace qob {
namespace {

struct Level {
  const MimeBodyPart* container;
  std::int32_t next_child;
};

}  // namespace

SubtreeCounts CountSubtree(const MimeBodyPart& part) {
  SubtreeCounts counts;
  std::vector<Level> path;
  const auto enter = [&](const MimeBodyPart* record) {
    if (record == nullptr || record->children == nullptr) return;
    ++counts.containers;
    counts.extra_leaves += ChildCount(*record) - 1;
    path.push_back({record, 0});
  };
  enter(&part);
  while (!path.empty()) {
    Level& level = path.back();
    if (level.next_child == ChildCount(*level.container)) {
      path.pop_back();
    } else {
      enter(level.container->children[level.next_child++]);
    }
  }
  return counts;
}

}  // namespace qob
