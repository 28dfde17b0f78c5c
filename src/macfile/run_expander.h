// Undoes the run-length compression of BinHex, in whatever pieces it comes.
#pragma once
#include <cstddef>
#include <string_view>

namespace qob::binhex {

class RunExpander {
 public:
  // Takes from the front of *packed until it is used up or `room` bytes are made; bytes made. May
  // be called again with nothing left in *packed while a run is still being written: pending()
  // tells.
  std::size_t Expand(std::string_view* packed, char* out, std::size_t room);
  bool pending() const { return repeats_ > 0; }
  // A run code stood where no byte was before it; nothing is made any more.
  bool broken() const { return broken_; }

 private:
  void TakeRunCode(unsigned char code, char* out, std::size_t* made);

  bool has_last_ = false;
  bool after_marker_ = false;
  bool broken_ = false;
  unsigned char last_ = 0;
  std::size_t repeats_ = 0;
};

}  // namespace qob::binhex
