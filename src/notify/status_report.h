// A delivery status notification: text for people, status for programs, and what is returned.
#pragma once
#include <qob3xapi/dsn.h>

#include "notify/draft.h"

namespace qob::notify {

// Everything stays the caller's.
struct StatusReport {
  const char* queue_file;    // without extension
  const DsnEnvFrom* sender;  // null: not known
  const char* subject;
  const ms* text;                       // lines with their line ends
  const PerRecipFieldNode* recipients;  // null: no delivery-status part
};

// kDone when it was submitted. Throws std::bad_alloc.
Step SendStatusReport(const StatusReport& report);
// As though the message had come from the postmaster, just now.
Step SendStatusReportToPostmaster(const StatusReport& report);

}  // namespace qob::notify
