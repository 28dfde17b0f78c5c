// Where the relations lie, and where their seeds.
#pragma once
#include <string>

namespace qob::db {

struct Place {
  // As "twmta.ini" names them at this moment. Throws std::bad_alloc.
  Place();
  std::string queue;
  std::string install;
};

// As above, where no seed is wanted.
std::string QueuePlace();

// Puts the relation of that name from "srcdb" of the install directory into the queue directory,
// where there is none or a file of length zero; whole or not at all. What stands there otherwise
// is left alone. A failure shows when the relation is opened.
void PlaceSeed(const Place& place, const char* name);

}  // namespace qob::db
