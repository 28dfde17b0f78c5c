// The way into the queue: the site's full start-up, and one message with its envelope.
#ifndef TOOLS_QOB_MAIL_SUBMISSION_H
#define TOOLS_QOB_MAIL_SUBMISSION_H

#include <cstdint>
#include <string>

#include "envelope.h"

namespace cli::mail {

// The library with the queue of the configured site, for the life of the object. Its log lines of
// failures are kept for the messages of this command, and written to the site's log at the end.
class SiteQueue {
 public:
  // Throws Failure when there is no queue to submit to.
  explicit SiteQueue(bool verbose);
  SiteQueue(const SiteQueue&) = delete;
  SiteQueue& operator=(const SiteQueue&) = delete;
  ~SiteQueue();

  // The message file's copy in the queue; its path without an extension, as the system takes it.
  // Throws Failure, and nothing of it is in the queue then.
  std::string Submit(const Envelope& envelope, const std::string& channel,
                     const std::string& message_file);
  // One line for the site's log, written when the queue is left.
  void Note(const std::string& text) { note_ = text; }

 private:
  std::string note_;
};

// "0001A2B3" of a path that Submit gave.
std::string QueueIdOf(const std::string& path);

// --channel, else [Submission] Channel of the configuration, else "smtp". Throws Failure.
std::string ChannelOf(const Arguments& arguments);
// A name without a host gets that of the site, where it is configured: for header fields.
std::string WithHost(const std::string& address);

}  // namespace cli::mail

#endif
