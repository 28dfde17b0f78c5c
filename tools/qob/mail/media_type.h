// The usual content type of a file, told by its name.
#ifndef TOOLS_QOB_MAIL_MEDIA_TYPE_H
#define TOOLS_QOB_MAIL_MEDIA_TYPE_H

#include <string>
#include <string_view>

namespace cli::mail {

struct MediaType {
  std::string type;
  std::string subtype;

  bool Is(std::string_view wanted_type, std::string_view wanted_subtype) const;
  bool IsText() const { return Is("text", ""); }
  std::string Text() const { return type + "/" + subtype; }
};

// By the extension; application/octet-stream for one that is not known.
MediaType GuessedType(std::string_view file_name);
// "text/html", as given by an option. Throws Failure(kUsage).
MediaType ParseMediaType(const std::string& what, std::string_view text);

}  // namespace cli::mail

#endif
