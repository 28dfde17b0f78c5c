// The message that the options of a command line ask for, every value checked.
#ifndef TOOLS_QOB_MAIL_OPTIONS_H
#define TOOLS_QOB_MAIL_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "../arguments.h"
#include "header_words.h"
#include "mailbox.h"
#include "media_type.h"

namespace cli::mail {

enum class Encoding { kChoose, k7bit, k8bit, kQuotedPrintable, kBase64, kUuencode };

// One file that goes with the message.
struct Attachment {
  std::string file;
  std::string name;  // UTF-8; "" for none
  MediaType type;
  std::string disposition;  // "" for none
  std::string id;           // with its angle brackets; "" for none
  std::string description;  // UTF-8
  Encoding encoding = Encoding::kChoose;
  bool is_body = false;  // a text of the message itself, like the other forms of an alternative
};

struct MessageOptions {
  std::vector<Mailbox> from;  // one at most
  std::vector<Mailbox> to;
  std::vector<Mailbox> cc;
  std::vector<Mailbox> bcc;
  std::string subject;
  std::vector<std::string> headers;  // ready lines without their line ends
  bool has_body = true;
  std::string body_file = "-";
  std::optional<std::string> body_text;
  MediaType body_type{"text", "plain"};
  Encoding body_encoding = Encoding::kChoose;
  std::string charset;       // of the text in the message; "" to be told by the text
  std::string text_charset;  // that the text comes in; "" to be told by the text
  std::vector<Attachment> attachments;
  std::string multipart;  // the subtype; "" for a message of one part
  bool raw = false;
  WordCharset words;
};

// An option of the message was given.
bool AsksForMessage(const Arguments& arguments);
// Throws Failure. No file is opened.
MessageOptions ReadMessageOptions(const Arguments& arguments);

// As the header of a part names it.
const char* EncodingName(Encoding encoding);

// "Name: value" as a ready line. Throws Failure: for a field that an option or the system writes,
// too.
std::string HeaderLine(const std::string& text, const WordCharset& words);
// "type=image/png,name=x.png,file=y.png". Throws Failure.
Attachment ParsePart(const std::string& text);

}  // namespace cli::mail

#endif
