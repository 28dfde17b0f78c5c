// The commands that show and change the site's configuration file.
#include "table_options.h"

namespace cli {
namespace {

constexpr OptionRow kFile = {"-f,--file", "FILE", "this file instead of the site's twmta.ini",
                             Offers::kFiles};
constexpr OptionRow kAll = {"-a,--all", "", "also the keys that have no default and are not set"};
constexpr OptionRow kUnset = {"-u,--unset", "", "remove the key instead of setting it"};
constexpr OptionRow kUnknown = {
    "--force", "", "accept a key that no part of the system reads, or a value that will be cut"};

constexpr OptionRow kShowOptions[] = {kFile, kAll, kJson, kHelp};
constexpr ExampleRow kShowExamples[] = {
    {"qob config show", "every value in effect and where it comes from"},
    {"QOB_CONFIG_DIR=/srv/mail/etc qob config show --json", "another site, for a program"},
};

constexpr OptionRow kGetOptions[] = {kFile, kJson, kHelp};
constexpr OperandRow kGetOperands[] = {{"SECTION", 1, 1, Offers::kNothing},
                                       {"KEY", 1, 1, Offers::kNothing}};
constexpr ExampleRow kGetExamples[] = {
    {"qob config get Gateway QueueDirectory", "the value in effect"}};

constexpr OptionRow kSetOptions[] = {kFile, kUnset, kUnknown, kHelp};
constexpr OperandRow kSetOperands[] = {{"SECTION", 1, 1, Offers::kNothing},
                                       {"KEY", 1, 1, Offers::kNothing},
                                       {"VALUE", 0, 1, Offers::kNothing}};
constexpr ExampleRow kSetExamples[] = {
    {"qob config set Gateway TimeZone xxx", "keep the time zone of the system"},
    {"qob config set --unset Options TabSize", "back to the default"},
};

constexpr OptionRow kCheckOptions[] = {kFile, kJson, kHelp};
constexpr ExampleRow kCheckExamples[] = {
    {"qob config check", "unknown keys, cut values, wrong switches, with their lines"}};

constexpr std::span<const OperandRow> kNone;

constexpr OptionRow kInitOptions[] = {
    {"--host", "NAME", "the name of this machine in mail; default: as it calls itself"},
    {"--domain", "NAME", "the domain of this machine in mail; default: as it calls itself"},
    kJson,
    kHelp};
constexpr OperandRow kInitOperands[] = {{"DIR", 1, 1, Offers::kFolders}};
constexpr ExampleRow kInitExamples[] = {
    {"qob init /srv/mail --host mx1 --domain example.org", "a mail system in a directory"},
    {"QOB_CONFIG_DIR=/srv/mail qob queue list", "work with it"},
};

constexpr CommandRow kCommands[] = {
    {"init", "make a ready mail system in a directory",
     "Makes DIR with everything that a mail system needs: twmta.ini with its settings and what "
     "each "
     "is for, the queue and the temporary directory (mode 0700), the message database, and the "
     "databases of file types, peers and banned users as they come with the system. Programs use "
     "it "
     "when QOB_CONFIG_DIR names DIR.\n\n"
     "Nothing that stands in DIR is changed. A run that was cut short is finished by running it "
     "again.",
     kInitOptions, kInitOperands, kInitExamples},
    {"config show", "show the configuration in effect",
     "Prints every key that the mail system reads, its value and where the value comes from: the "
     "line of the file, or the "
     "default. A value that is longer than the system's buffer is shown as the system sees it and "
     "marked [cut].",
     kShowOptions, kNone, kShowExamples},
    {"config get", "print one value",
     "Prints the value in effect of one key: that of the file, else the default. A key that is "
     "neither set nor known ends with "
     "exit code 78.",
     kGetOptions, kGetOperands, kGetExamples},
    {"config set", "change one value",
     "Writes one value to the file, keeping its comments and its order, or removes it with "
     "--unset. A key that nothing reads "
     "and a value that would be cut are refused.",
     kSetOptions, kSetOperands, kSetExamples},
    {"config check", "look for mistakes in the configuration",
     "Reports, one on each line with the line of the file: keys and sections that nothing reads, "
     "keys and sections that stand "
     "twice (the first one counts), lines that are no entry, values that are cut, switches and "
     "numbers that are none, and "
     "directories that are missing. Ends with 0 when nothing was found, else with 78.",
     kCheckOptions, kNone, kCheckExamples},
};

}  // namespace

std::span<const CommandRow> ConfigCommands() { return kCommands; }

}  // namespace cli
