// The recipients of a notification, from options and from JSON lines.
#ifndef TOOLS_QOB_NOTIFY_RECIPIENT_FIELDS_H
#define TOOLS_QOB_NOTIFY_RECIPIENT_FIELDS_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <qob3xapi/dsn.h>

#include "../arguments.h"

namespace cli::notify {

struct RecipientFields {
  std::string original;    // "rfc822;bob@b.example"
  std::string final;       // "bob@b.example"
  std::string action;      // "failed"
  std::string status;      // "5.1.1"
  std::string remote;      // a host name
  std::string diagnostic;  // the remote server's reply
  std::int32_t last_attempt = 0;
  std::int32_t will_retry = 0;
};

// Every --recipient, then every line of --fields. Throws Failure for a value with a line end, an
// unknown key, an action that RFC 3464 does not have.
std::vector<RecipientFields> ReadRecipients(const Arguments& arguments);

// "bob@b.example,action=failed,status=5.1.1,diagnostic=550 no such user". Throws Failure.
RecipientFields ParseRecipient(const std::string& text);

// The library's list of them, good as long as this lives and the fields stand.
class FieldList {
 public:
  explicit FieldList(const std::vector<RecipientFields>& recipients);
  ~FieldList();
  FieldList(const FieldList&) = delete;
  FieldList& operator=(const FieldList&) = delete;

  const PerRecipFieldNode* head() const { return nodes_.empty() ? nullptr : &nodes_.front(); }

 private:
  std::vector<PerRecipField> fields_;
  std::vector<PerRecipFieldNode> nodes_;
};

}  // namespace cli::notify

#endif
