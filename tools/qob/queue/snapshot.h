// All messages of a queue as of one moment: every record is read in one transaction, which has
// ended before anything is printed.
#ifndef TOOLS_QOB_QUEUE_SNAPSHOT_H
#define TOOLS_QOB_QUEUE_SNAPSHOT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "message.h"
#include "open_queue.h"
#include "platform/spool/message_files.h"

namespace cli::queue {

class SnapshotBuilder;

class Snapshot {
 public:
  // Reads every open database. Throws Failure when one cannot be read. A record that cannot be
  // understood is left out and counted in problems().
  explicit Snapshot(const OpenQueue& queue);
  // Of these messages alone, looked up one by one: for few ids of a long queue. Each record is as
  // of the moment in which it was read.
  Snapshot(const OpenQueue& queue, std::span<const std::uint32_t> ids);
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

  // In the order in which their records were made; only those that have a message record.
  std::vector<Message>& messages() { return messages_; }
  const std::vector<Message>& messages() const { return messages_; }
  // Recipients whose message record is missing, gathered by id.
  const std::vector<Message>& orphans() const { return orphans_; }
  std::int64_t taken_at() const { return taken_at_; }  // seconds since 1970

  // How many records were left out, and why: a line each of the first ones.
  std::size_t left_out() const { return left_out_; }
  const std::vector<std::string>& problems() const { return problems_; }
  // Says each of them on standard error; true when there was one.
  bool TellProblems() const;

  // Looks up the size of the message's file and whether it is locked, of these messages.
  void LookAtFiles(const OpenQueue& queue, std::span<Message* const> messages) const;
  // The same of all messages, from what LookAhead found.
  void TakeFiles(const std::vector<qob::spool::MessageFiles>& files);

 private:
  friend class SnapshotBuilder;

  TextStore texts_;
  std::vector<Recipient> recipients_;
  std::vector<Message> messages_;
  std::vector<Message> orphans_;
  std::vector<std::string> problems_;
  std::size_t left_out_ = 0;
  std::int64_t taken_at_ = 0;
};

}  // namespace cli::queue

#endif
