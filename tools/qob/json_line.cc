#include "json_line.h"

#include "utf8.h"

namespace cli {

void PutText(Json* object, const std::string& member, std::string_view bytes) {
  if (IsUtf8(bytes)) {
    (*object)[member] = bytes;
    return;
  }
  (*object)[member] = Repaired(bytes);
  (*object)[member + "_base64"] = Base64(bytes);
}

void PutText(Json* object, const std::string& member, const char* text) {
  if (text == nullptr) {
    (*object)[member] = nullptr;
  } else {
    PutText(object, member, std::string_view(text));
  }
}

std::string JsonText(const Json& object) {
  return object.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace cli
