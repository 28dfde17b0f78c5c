#include "recipient_fields.h"

#include <algorithm>
#include <charconv>
#include <new>

#include "../json_line.h"
#include "../mail/input.h"
#include "../mail/values.h"

namespace cli::notify {
namespace {

constexpr const char* kActions[] = {"failed", "delayed", "delivered", "relayed", "expanded"};
constexpr std::size_t kLargestList = 64u << 20;

struct TextKey {
  const char* key;
  const char* member;
  std::string RecipientFields::*value;
};
constexpr TextKey kTexts[] = {
    {"original", "original_recipient", &RecipientFields::original},
    {"final", "final_recipient", &RecipientFields::final},
    {"action", "action", &RecipientFields::action},
    {"status", "status", &RecipientFields::status},
    {"remote", "remote_mta", &RecipientFields::remote},
    {"diagnostic", "diagnostic_code", &RecipientFields::diagnostic},
};
struct DateKey {
  const char* key;
  const char* member;
  std::int32_t RecipientFields::*value;
};
constexpr DateKey kDates[] = {
    {"last", "last_attempt", &RecipientFields::last_attempt},
    {"retry", "will_retry_until", &RecipientFields::will_retry},
};

void Check(const std::string& what, const RecipientFields& recipient) {
  for (const TextKey& row : kTexts)
    mail::RequireOneLine(what + " " + row.key, recipient.*row.value);
  if (recipient.final.empty())
    throw Failure(ExitCode::kUsage, what + ": no final recipient: name the address");
  if (std::none_of(std::begin(kActions), std::end(kActions),
                   [&](const char* action) { return recipient.action == action; }))
    throw Failure(ExitCode::kUsage, what + ": the action '" + recipient.action +
                                        "' is none: failed, delayed, delivered, relayed or "
                                        "expanded");
}

std::int32_t Seconds(const std::string& what, std::string_view text) {
  std::int32_t seconds = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (end.ec != std::errc() || end.ptr != text.data() + text.size() || seconds <= 0)
    throw Failure(ExitCode::kUsage, what + ": no time: give seconds since 1970");
  return seconds;
}

void Set(const std::string& key, std::string_view value, const std::string& text,
         RecipientFields* recipient) {
  for (const TextKey& row : kTexts) {
    if (key == row.key) {
      recipient->*row.value = value;
      return;
    }
  }
  for (const DateKey& row : kDates) {
    if (key == row.key) {
      recipient->*row.value = Seconds("--recipient " + text, value);
      return;
    }
  }
  throw Failure(ExitCode::kUsage,
                "--recipient " + text + ": the key '" + key +
                    "' is none: original, final, action, status, remote, last, retry or, behind "
                    "all others, diagnostic");
}

// ---- JSON lines ----

RecipientFields FromJson(const std::string& what, const std::string& line) {
  const Json object = Json::parse(line, nullptr, false);
  if (!object.is_object())
    throw Failure(ExitCode::kData, what + ": no JSON object: check the line");
  RecipientFields recipient;
  recipient.action = "failed";
  for (const TextKey& row : kTexts) {
    const auto member = object.find(row.member);
    if (member == object.end() || member->is_null()) continue;
    if (!member->is_string())
      throw Failure(ExitCode::kData, what + ": " + row.member + " must be a text");
    recipient.*row.value = member->get<std::string>();
  }
  for (const DateKey& row : kDates) {
    const auto member = object.find(row.member);
    if (member == object.end() || member->is_null()) continue;
    if (!member->is_number_integer() || member->get<std::int64_t>() < 0 ||
        member->get<std::int64_t>() > 0x7FFFFFFF)
      throw Failure(ExitCode::kData, what + ": " + row.member + " must be seconds since 1970");
    recipient.*row.value = member->get<std::int32_t>();
  }
  Check(what, recipient);
  return recipient;
}

void ReadList(const std::string& file, std::vector<RecipientFields>* recipients) {
  mail::Input input = mail::Input::OfFile(file);
  std::string text;
  for (std::string_view block = input.Next(); !block.empty(); block = input.Next()) {
    text += block;
    if (text.size() > kLargestList)
      throw Failure(ExitCode::kData, file + ": larger than 64 MB: split it");
  }
  std::size_t number = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t feed = std::min(text.find('\n', at), text.size());
    const std::string line = text.substr(at, feed - at);
    at = feed + 1;
    ++number;
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    recipients->push_back(FromJson(file + ", line " + std::to_string(number), line));
  }
}

}  // namespace

RecipientFields ParseRecipient(const std::string& text) {
  RecipientFields recipient;
  recipient.action = "failed";
  std::string_view rest = text;
  bool first = true;
  while (!rest.empty()) {
    const bool last = rest.starts_with("diagnostic=");
    const std::size_t comma = last ? rest.size() : std::min(rest.find(','), rest.size());
    const std::string_view item = rest.substr(0, comma);
    const std::size_t equals = item.find('=');
    if (first && (equals == std::string_view::npos || item.find('@') < equals)) {
      recipient.final = item;
    } else {
      const std::string key(item.substr(0, equals));
      Set(key, equals == std::string_view::npos ? "" : item.substr(equals + 1), text, &recipient);
    }
    rest.remove_prefix(std::min(comma + 1, rest.size()));
    first = false;
  }
  Check("--recipient " + text, recipient);
  return recipient;
}

std::vector<RecipientFields> ReadRecipients(const Arguments& arguments) {
  std::vector<RecipientFields> recipients;
  for (const std::string& text : arguments.All("--recipient"))
    recipients.push_back(ParseRecipient(text));
  for (const std::string& file : arguments.All("--fields")) ReadList(file, &recipients);
  if (recipients.empty())
    throw Failure(ExitCode::kUsage,
                  "no recipient to report on: name each with --recipient or --fields; see 'qob dsn "
                  "send --help'");
  return recipients;
}

FieldList::FieldList(const std::vector<RecipientFields>& recipients)
    : fields_(recipients.size()), nodes_(recipients.size()) {
  const auto text = [](const std::string& value) {
    return value.empty() ? nullptr : value.c_str();
  };
  for (std::size_t i = 0; i < recipients.size(); ++i) {
    const RecipientFields& given = recipients[i];
    // The library writes these two directly behind their type.
    const std::string final = " " + given.final;
    const std::string diagnostic = given.diagnostic.empty() ? "" : " " + given.diagnostic;
    if (AssignPerRecipField(&fields_[i], text(given.original), text(final), text(given.action),
                            text(given.status), text(given.remote), text(diagnostic),
                            given.last_attempt, given.will_retry) != 0) {
      for (std::size_t done = 0; done < i; ++done) CleanPerRecipField(&fields_[done]);
      throw std::bad_alloc();
    }
    nodes_[i] = {&fields_[i], i + 1 < recipients.size() ? &nodes_[i + 1] : nullptr};
  }
}

FieldList::~FieldList() {
  for (PerRecipField& field : fields_) CleanPerRecipField(&field);
}

}  // namespace cli::notify
