// What a delivery status notification says, read from the text of its status part: leniently, since
// it comes from any system of the world, and without adding anything of our own. A field that is
// not there stays unknown, an action stays the word that it is.
#ifndef TOOLS_QOB_NOTIFY_STATUS_READER_H
#define TOOLS_QOB_NOTIFY_STATUS_READER_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../header_block.h"

namespace cli::notify {

// "rfc822; bob@b.example", "smtp; 550 no such user": "" for a type that is not named.
struct TypedText {
  std::string type;
  std::string text;
};
TypedText SplitType(std::string_view value);

using Fields = std::vector<HeaderField>;
// The value of the first field of that name, letters of either case; null when there is none.
const std::string* FieldOf(const Fields& fields, std::string_view name);

struct StatusText {
  Fields message;                  // of the message as a whole
  std::vector<Fields> recipients;  // of each recipient
};

// Fields of the message stand before the first empty line, those of each recipient in a group of
// their own. Where an empty line is missing, the names of the fields tell the groups apart. What
// is beyond these limits is left out.
inline constexpr std::size_t kMostRecipients = 100'000;
inline constexpr std::size_t kMostFields = 500'000;
StatusText ReadStatusText(std::string_view text);

// The action is "failed", in either case; nothing when there is none. "delayed" is no failure.
std::optional<bool> IsFailure(const Fields& recipient);

}  // namespace cli::notify

#endif
