#include "selection.h"

#include <unordered_map>

#include "../output.h"
#include "filter.h"

namespace cli::queue {
namespace {

std::vector<Message*> AllOf(Snapshot* snapshot) {
  std::vector<Message*> all;
  all.reserve(snapshot->messages().size());
  for (Message& message : snapshot->messages()) all.push_back(&message);
  return all;
}

Selection OfIds(Snapshot* snapshot, const std::vector<std::uint32_t>& ids) {
  std::unordered_multimap<std::uint32_t, Message*> by_id;
  by_id.reserve(snapshot->messages().size());
  for (Message& message : snapshot->messages()) by_id.emplace(message.id, &message);
  Selection selection;
  for (const std::uint32_t id : ids) {
    const auto [first, last] = by_id.equal_range(id);
    if (first == last) selection.missing.push_back(id);
    for (auto found = first; found != last; ++found) selection.messages.push_back(found->second);
  }
  return selection;
}

}  // namespace

Selection Choose(const OpenQueue& queue, Snapshot* snapshot, const Operands& operands) {
  const Filter filter(operands.filter, snapshot->taken_at());
  Selection selection;
  if (operands.has_ids) {
    selection = OfIds(snapshot, operands.ids);
  } else {
    selection.messages = AllOf(snapshot);
  }
  if (filter.needs_files()) snapshot->LookAtFiles(queue, selection.messages);
  std::erase_if(selection.messages, [&](const Message* message) { return !filter.Fits(*message); });
  return selection;
}

bool TellMissing(const Selection& selection) {
  for (const std::uint32_t id : selection.missing)
    cli::Message(IdText(id) + ": no such message in the queue: 'qob queue list' shows those there");
  return !selection.missing.empty();
}

}  // namespace cli::queue
