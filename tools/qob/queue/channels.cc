#include "channels.h"

#include <map>
#include <unordered_map>
#include <unordered_set>

#include "../output.h"
#include "../utf8.h"
#include "record_access.h"

namespace cli::queue {
namespace {

using qob::store::Status;

void Check(const Place& place, Status status) {
  if (status != qob::store::kOk)
    throw StoreFailure(place.path + "/" + qob::spool::kDatabaseName, status);
}

// Channels of one place by name; with `only`, that one.
void ReadPlace(const OpenQueue& queue, std::uint32_t home, const std::string_view* only,
               std::vector<Channel>* channels) {
  const Place& place = queue.places()[home];
  if (place.database == nullptr) return;
  std::map<std::string, std::vector<std::uint32_t>, std::less<>> by_name;
  Check(place, place.database->AllMarks([&](const qob::store::Mark& mark) {
    if (only != nullptr && mark.name != *only) return true;
    by_name[mark.name].push_back(mark.id);
    return true;
  }));
  for (auto& [name, ids] : by_name) channels->push_back({home, name, std::move(ids)});
}

std::vector<Channel> Read(const OpenQueue& queue, const std::string_view* only) {
  std::vector<Channel> channels;
  for (std::uint32_t home = 0; home < queue.places().size(); ++home)
    ReadPlace(queue, home, only, &channels);
  return channels;
}

// The ids of a place that have a mark now.
class MarksNow {
 public:
  explicit MarksNow(const OpenQueue& queue) : queue_(queue), ids_(queue.places().size()) {}

  // Still marked, and there is no message.
  bool IsStray(std::uint32_t home, std::uint32_t id) {
    const Place& place = queue_.places()[home];
    if (!read_) ReadAll();
    if (!ids_[home].contains(id)) return false;
    StoredRecord record;
    return ReadMessageRecord(*place.database, id, &record) == qob::store::kNotFound;
  }

 private:
  void ReadAll() {
    read_ = true;
    for (const Channel& channel : ReadChannels(queue_))
      ids_[channel.home].insert(channel.ids.begin(), channel.ids.end());
  }

  const OpenQueue& queue_;
  bool read_ = false;
  std::vector<std::unordered_set<std::uint32_t>> ids_;
};

}  // namespace

std::vector<Channel> ReadChannels(const OpenQueue& queue) { return Read(queue, nullptr); }

std::vector<Channel> ReadChannels(const OpenQueue& queue, std::string_view name) {
  return Read(queue, &name);
}

std::vector<Waiting> MatchChannels(const OpenQueue& queue, const std::vector<Channel>& channels,
                                   Snapshot* snapshot) {
  std::vector<std::unordered_map<std::uint32_t, Message*>> by_id(queue.places().size());
  for (Message& message : snapshot->messages()) by_id[message.home].emplace(message.id, &message);
  MarksNow now(queue);
  std::vector<Waiting> all;
  for (const Channel& channel : channels) {
    Waiting waiting;
    waiting.channel = &channel;
    for (const std::uint32_t id : channel.ids) {
      const auto found = by_id[channel.home].find(id);
      if (found != by_id[channel.home].end()) {
        waiting.messages.push_back(found->second);
      } else if (now.IsStray(channel.home, id)) {
        ++waiting.strays;
      }
    }
    all.push_back(std::move(waiting));
  }
  return all;
}

void TellStrays(const std::vector<Waiting>& all) {
  for (const Waiting& waiting : all) {
    if (waiting.strays == 0) continue;
    cli::Message("channel " + waiting.channel->name + ": " + std::to_string(waiting.strays) +
                 (waiting.strays == 1 ? " mark" : " marks") +
                 " without a message: 'qob queue check --repair' takes them away");
  }
}

std::vector<Candidate> OnChannel(const OpenQueue& queue, std::string_view name) {
  std::vector<Candidate> candidates;
  for (const Channel& channel : ReadChannels(queue, name)) {
    for (const std::uint32_t id : channel.ids) candidates.push_back({channel.home, id});
  }
  return candidates;
}

}  // namespace cli::queue
