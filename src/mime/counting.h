// Counts over a part and everything below it.
#pragma once
#include <cstdint>

#include <qob3xapi/mimeparse.h>

namespace qob {

struct SubtreeCounts {
  std::int64_t containers = 0;    // records with children
  std::int64_t extra_leaves = 0;  // the sum of their child counts, each less one
};

// Walks with a stack of its own: a tree that a caller built may be of any depth. Throws
// std::bad_alloc.
SubtreeCounts CountSubtree(const MimeBodyPart& part);

}  // namespace qob
