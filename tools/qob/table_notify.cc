// The commands that answer messages of the queue, read answers, and send notices.
#include "table_options.h"

namespace cli {
namespace {

constexpr OptionRow kReason = {
    "--reason", "TEXT", "why it comes back; several times (what was noted for it when not given)"};
constexpr OptionRow kHeaderOnly = {"--header-only", "", "return the header of the message alone"};
constexpr OptionRow kPostmaster = {"--postmaster", "",
                                   "to the postmaster of the site instead of the sender"};
constexpr OptionRow kSubject = {"-s,--subject", "TEXT", "the subject"};
constexpr OptionRow kText = {"--text", "TEXT", "the text for people"};
constexpr OptionRow kBody = {"--body", "FILE", "a file with that text, - for standard input",
                             Offers::kFiles};
constexpr OptionRow kRecipient = {
    "--recipient", "SPEC",
    "a recipient: the address, and behind it, each after a comma and without blanks, "
    "action=failed, status=5.1.1, remote=mx.example.net, original=rfc822;ADDRESS, last=SECONDS, "
    "retry=SECONDS, diagnostic=TEXT (to the end); several times"};
constexpr OptionRow kFields = {"--fields", "FILE", "recipients as JSON lines, - for standard input",
                               Offers::kFiles};
constexpr OptionRow kReturn = {"--return", "WHAT",
                               "bring the message back: full, or hdrs for its header, in place of "
                               "what its envelope asks for",
                               Offers::kWords, "full hdrs"};
constexpr OptionRow kFrom = {"--from", "ADDRESS", "who sends it (you)"};
constexpr OptionRow kTo = {"--to", "ADDRESSES", "whom it is to; a list divided by commas"};
constexpr OptionRow kAttach = {"-a,--attach", "FILE", "attach a file; several times",
                               Offers::kFiles};
constexpr OptionRow kChannel = {"--channel", "NAME",
                                "the channel of the queue ([Submission] Channel, else smtp)"};

constexpr OperandRow kIds[] = {{"ID", 1, -1, Offers::kNothing}};
constexpr OperandRow kId[] = {{"ID", 1, 1, Offers::kNothing}};
constexpr OperandRow kFiles[] = {{"FILE", 1, -1, Offers::kFiles}};
constexpr OperandRow kFile[] = {{"FILE", 1, 1, Offers::kFiles}};
constexpr OperandRow kRecipients[] = {{"RECIPIENT", 0, -1, Offers::kNothing}};

constexpr OptionRow kBounceOptions[] = {kReason, kHeaderOnly, kPostmaster, kJson, kVerbose, kHelp};
constexpr ExampleRow kBounceExamples[] = {
    {"qob bounce 0001A2B3 --reason '550 user unknown'", "back to its sender"},
    {"qob bounce 0001A2B3 && qob queue remove 0001A2B3", "and out of the queue"},
};
constexpr OptionRow kDsnSendOptions[] = {kRecipient, kFields,     kSubject, kText,    kBody,
                                         kReturn,    kPostmaster, kJson,    kVerbose, kHelp};
constexpr ExampleRow kDsnSendExamples[] = {
    {"qob dsn send 0001A2B3 --recipient bob@example.net,status=5.1.1", "bob's copy failed"},
    {"qob dsn 0001A2B3 --recipient bob@example.net,action=delayed,status=4.4.1",
     "it waits; no failure"},
};
constexpr OptionRow kDsnParseOptions[] = {kRecursive, kJson, kColor, kVerbose, kHelp};
constexpr ExampleRow kDsnParseExamples[] = {
    {"qob dsn parse report.eml --json", "what it says, recipient by recipient"},
    {"qob dsn parse -r ~/Maildir --json", "of every notification below a folder"},
};
constexpr OptionRow kNoticeOptions[] = {kFrom,   kTo,      kSubject, kText, kBody,
                                        kAttach, kChannel, kVerbose, kHelp};
constexpr ExampleRow kNoticeExamples[] = {
    {"qob notice --to root -s 'Disk full' --text 'See the report.' -a df.txt",
     "a text and a file"}};
constexpr OptionRow kSendLogOptions[] = {kVerbose, kHelp};
constexpr ExampleRow kSendLogExamples[] = {
    {"qob sendlog /var/log/qob/old.log", "to the postmaster"}};

constexpr CommandRow kCommands[] = {
    {"bounce", "return messages of the queue to their senders",
     "Submits, for each ID, a message to its sender that tells the reasons and holds what was "
     "sent, "
     "whole or with --header-only its header. The messages stay in the queue: removing them is the "
     "next step. Each is locked meanwhile; one that another process has locked is left alone, with "
     "exit code 75.\n\n"
     "For each it prints what was done: returned, postmaster (its sender is empty, and [Options] "
     "BounceToPostmaster says so, or --postmaster was given), or discarded (its sender is empty: "
     "nobody wants an answer). Answers come from [Options] BounceSender and wait on the channel "
     "DSN. Set BounceSender to <> where agents bounce by themselves, so that an answer is never "
     "answered.",
     kBounceOptions, kIds, kBounceExamples},
    {"dsn send", "report on the delivery of a message of the queue",
     "Submits a delivery status notification (RFC 3464) for the message ID to its sender: a text "
     "for "
     "people, the fields of each recipient for programs, and the message or its header. 'qob dsn "
     "ID' is the same. The message stays in the queue, locked meanwhile.\n\n"
     "An action is failed when none is given; delayed, delivered, relayed and expanded are no "
     "failures. The whole message comes back when a recipient failed and its envelope, or "
     "--return, "
     "asks for it. JSON lines of --fields have the members final_recipient, original_recipient, "
     "action, status, remote_mta, diagnostic_code, and last_attempt and will_retry_until in "
     "seconds "
     "since 1970. A value with a line end is refused.",
     kDsnSendOptions, kId, kDsnSendExamples},
    {"dsn parse", "show what delivery status notifications say",
     "Reads notifications of any system and shows the fields of the message and of each recipient. "
     "With --json one object for each, with the fields of RFC 3464 by name; what is not there is "
     "null, an action is the word that it is, and failed is true for the action failed alone. FILE "
     "may be a message, an mbox, a maildir or - for standard input. A message that holds no "
     "delivery status is named, and the exit code is 65.",
     kDsnParseOptions, kFiles, kDsnParseExamples},
    {"notice", "send a text and files",
     "Sends a text and files to the RECIPIENTs and those of --to, as the system's own programs do: "
     "files without bytes beyond ASCII as text, others by the type that the file type database has "
     "for their extension. Lines of the text go as they are, in 7bit; 'qob send' chooses an "
     "encoding by what a text holds. Prints nothing.",
     kNoticeOptions, kRecipients, kNoticeExamples},
    {"sendlog", "mail a log file to the postmaster",
     "Puts FILE as it is into a message to the postmaster of the site, on the channel DSN. FILE "
     "stays in place. Prints nothing.",
     kSendLogOptions, kFile, kSendLogExamples},
};

}  // namespace

std::span<const CommandRow> NotifyCommands() { return kCommands; }

}  // namespace cli
