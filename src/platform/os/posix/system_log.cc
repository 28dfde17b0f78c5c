#include "platform/os/system_log.h"

#include <syslog.h>

namespace qob::os {

void WriteSystemLog(Urgency urgency, const char* text) {
  int priority = LOG_DEBUG;
  switch (urgency) {
    case Urgency::kError:
      priority = LOG_ERR;
      break;
    case Urgency::kNotice:
      priority = LOG_NOTICE;
      break;
    case Urgency::kInformation:
      priority = LOG_INFO;
      break;
    case Urgency::kDetail:
      break;
  }
  // openlog() is left to the program that owns the process.
  syslog(LOG_MAIL | priority, "%s", text);
}

}  // namespace qob::os
