// The commands for the small databases of a site: file types, peers, banned users.
#include "table_options.h"

namespace cli {
namespace {

constexpr OptionRow kQueueDirectory = {"-q,--queue", "DIR",
                                       "this queue directory instead of [Gateway] QueueDirectory",
                                       Offers::kFolders};
constexpr OptionRow kMac = {"-m,--mac", "",
                            "look for a Macintosh type and creator, \"TEXT ttxt\", exactly"};
constexpr OptionRow kEncoding = {"-e,--encoding", "ENCODING",
                                 "how such a file travels; default base64", Offers::kWords,
                                 "base64 quoted-printable 8bit 7bit"};
constexpr OptionRow kMacCodes = {"-m,--mac", "CODES",
                                 "Macintosh type and creator, \"TEXT ttxt\"; \"\" for none"};
constexpr OptionRow kText = {"-t,--text", "TEXT", "what it is, in words"};

constexpr OptionRow kLookOptions[] = {kQueueDirectory, kJson, kVerbose, kHelp};
constexpr OptionRow kExportOptions[] = {kQueueDirectory, kVerbose, kHelp};
constexpr OptionRow kFindOptions[] = {kMac, kQueueDirectory, kJson, kVerbose, kHelp};
constexpr OptionRow kFieldOptions[] = {kEncoding,       kMacCodes, kText,
                                       kQueueDirectory, kVerbose,  kHelp};
constexpr OptionRow kChangeOptions[] = {kQueueDirectory, kVerbose, kHelp};

constexpr std::span<const OperandRow> kNone;
constexpr OperandRow kWanted[] = {{"EXTENSION|TYPE/SUBTYPE", 1, -1, Offers::kNothing}};
constexpr OperandRow kNewType[] = {{"EXTENSION", 1, 1, Offers::kNothing},
                                   {"TYPE/SUBTYPE", 1, 1, Offers::kNothing}};
constexpr OperandRow kOtherType[] = {{"EXTENSION", 1, 1, Offers::kNothing},
                                     {"TYPE/SUBTYPE", 0, 1, Offers::kNothing}};
constexpr OperandRow kExtensions[] = {{"EXTENSION", 1, -1, Offers::kNothing}};
constexpr OperandRow kImported[] = {{"FILE", 1, 1, Offers::kFiles}};
constexpr OperandRow kDomain[] = {{"DOMAIN", 1, 1, Offers::kNothing}};
constexpr OperandRow kDomains[] = {{"DOMAIN", 1, -1, Offers::kNothing}};
constexpr OperandRow kValues[] = {{"DOMAIN", 1, 1, Offers::kNothing},
                                  {"NAME=NUMBER", 1, -1, Offers::kNothing}};
constexpr OperandRow kName[] = {{"NAME", 1, 1, Offers::kNothing}};
constexpr OperandRow kAddresses[] = {{"ADDRESS", 1, -1, Offers::kNothing}};

constexpr ExampleRow kMagicList[] = {{"qob magic list", "every file type the system knows"}};
constexpr ExampleRow kMagicFind[] = {
    {"qob magic find pdf", "what a file with that extension is"},
    {"qob magic find image/tiff", "the extensions of that type; files get the first one"},
    {"qob magic find --mac 'TEXT ttxt'", "what a Macintosh calls so"},
};
constexpr ExampleRow kMagicAdd[] = {
    {"qob magic add step model/step --text 'CAD drawing'", "a type of this site"}};
constexpr ExampleRow kMagicUpdate[] = {
    {"qob magic update step --mac 'TEXT ttxt'", "the other fields stay"}};
constexpr ExampleRow kMagicRemove[] = {{"qob magic remove step", "the first record of that name"}};
constexpr ExampleRow kMagicImport[] = {
    {"qob magic import -q /srv/queue types.jsonl", "the types that another site has exported"}};
constexpr ExampleRow kMagicExport[] = {
    {"qob magic export > types.jsonl", "all file types, to keep or to import elsewhere"}};

constexpr ExampleRow kPeerList[] = {{"qob peer list", "every record and its numbers"}};
constexpr ExampleRow kPeerGet[] = {{"qob peer get example.org", "the record of that name only"}};
constexpr ExampleRow kPeerSet[] = {
    {"qob peer set example.org QueueRunInterval=30 MaxInBoundSize=5000000", "two of its values"},
    {"qob peer set default RetryPeriod=96", "for every domain that says nothing else"},
};
constexpr ExampleRow kPeerRemove[] = {
    {"qob peer remove example.org", "its parent or default counts again"}};
constexpr ExampleRow kPeerExplain[] = {
    {"qob peer explain mx.example.org", "what holds for it, and which record says so"}};

constexpr ExampleRow kBanList[] = {{"qob ban list", "every banned address"}};
constexpr ExampleRow kBanAdd[] = {{"qob ban add spammer@example.com", "ban one user"}};
constexpr ExampleRow kBanRemove[] = {{"qob ban remove spammer@example.com", "let him in again"}};
constexpr ExampleRow kBanCheck[] = {{"qob ban check ann@example.org", "is she banned?"}};

constexpr CommandRow kCommands[] = {
    {"magic list", "list the file types",
     "Lists the records of the file type database \"magicdb\" in their order: extension, MIME "
     "type, transfer encoding, Macintosh type and creator, what it is. Of several records that "
     "answer a question the system takes the first.",
     kLookOptions, kNone, kMagicList},
    {"magic find", "find file types",
     "Lists the records of an extension (with or without its full stop), of a MIME type, or with "
     "--mac of a Macintosh type and creator. Extensions and MIME types are found in any case. A "
     "word without a record is named, and the exit code is 66.",
     kFindOptions, kWanted, kMagicFind},
    {"magic add", "add a file type",
     "Adds a record behind all others. An extension that has one already is refused with exit code "
     "65. An extension has at most nine characters: attachments are not looked up by more.",
     kFieldOptions, kNewType, kMagicAdd},
    {"magic update", "change a file type",
     "Changes the first record of an extension where it stands: the MIME type when one is given, "
     "and the fields of the options.",
     kFieldOptions, kOtherType, kMagicUpdate},
    {"magic remove", "remove file types",
     "Removes the first record of each extension. One without a record is named, and the exit code "
     "is 66.",
     kChangeOptions, kExtensions, kMagicRemove},
    {"magic import", "read file types from a file",
     "Reads what qob-magic-export(1) wrote, - from standard input: records of new extensions are "
     "added, others changed where they differ, and none removed. A line that is none is named "
     "before anything is changed.",
     kChangeOptions, kImported, kMagicImport},
    {"magic export", "write all file types",
     "Writes every record as one JSON object on a line of its own, as qob-magic-list(1) does with "
     "--json, for qob-magic-import(1).",
     kExportOptions, kNone, kMagicExport},
    {"peer list", "list the peers",
     "Lists the records of the peer database \"peerdb\" by name, with their twelve numbers. What "
     "holds for a name that has no record of its own, qob-peer-explain(1) tells.",
     kLookOptions, kNone, kPeerList},
    {"peer get", "show the record of a domain",
     "Shows the record of exactly that name, value by value. Without one the exit code is 66.",
     kLookOptions, kDomain, kPeerGet},
    {"peer set", "set values of a domain",
     "Sets the values that are named, in any case, and makes the record when there is none. In a "
     "new record AcceptMail and MesageQueuedBeforeAttempt are what held for the domain so far, for "
     "the first record that there is decides them; the other values are 0, which leaves them to "
     "the records of the parent domains and to default.",
     kChangeOptions, kValues, kPeerSet},
    {"peer remove", "remove the records of domains",
     "Removes the record of each name. One without a record is named, and the exit code is 66.",
     kChangeOptions, kDomains, kPeerRemove},
    {"peer explain", "show what holds for a name, and why",
     "Shows for a host or domain name each value that the system takes for it, and where it comes "
     "from: its own record, that of a parent domain, the record default, or the built-in value. "
     "Records with 0 or less are passed over, except for AcceptMail and "
     "MesageQueuedBeforeAttempt, which the first record decides.",
     kLookOptions, kName, kPeerExplain},
    {"ban list", "list the banned users",
     "Lists the addresses of the database \"banuserdb\", one on each line.", kLookOptions, kNone,
     kBanList},
    {"ban add", "ban users",
     "Adds addresses; the database is made when there is none. An address that is banned already "
     "stays so. An address has at most 239 characters.",
     kChangeOptions, kAddresses, kBanAdd},
    {"ban remove", "let banned users in again",
     "Removes addresses. One that is not banned is named, and the exit code is 66.", kChangeOptions,
     kAddresses, kBanRemove},
    {"ban check", "ask whether users are banned",
     "Tells for each address whether it is banned: the whole address, in any case.", kLookOptions,
     kAddresses, kBanCheck},
};

}  // namespace

std::span<const CommandRow> DatabaseCommands() { return kCommands; }

}  // namespace cli
