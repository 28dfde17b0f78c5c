#include "platform/spool/site.h"

#include <cstdio>

#include "platform/os/profile.h"

namespace qob::spool {

Site& TheSite() {
  static constinit Site site;
  return site;
}

void FillSite(Site& site) {
  std::snprintf(site.config_file, sizeof site.config_file, "%s", "twmta.ini");
  os::ReadProfile("Gateway", "QueueDirectory", "", site.queue_dir, sizeof site.queue_dir,
                  site.config_file);
  os::ReadProfile("Gateway", "TemporaryDirectory", "", site.temp_dir, sizeof site.temp_dir,
                  site.config_file);
  std::snprintf(site.log_file, sizeof site.log_file, "%s", "twmta.log");
  os::ReadProfile("Config", "InstallDirectory", "", site.install_dir, sizeof site.install_dir,
                  site.config_file);
  os::ReadProfile("Gateway", "InstallationId", kMachineInstallation, site.installation,
                  sizeof site.installation, site.config_file);
  site.filled = true;
}

}  // namespace qob::spool
