// Header texts as people read them: encoded words decoded by the library, word by word, and brought
// to UTF-8.
#ifndef TOOLS_QOB_ENCODED_TEXT_H
#define TOOLS_QOB_ENCODED_TEXT_H

#include <string>
#include <string_view>

namespace cli {

// The text with every encoded word decoded to UTF-8: an underscore of a Q word is a blank, white
// space between two words is dropped, neighbouring words of one character set are decoded as one
// text. A word of a character set that the system does not know stays as it is.
std::string DecodedText(std::string_view text);

// Bytes in a named character set as UTF-8; the bytes themselves when the set is unknown.
std::string TextInUtf8(std::string_view bytes, std::string_view charset);

}  // namespace cli

#endif
