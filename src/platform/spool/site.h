// What one process knows about its place in the mail system: directories, client name, log file.
// Start-up writes it; everybody else reads.
#pragma once

namespace qob::spool {

// [Gateway] InstallationId: this stands for a text made from the machine's own marks.
inline constexpr char kMachineInstallation[] = "*";

struct Site {
  char config_file[16] = "";  // "twmta.ini"
  char client[32] = "";       // 31 characters of the name given to start-up
  char queue_dir[260] = "";
  char temp_dir[260] = "";
  char install_dir[260] = "";
  char log_file[32] = "";      // "twmta.log"
  char installation[64] = "";  // for Message-IDs
  bool filled = false;         // start-up has read the directories
};

// The process's own record; never moves.
Site& TheSite();
// Start-up's part: sets configuration and log file name and reads the directories (not the client
// name).
void FillSite(Site& site);

}  // namespace qob::spool
