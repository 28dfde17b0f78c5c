// A file under construction beside its later place: it appears there whole, or not at all and
// leaves nothing behind.
#pragma once
#include <string_view>
#include <sys/types.h>

#include "platform/os/posix/native_name.h"

namespace qob::os {

class NewFile {
 public:
  NewFile() = default;
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Each gives 0 or the error. `native` is the later place; `mode` as far as the process's mask
  // lets it.
  int CreateBeside(std::string_view native, mode_t mode = 0600);
  int Write(std::string_view bytes);
  // Everything of an open file from its start on.
  int CopyFrom(int source);
  int SetMode(mode_t mode);
  int SetOwner(uid_t user, gid_t group);
  int Flush();
  int Close();
  // Takes the place of what stands there.
  int Replace(const NativeName& place);
  // Fails with EEXIST when anything stands there.
  int BecomeNew(const NativeName& place);

 private:
  int CopyByHand(int source);

  int fd_ = -1;
  bool standing_ = false;
  char name_[PATH_MAX] = "";
};

// The directory's entries are on stable storage afterwards.
int FlushDirectoryOf(std::string_view native);

}  // namespace qob::os
