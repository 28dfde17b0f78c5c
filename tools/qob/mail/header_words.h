// Header texts as RFC 2047 writes them, and parameters as RFC 2231 does: UTF-8 in, lines of plain
// ASCII out, which every mail reader brings back to the same characters.
//
// No character is cut between two words, and blanks in a Q word are written so that readers other
// than this system's own decode them, too.
#ifndef TOOLS_QOB_MAIL_HEADER_WORDS_H
#define TOOLS_QOB_MAIL_HEADER_WORDS_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace cli::mail {

// The character set that words are written in.
struct WordCharset {
  std::string name = "UTF-8";
  // UTF-8 to the bytes of the set, in its initial state at both ends; nothing where it has no such
  // character. Empty for UTF-8 itself.
  std::function<std::optional<std::string>(std::string_view utf8)> convert;
};

// Free text: as it is when it is printable ASCII that nobody takes for encoded words and its line
// does not get too long, else encoded words, folded. The text must be UTF-8.
std::string HeaderText(std::string_view utf8, const WordCharset& charset);
// A text as encoded words whatever it holds.
std::string EncodedWords(std::string_view utf8, const WordCharset& charset);

// A display name before an address: words, a quoted string or encoded words.
std::string HeaderPhrase(std::string_view utf8, const WordCharset& charset);

// "; name=value" on a line of its own: a token, a quoted string, or for other texts the extended
// form, divided where it is long.
std::string HeaderParameter(std::string_view name, std::string_view utf8);
// The same for readers that know encoded words but not the extended form.
std::string WordParameter(std::string_view name, std::string_view utf8, const WordCharset& charset);

}  // namespace cli::mail

#endif
