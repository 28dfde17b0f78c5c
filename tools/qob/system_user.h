// Who runs this, as far as mail wants to know.
#ifndef TOOLS_QOB_SYSTEM_USER_H
#define TOOLS_QOB_SYSTEM_USER_H

#include <string>

namespace cli::sys {

struct User {
  std::string name;       // the login name, or the number of a user that has none
  std::string full_name;  // "" when it is not known
};
User ThisUser();
// His number, which needs no look-up.
std::string UserNumber();

// This process may make files in the directory.
bool MayWrite(const std::string& directory);

// The file behind a descriptor is open.
bool IsOpen(int descriptor);

}  // namespace cli::sys

#endif
