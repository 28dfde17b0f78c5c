// A message of the queue that a command answers: found by its id, and locked while it is at work.
#ifndef TOOLS_QOB_NOTIFY_QUEUED_MESSAGE_H
#define TOOLS_QOB_NOTIFY_QUEUED_MESSAGE_H

#include <memory>
#include <string>

#include <qob3xapi/envelope.h>
#include <qob3xapi/mesgdb.h>

#include "../failure.h"

namespace cli::notify {

// The message database of the site's queue. The library must have been started.
class Database {
 public:
  // Throws Failure.
  Database();
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  MesgHandle* get() { return &handle_; }

 private:
  MesgHandle handle_;
};

struct FreeSender {
  void operator()(EnvFrom* sender) const { FreeEnvFrom(sender); }
};
using Sender = std::unique_ptr<EnvFrom, FreeSender>;

class QueuedMessage {
 public:
  // id: eight hexadecimal digits of either case. Throws Failure: no such message, or one that
  // another process has locked.
  explicit QueuedMessage(const std::string& id);
  ~QueuedMessage();
  QueuedMessage(const QueuedMessage&) = delete;
  QueuedMessage& operator=(const QueuedMessage&) = delete;

  const std::string& id() const { return id_; }
  const char* path() const { return path_.c_str(); }

 private:
  std::string id_;
  std::string path_;  // of the library, without extension
};

// Why the library refused, as a failure that may pass.
Failure Refused(const std::string& what);

}  // namespace cli::notify

#endif
