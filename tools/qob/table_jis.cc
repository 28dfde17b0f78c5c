// The commands for Japanese text.
#include "table_options.h"

namespace cli {
namespace {

constexpr OperandRow kText[] = {{"FILE", 0, 1, Offers::kFiles}};
constexpr OperandRow kFiles[] = {{"FILE", 1, -1, Offers::kFiles}};

constexpr OptionRow kOut = {"-o,--output", "FILE", "write there instead of to standard output",
                            Offers::kFiles};
constexpr OptionRow kFrom = {"-f,--from", "SET",
                             "the character set of FILE: shift_jis (when not given) or utf-8",
                             Offers::kWords, "shift_jis utf-8"};
constexpr OptionRow kTo = {"-t,--to", "SET",
                           "the character set to write: shift_jis (when not given) or utf-8",
                           Offers::kWords, "shift_jis utf-8"};
constexpr OptionRow kMark = {
    "-m,--mark", "TEXT", "write TEXT (ASCII, up to 31 characters) for what cannot be converted"};
constexpr OptionRow kRepair = {
    "-R,--repair", "", "also convert runs that lost their escape characters on the way ($B...(B)"};
constexpr OptionRow kAlways = {"-a,--always", "", "convert although [Options] ScanForJIS says NO"};
constexpr OptionRow kDry = {"-n,--dry-run", "", "tell what would be converted, and do nothing"};

constexpr OptionRow kEncodeOptions[] = {kFrom, kMark, kOut, kForce, kJson, kVerbose, kHelp};
constexpr ExampleRow kEncodeExamples[] = {
    {"qob jis encode letter.sjis -o letter.jis", "a Shift-JIS file"},
    {"qob jis encode --from utf-8 --mark '?' < letter.txt",
     "UTF-8 from standard input, a question mark for what has no place"},
};

constexpr OptionRow kDecodeOptions[] = {kTo, kRepair, kOut, kForce, kJson, kVerbose, kHelp};
constexpr ExampleRow kDecodeExamples[] = {
    {"qob jis decode --to utf-8 letter.jis", "show it on a terminal of today"},
    {"qob jis decode --repair damaged.jis -o letter.sjis", "where a gateway dropped the escapes"},
};

constexpr OptionRow kCheckOptions[] = {kAlways, kRepair, kDry, kJson, kVerbose, kHelp};
constexpr ExampleRow kCheckExamples[] = {
    {"qob jis check --dry-run *.msg", "which files this site would convert"},
    {"qob jis check --always message.eml", "convert this one"},
};

constexpr CommandRow kCommands[] = {
    {"jis encode", "write Japanese text as ISO-2022-JP",
     "Converts FILE, or standard input, from Shift-JIS to ISO-2022-JP (\"JIS\"), the seven-bit "
     "form "
     "in which mail carries Japanese. Half-width katakana become full-width ones, joined with the "
     "sound mark behind them. Line ends stay as they are.\n\n"
     "A byte that is no Shift-JIS stays as it is, is counted on standard error, and the exit code "
     "is 65; with --mark, TEXT is written for each instead. With --from utf-8, a character that "
     "JIS X 0208 lacks is named and nothing is written, exit code 65, unless --mark is given.",
     kEncodeOptions, kText, kEncodeExamples},
    {"jis decode", "read ISO-2022-JP text",
     "Converts FILE, or standard input, from ISO-2022-JP to Shift-JIS, or to UTF-8. A carriage "
     "return that ends the text gets its line feed; all else outside escape sequences stays as it "
     "is. What the escape sequences of other sets switch on is not converted.\n\n"
     "With --to utf-8, a place without a character becomes U+FFFD, and the exit code is 65.",
     kDecodeOptions, kText, kDecodeExamples},
    {"jis check", "convert message files to Shift-JIS in place",
     "Does to each FILE what programs of the site do to received mail: with [Options] "
     "ScanForJIS=YES, its default where [Gateway] LocalCharSet is ISO-2022-JP, text in ISO-2022-JP "
     "becomes Shift-JIS; [Options] RepairDamagedJIS tells whether runs without escape characters "
     "are converted too.\n\n"
     "The new text is made in a private directory, written beside the file, flushed, and takes its "
     "name in one step, with its owner and mode; a link is followed first. A file that does not "
     "change is not touched, and one that another program writes to meanwhile is left alone, exit "
     "code 75. On any failure the file is as it was.",
     kCheckOptions, kFiles, kCheckExamples},
};

}  // namespace

std::span<const CommandRow> JisCommands() { return kCommands; }

}  // namespace cli
