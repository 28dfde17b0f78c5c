// The commands that convert files: BinHex and uuencode.
#include "table_options.h"

namespace cli {
namespace {

constexpr OperandRow kFile[] = {{"FILE", 1, 1, Offers::kFiles}};
constexpr OperandRow kFiles[] = {{"FILE", 1, -1, Offers::kFiles}};

constexpr OptionRow kBinHexOut = {"-o,--output", "FILE",
                                  "write there instead of to standard output", Offers::kFiles};
constexpr OptionRow kBinHexName = {"-n,--name", "NAME", "the name to put into the BinHex header"};
constexpr OptionRow kBinHexType = {
    "--type", "TYPE",
    "four characters of Macintosh file type for a plain file (four question marks when not given)"};
constexpr OptionRow kBinHexCreator = {
    "--creator", "CODE",
    "four characters of Macintosh creator for a plain file (four question marks when not given)"};
constexpr OptionRow kEncodeOptions[] = {kBinHexOut, kBinHexName, kBinHexType, kBinHexCreator,
                                        kForce,     kVerbose,    kHelp};
constexpr ExampleRow kEncodeExamples[] = {
    {"qob binhex encode picture.as > picture.hqx", "an AppleSingle file with both forks"},
    {"qob binhex encode --type TEXT --creator ttxt notes.txt -o notes.hqx",
     "a plain file as data fork"},
};

constexpr OptionRow kDecodeFolder = {"-o,--output", "DIR",
                                     "the folder for the file (the current one when not given)",
                                     Offers::kFolders};
constexpr OptionRow kAppleSingle = {"--applesingle", "",
                                    "write an AppleSingle file with both forks, type and creator"};
constexpr OptionRow kDecodeOptions[] = {kDecodeFolder, kAppleSingle, kForce,
                                        kJson,         kVerbose,     kHelp};
constexpr ExampleRow kDecodeExamples[] = {
    {"qob binhex decode picture.hqx -o pictures", "write the data fork under the name in the file"},
    {"qob binhex decode --applesingle picture.hqx", "keep the resource fork, too"},
};

constexpr OptionRow kUuOptions[] = {kDecodeFolder, kForce, kJson, kVerbose, kHelp};
constexpr ExampleRow kUuExamples[] = {
    {"qob uudecode message.txt -o files", "every uuencoded block of a file"},
    {"qob uudecode - < archive.uu", "from standard input to the current folder"},
};

constexpr CommandRow kCommands[] = {
    {"binhex encode", "write a file as BinHex 4.0",
     "Writes an AppleSingle file as BinHex 4.0 text. Any other file becomes the data fork, with "
     "the type and creator given. "
     "FILE may be - for standard input.",
     kEncodeOptions, kFile, kEncodeExamples},
    {"binhex decode", "read a BinHex 4.0 file",
     "Decodes the first BinHex 4.0 text of FILE, checks its three checksums, and writes its data "
     "fork under the name in its "
     "header, cleaned as 'qob extract' cleans names. FILE may be - for standard input.",
     kDecodeOptions, kFile, kDecodeExamples},
    {"uudecode", "read uuencoded blocks",
     "Writes every uuencoded block of each FILE under the name in its begin line, cleaned as 'qob "
     "extract' cleans names. A "
     "block without its end line is written as far as it goes, and the exit code says so. FILE may "
     "be - for standard input.",
     kUuOptions, kFiles, kUuExamples},
};

}  // namespace

std::span<const CommandRow> CodecCommands() { return kCommands; }

}  // namespace cli
