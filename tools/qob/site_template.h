// The configuration that a new system starts with: every setting that its people may want to
// change, with what it does.
#ifndef TOOLS_QOB_SITE_TEMPLATE_H
#define TOOLS_QOB_SITE_TEMPLATE_H

#include <string>

namespace cli {

struct NewSite {
  std::string queue;      // native and absolute
  std::string temporary;  // the same
  std::string install;    // the directory that holds "srcdb"; "" when there is none
  std::string host;
  std::string domain;
};

// The text of its twmta.ini. Values that differ from the default are set; the others stand as
// comments with their defaults.
std::string SiteTemplate(const NewSite& site);

}  // namespace cli

#endif
