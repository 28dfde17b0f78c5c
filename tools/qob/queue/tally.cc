#include "tally.h"

#include <algorithm>

namespace cli::queue {
namespace {

// True when it took the place of a younger one.
bool KeepOlder(std::int64_t created, std::int64_t* oldest) {
  if (created == 0 || (*oldest != 0 && *oldest <= created)) return false;
  *oldest = created;
  return true;
}

std::string DirectoryOf(const OpenQueue& queue, const Message& message) {
  if (message.holder >= 0) return queue.places()[static_cast<std::size_t>(message.holder)].path;
  return std::string(message.directory.view());
}

void AddDomains(const Message& message, Counts* counts) {
  std::vector<DomainTally*> met;
  for (const Recipient& recipient : message.recipients) {
    if (!recipient.pending()) continue;
    DomainTally& domain = counts->domains[LowerDomain(DomainOf(recipient.address))];
    ++domain.pending;
    met.push_back(&domain);
  }
  std::sort(met.begin(), met.end());
  met.erase(std::unique(met.begin(), met.end()), met.end());
  for (DomainTally* const domain : met) {
    ++domain->messages;
    KeepOlder(message.created, &domain->oldest);
  }
}

}  // namespace

std::string LowerDomain(std::string_view domain) {
  std::string lower(domain);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return lower;
}

void Tally::Add(const Message& message) {
  ++messages;
  held += message.held ? 1 : 0;
  recipients += message.recipients.size();
  pending += message.pending;
  if (!message.files_known) {
    ++locks_unknown;
  } else if (message.locked) {
    ++locked;
  }
  if (message.size == kUnknown) {
    ++sizes_unknown;
  } else {
    bytes += message.size;
  }
  if (KeepOlder(message.created, &oldest)) oldest_id = message.id;
}

std::optional<std::int64_t> Tally::LockedIfKnown() const {
  return locks_unknown > 0 ? std::nullopt : std::optional(static_cast<std::int64_t>(locked));
}

std::optional<std::int64_t> Tally::BytesIfKnown() const {
  return sizes_unknown > 0 ? std::nullopt : std::optional(bytes);
}

std::optional<std::int64_t> Tally::OldestAge(std::int64_t now) const {
  return oldest == 0 ? std::nullopt : std::optional(std::max<std::int64_t>(0, now - oldest));
}

Counts CountMessages(const OpenQueue& queue, std::span<Message* const> messages) {
  Counts counts;
  for (const Place& place : queue.places()) counts.directories[place.path];
  for (const Message* const message : messages) {
    counts.all.Add(*message);
    counts.directories[DirectoryOf(queue, *message)].Add(*message);
    AddDomains(*message, &counts);
  }
  return counts;
}

}  // namespace cli::queue
