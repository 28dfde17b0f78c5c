// Where decoded files end up: in one folder, each under a safe name that nothing else has.
#ifndef TOOLS_QOB_FILE_DROP_H
#define TOOLS_QOB_FILE_DROP_H

#include <map>
#include <optional>
#include <set>
#include <string>

#include "safe_name.h"
#include "system.h"

namespace cli {

class FileDrop {
 public:
  // The folder is made when the first file comes. force allows to take the place of files that were
  // there before this run.
  FileDrop(std::string folder, bool force) : folder_(std::move(folder)), force_(force) {}

  // Moves or copies the file at source into the folder under SafeName(wanted), or fallback when
  // nothing is left of that name, with prefix in front and a number where the name is taken. Its
  // path in the folder. Throws FatalFailure.
  std::string Drop(const std::string& source, const std::string& wanted,
                   const std::string& fallback, const std::string& prefix = {});

 private:
  void Open();
  std::string Shown(const std::string& name) const;
  // One name that is free in this run; the longest name the folder takes is learned on the way.
  std::optional<std::string> TryNext(const std::string& source, const std::string& base);

  std::string folder_;
  bool force_;
  std::size_t longest_ = kLongestName;
  std::optional<sys::OutputFolder> opened_;
  std::map<std::string, std::size_t> next_number_;
  std::set<std::string> used_;
};

}  // namespace cli

#endif
