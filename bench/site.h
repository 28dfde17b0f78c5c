// The configuration that the library is measured with: temporary files go where the peers write.
#pragma once

namespace bench {

// Starts the library with "site/twmta.ini" of the output directory, which compare writes and lets
// rest: a file that changed less than two seconds ago is read anew by every call, as no site's file
// is.
class Site {
 public:
  Site();
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;
  ~Site();
};

}  // namespace bench
