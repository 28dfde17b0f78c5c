// The private site of a command that only reads mail. The library works with a configuration of its
// own, so that such a command never depends on the site's queue, its temporary directory or its
// log: a directory that nobody else can read, with a copy of the site's twmta.ini whose
// TemporaryDirectory is that directory.
#ifndef TOOLS_QOB_PRIVATE_SITE_H
#define TOOLS_QOB_PRIVATE_SITE_H

#include <string>

namespace cli {

inline constexpr const char* kProfileName = "twmta.ini";

// The directory of the site's configuration: QOB_CONFIG_DIR, else the system's.
std::string SiteDirectory();

class PrivateSite {
 public:
  // Makes the directory, writes the configuration and starts the library. Throws Failure when that
  // cannot be.
  explicit PrivateSite(bool verbose);
  PrivateSite(const PrivateSite&) = delete;
  PrivateSite& operator=(const PrivateSite&) = delete;
  ~PrivateSite();

  // A path of that name inside the private directory.
  std::string PathOf(const std::string& name) const { return directory_ + "/" + name; }
  // Writes one value into the private copy of the configuration.
  void Set(const char* section, const char* key, const std::string& value) const;

 private:
  void WriteProfile() const;

  std::string directory_;
};

}  // namespace cli

#endif
