#include "db/place.h"

#include "frame/config.h"
#include "platform/spool/store_settings.h"
#include "platform/store/record_file.h"

namespace qob::db {
namespace {

constexpr std::size_t kDirectoryBytes = 260;
constexpr char kSeeds[] = "srcdb";

std::string Queue(const ConfigReader& config) {
  return config.Text("Gateway", "QueueDirectory", "", kDirectoryBytes);
}

}  // namespace

Place::Place() {
  const ConfigReader config;
  queue = Queue(config);
  install = config.Text("Config", "InstallDirectory", "", kDirectoryBytes);
}

std::string QueuePlace() { return Queue(ConfigReader()); }

// The ".id0" of a relation follows from its ".db" and is made when the relation is opened: two
// processes that place a seed at once cannot leave files that do not belong together.
void PlaceSeed(const Place& place, const char* name) {
  if (place.queue.empty()) return;  // no queue: not into the root of the file system
  const std::string file = std::string("\\") + name + ".db";
  store::RecordFile::Place(place.queue + file, place.install + "\\" + kSeeds + file,
                           spool::StoreCreateOptions());
}

}  // namespace qob::db
