// Options that several commands share, so that they read the same everywhere.
#ifndef TOOLS_QOB_TABLE_OPTIONS_H
#define TOOLS_QOB_TABLE_OPTIONS_H

#include "command_table.h"

namespace cli {

inline constexpr OptionRow kHelp = {"-h,--help", "", "show examples and options, then end"};
inline constexpr OptionRow kJson = {"--json", "",
                                    "one JSON object on each line instead of the readable form"};
inline constexpr OptionRow kVerbose = {"-v,--verbose", "",
                                       "show every line that the library logs, on standard error"};
inline constexpr OptionRow kColor = {
    "--color", "WHEN", "colour the readable form: auto (on a terminal), always or never",
    Offers::kWords, "auto always never"};
inline constexpr OptionRow kRecursive = {
    "-r,--recursive", "", "take every file below a folder; without it a folder must be a maildir"};
inline constexpr OptionRow kPlain = {
    "--plain", "",
    "read each message as plain text with embedded files, whatever its MIME header says"};
inline constexpr OptionRow kWhole = {"--keep-messages", "",
                                     "leave encapsulated messages whole instead of opening them"};
inline constexpr OptionRow kForce = {"--force", "",
                                     "take the place of files that stand under a wanted name"};
inline constexpr OptionRow kOutputFolder = {"-o,--output", "DIR",
                                            "the folder for the files; made when it does not exist",
                                            Offers::kFolders};

}  // namespace cli

#endif
