// The commands for the channels on which messages wait.
#include "table_queue.h"

namespace cli {
namespace {

constexpr OptionRow kSort = {"-s,--sort", "WHAT",
                             "order the list by id, age (oldest first), size, tries and recipients "
                             "(largest first), retry, sender or status instead of by commit",
                             Offers::kWords, "id age size tries retry sender recipients status"};
constexpr OptionRow kReverse = {"-R,--reverse", "", "turn the order around"};
constexpr OptionRow kLimit = {"-l,--limit", "N", "show the first N only"};
constexpr OptionRow kWithRecipients = {"-a,--recipients", "",
                                       "also show every recipient, each on a line of its own"};
constexpr OptionRow kMaildir = {"-m,--maildir", "DIR",
                                "deliver each recipient's copy into this maildir; made when it "
                                "does not exist",
                                Offers::kFolders};
constexpr OptionRow kDiscard = {
    "--discard-marks", "",
    "deliver nothing: take the messages off the channel and leave them in the queue"};
constexpr OptionRow kYes = {"-y,--yes", "",
                            "act on more than one message; with --discard-marks, on any"};
constexpr OptionRow kDry = {"-n,--dry-run", "", "show what would be done, and do nothing"};

constexpr OperandRow kChannel[] = {{"CHANNEL", 1, 1, Offers::kNothing},
                                   {"ID|FILTER", 0, -1, Offers::kNothing}};

constexpr OptionRow kListOptions[] = {kQueue, kJson, kVerbose, kHelp};
constexpr ExampleRow kListExamples[] = {
    {"qob channel list", "every channel, how much waits on it and for how long"}};

constexpr OptionRow kShowOptions[] = {kQueue, kSort,  kReverse, kLimit, kWithRecipients,
                                      kJson,  kColor, kVerbose, kHelp};
constexpr ExampleRow kShowExamples[] = {
    {"qob channel show DSN", "what waits there, in the order in which it came"},
    {"qob channel show smtp 'age > 1d' --json", "the old ones, for a program"},
};

constexpr OptionRow kDrainOptions[] = {kMaildir, kDiscard, kQueue, kYes, kDry, kJson, kHelp};
constexpr ExampleRow kDrainExamples[] = {
    {"qob channel drain DSN --maildir /var/mail/dsn --dry-run", "what would be delivered"},
    {"qob channel drain DSN --maildir /var/mail/dsn --yes", "deliver it"},
    {"qob channel drain old --discard-marks --yes", "the messages wait on without this channel"},
};

constexpr CommandRow kCommands[] = {
    {"channel list", "list the channels of a queue",
     "Lists every channel on which a message waits: messages, those held and those locked, "
     "recipients that are pending, bytes, and the age of the oldest message. A value that is not "
     "known is shown as -. The records are read as of one moment.\n\n"
     "A mark on a channel whose message is gone is not counted but told on standard error; 'qob "
     "queue check --repair' takes it away. Names of channels are data: control characters in them "
     "are shown as escapes.",
     kListOptions, {}, kListExamples},
    {"channel show", "list the messages of a channel",
     "Lists the messages that wait on CHANNEL, in the order in which they were committed, as "
     "qob-queue-list(1) does: id, age, size, tries, next try, sender, recipients (pending/all), "
     "first recipient that is pending, status, with [held] and [locked]. Ids and a filter behind "
     "the name narrow the list. A channel on which nothing waits is as good as any: the list is "
     "empty.",
     kShowOptions, kChannel, kShowExamples},
    {"channel drain", "deliver the messages of a channel, or take them off it",
     "With --maildir, does what a delivery agent of the channel does: for every recipient that is "
     "pending a copy of the message goes into the maildir, with Return-Path and Delivered-To in "
     "front, is flushed, and the recipient's record is marked DONE; then the message leaves the "
     "queue, with its places on other channels. Times of the next try do not count; a message "
     "that is held, or has a state of another program, is left alone. A maildir that takes nothing "
     "ends the command; run it again and it goes on with those that were not marked.\n\n"
     "With --discard-marks nothing is delivered: the messages stay in the queue and no longer wait "
     "on the channel. No agent of the channel will find them again.\n\n"
     "Ids and a filter (see qob-queue-list(1)) behind the name narrow what is drained. More than "
     "one message is only listed, with exit code 64, unless --yes is given; --dry-run only lists "
     "too, with exit code 0.\n\n"
     "Each message is locked, read again and handled; agents may work on the channel meanwhile. "
     "One that another process has locked is left alone and named, and the exit code is 75. Every "
     "message writes a line to the site's log. An interrupt ends the command after the message at "
     "hand.",
     kDrainOptions, kChannel, kDrainExamples},
};

}  // namespace

std::span<const CommandRow> ChannelCommands() { return kCommands; }

}  // namespace cli
