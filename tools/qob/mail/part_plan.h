// How one part of a message is carried: its content header and what the library is asked to write.
#ifndef TOOLS_QOB_MAIL_PART_PLAN_H
#define TOOLS_QOB_MAIL_PART_PLAN_H

#include <string>
#include <vector>

#include "options.h"
#include "text_scan.h"

namespace cli::mail {

struct PartPlan {
  std::string path;  // what the library opens
  MediaType type;
  std::string charset;  // "" for none
  Encoding encoding = Encoding::kBase64;
  bool from_shift_jis = false;  // the library brings the text to ISO-2022-JP
  std::string name;
  std::string disposition;
  std::string id;
  std::string description;
  bool has_delimiter = false;  // it is carried as it is, with lines like the delimiters made here
};

// The best encoding for a text of a message: as it is when every system can carry it so, else
// readable, else whole. base64 alone brings blanks at the ends of lines and bare line feeds
// through.
Encoding ChooseEncoding(const TextTraits& traits);
// Throws Failure when the text cannot be carried in the encoding that was asked for.
void RequireFits(const std::string& what, Encoding encoding, const TextTraits& traits);

// The lines of the content header.
std::vector<std::string> ContentHeader(const PartPlan& plan, const WordCharset& words);
// What the library is to do with the body.
const char* LibraryEncoding(Encoding encoding);

}  // namespace cli::mail

#endif
