// The status part of a notification, any bytes: every field of it is found again in the text, no
// field is found twice, and a text written from what was read is read as the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "notify/status_reader.h"

namespace {

using cli::HeaderField;
using cli::notify::Fields;
using cli::notify::StatusText;

void Check(bool condition) {
  if (!condition) std::abort();
}

std::size_t LinesOf(std::string_view text) {
  std::size_t lines = text.empty() || text.back() == '\n' ? 0 : 1;
  for (const char c : text) lines += c == '\n' ? 1 : 0;
  return lines;
}

bool IsRecipient(const Fields& fields) {
  for (const char* name : {"Original-Recipient", "Final-Recipient", "Action", "Status"}) {
    if (cli::notify::FieldOf(fields, name) != nullptr) return true;
  }
  return false;
}

void CheckFields(const Fields& fields) {
  Check(!fields.empty());
  for (const HeaderField& field : fields) {
    Check(field.name.find_first_of(" \t\r\n:") == std::string::npos);
    Check(field.value.find('\n') == std::string::npos);
    const cli::notify::TypedText typed = cli::notify::SplitType(field.value);
    Check(typed.type.size() + typed.text.size() <= field.value.size());
  }
}

void Write(const Fields& fields, std::string* text) {
  for (const HeaderField& field : fields) {
    if (!field.name.empty()) *text += field.name + ": " + field.value + "\r\n";
  }
  *text += "\r\n";
}

// Those with a name, in order; a line without one may be read as one when it stands alone.
Fields Named(const Fields& fields) {
  Fields named;
  for (const HeaderField& field : fields) {
    if (!field.name.empty()) named.push_back(field);
  }
  return named;
}

bool Same(const Fields& left, const Fields& right) {
  const Fields a = Named(left);
  const Fields b = Named(right);
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].name != b[i].name || a[i].value != b[i].value) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const StatusText status = cli::notify::ReadStatusText(text);
  std::size_t fields = status.message.size();
  std::string written = "Reporting-MTA: x\r\n";
  if (!status.message.empty()) CheckFields(status.message);
  Write(status.message, &written);
  for (const Fields& recipient : status.recipients) {
    CheckFields(recipient);
    Check(IsRecipient(recipient));
    Check(cli::notify::IsFailure(recipient).has_value() ==
          (cli::notify::FieldOf(recipient, "Action") != nullptr &&
           !cli::notify::FieldOf(recipient, "Action")->empty()));
    fields += recipient.size();
    Write(recipient, &written);
  }
  Check(fields <= LinesOf(text));
  // Recipients stand in groups of their own now, and are read so.
  StatusText again = cli::notify::ReadStatusText(written);
  Check(!again.message.empty() && again.message.front().value == "x");
  again.message.erase(again.message.begin());
  Check(again.recipients.size() == status.recipients.size());
  for (std::size_t i = 0; i < again.recipients.size(); ++i)
    Check(Same(again.recipients[i], status.recipients[i]));
  Check(Same(again.message, status.message));
  return 0;
}
