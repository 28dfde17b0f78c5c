// A message under construction: a temporary file that is whole or gone.
#pragma once
#include <utility>

#include "lineio/file_writer.h"
#include "util/temp_file.h"

namespace qob {

// write(out) fills the new file; false from it, or any failure to write, removes the file and gives
// an empty one. Throws std::bad_alloc.
template <class Write>
TempFile NewMessage(Write&& write) {
  TempFile file(TempName("MIME"));
  if (!file) return file;
  FileWriter out;
  const bool written = out.Create(file.path().c_str(), true) && write(out) && out.Close();
  return written ? std::move(file) : TempFile();
}

}  // namespace qob
