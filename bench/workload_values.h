// The pieces that messages and samples are made of: running text, names, addresses, dates, header
// values.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "workload.h"
#include "workload_codec.h"

namespace bench {

// Running text in lines of about 72 columns with CR LF; a line never begins with a capital letter,
// so none is taken for the start of an embedded block or of a mailbox entry. `foreign` mixes in
// UTF-8 words.
std::string Paragraphs(Random* random, std::size_t bytes, bool foreign);
std::string HtmlText(Random* random, std::size_t bytes);
std::string Sentence(Random* random, std::size_t words, bool foreign);
std::string CommonWord(Random* random);
std::string ForeignWord(Random* random);
std::string DateText(Random* random);
std::string MessageId(Random* random);
std::string AddressList(Random* random, std::size_t count, bool mixed, std::string_view separator);
// A value of 5 to 41 words, four in ten of them encoded words in one of four charsets; folded as
// writers fold it.
std::string EncodedText(Random* random);
// The same kind of text before it is encoded.
EightBitText EightBitHeader(Random* random);
// Every header field of a message but the MIME ones.
std::string TopFields(Random* random);
std::string Number(std::size_t value, int digits = 1);

}  // namespace bench
