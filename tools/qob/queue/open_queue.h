// The queue that a command works on: its directories, their message databases, the library started.
//
// A queue is one directory or several (--queue, else [Gateway] QueueDirectory). Records may lie in
// the database of one directory while the message's file lies in another: the record names it.
#ifndef TOOLS_QOB_QUEUE_OPEN_QUEUE_H
#define TOOLS_QOB_QUEUE_OPEN_QUEUE_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "../arguments.h"
#include "../failure.h"
#include "message.h"
#include "platform/store/record_file.h"

namespace cli::queue {

struct Place {
  std::string path;  // native and absolute, as shown to people
  std::string name;  // what records of messages in it carry as its name
  std::shared_ptr<qob::store::RecordFile> database;  // null: it has none
};

enum class Access {
  kRead,    // databases are opened read-only; the library's log lines stay in the process
  kChange,  // opened to change, with the site's durability; log lines go to the site's log
};

class OpenQueue {
 public:
  // Starts the library without the message queue and opens every database. Throws Failure when a
  // directory is missing, a database is damaged or foreign, or none has a database.
  // With `statuses`, what was met at each database is put there instead, one for each place.
  OpenQueue(const Arguments& arguments, Access access,
            std::vector<qob::store::Status>* statuses = nullptr);
  OpenQueue(const OpenQueue&) = delete;
  OpenQueue& operator=(const OpenQueue&) = delete;
  ~OpenQueue();

  const std::vector<Place>& places() const { return places_; }
  // The place that has the files of a message whose records lie in `home` and name that directory:
  // home itself when the name is its own or empty; -1 when no open place is called so.
  std::int32_t HolderOf(std::uint32_t home, std::string_view directory_name) const;
  // "/var/spool/qob/0001A2B3", native, without an extension; in its home when no open place holds
  // it.
  std::string PathOf(const Message& message) const;

 private:
  void OpenPlaces(const std::vector<std::string>& directories,
                  std::vector<qob::store::Status>* statuses);

  Access access_;
  std::vector<Place> places_;
};

// A store's status as a failure of the command, "<what>: <why>: <what to do>".
Failure StoreFailure(const std::string& what, qob::store::Status status);

}  // namespace cli::queue

#endif
