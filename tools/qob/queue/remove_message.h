// A message leaves the queue for good: its records, its places on channels and its note go in one
// transaction, then its files, and the lock last: a crash in between leaves a file without records
// at worst, which 'qob queue check' finds.
#ifndef TOOLS_QOB_QUEUE_REMOVE_MESSAGE_H
#define TOOLS_QOB_QUEUE_REMOVE_MESSAGE_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "change.h"
#include "record_access.h"

namespace cli::queue {

class Remover {
 public:
  // The detail of what is done names the channels.
  Outcome operator()(Target& target);

 private:
  qob::store::Status RemoveRecords(const Target& target, std::vector<std::string>* channels);
  static std::string RemoveFile(const Target& target, const char* extension);
  ChannelNames& ChannelsOf(const Place& home);

  std::map<const Place*, std::unique_ptr<ChannelNames>> channels_;
};

}  // namespace cli::queue

#endif
