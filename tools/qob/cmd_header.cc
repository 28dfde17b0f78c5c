// qob header: the header fields of messages.
#include <cstdlib>
#include <memory>

#include <qob3xapi/dates.h>
#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>

#include "address_text.h"
#include "commands.h"
#include "encoded_text.h"
#include "header_block.h"
#include "json_line.h"
#include "library_log.h"
#include "message_tree.h"
#include "message_walk.h"
#include "output.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.header/1";
constexpr std::size_t kNameWidth = 14;

struct FreeHeader {
  void operator()(addr822* header) const {
    Free822Header(header);
    std::free(header);
  }
};
using Header = std::unique_ptr<addr822, FreeHeader>;

struct TextRow {
  const char* shown;
  const char* member;
  char* addr822::*value;
};

struct AddressRow {
  const char* shown;
  const char* member;
  HeaderAddressList* addr822::*list;
};

constexpr AddressRow kAddresses[] = {
    {"From", "from", &addr822::from},
    {"Reply-To", "reply_to", &addr822::replyTo},
    {"To", "to", &addr822::to},
    {"Cc", "cc", &addr822::cc},
    {"Bcc", "bcc", &addr822::bcc},
    {"Resent-From", "resent_from", &addr822::resentFrom},
    {"Resent-To", "resent_to", &addr822::resentTo},
    {"Resent-Cc", "resent_cc", &addr822::resentCc},
    {"Resent-Bcc", "resent_bcc", &addr822::resentBcc},
    {"Return-Receipt-To", "return_receipt_to", &addr822::returnReceiptTo},
};

constexpr TextRow kTexts[] = {
    {"Subject", "subject", &addr822::subject},
    {"Sender", "sender", &addr822::sender},
    {"Message-ID", "message_id", &addr822::messageId},
    {"Resent-Message-ID", "resent_message_id", &addr822::resentMessageId},
    {"In-Reply-To", "in_reply_to", &addr822::inReplyTo},
    {"References", "references", &addr822::references},
    {"Return-Path", "return_path", &addr822::returnPath},
    {"From line", "from_line", &addr822::fromLine},
    {"MIME-Version", "mime_version", &addr822::mimeVersion},
    {"Content-Type", "content_type", &addr822::contentType},
    {"Content-Transfer-Encoding", "content_transfer_encoding", &addr822::contentTransferEncoding},
    {"Content-ID", "content_id", &addr822::contentId},
    {"Content-Description", "content_description", &addr822::contentDescription},
};

// The date of the record, and the text that it was made from. The library puts the present time in
// the place of a date that cannot be read; the text tells the two apart.
struct Date {
  bool present = false;
  bool readable = false;
  std::string original;
};

bool IsDateField(const std::string& name) {
  return SameText(name.c_str(), "date") || SameText(name.c_str(), "resent-date");
}

Date DateOf(const std::vector<HeaderField>& fields) {
  Date date;
  for (const HeaderField& field : fields) {
    if (!IsDateField(field.name)) continue;
    UtcDate* parsed = nullptr;
    date.present = true;
    date.original = field.value;
    date.readable = rfc2UTC(field.value.c_str(), &parsed) == 1;
    std::free(parsed);
    break;
  }
  return date;
}

// The address fields of the block of which no address could be read: the record shows nothing of
// them.
std::vector<HeaderField> UnreadableOf(const std::vector<HeaderField>& fields,
                                      const addr822& header) {
  std::vector<HeaderField> unreadable;
  for (const HeaderField& field : fields) {
    for (const AddressRow& row : kAddresses) {
      const HeaderAddressList* const list = header.*row.list;
      const bool empty = list == nullptr || list->table == nullptr || list->table->count == 0;
      if (empty && !field.value.empty() && SameText(row.shown, field.name))
        unreadable.push_back(field);
    }
  }
  return unreadable;
}

Header ReadHeader(const WorkingCopy& copy) {
  Header header(New822Header());
  if (header == nullptr) throw std::bad_alloc();
  const std::int32_t file = fileopen(copy.path().c_str(), 0, 1);
  if (file == -1) {
    const LibraryLog& log = LibraryLog::Get();
    if (log.SawBusyFile())
      throw Failure(ExitCode::kTemporary, "another process holds it: try again later");
    throw Failure(ExitCode::kNoInput,
                  "cannot be opened: " + log.LastProblem("no reason given") + ": check the file");
  }
  std::int32_t lines = 0;
  std::int32_t status_line = 0;
  const std::int32_t done = ParseHdr(file, header.get(), &lines, &status_line);
  fileclose(file);
  if (done != 1) {
    throw Failure(ExitCode::kData,
                  "its header cannot be read: " + LibraryLog::Get().LastProblem("no reason given") +
                      ": check the file");
  }
  return header;
}

class Printer {
 public:
  explicit Printer(const Arguments& arguments)
      : json_(arguments.Has("--json")),
        decoded_(arguments.Has("--decoded")),
        paint_(arguments.Value("--color", "auto")) {
    const std::vector<int> parts = arguments.Numbers("--part");
    if (!parts.empty()) part_ = static_cast<std::size_t>(parts.back());
  }

  void Print(const Message822& message) {
    if (part_ != MessageTree::kNone) return PrintPart(message);
    const Header header = ReadHeader(*message.copy);
    const std::vector<HeaderField> fields = FieldsOf(message.copy->HeaderBlock());
    const Date date = DateOf(fields);
    const std::vector<HeaderField> unreadable = UnreadableOf(fields, *header);
    if (json_) {
      PrintJson(message, *header, date, unreadable);
    } else {
      PrintPlain(message, *header, date, unreadable);
    }
  }

 private:
  void PrintPart(const Message822& message);
  using Fields = std::vector<HeaderField>;
  void PrintPlain(const Message822& message, const addr822& header, const Date& date,
                  const Fields& unreadable);
  void PrintJson(const Message822& message, const addr822& header, const Date& date,
                 const Fields& unreadable) const;
  void StartPlain(const Message822& message);
  void Line(const std::string& name, const std::string& value) const;
  void Addresses(const std::string& name, const HeaderAddressList* list) const;
  void DateLine(const addr822& header, const Date& date) const;
  std::string Text(std::string_view value) const {
    return decoded_ ? DecodedText(value) : std::string(value);
  }
  Json TextsJson(const ms* list) const;
  Json FieldsJson(const Fields& fields) const;
  Json Start(const Message822& message) const;

  bool json_;
  bool decoded_;
  Paint paint_;
  std::size_t part_ = MessageTree::kNone;
  bool first_ = true;
};

void Printer::StartPlain(const Message822& message) {
  if (!first_) Out().Line("");
  first_ = false;
  Out().Line(paint_.Bold(Visible(message.Label())) + ":");
}

void Printer::Line(const std::string& name, const std::string& value) const {
  const std::size_t blanks = name.size() < kNameWidth ? kNameWidth - name.size() : 1;
  Out().Line("  " + name + (name.empty() ? " " : ":") + std::string(blanks, ' ') + Visible(value));
}

void Printer::Addresses(const std::string& name, const HeaderAddressList* list) const {
  if (list == nullptr || list->table == nullptr) return;
  std::string shown = name;
  for (const RecipNode* node = list->table->head; node != nullptr; node = node->next) {
    Line(shown, Text(AddressText(*node)));
    shown.clear();
  }
}

void Printer::DateLine(const addr822& header, const Date& date) const {
  if (!date.present || header.date == nullptr) return;
  if (!date.readable) return Line("Date", "(cannot be read) " + date.original);
  Line("Date", header.date->text == nullptr ? date.original : header.date->text);
}

void Printer::PrintPlain(const Message822& message, const addr822& header, const Date& date,
                         const Fields& unreadable) {
  StartPlain(message);
  DateLine(header, date);
  for (const AddressRow& row : kAddresses) Addresses(row.shown, header.*row.list);
  for (const HeaderField& field : unreadable)
    Line(field.name, "(no address can be read) " + Text(field.value));
  for (const TextRow& row : kTexts) {
    if (header.*row.value != nullptr) Line(row.shown, Text(header.*row.value));
  }
  for (const ms* node = header.received; node != nullptr; node = node->next)
    Line("Received", node->text == nullptr ? "" : node->text);
  for (const ms* node = header.otherHeaders; node != nullptr; node = node->next) {
    if (node->text == nullptr) continue;
    for (const HeaderField& field : FieldsOf(node->text)) Line(field.name, Text(field.value));
  }
}

Json Printer::Start(const Message822& message) const {
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", message.file);
  line["message"] = message.in_file == 0 ? Json() : Json(message.in_file);
  line["part"] = part_ == MessageTree::kNone ? Json() : Json(part_);
  line["decoded"] = decoded_;
  return line;
}

Json Printer::TextsJson(const ms* list) const {
  Json texts = Json::array();
  for (; list != nullptr; list = list->next) {
    Json row;
    PutText(&row, "value", list->text == nullptr ? std::string() : Text(list->text));
    texts.push_back(std::move(row));
  }
  return texts;
}

Json DateJson(const addr822& header, const Date& date) {
  if (!date.present) return {};
  Json row;
  PutText(&row, "original", date.original);
  const bool known = date.readable && header.date != nullptr;
  PutText(&row, "text", known ? header.date->text : nullptr);
  row["utc"] = known ? Json(header.date->utc) : Json();
  return row;
}

Json Printer::FieldsJson(const Fields& fields) const {
  Json list = Json::array();
  for (const HeaderField& field : fields) {
    Json row;
    PutText(&row, "name", field.name.empty() ? nullptr : field.name.c_str());
    PutText(&row, "value", Text(field.value));
    list.push_back(std::move(row));
  }
  return list;
}

void Printer::PrintJson(const Message822& message, const addr822& header, const Date& date,
                        const Fields& unreadable) const {
  Json line = Start(message);
  line["date"] = DateJson(header, date);
  for (const AddressRow& row : kAddresses) {
    const HeaderAddressList* const list = header.*row.list;
    line[row.member] = AddressesJson(list == nullptr ? nullptr : list->table, decoded_);
  }
  line["unreadable"] = FieldsJson(unreadable);
  for (const TextRow& row : kTexts) {
    if (header.*row.value == nullptr) {
      line[row.member] = nullptr;
    } else {
      PutText(&line, row.member, Text(header.*row.value));
    }
  }
  line["received"] = TextsJson(header.received);
  line["other"] = TextsJson(header.otherHeaders);
  Out().Line(JsonText(line));
}

void Printer::PrintPart(const Message822& message) {
  const MessageTree tree(*message.copy, {});
  if (part_ >= tree.size()) {
    throw Failure(ExitCode::kUsage, "has no part " + std::to_string(part_) +
                                        ": its parts are 0 to " + std::to_string(tree.size() - 1) +
                                        "; 'qob parse' shows them");
  }
  const MimeBodyPart& part = tree.part(part_);
  const std::vector<HeaderField> fields =
      FieldsOf(message.copy->Bytes(part.contentStart, part.bodyStart));
  if (!json_) {
    StartPlain(message);
    for (const HeaderField& field : fields) Line(field.name, Text(field.value));
    return;
  }
  Json line = Start(message);
  line["fields"] = FieldsJson(fields);
  Out().Line(JsonText(line));
}

}  // namespace

ExitCode RunHeader(const Arguments& arguments) {
  Printer printer(arguments);
  const PrivateSite site(arguments.Has("--verbose"));
  MessageWalk walk(site, arguments.operands, arguments.Has("--recursive"));
  const ExitCode code = walk.Run([&](const Message822& message) { printer.Print(message); });
  Out().Flush();
  return code;
}

}  // namespace cli
