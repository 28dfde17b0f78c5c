#include "platform/spool/store_settings.h"

#include "platform/os/ascii.h"
#include "platform/os/profile.h"
#include "platform/spool/site.h"

namespace qob::spool {
namespace {

// Files may be opened before start-up has named the configuration file.
const char* ConfigurationFile() {
  const Site& site = TheSite();
  return site.config_file[0] != '\0' ? site.config_file : "twmta.ini";
}

}  // namespace

store::OpenOptions StoreOpenOptions() {
  char word[32];
  os::ReadProfile("Store", "Durability", "commit", word, sizeof word, ConfigurationFile());
  store::OpenOptions options;
  if (ascii::EqualFold(word, "system")) options.durability = store::Durability::kSystem;
  return options;
}

store::CreateOptions StoreCreateOptions() {
  char group[64];
  os::ReadProfile("Store", "Group", "", group, sizeof group, ConfigurationFile());
  return {group};
}

}  // namespace qob::spool
