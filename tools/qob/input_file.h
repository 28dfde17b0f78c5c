// Input that is not read message by message: how it becomes a file that the library can open, and
// what is said when it cannot.
#ifndef TOOLS_QOB_INPUT_FILE_H
#define TOOLS_QOB_INPUT_FILE_H

#include <string>

#include "failure.h"
#include "private_site.h"
#include "system.h"

namespace cli {

// Why a file cannot be opened, with what to do; the line does not name the file.
Failure Unreadable(int error);

// Copies standard input, or a pipe, to a new file of that path. Throws Failure.
void Spool(sys::File from, const std::string& path);

// The path under which the library opens an operand: the operand itself, a copy of standard input
// or of a pipe, or a link where the name holds a backslash, which the library takes for a
// separator. Throws Failure naming the operand.
std::string LibraryPath(const PrivateSite& site, const std::string& operand);

}  // namespace cli

#endif
