// The commands that read messages.
#include "table_options.h"

namespace cli {
namespace {

constexpr OperandRow kFiles[] = {{"FILE", 1, -1, Offers::kFiles}};

constexpr OptionRow kParseOptions[] = {kJson, kRecursive, kWhole, kPlain, kColor, kVerbose, kHelp};
constexpr ExampleRow kParseExamples[] = {
    {"qob parse message.eml", "show the parts of one message"},
    {"qob parse --json --recursive mail/ | jq .parts",
     "every message below a folder, for a program"},
    {"fetch | qob parse -", "a message or an mbox from standard input"},
};

constexpr OptionRow kExtractPart = {
    "-p,--part", "N", "only this part, by its number in 'qob parse'; may be repeated"};
constexpr OptionRow kExtractRaw = {"--raw", "",
                                   "each part as it stands: its header and its body, undecoded"};
constexpr OptionRow kExtractOptions[] = {kOutputFolder, kExtractPart, kExtractRaw, kForce,   kJson,
                                         kRecursive,    kWhole,       kPlain,      kVerbose, kHelp};
constexpr ExampleRow kExtractExamples[] = {
    {"qob extract message.eml -o parts", "write every body and every attachment to parts/"},
    {"qob extract message.eml -o parts --part 2", "only part 2"},
    {"qob extract message.eml -o parts --part 0 --raw", "the whole message as it stands"},
};

constexpr OptionRow kHeaderDecoded = {"-d,--decoded", "",
                                      "decode encoded words and show them as UTF-8"};
constexpr OptionRow kHeaderPart = {
    "-p,--part", "N", "the header block of this part, line by line, in place of the record"};
constexpr OptionRow kHeaderOptions[] = {kHeaderDecoded, kHeaderPart, kJson, kRecursive,
                                        kColor,         kVerbose,    kHelp};
constexpr ExampleRow kHeaderExamples[] = {
    {"qob header message.eml --decoded", "the header fields with names and subject readable"},
    {"qob header --json inbox.mbox | jq -r .subject", "the subject of every message of an mbox"},
    {"qob header message.eml --part 2", "the header lines of part 2"},
};

constexpr CommandRow kCommands[] = {
    {"parse", "show the parts of messages",
     "Reads each message and prints its parts in the order in which they start: number, type "
     "(indented below the part that "
     "holds it), encoding, disposition, the position of the body, the bytes of the whole part and "
     "its name. A range A-B is the "
     "bytes A up to but not including B of the file that was given, counted from 0.\n\n"
     "A part that no delimiter line ended, because the message stops short, is shown under part 0 "
     "and marked [unclosed].",
     kParseOptions, kFiles, kParseExamples},
    {"extract", "write the decoded bodies and attachments of messages to files",
     "Writes the decoded body of every part that holds no other part, and every uuencoded or "
     "BinHex file embedded in a text, "
     "to a file of its own, and prints which part went to which file. A name that the message "
     "gives is cleaned first: it is "
     "never a path, never hidden, never an option, never a device, and at most 255 bytes long. No "
     "file is written outside DIR, "
     "none over an existing one: a taken name gets a number (photo-2.jpg). Files are made with "
     "mode 0600.\n\n"
     "When messages come from an mbox, a maildir, a folder or several operands, each name begins "
     "with the number of its "
     "message (m0003-photo.jpg). A BinHex part becomes an AppleSingle file (name.as); 'qob binhex "
     "decode' gives its data "
     "fork.",
     kExtractOptions, kFiles, kExtractExamples},
    {"header", "show the header fields of messages",
     "Prints the header record of each message: addresses, dates, identifiers and all other "
     "fields. Folded fields are shown on "
     "one line. A date that cannot be read is said so and is never replaced by another one.",
     kHeaderOptions, kFiles, kHeaderExamples},
};

}  // namespace

std::span<const CommandRow> MailCommands() { return kCommands; }

}  // namespace cli
