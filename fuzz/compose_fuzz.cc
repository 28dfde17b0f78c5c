// A message composed from any values: what is accepted becomes just the fields that were asked for,
// on lines of plain ASCII, and is read back as it was given.
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <qob3xapi/header822.h>

#include "encoded_text.h"
#include "failure.h"
#include "lineio/file_writer.h"
#include "mail/options.h"
#include "mail/part_plan.h"
#include "mail/values.h"
#include "mime/message_header.h"
#include "parameters.h"
#include "utf8.h"

namespace {

using cli::mail::Mailbox;

void Check(bool condition) {
  if (!condition) std::abort();
}

class Chain {
 public:
  explicit Chain(std::vector<std::string> texts) : texts_(std::move(texts)), nodes_(texts_.size()) {
    for (std::size_t i = 0; i < nodes_.size(); ++i)
      nodes_[i] = {texts_[i].data(), i + 1 < nodes_.size() ? &nodes_[i + 1] : nullptr};
  }
  const ms* get() const { return nodes_.empty() ? nullptr : nodes_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<ms> nodes_;
};

struct Values {
  std::vector<Mailbox> from;
  std::vector<Mailbox> to;
  std::string subject;
  std::vector<std::string> headers;
  cli::mail::PartPlan part;
};

// The values that the command would take; false when it refuses them.
bool Take(FuzzedDataProvider& data, Values* values) {
  try {
    values->from = cli::mail::ParseMailboxes("--from", data.ConsumeRandomLengthString());
    if (values->from.size() > 1) return false;
    values->to = cli::mail::ParseMailboxes("--to", data.ConsumeRandomLengthString());
    values->subject = data.ConsumeRandomLengthString();
    cli::mail::RequireText("--subject", values->subject);
    if (data.ConsumeBool())
      values->headers.push_back(cli::mail::HeaderLine(data.ConsumeRandomLengthString(), {}));
    const cli::mail::Attachment part = cli::mail::ParsePart(data.ConsumeRemainingBytesAsString());
    values->part.type = part.type;
    values->part.name = part.name;
    values->part.id = part.id;
    values->part.description = part.description;
    values->part.disposition = part.disposition.empty() ? "attachment" : part.disposition;
  } catch (const cli::Failure&) {
    return false;
  }
  return true;
}

std::vector<std::string> Forms(const std::vector<Mailbox>& mailboxes) {
  std::vector<std::string> forms;
  for (const Mailbox& mailbox : mailboxes) forms.push_back(cli::mail::HeaderForm(mailbox, {}));
  return forms;
}

// The header as the library writes it.
std::string Compose(const Values& values, std::vector<std::string> lines) {
  for (std::string& line : cli::mail::ContentHeader(values.part, {})) lines.push_back(line);
  const Chain to(Forms(values.to));
  const Chain extra(std::move(lines));
  const std::string from = values.from.empty() ? "" : Forms(values.from).front();
  const std::string subject = cli::mail::HeaderText(values.subject, {});
  qob::BuildSettings settings;
  settings.qualify.host = "";
  settings.qualify.domain = "";
  settings.qualify.addresses = settings.qualify.recipient_hosts = false;
  const int file = memfd_create("out", MFD_CLOEXEC);
  Check(file >= 0);
  {
    qob::FileWriter out;
    out.Attach(file);
    qob::WriteMessageHeader({from.empty() ? nullptr : from.c_str(), to.get(), subject.c_str(),
                             nullptr, nullptr, extra.get()},
                            settings, out);
    Check(out.Flush());
  }
  std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  Check(pread(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
  close(file);
  return text;
}

// The fields, each on one line; every line is one that any system takes.
std::vector<std::string> Fields(const std::string& header) {
  std::vector<std::string> fields;
  for (std::size_t at = 0; at < header.size();) {
    const std::size_t end = header.find("\r\n", at);
    Check(end != std::string::npos && end > at && end - at <= 998);
    const std::string line = header.substr(at, end - at);
    Check(cli::mail::IsPrintableAscii(line));
    Check(line.find_first_not_of(' ') != std::string::npos);
    if (line[0] == ' ') {
      Check(!fields.empty());
      fields.back() += line;
    } else {
      Check(line.find(':') != std::string::npos);
      fields.push_back(line);
    }
    at = end + 2;
  }
  return fields;
}

std::string ValueOf(const std::string& field, const std::string& name) {
  Check(field.starts_with(name + ":"));
  return std::string(cli::mail::Trimmed(field.substr(name.size() + 1)));
}

void CheckAddresses(const std::string& field, const std::vector<Mailbox>& expected) {
  std::string value = ValueOf(field, field.substr(0, field.find(':')));
  Check(cli::mail::AddressesOfField("x", value).size() == expected.size());
  const std::vector<Mailbox> again = cli::mail::ParseMailboxes("x", value);
  for (std::size_t i = 0; i < expected.size(); ++i) Check(again[i].address == expected[i].address);
  // The system's own reader finds as many.
  RecipTbl table{};
  Check(RecipParse(value.data(), &table, 1) == static_cast<int>(expected.size()));
  Clear_RT(&table);
}

void CheckName(const std::string& field, const std::string& name) {
  std::vector<std::string> texts;
  std::string rest = field.substr(field.find(';') + 1);
  bool quoted = false;
  std::string one;
  for (std::size_t i = 0; i <= rest.size(); ++i) {
    if (i == rest.size() || (rest[i] == ';' && !quoted)) {
      texts.emplace_back(cli::mail::Trimmed(one));
      one.clear();
      continue;
    }
    if (rest[i] == '"') quoted = !quoted;
    one += rest[i];
    if (rest[i] == '\\' && quoted && i + 1 < rest.size()) one += rest[++i];
  }
  const Chain chain(std::move(texts));
  const auto found = cli::ParameterText(cli::ParametersOf(chain.get()), "filename");
  // Encoded words that a plain name holds are decoded by this reader, as by others.
  if (name.find("=?") != std::string::npos) return;
  Check(found.has_value() && *found == name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  Values values;
  if (!Take(data, &values)) return 0;
  const std::vector<std::string> fields = Fields(Compose(values, values.headers));
  const std::size_t content = cli::mail::ContentHeader(values.part, {}).size();
  const std::size_t subject = values.subject.empty() ? 0 : 1;
  Check(fields.size() == values.from.size() + (values.to.empty() ? 0 : 1) + subject +
                             values.headers.size() + content);
  std::size_t at = 0;
  if (!values.from.empty()) CheckAddresses(fields[at++], values.from);
  if (!values.to.empty()) CheckAddresses(fields[at++], values.to);
  if (subject != 0) {
    const std::string read = cli::DecodedText(ValueOf(fields[at++], "Subject"));
    Check(read == cli::mail::Trimmed(values.subject) || read == values.subject);
  }
  at += values.headers.size();
  Check(fields[at].starts_with("Content-Type: "));
  if (!values.part.name.empty()) CheckName(fields.back(), values.part.name);
  return 0;
}
