// The commands that look at the queue. Those that change it stand in table_queue_act.cc.
#include "table_queue.h"

namespace cli {
namespace {

constexpr OptionRow kSort = {"-s,--sort", "WHAT",
                             "order the list by id, age (oldest first), size, tries and recipients "
                             "(largest first), retry, sender or status",
                             Offers::kWords, "id age size tries retry sender recipients status"};
constexpr OptionRow kReverse = {"-R,--reverse", "", "turn the order around"};
constexpr OptionRow kLimit = {"-l,--limit", "N", "show the first N only"};
constexpr OptionRow kPending = {"-p,--pending", "", "only recipients that are still pending"};
constexpr OptionRow kWithRecipients = {"-a,--recipients", "",
                                       "also show every recipient, each on a line of its own"};
constexpr OptionRow kPrometheus = {"--prometheus", "",
                                   "the text format that monitoring systems collect"};
constexpr OptionRow kBuckets = {"-b,--buckets", "N", "so many columns of age; default 10"};
constexpr OptionRow kFirstBucket = {
    "-t,--minutes", "N", "the first column is N minutes wide, each further one twice; default 5"};
constexpr OptionRow kBySender = {"--sender", "",
                                 "count messages by the domain of their sender instead"};
constexpr OptionRow kInterval = {"-i,--interval", "SECONDS", "look again so often; default 2"};
constexpr OptionRow kCount = {"-n,--count", "N",
                              "end after so many looks; needed where the output is no terminal"};

constexpr OperandRow kChoice[] = {{"ID|FILTER", 0, -1, Offers::kNothing}};
constexpr OperandRow kIds[] = {{"ID", 1, -1, Offers::kNothing}};

constexpr OptionRow kListOptions[] = {kQueue, kSort,  kReverse, kLimit, kWithRecipients,
                                      kJson,  kColor, kVerbose, kHelp};
constexpr ExampleRow kListExamples[] = {
    {"qob queue list", "every message, oldest record first"},
    {"qob queue list 'domain = example.com and age > 1d' --json", "for a program"},
    {"qob queue list 'held or status ~ \"timed out\"' --sort age --limit 20", "the oldest twenty"},
    {"qob queue list - < ids.txt", "the messages whose ids the file holds"},
};

constexpr OptionRow kShowOptions[] = {kQueue, kJson, kVerbose, kHelp};
constexpr ExampleRow kShowExamples[] = {
    {"qob queue show 0001A2B3", "its records, files, lock and reasons"}};

constexpr OptionRow kStatsOptions[] = {kQueue, kLimit, kPrometheus, kJson, kVerbose, kHelp};
constexpr ExampleRow kStatsExamples[] = {
    {"qob queue stats", "how much waits, how old it is, for whom"},
    {"qob queue stats --prometheus 'not held'", "for a monitoring system, held messages left out"},
};

constexpr OptionRow kShapeOptions[] = {kQueue, kBuckets, kFirstBucket, kBySender,
                                       kLimit, kJson,    kVerbose,     kHelp};
constexpr ExampleRow kShapeExamples[] = {
    {"qob queue shape", "pending recipients by domain and age"},
    {"qob queue shape --limit 20 'not held'", "the twenty domains with the most"},
};

constexpr OptionRow kRecipientsOptions[] = {kQueue, kPending, kJson, kVerbose, kHelp};
constexpr ExampleRow kRecipientsExamples[] = {
    {"qob queue recipients 0001A2B3", "the recipients of one message"},
    {"qob queue recipients --pending 'age > 4h'", "who has waited for long"},
};

constexpr OptionRow kReasonsOptions[] = {kQueue, kJson, kVerbose, kHelp};
constexpr ExampleRow kReasonsExamples[] = {
    {"qob queue reasons 0001A2B3", "what was noted for its bounce"}};

constexpr OptionRow kWatchOptions[] = {kQueue, kInterval, kCount, kSort,    kReverse,
                                       kLimit, kJson,     kColor, kVerbose, kHelp};
constexpr ExampleRow kWatchExamples[] = {
    {"qob queue watch", "the queue as it changes; q ends it"},
    {"qob queue watch --interval 10 --count 6 'held' --json", "six looks for a program"},
};

constexpr CommandRow kCommands[] = {
    {"queue list", "list the messages of a queue",
     "Lists the messages of the queue: id, age, size of the message file, tries so far, next try, "
     "sender, number of recipients (pending/all), first recipient that is pending, status. "
     "[held] marks a message that is held, [locked] one that a program works on. A value that is "
     "not known is shown as -. On a terminal lines are cut to its width.\n\n"
     "The list is a snapshot: all records are read as of one moment, before the first line is "
     "printed. Sizes and locks are looked up right after it. It needs no other program of the "
     "system to run, and only the right to read.\n\n"
     "Operands choose messages: ids of eight hexadecimal digits, - for ids from standard input "
     "(one on each line), or a filter; all of them without operands. With ids and a filter, those "
     "of the ids that fit. An id that the queue does not have is named, and the exit code is 66; "
     "records that are damaged are left out and named, and the exit code is 65. An empty list is "
     "no failure.\n\n"
     "FILTERS\n\n"
     "A filter is made of conditions, joined by and and or, turned by not, grouped by ( and ); not "
     "binds first, then and, then or. A condition is a field, a comparison and a value:\n\n"
     "sender, recipient, domain (of a recipient), status, state, directory, envelope-id: texts, "
     "compared with = and != (the whole text) or ~ and !~ (the text contains the value; with * or "
     "? in the value, the whole text fits it, * standing for any bytes and ? for one). The case of "
     "ASCII letters does not count. A value with blanks or parentheses in it stands in \"quotes\" "
     "or 'quotes', in which a backslash takes the next character as it stands. recipient and "
     "domain fit when one of the recipients does.\n\n"
     "id, size (4096, 10k, 2M, 1G; or unknown), tries, recipients and pending (how many), part: "
     "numbers, compared with = != < <= > >=.\n\n"
     "age: how long ago the message was made: 90s, 5m, 1h30m, 2d, 1w.\n\n"
     "created, changed, retry (the next try): times: now, now-2h, now+30m, 2026-11-21, "
     "2026-11-21T10:30 (local), 2026-11-21T10:30:00Z, 2026-11-21T10:30:00+01:00, @1795257000 "
     "(seconds since 1970). A message without a retry time counts as due.\n\n"
     "held, locked, delay-noticed: stand by themselves, or with = or != and yes or no.\n\n"
     "!= and !~ are always the opposite of = and ~; <, <=, > and >= are false for a value that is "
     "not known.\n\n"
     "filter = term { or term }; term = factor { and factor }; factor = not factor | ( filter ) | "
     "condition; condition = field comparison value | switch [ ( = | != ) ( yes | no ) ].",
     kListOptions, kChoice, kListExamples},
    {"queue show", "show all that is known of a message",
     "Shows the records of each message field by field, its files, who holds its lock and since "
     "when, every recipient with its state, and the reasons noted for its bounce. Ids may come "
     "from standard input (-).",
     kShowOptions, kIds, kShowExamples},
    {"queue stats", "count what waits in a queue",
     "Counts messages, those held and those locked, recipients and those pending, bytes, and tells "
     "the age of the oldest message: in all, for each directory and for each domain of a "
     "recipient. Operands choose messages as in qob-queue-list(1). What cannot be known is null in "
     "JSON, - in the readable form and left out with --prometheus; it is never 0.",
     kStatsOptions, kChoice, kStatsExamples},
    {"queue shape", "show where old mail piles up",
     "Counts pending recipients by domain (rows) and by the age of their message (columns). The "
     "first column holds what is younger than 5 minutes, each further one reaches twice as far, "
     "and the last holds all that is older. The row TOTAL stands first, then the domains with the "
     "most. Operands choose messages as in qob-queue-list(1).",
     kShapeOptions, kChoice, kShapeExamples},
    {"queue recipients", "list the recipients of messages",
     "Lists each recipient with the id of its message and its state, which is empty (pending) "
     "until it is done with. Operands choose messages as in qob-queue-list(1).",
     kRecipientsOptions, kChoice, kRecipientsExamples},
    {"queue reasons", "show the reasons noted for a bounce",
     "Prints what delivery noted for each message's bounce, line by line. Ids may come from "
     "standard input (-). A message without such a note prints nothing.",
     kReasonsOptions, kIds, kReasonsExamples},
    {"queue watch", "show a queue as it changes",
     "Fills the terminal with counts and the list of messages and looks again every two seconds. "
     "The key q or Ctrl-C ends it and gives the terminal back as it was; the space bar looks at "
     "once. Where the output is no terminal, --count is needed, and that many lists are printed "
     "one after the other. Operands choose messages as in qob-queue-list(1).",
     kWatchOptions, kChoice, kWatchExamples},
};

}  // namespace

std::span<const CommandRow> QueueCommands() { return kCommands; }

}  // namespace cli
