#include "part_plan.h"

#include "../failure.h"

namespace cli::mail {
namespace {

constexpr std::int64_t kLongestLine = 998;

bool CanStandAsItIs(const TextTraits& traits) {
  return !traits.nul && !traits.bare_return && !traits.bare_feed &&
         traits.longest_line <= kLongestLine;
}

}  // namespace

Encoding ChooseEncoding(const TextTraits& traits) {
  if (CanStandAsItIs(traits) && traits.eight_bit == 0 && !traits.delimiter) return Encoding::k7bit;
  const bool readable = !traits.nul && !traits.bare_feed && !traits.trailing_blank &&
                        !traits.delimiter && traits.eight_bit <= traits.size_bytes / 4;
  return readable ? Encoding::kQuotedPrintable : Encoding::kBase64;
}

void RequireFits(const std::string& what, Encoding encoding, const TextTraits& traits) {
  const bool bare = encoding == Encoding::k7bit || encoding == Encoding::k8bit;
  if (bare && !CanStandAsItIs(traits))
    throw Failure(ExitCode::kData, what +
                                       ": a NUL, a bare line end or a line of more than 998 "
                                       "characters cannot be sent as " +
                                       EncodingName(encoding) + ": use base64");
  if (encoding == Encoding::k7bit && traits.eight_bit > 0)
    throw Failure(ExitCode::kData,
                  what + ": bytes beyond ASCII cannot be sent as 7bit: use quoted-printable");
}

std::vector<std::string> ContentHeader(const PartPlan& plan, const WordCharset& words) {
  std::vector<std::string> lines;
  std::string type = "Content-Type: " + plan.type.Text();
  if (!plan.charset.empty()) type += "; charset=" + plan.charset;
  if (!plan.name.empty()) type += WordParameter("name", plan.name, words);
  lines.push_back(std::move(type));
  lines.push_back(std::string("Content-Transfer-Encoding: ") + EncodingName(plan.encoding));
  if (!plan.description.empty())
    lines.push_back("Content-Description: " + HeaderText(plan.description, words));
  if (!plan.id.empty()) lines.push_back("Content-ID: " + plan.id);
  if (!plan.disposition.empty()) {
    std::string disposition = "Content-Disposition: " + plan.disposition;
    if (!plan.name.empty()) disposition += HeaderParameter("filename", plan.name);
    lines.push_back(std::move(disposition));
  }
  return lines;
}

const char* LibraryEncoding(Encoding encoding) {
  // The library copies both alike; what the header says is written here.
  return EncodingName(encoding == Encoding::k8bit ? Encoding::k7bit : encoding);
}

}  // namespace cli::mail
