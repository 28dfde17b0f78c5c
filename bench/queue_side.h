// A database of message records as the queue's benchmarks use it, whoever keeps it: SQLite by hand,
// the store, or the exported calls. RunQueueBench does the work and the measuring, so that all
// sides do the same.
#pragma once
#include <qob3xapi/mesgdb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "queue_data.h"

namespace bench {

class QueueSide {
 public:
  QueueSide() = default;
  virtual ~QueueSide() = default;
  QueueSide(const QueueSide&) = delete;
  QueueSide& operator=(const QueueSide&) = delete;

  // One durable commit.
  virtual void Insert(MesgRecord* record) = 0;
  // The first record of that key; one read transaction and one seek.
  virtual void Find(const char* key, MesgRecord* record) = 0;
  // The entry behind the last one that Find or Next gave, in key order; false at the end. One read
  // transaction and one seek.
  virtual bool Next(MesgRecord* record) = 0;
  // Microseconds of the longest checkpoint, 0 where nobody measured it.
  virtual std::int64_t LongestCheckpointUs() { return 0; }
};

struct QueueMaker {
  // Makes an empty database in a directory that holds none.
  std::function<void(const std::string& directory)> create;
  std::function<std::unique_ptr<QueueSide>(const std::string& directory)> open;
  // Fills an empty database with the records of that many messages, as quickly as it can; null when
  // another side does it.
  std::function<void(const std::string& directory, std::uint32_t messages, Order order)> fill;
};

// The program of one side; README.md and its usage text tell the commands. Prints one JSON line.
int RunQueueBench(int argc, char** argv, const QueueMaker& maker);

}  // namespace bench
