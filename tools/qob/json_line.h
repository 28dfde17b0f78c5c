// JSON Lines: objects with their members in the order in which they were put, pure ASCII, valid for
// any bytes. A text that is not UTF-8 is stored repaired, and its bytes go into a second member
// named <member>_base64.
#ifndef TOOLS_QOB_JSON_LINE_H
#define TOOLS_QOB_JSON_LINE_H

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace cli {

using Json = nlohmann::ordered_json;

void PutText(Json* object, const std::string& member, std::string_view bytes);
// null for a null pointer
void PutText(Json* object, const std::string& member, const char* text);

// The object as one line, without the line feed.
std::string JsonText(const Json& object);

}  // namespace cli

#endif
