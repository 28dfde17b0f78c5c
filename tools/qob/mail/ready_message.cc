#include "ready_message.h"

#include <algorithm>

#include "../config_keys.h"
#include "../failure.h"
#include "../output.h"
#include "mailbox.h"
#include "values.h"

namespace cli::mail {
namespace {

constexpr std::size_t kLongestHeader = 8 * 1024 * 1024;

constexpr const char* kRecipientFields[] = {"to", "cc", "bcc"};
constexpr const char* kResentFields[] = {"resent-to", "resent-cc", "resent-bcc"};

bool IsEmptyLine(std::string_view line) { return line == "\n" || line == "\r\n"; }

bool IsFold(std::string_view line) { return line.starts_with(' ') || line.starts_with('\t'); }

// The name of the field that a line begins; "" for a line that begins none.
std::string_view NameOf(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return {};
  const std::string_view name = Trimmed(line.substr(0, colon));
  return IsFieldName(name) && !IsFold(line) ? name : std::string_view();
}

// The value of a field on one line.
std::string Unfolded(std::string_view text) {
  std::string value(text.substr(text.find(':') + 1));
  std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
  return value;
}

}  // namespace

ReadyMessage::ReadyMessage(Input input) : input_(std::move(input)) { ReadHeader(); }

// The next line with its end; the last one may have none. False at the end of the input.
bool ReadyMessage::NextLine(std::string* line) {
  std::size_t searched = at_;
  for (;;) {
    const std::size_t end = pending_.find('\n', searched);
    if (end != std::string::npos) {
      line->assign(pending_, at_, end + 1 - at_);
      at_ = end + 1;
      return true;
    }
    searched = pending_.size();
    if (searched > kLongestHeader)
      throw Failure(ExitCode::kData,
                    input_.name() + ": its header is larger than 8 megabytes: is it a message?");
    const std::string_view block = input_.Next();
    if (block.empty()) break;
    pending_ += block;
  }
  line->assign(pending_, at_);
  at_ = pending_.size();
  return !line->empty();
}

void ReadyMessage::ReadHeader() {
  std::string line;
  bool first = true;
  while (NextLine(&line)) {
    const bool mailbox_line = first && (line.starts_with("From ") || line.starts_with(">From "));
    const std::string_view name = NameOf(line);
    first = false;
    if (mailbox_line) {
      from_line_ = line;
    } else if (IsEmptyLine(line)) {
      empty_line_ = line;
      break;
    } else if (IsFold(line) && !fields_.empty()) {
      fields_.back().text += line;
    } else if (!name.empty()) {
      fields_.push_back({std::string(name), line});
    } else {
      body_ = line;
      break;
    }
  }
  body_.append(pending_, at_);
  pending_.clear();
}

bool ReadyMessage::HasField(std::string_view name) const {
  return std::any_of(fields_.begin(), fields_.end(),
                     [&](const Field& field) { return EqualFold(field.name, name); });
}

std::vector<std::string> ReadyMessage::Recipients() const {
  const bool resent = std::any_of(std::begin(kResentFields), std::end(kResentFields),
                                  [&](const char* name) { return HasField(name); });
  std::vector<std::string> all;
  for (const char* name : resent ? kResentFields : kRecipientFields) {
    for (const Field& field : fields_) {
      if (!EqualFold(field.name, name)) continue;
      const auto some = AddressesOfField(field.name + ":", Unfolded(field.text));
      all.insert(all.end(), some.begin(), some.end());
    }
  }
  return all;
}

void ReadyMessage::RemoveBcc() {
  std::erase_if(fields_, [](const Field& field) {
    return EqualFold(field.name, "bcc") || EqualFold(field.name, "resent-bcc");
  });
}

void ReadyMessage::AddField(const std::string& line) {
  if (!fields_.empty() && !fields_.back().text.ends_with('\n')) fields_.back().text += "\r\n";
  fields_.push_back({std::string(NameOf(line)), line + "\r\n"});
}

// Of a file it is known how far the end is.
void ReadyMessage::WriteRest(Spool* spool) {
  constexpr std::size_t kStepBytes = 1 << 20;
  const std::int64_t steps = input_.IsRegular() ? input_.size_bytes() >> 20 : 0;
  Progress progress(static_cast<std::size_t>(steps));
  std::size_t told = 0;
  for (std::string_view block = input_.Next(); !block.empty(); block = input_.Next()) {
    spool->Write(block);
    told += block.size();
    for (; told >= kStepBytes; told -= kStepBytes) progress.Step("MB of " + input_.name());
  }
}

void ReadyMessage::WriteTo(Spool* spool, bool raw) {
  if (raw) spool->Write(from_line_);
  for (const Field& field : fields_) spool->Write(field.text);
  if (!raw && empty_line_.empty()) {
    if (!fields_.empty() && !fields_.back().text.ends_with('\n')) spool->Write("\r\n");
    spool->Write("\r\n");
  } else {
    spool->Write(empty_line_);
  }
  spool->Write(body_);
  WriteRest(spool);
  spool->Finish();
  input_.RequireUnchanged();
}

}  // namespace cli::mail
