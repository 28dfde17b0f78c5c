#include "list.h"

#include "ids.h"
#include "times.h"

namespace cli::queue {
namespace {

std::string SizeCell(std::int64_t size, const ListStyle& style) {
  if (size == kUnknown) return "-";
  return style.terminal ? SizeText(size) : std::to_string(size);
}

std::string StatusCell(const Message& message) {
  std::string text;
  if (message.held) text += "[held] ";
  if (message.locked) text += "[locked] ";
  if (!message.held && !message.state.empty())
    text += "[" + std::string(message.state.view()) + "] ";
  text += message.status.view();
  return text;
}

// Pending recipients of all: "2/5"; where all are pending, their number.
std::string CountCell(const Message& message) {
  const std::string all = std::to_string(message.recipients.size());
  return message.pending == message.recipients.size() ? all
                                                      : std::to_string(message.pending) + "/" + all;
}

// The first recipient that is still pending, else the first.
std::string_view FirstRecipient(const Message& message) {
  for (const Recipient& recipient : message.recipients) {
    if (recipient.pending()) return recipient.address;
  }
  return message.recipients.empty() ? std::string_view("-")
                                    : message.recipients.front().address.view();
}

void AddRecipients(const Message& message, FlatTable* table) {
  for (const Recipient& recipient : message.recipients) {
    std::string line = "          " + std::string(recipient.address.view());
    if (!recipient.pending()) line += " [" + std::string(recipient.state.view()) + "]";
    table->Note(line);
  }
}

std::string Counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

FlatTable ListTable(std::span<Message* const> messages, std::int64_t now, const ListStyle& style) {
  FlatTable table({{"id"},
                   {"age", true},
                   {"size", true},
                   {"tries", true},
                   {"next", true},
                   {"sender"},
                   {"rcpts", true},
                   {"recipient"},
                   {"status"}});
  table.Reserve(messages.size());
  for (const Message* const message : messages) {
    table.Cell(IdText(message->id));
    table.Cell(message->created == 0 ? "-" : DurationText(now - message->created));
    table.Cell(SizeCell(message->size, style));
    table.Cell(std::to_string(message->tries));
    table.Cell(NextText(message->retry_at, now));
    table.Cell(message->sender.empty() ? std::string_view("-") : message->sender.view());
    table.Cell(CountCell(*message));
    table.Cell(FirstRecipient(*message));
    if (message->state.empty() && !message->locked) {
      table.Cell(message->status);
    } else {
      table.Cell(StatusCell(*message));
    }
    if (style.recipients) AddRecipients(*message, &table);
  }
  return table;
}

std::string ListSummary(std::span<Message* const> messages) {
  std::size_t held = 0;
  std::size_t pending = 0;
  for (const Message* const message : messages) {
    held += message->held ? 1 : 0;
    pending += message->pending;
  }
  return Counted(messages.size(), "message") + ", " + std::to_string(held) + " held, " +
         Counted(pending, "recipient") + " pending";
}

}  // namespace cli::queue
