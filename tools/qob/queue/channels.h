// The channels of a queue: which messages wait on each, in the order in which they were committed.
#ifndef TOOLS_QOB_QUEUE_CHANNELS_H
#define TOOLS_QOB_QUEUE_CHANNELS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "change.h"
#include "open_queue.h"
#include "snapshot.h"

namespace cli::queue {

struct Channel {
  std::uint32_t home = 0;  // the place whose database has its marks
  std::string name;        // any bytes
  std::vector<std::uint32_t> ids;
};

// Every channel that has a mark, by place and name. Throws Failure when a database cannot be read.
std::vector<Channel> ReadChannels(const OpenQueue& queue);
// Those of that name, one for each place that has one.
std::vector<Channel> ReadChannels(const OpenQueue& queue, std::string_view name);

// A channel with its messages.
struct Waiting {
  const Channel* channel = nullptr;
  std::vector<Message*> messages;
  std::size_t strays = 0;  // marks whose message is gone
};

// The channels must have been read before the snapshot: what came in between is not looked for, and
// what went away is no stray.
std::vector<Waiting> MatchChannels(const OpenQueue& queue, const std::vector<Channel>& channels,
                                   Snapshot* snapshot);
// Says on standard error that there are strays.
void TellStrays(const std::vector<Waiting>& all);

// The messages that wait on channels of that name.
std::vector<Candidate> OnChannel(const OpenQueue& queue, std::string_view name);

}  // namespace cli::queue

#endif
