// The commands that change messages of the queue, and the one that looks after it.
#include "table_queue.h"

namespace cli {
namespace {

constexpr OptionRow kYes = {"-y,--yes", "", "act on more than one message"};
constexpr OptionRow kDry = {"-n,--dry-run", "", "show what would be done, and do nothing"};
constexpr OptionRow kTo = {"-t,--to", "DIR", "the queue directory to move to", Offers::kFolders};
constexpr OptionRow kUnlockYes = {
    "-y,--yes", "",
    "also a lock that is not stale, and more than one: make sure that whoever has it is gone"};
constexpr OptionRow kRepair = {"-R,--repair", "",
                               "mend what can be mended without losing a byte of mail"};

constexpr OptionRow kChangeOptions[] = {kQueue, kYes, kDry, kJson, kHelp};
constexpr OptionRow kMoveOptions[] = {kTo, kQueue, kYes, kDry, kJson, kHelp};
constexpr OptionRow kUnlockOptions[] = {kQueue, kUnlockYes, kDry, kJson, kHelp};
constexpr OptionRow kCheckOptions[] = {kQueue, kRepair, kJson, kHelp};
constexpr OperandRow kChosen[] = {{"ID|FILTER", 1, -1, Offers::kNothing}};
constexpr OperandRow kIds[] = {{"ID", 1, -1, Offers::kNothing}};
constexpr OperandRow kDirectories[] = {{"DIR", 0, -1, Offers::kFolders}};

#define QOB_QUEUE_CHANGE_TEXT                                                                      \
  "Messages are named by their ids, by - for ids from standard input, by a filter (see qob-queue-" \
  "list(1)), or by ids and a filter, which both must fit. More than one message is only listed, "  \
  "with exit code 64, unless --yes is given; --dry-run only lists too, with exit code 0.\n\n"      \
  "Each message is locked, read again, changed and unlocked. One that another process has locked " \
  "is left alone and named with the lock's owner and age, one that is no longer as the filter "    \
  "chose it likewise, and the exit code is 75; an id that no message has gives 66. Every change "  \
  "writes a line to the site's log. An interrupt ends the command after the message at hand."

constexpr ExampleRow kRetryExamples[] = {
    {"qob queue retry 0001A2B3", "try this message at once"},
    {"qob queue retry --yes domain = example.org and tries > 3", "and these"},
};
constexpr ExampleRow kHoldExamples[] = {
    {"qob queue hold --dry-run sender ~ newsletter", "which messages these are"},
    {"qob queue hold --yes sender ~ newsletter", "keep them back"},
};
constexpr ExampleRow kReleaseExamples[] = {{"qob queue release --yes held", "let all go again"}};
constexpr ExampleRow kRemoveExamples[] = {
    {"qob queue remove 0001A2B3", "one message"},
    {"qob queue list --json 'age > 30d' | jq -r .id | qob queue remove --yes -",
     "ids from standard input"},
};
constexpr ExampleRow kMoveExamples[] = {
    {"qob queue move 0001A2B3 --to /var/spool/slow -q /var/spool/qob -q /var/spool/slow",
     "to another directory of the same system"},
};
constexpr ExampleRow kLockExamples[] = {
    {"qob queue lock 0001A2B3", "keep every program off it while you look at it"}};
constexpr ExampleRow kUnlockExamples[] = {
    {"qob queue unlock 0001A2B3", "take a stale lock away, or tell who has it"},
    {"qob queue unlock --yes 0001A2B3", "take it away although it is not stale"},
};
constexpr ExampleRow kCheckExamples[] = {
    {"qob queue check", "what is wrong with the queue"},
    {"qob queue check --repair", "mend it"},
    {"qob queue check /var/spool/qob /var/spool/slow", "all directories of a system of two"},
};

constexpr CommandRow kCommands[] = {
    {"queue retry", "make messages due now",
     "Sets the time of the next attempt to now. A message that is held stays "
     "so.\n\n" QOB_QUEUE_CHANGE_TEXT,
     kChangeOptions, kChosen, kRetryExamples},
    {"queue hold", "keep messages back",
     "Marks messages as held: no program of the system takes them up until they are released. A "
     "message that has a state of another program is left alone.\n\n" QOB_QUEUE_CHANGE_TEXT,
     kChangeOptions, kChosen, kHoldExamples},
    {"queue release", "let held messages go",
     "Takes the mark of 'qob queue hold' away.\n\n" QOB_QUEUE_CHANGE_TEXT, kChangeOptions, kChosen,
     kReleaseExamples},
    {"queue remove", "remove messages for good",
     "Removes the messages' records, their places on channels, their files and the files of their "
     "reasons. Nobody is told and nothing can be brought back.\n\n" QOB_QUEUE_CHANGE_TEXT,
     kChangeOptions, kChosen, kRemoveExamples},
    {"queue move", "move messages to another queue directory",
     "Moves messages to another queue directory of the system, with their reasons. All directories "
     "that matter must be named with --queue, the one to move to as well; a directory that has the "
     "same name (its last component, up to 15 characters) as another is "
     "refused.\n\n" QOB_QUEUE_CHANGE_TEXT,
     kMoveOptions, kChosen, kMoveExamples},
    {"queue lock", "lock messages by hand",
     "Takes the lock of each message and leaves it, so that every program passes the message over "
     "until 'qob queue unlock --yes'. A message that is locked already is named with the lock's "
     "owner and age, exit code 75. More than one needs --yes.",
     kChangeOptions, kIds, kLockExamples},
    {"queue unlock", "take away locks that others left",
     "Removes the lock of each message. A stale lock, one that is older than the machine's last "
     "start, goes at once. Any other may belong to a program at work: it is named with its owner "
     "and age, exit code 75, and goes only with --yes.",
     kUnlockOptions, kIds, kUnlockExamples},
    {"queue check", "look for damage in the queue, and mend it",
     "Compares files and records and reports stale locks, locks that are held, message files "
     "without records, records without files, recipients without a message, interrupted moves, a "
     "damaged counter, channel marks and notes without a message, leftover temporary files, "
     "damaged "
     "records, a damaged database, a file system that keeps no locks or loses all at a power cut, "
     "and files that others may read. Name every queue directory of the system: a message on its "
     "way to one that is not named cannot be judged.\n\n"
     "A message is judged only under its lock; one that another process has locked counts as in "
     "use and is left alone. Without the right to write in the directory no lock can be taken: "
     "what "
     "needs one is then reported as uncertain.\n\n"
     "With --repair, stale locks are removed, interrupted moves are finished, message files that "
     "no "
     "record knows go to the directory corrupt/ of the queue, records that cannot stay are saved "
     "there before they are deleted, and a damaged counter is made anew. Mail is never deleted. "
     "corrupt/report.txt tells of every file there; the site's log of every change.\n\n"
     "Exit codes: 0 nothing is wrong (or all was mended), 65 something was found that stands, 75 "
     "some messages are in use and were not judged, 77 something could not be judged for want of "
     "permission, 78 the configuration does not tell the queue.",
     kCheckOptions, kDirectories, kCheckExamples},
};

}  // namespace

std::span<const CommandRow> QueueActCommands() { return kCommands; }

}  // namespace cli
