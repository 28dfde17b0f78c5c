// An address of the library's table as a line of text and as JSON.
#ifndef TOOLS_QOB_ADDRESS_TEXT_H
#define TOOLS_QOB_ADDRESS_TEXT_H

#include <string>

#include <qob3xapi/address.h>

#include "json_line.h"

namespace cli {

// "Phrase <address> (comment)"; a group or a source route, which bring their own signs, without the
// brackets.
std::string AddressText(const RecipNode& node);

Json AddressJson(const RecipNode& node, bool decoded);
// An array; empty for a null table.
Json AddressesJson(const RecipTbl* table, bool decoded);

}  // namespace cli

#endif
