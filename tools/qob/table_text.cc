// The commands that work on a text: addresses, dates, encoded words.
#include "table_options.h"

namespace cli {
namespace {

constexpr OperandRow kTexts[] = {{"TEXT", 1, -1, Offers::kNothing}};

constexpr OptionRow kAddressDecoded = {"-d,--decoded", "",
                                       "decode encoded words in names and comments"};
constexpr OptionRow kAddressOptions[] = {kAddressDecoded, kJson, kVerbose, kHelp};
constexpr ExampleRow kAddressExamples[] = {
    {"qob address 'Ann Example <ann@example.org>, bob@example.net'", "split an address list"},
    {"qob address --json - < list.txt", "one list on each line of standard input"},
};

constexpr OptionRow kDateForm = {"-f,--form", "FORM",
                                 "how TEXT is written: rfc822, ctime, or auto (try both)",
                                 Offers::kWords, "auto rfc822 ctime"};
constexpr OptionRow kDateOptions[] = {kDateForm, kJson, kVerbose, kHelp};
constexpr ExampleRow kDateExamples[] = {
    {"qob date 'Sun, 15 Nov 2026 02:24:05 -0800'", "ISO form, seconds since 1970, RFC 822 form"},
    {"qob date --form ctime 'Sun Nov 15 02:24:05 2026'", "a date as the C library prints it"},
};

constexpr OptionRow kWordCharset = {"-c,--charset", "NAME",
                                    "the character set of the words (UTF-8 when not given)"};
constexpr OptionRow kWordEncoding = {"-e,--encoding", "E",
                                     "q (quoted-printable, when not given) or b (base64)",
                                     Offers::kWords, "q b"};
constexpr OptionRow kWordSite = {
    "--site", "",
    "encode the bytes of TEXT as they are, by the site's LocalCharSet and RFC1522codingMethod"};
constexpr OptionRow kEncodeOptions[] = {kWordCharset, kWordEncoding, kWordSite,
                                        kJson,        kVerbose,      kHelp};
constexpr ExampleRow kEncodeExamples[] = {
    {"qob word encode 'Gr\xC3\xBC\xC3\x9F"
     "e aus K\xC3\xB6ln'",
     "a header value in UTF-8"},
    {"qob word encode --charset ISO-8859-1 --encoding b 'K\xC3\xB6ln'",
     "the same text in another character set"},
};

constexpr OptionRow kWordBytes = {
    "--bytes", "",
    "the decoded bytes exactly as the library gives them, in their own character set"};
constexpr OptionRow kWordDecodeSite = {
    "--site", "",
    "with --bytes: decode only what the site decodes (LocalCharSet, Force1522Decoding)"};
constexpr OptionRow kDecodeOptions[] = {kWordBytes, kWordDecodeSite, kJson, kVerbose, kHelp};
constexpr ExampleRow kDecodeExamples[] = {
    {"qob word decode '=?ISO-8859-1?Q?K=F6ln?='", "show an encoded word"},
    {"grep '^Subject:' message.eml | qob word decode -", "lines from standard input"},
};

constexpr CommandRow kCommands[] = {
    {"address", "split address lists",
     "Parses each TEXT as a list of addresses and prints one line for each address: the address, "
     "then the display name, the "
     "comment, the local part and the domain. A malformed address is dropped and the others are "
     "kept. With - as TEXT every "
     "line of standard input is a list.",
     kAddressOptions, kTexts, kAddressExamples},
    {"date", "read dates",
     "Prints for each TEXT the date in ISO 8601 form, as seconds since 1970 (UTC), and in RFC 822 "
     "form. A date without a known "
     "zone is counted as UTC and has no zone in its ISO form. With - as TEXT every line of "
     "standard input is a date.",
     kDateOptions, kTexts, kDateExamples},
    {"word encode", "make encoded words",
     "Turns a header value with characters beyond ASCII into encoded words. TEXT is UTF-8. A value "
     "that is one address keeps "
     "the address readable and has its name and comment encoded. Long values come out folded. With "
     "- as TEXT every line of "
     "standard input is a value.",
     kEncodeOptions, kTexts, kEncodeExamples},
    {"word decode", "read encoded words",
     "Shows header values with their encoded words decoded, as UTF-8: an underscore in a Q word is "
     "a blank, and blanks between "
     "two encoded words are dropped. With - as TEXT every line of standard input is a value.",
     kDecodeOptions, kTexts, kDecodeExamples},
};

}  // namespace

std::span<const CommandRow> TextCommands() { return kCommands; }

}  // namespace cli
