#include "order.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "number_option.h"

namespace cli::queue {
namespace {

using Less = bool (*)(const Message&, const Message&);

struct OrderRow {
  std::string_view word;
  Less less;
};

// A moment that is not set comes last.
std::int64_t OrLast(std::int64_t moment) {
  return moment == 0 ? std::numeric_limits<std::int64_t>::max() : moment;
}

constexpr OrderRow kOrders[] = {
    {"id", [](const Message& a, const Message& b) { return a.id < b.id; }},
    {"age",
     [](const Message& a, const Message& b) { return OrLast(a.created) < OrLast(b.created); }},
    {"size", [](const Message& a, const Message& b) { return a.size > b.size; }},
    {"tries", [](const Message& a, const Message& b) { return a.tries > b.tries; }},
    {"retry",
     [](const Message& a, const Message& b) { return OrLast(a.retry_at) < OrLast(b.retry_at); }},
    {"sender",
     [](const Message& a, const Message& b) { return a.sender.view() < b.sender.view(); }},
    {"recipients",
     [](const Message& a, const Message& b) { return a.recipients.size() > b.recipients.size(); }},
    {"status",
     [](const Message& a, const Message& b) { return a.status.view() < b.status.view(); }},
};

}  // namespace

bool SortsByFiles(const Arguments& arguments) { return arguments.Value("--sort") == "size"; }

void Arrange(const Arguments& arguments, std::vector<Message*>* messages) {
  const std::size_t limit = NumberOption(arguments, "--limit", SIZE_MAX, 0, SIZE_MAX);
  const std::string word = arguments.Value("--sort");
  for (const OrderRow& row : kOrders) {
    if (row.word != word) continue;
    std::stable_sort(messages->begin(), messages->end(),
                     [&](const Message* a, const Message* b) { return row.less(*a, *b); });
  }
  if (arguments.Has("--reverse")) std::reverse(messages->begin(), messages->end());
  if (messages->size() > limit) messages->resize(limit);
}

}  // namespace cli::queue
