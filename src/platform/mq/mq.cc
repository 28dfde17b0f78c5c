// The connection to the message queue: the queue directory of this machine must stand and take
// files.
#include <cstdio>

#include <qobplatform/mqapi.h>

#include "platform/os/directory.h"
#include "platform/os/profile.h"
#include "platform/spool/site.h"

namespace {

struct Connection {
  bool open = false;
  char client[32] = "";
};
constinit Connection connection;

// The setting as it stands now, whatever the site read at start-up.
bool QueueStands(const char* config_file) {
  char directory[sizeof qob::spool::Site::queue_dir] = "";
  qob::os::ReadProfile("Gateway", "QueueDirectory", "", directory, sizeof directory, config_file);
  return directory[0] != '\0' && qob::os::IsWritableDirectory(directory);
}

}  // namespace

extern "C" int32_t MQInit(const char* host, const char* clientName) {
  qob::spool::Site& site = qob::spool::TheSite();
  if (!site.filled) {
    qob::spool::FillSite(site);
    site.filled = false;  // by start-up; until then each call reads the directories again
  }
  std::snprintf(connection.client, sizeof connection.client, "%s",
                clientName == nullptr ? "" : clientName);
  connection.open = host != nullptr && host[0] != '\0' && QueueStands(site.config_file);
  return connection.open ? 1 : 0;
}

extern "C" int32_t MQTerminate(void) {
  connection.open = false;
  return 0;
}
