// The file that the library reads for one message: the user's own file where that is possible, else
// a copy in the private directory. A copy is made of a message inside an mbox, and of a message
// with bare line feeds, which the copy has as CR LF. Positions in the copy are always given back as
// positions in the user's file.
#ifndef TOOLS_QOB_WORKING_COPY_H
#define TOOLS_QOB_WORKING_COPY_H

#include <cstdint>
#include <string>
#include <vector>

#include "mbox.h"
#include "private_site.h"

namespace cli {

class WorkingCopy {
 public:
  // path is the file, range the message in it, size_bytes the size of the whole file. Throws
  // Failure, with a line that does not name the file.
  WorkingCopy(const PrivateSite& site, const std::string& path, ByteRange range,
              std::int64_t size_bytes);
  WorkingCopy(const WorkingCopy&) = delete;
  WorkingCopy& operator=(const WorkingCopy&) = delete;
  ~WorkingCopy();

  // What the library opens.
  const std::string& path() const { return path_; }
  bool converted() const { return converted_; }
  std::int64_t size_bytes() const { return size_bytes_; }

  // The positions, each from 0 to size_bytes, as positions in the user's file. One pass over the
  // message for all of them.
  std::vector<std::int64_t> InUserFile(const std::vector<std::int64_t>& positions) const;

  // Bytes of the working file.
  std::string Bytes(std::int64_t start, std::int64_t end) const;
  // The working file up to its first empty line or a little further; the whole of it when it has
  // none.
  std::string HeaderBlock() const;

 private:
  void Judge(const std::string& head) const;
  bool FirstLineIsBare(sys::File* file) const;
  void Copy(const PrivateSite& site, sys::File* file);
  void Link(const PrivateSite& site);

  std::string user_path_;
  ByteRange range_;
  std::string path_;
  std::int64_t size_bytes_ = 0;
  bool owned_ = false;
  bool converted_ = false;
};

}  // namespace cli

#endif
