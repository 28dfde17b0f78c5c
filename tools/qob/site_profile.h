// The configuration file of the site, as the config commands work on it: which file, its text, the
// values in effect.
#ifndef TOOLS_QOB_SITE_PROFILE_H
#define TOOLS_QOB_SITE_PROFILE_H

#include <string>

#include "arguments.h"
#include "profile_scan.h"

namespace cli {

class SiteProfile {
 public:
  // The file that --file names, else twmta.ini in QOB_CONFIG_DIR, else in the system's directory. A
  // file that does not exist counts as empty; one that cannot be read throws Failure.
  explicit SiteProfile(const Arguments& arguments);

  const std::string& path() const { return path_; }
  // "--file", "QOB_CONFIG_DIR" or "default"
  const std::string& chosen_by() const { return chosen_by_; }
  bool exists() const { return exists_; }
  const ProfileScan& scan() const { return scan_; }

  // The value as the system gets it in a buffer of that size.
  std::string Value(const KeyRow& row) const;
  std::string Value(const std::string& section, const std::string& key) const;

 private:
  std::string path_;
  std::string chosen_by_;
  bool exists_ = false;
  ProfileScan scan_;
};

}  // namespace cli

#endif
