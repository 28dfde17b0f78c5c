// qob dsn parse: what notifications say, recipient by recipient.
#include <cstdlib>
#include <memory>

#include <qob3xapi/dates.h>
#include <qob3xapi/mimebody.h>
#include <qob3xapi/util.h>

#include "../commands.h"
#include "../date_seconds.h"
#include "../json_line.h"
#include "../library_log.h"
#include "../message_tree.h"
#include "../message_walk.h"
#include "../output.h"
#include "../utf8.h"
#include "status_reader.h"

namespace cli {
namespace {

using notify::Fields;

constexpr const char* kSchema = "qob.dsn/1";
constexpr std::size_t kLargestStatus = 32u << 20;
constexpr std::size_t kBlock = 64 * 1024;

bool IsStatus(const MimeBodyPart& part) {
  return SameText(part.contentType, "message") &&
         (SameText(part.contentSubtype, "delivery-status") ||
          SameText(part.contentSubtype, "global-delivery-status"));
}

bool IsReturned(const MimeBodyPart& part) {
  return (SameText(part.contentType, "message") &&
          (SameText(part.contentSubtype, "rfc822") || SameText(part.contentSubtype, "global"))) ||
         SameText(part.contentSubtype, "rfc822-headers") ||
         SameText(part.contentSubtype, "global-headers");
}

// The part with the status, and what stands behind it.
struct Places {
  std::size_t status = MessageTree::kNone;
  std::size_t returned = MessageTree::kNone;
};

Places Find(const MessageTree& tree) {
  Places places;
  for (std::size_t i = 0; i < tree.size(); ++i) {
    const MimeBodyPart& part = tree.part(i);
    if (places.status == MessageTree::kNone) {
      if (IsStatus(part)) places.status = i;
    } else if (places.returned == MessageTree::kNone && IsReturned(part)) {
      places.returned = i;
    }
  }
  return places;
}

// The decoded body of a part. Throws Failure.
std::string BodyOf(MimeBodyPart& part) {
  struct Drop {
    void operator()(char* name) const { MimeFreeFile(name); }
  };
  const std::unique_ptr<char, Drop> name(MimeGetBody(&part, 0, QOB_INVALID_OSHANDLE));
  if (name == nullptr) return {};
  char* const native = QOBNativePath(name.get());
  sys::File file = sys::File::OpenToRead(native == nullptr ? "" : native);
  FreeString(native);
  std::string body;
  for (;;) {
    const std::size_t size = body.size();
    if (size > kLargestStatus)
      throw Failure(ExitCode::kData, "its status part is larger than 32 MB: check the file");
    body.resize(size + kBlock);
    const std::ptrdiff_t got = file ? file.Read(body.data() + size, kBlock) : -1;
    body.resize(size + static_cast<std::size_t>(got < 0 ? 0 : got));
    if (got < 0) throw Failure(ExitCode::kIo, "its status part cannot be read: check the disk");
    if (got == 0) return body;
  }
}

// ---- JSON ----

// The field, taken out of the rest; nothing when there is none.
std::optional<std::string> TakeField(Fields* fields, const char* name) {
  const std::string* const value = notify::FieldOf(*fields, name);
  if (value == nullptr) return std::nullopt;
  const std::string text = *value;
  for (auto field = fields->begin(); field != fields->end(); ++field) {
    if (&field->value == value) {
      fields->erase(field);
      break;
    }
  }
  return text;
}

void PutField(Json* line, const char* member, Fields* fields, const char* name) {
  const std::optional<std::string> value = TakeField(fields, name);
  PutText(line, member, value ? value->c_str() : nullptr);
}

// An object with the type in front of the semicolon and what stands behind it.
Json TypedField(const char* what, Fields* fields, const char* name) {
  const std::optional<std::string> value = TakeField(fields, name);
  if (!value) return {};
  const notify::TypedText typed = notify::SplitType(*value);
  Json row;
  PutText(&row, "type", typed.type.empty() ? nullptr : typed.type.c_str());
  PutText(&row, what, typed.text);
  return row;
}

Json DateField(Fields* fields, const char* name) {
  const std::optional<std::string> value = TakeField(fields, name);
  if (!value) return {};
  UtcDate* date = nullptr;
  Json row;
  PutText(&row, "text", *value);
  row["utc"] = rfc2UTC(value->c_str(), &date) == 1 ? Json(SecondsOf(*date)) : Json();
  std::free(date);
  return row;
}

Json Others(const Fields& fields) {
  Json list = Json::array();
  for (const HeaderField& field : fields) {
    Json row;
    PutText(&row, "name", field.name.empty() ? nullptr : field.name.c_str());
    PutText(&row, "value", field.value);
    list.push_back(std::move(row));
  }
  return list;
}

Json RecipientJson(Fields fields) {
  Json row;
  const std::optional<bool> failed = notify::IsFailure(fields);
  row["original_recipient"] = TypedField("address", &fields, "Original-Recipient");
  row["final_recipient"] = TypedField("address", &fields, "Final-Recipient");
  PutField(&row, "action", &fields, "Action");
  row["failed"] = failed ? Json(*failed) : Json();
  PutField(&row, "status", &fields, "Status");
  row["remote_mta"] = TypedField("name", &fields, "Remote-MTA");
  row["diagnostic_code"] = TypedField("text", &fields, "Diagnostic-Code");
  row["last_attempt"] = DateField(&fields, "Last-Attempt-Date");
  row["will_retry_until"] = DateField(&fields, "Will-Retry-Until");
  PutField(&row, "final_log_id", &fields, "Final-Log-ID");
  row["other"] = Others(fields);
  return row;
}

std::string TypeOf(const MimeBodyPart& part) {
  return std::string(part.contentType == nullptr ? "" : part.contentType) + "/" +
         (part.contentSubtype == nullptr ? "" : part.contentSubtype);
}

void PrintJson(const Message822& message, const MessageTree& tree, const Places& places,
               notify::StatusText status) {
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", message.file);
  line["message"] = message.in_file == 0 ? Json() : Json(message.in_file);
  line["part"] = places.status;
  PutText(&line, "type", TypeOf(tree.part(places.status)));
  PutField(&line, "original_envelope_id", &status.message, "Original-Envelope-Id");
  line["reporting_mta"] = TypedField("name", &status.message, "Reporting-MTA");
  line["dsn_gateway"] = TypedField("name", &status.message, "DSN-Gateway");
  line["received_from_mta"] = TypedField("name", &status.message, "Received-From-MTA");
  line["arrival"] = DateField(&status.message, "Arrival-Date");
  line["other"] = Others(status.message);
  line["returned"] = Json();
  if (places.returned != MessageTree::kNone) {
    Json returned;
    returned["part"] = places.returned;
    PutText(&returned, "type", TypeOf(tree.part(places.returned)));
    line["returned"] = std::move(returned);
  }
  Json recipients = Json::array();
  for (Fields& fields : status.recipients) recipients.push_back(RecipientJson(std::move(fields)));
  line["recipients"] = std::move(recipients);
  Out().Line(JsonText(line));
}

// ---- for people ----

void Show(const Fields& fields, const char* blanks) {
  for (const HeaderField& field : fields)
    Out().Line(blanks +
               Visible(field.name.empty() ? field.value : field.name + ": " + field.value));
}

void PrintPlain(const Message822& message, const notify::StatusText& status, const Paint& paint) {
  Out().Line(paint.Bold(Visible(message.Label())) + ":");
  Show(status.message, "  ");
  for (const Fields& fields : status.recipients) {
    Out().Line("");
    Show(fields, "    ");
  }
}

void Print(const Arguments& arguments, const Message822& message) {
  const MessageTree tree(*message.copy, {false, true});
  const Places places = Find(tree);
  if (places.status == MessageTree::kNone)
    throw Failure(ExitCode::kData,
                  "holds no delivery status: 'qob parse' shows what it is made of");
  notify::StatusText status = notify::ReadStatusText(BodyOf(tree.part(places.status)));
  if (arguments.Has("--json")) {
    PrintJson(message, tree, places, std::move(status));
  } else {
    PrintPlain(message, status, Paint(arguments.Value("--color", "auto")));
  }
}

}  // namespace

ExitCode RunDsnParse(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  MessageWalk walk(site, arguments.operands, arguments.Has("--recursive"));
  const ExitCode code = walk.Run([&](const Message822& message) { Print(arguments, message); });
  Out().Flush();
  return code;
}

}  // namespace cli
