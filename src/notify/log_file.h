// A file of the log, mailed to the postmaster.
#pragma once

namespace qob::notify {

// True when the message is in the queue; false when nothing of it is. Throws std::bad_alloc.
bool MailLogFile(const char* log_file);

}  // namespace qob::notify
