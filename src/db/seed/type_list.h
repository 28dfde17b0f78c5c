// The file types that a new file type database is seeded with, read from two texts: our own list
// of the common ones, and the system's registered list.
//
// Our own (data/types/common.txt), one file type per line, '#' begins a comment line:
//
//   extension; type/subtype; transfer encoding; Macintosh type and creator, or nothing; description
//
// The registered list ("mime.types"): type/subtype and then its extensions, white space between
// them, '#' begins a comment.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace qob::db {

struct FileType {
  std::string extension;  // lower case
  std::string type;
  std::string subtype;
  std::string encoding;
  std::string mac;  // eight characters, or none
  std::string description;
  bool operator==(const FileType&) const = default;
};

// "" or what is wrong with it: it must fit into a record with its NULs, be found by an extension of
// at most nine characters, and be fit to stand in a Content-type field.
std::string Fault(const FileType& type);

// Appends the types of our own list; "" or the first fault with its line. Extensions must differ.
std::string ReadOwnTypes(std::string_view text, std::vector<FileType>* types);

// Appends what the registered list has besides: extensions that do not stand in `types` already,
// each with the first type that has it. What breaks a rule is left out, as are types with parts,
// which no file alone can be.
void ReadRegisteredTypes(std::string_view text, std::vector<FileType>* types);

}  // namespace qob::db
