// The commands that make messages and hand them to the queue.
#include "table_options.h"

namespace cli {
namespace {

constexpr OptionRow kFrom = {"--from", "ADDRESS",
                             "who writes: ann@example.org or Ann <ann@example.org>"};
constexpr OptionRow kTo = {"--to", "ADDRESSES",
                           "whom it is to; a list divided by commas, and several times"};
constexpr OptionRow kCc = {"--cc", "ADDRESSES", "who gets a copy, likewise"};
constexpr OptionRow kBcc = {"--bcc", "ADDRESSES",
                            "who gets a copy that the others do not know of, likewise"};
constexpr OptionRow kSubject = {"-s,--subject", "TEXT", "the subject, in UTF-8"};
constexpr OptionRow kHeader = {
    "--header", "LINE", "one more header field (\"Reply-To: ann@example.org\"); several times"};
constexpr OptionRow kBody = {
    "--body", "FILE", "the file with the text (standard input when not given)", Offers::kFiles};
constexpr OptionRow kText = {"--text", "TEXT", "the text itself in place of a file"};
constexpr OptionRow kNoBody = {"--no-body", "", "no text: the attachments alone"};
constexpr OptionRow kType = {"--type", "TYPE",
                             "the content type of the text (text/plain when not given)"};
constexpr OptionRow kCharset = {
    "--charset", "NAME",
    "the character set of the text in the message (UTF-8, or US-ASCII where that is enough)"};
constexpr OptionRow kTextCharset = {
    "--text-charset", "NAME", "the character set that the text comes in, where it is not UTF-8"};
constexpr OptionRow kEncoding = {
    "--encoding", "E",
    "how the text is carried: 7bit, 8bit, quoted-printable, base64, x-uuencode; chosen by what it "
    "holds when not given"};
constexpr OptionRow kAttach = {"-a,--attach", "FILE", "attach a file; several times",
                               Offers::kFiles};
constexpr OptionRow kPart = {
    "--part", "SPEC",
    "attach a file with properties: type=, name=, id=, description=, encoding=, disposition=, each "
    "ended by a comma, and last file=FILE; several times"};
constexpr OptionRow kMultipart = {"--multipart", "SUBTYPE",
                                  "mixed (when not given), alternative, related or another"};
constexpr OptionRow kRaw = {"--raw", "", "leave line ends as they are"};
constexpr OptionRow kMessage = {
    "--message", "FILE", "the ready message (standard input when not given)", Offers::kFiles};
constexpr OptionRow kReadRecipients = {"-t,--read-recipients", "",
                                       "send to the addresses in the fields To, Cc and Bcc, too"};
constexpr OptionRow kIgnoreDots = {"-i,--ignore-dots", "",
                                   "a line with a single dot does not end standard input"};
constexpr OptionRow kSender = {"-f,--sender", "ADDRESS",
                               "the sender of the envelope, <> for none (--from, else you)"};
constexpr OptionRow kFullName = {"-F,--full-name", "NAME",
                                 "your name, where the message lacks a From field"};
constexpr OptionRow kNotify = {"-N,--notify", "WHEN",
                               "report: never, or some of success,failure,delay"};
constexpr OptionRow kReturn = {"-R,--return", "WHAT",
                               "a report brings the message back: full, or hdrs for its header",
                               Offers::kWords, "full hdrs"};
constexpr OptionRow kEnvelopeId = {"-V,--envid", "ID", "the envelope id that a report names"};
constexpr OptionRow kOriginal = {
    "--orcpt", "TYPE;ADDRESS",
    "the original recipient; given several times, of the first, the second and so on"};
constexpr OptionRow kChannel = {"--channel", "NAME",
                                "the channel of the queue ([Submission] Channel, else smtp)"};
constexpr OptionRow kReceipt = {"--receipt", "", "ask for a receipt in the header"};
constexpr OptionRow kOutput = {"-o,--output", "FILE", "write there instead of to standard output",
                               Offers::kFiles};

#define QOB_MESSAGE_OPTIONS                                                                       \
  kFrom, kTo, kCc, kBcc, kSubject, kHeader, kBody, kText, kNoBody, kType, kCharset, kTextCharset, \
      kEncoding, kAttach, kPart, kMultipart, kRaw

constexpr OptionRow kBuildOptions[] = {QOB_MESSAGE_OPTIONS, kOutput, kForce, kVerbose, kHelp};
constexpr ExampleRow kBuildExamples[] = {
    {"qob build --from ann@example.org --to bob@example.net -s Report -a report.pdf < text",
     "a text from standard input and a file"},
    {"qob build --from ann@example.org --to bob@example.net --text Hello -o message.eml",
     "a short message to a file"},
    {"qob build --type text/html --multipart related --part id=logo,file=a.png < page.html",
     "a page that shows its picture as cid:logo"},
};

constexpr OperandRow kRecipients[] = {{"RECIPIENT", 0, -1, Offers::kNothing}};
constexpr OptionRow kSendOptions[] = {
    kReadRecipients, kIgnoreDots,         kSender,   kFullName, kNotify,
    kReturn,         kEnvelopeId,         kOriginal, kChannel,  kReceipt,
    kMessage,        QOB_MESSAGE_OPTIONS, kJson,     kVerbose,  kHelp};
constexpr ExampleRow kSendExamples[] = {
    {"qob send --to bob@example.net -s Report -a report.pdf --text 'Here it is.'",
     "make a message and send it"},
    {"qob send -f ann@example.org bob@example.net < message.eml", "send one that is ready"},
    {"qob send -t -i < message.eml", "to the addresses in its header"},
    {"ln -s /usr/bin/qob /usr/sbin/sendmail", "for programs that call sendmail"},
};

constexpr CommandRow kCommands[] = {
    {"build",
     "make a message",
     "Makes a message from a text and files and writes it to standard output or a file. The text "
     "comes from standard input, --body or --text. Names, subject and file names are UTF-8; what "
     "is beyond ASCII is written so that every mail reader shows it.\n\n"
     "Line ends of texts become those of mail; --raw leaves them alone. The text stays as it is "
     "where every mail system can carry it so; else it becomes quoted-printable, or base64 where "
     "that alone keeps it whole. A text in another character set than UTF-8 needs --charset; with "
     "it a text in UTF-8 is converted to that set. For ISO-2022-JP the text may come in Shift-JIS, "
     "too.\n\n"
     "Attached files arrive byte for byte. Their content type is told by their names; --part gives "
     "another, for example type=image/png,name=Logo.png,id=logo,file=a.png. An attached message "
     "(.eml) keeps its form, with the line ends of mail. Files of an alternative that are texts "
     "become other forms of the text.\n\n"
     "The fields Date, Message-ID and Received come when the message is sent; 'qob send -t "
     "--message FILE' does that, to the addresses in its header, and takes Bcc out.",
     kBuildOptions,
     {},
     kBuildExamples},
    {"send", "put a message into the queue",
     "Puts a message into the queue of the site and prints its id. From that moment on it is there "
     "exactly once, on stable storage, and the exit code is 0; with any other code nothing of it "
     "is in the queue.\n\n"
     "A ready message comes from standard input or --message; with any option of 'qob build' a new "
     "one is made. It goes to the RECIPIENTs, to --to, --cc and --bcc, and with -t to the "
     "addresses "
     "in its fields To, Cc and Bcc (of the Resent- fields alone, where there are some). Bcc fields "
     "are taken out. A message without From gets one, and one without a header an empty line "
     "before "
     "its text. Each bare line feed becomes CR LF. --raw leaves all of that alone; with -t Bcc "
     "goes "
     "even so. Date, Message-ID and Received are added by the queue.\n\n"
     "Called by the name sendmail, or as 'qob send', it takes the options that programs give to "
     "sendmail: -t -i -f -F -r -N -R -V -v -bm -bp -B -o... -O..., and passes over others that "
     "only "
     "steer a server. By that name it prints nothing. An address that begins with a dash is "
     "refused, also behind --.\n\n"
     "Exit codes: 64 a wrong option, or no recipient; 65 what is no address, no text in its "
     "character set, or a header without recipients; 66 a file is missing; 75 the message was not "
     "queued: try again; 77 the right to write in the queue is missing; 78 the site has no queue.",
     kSendOptions, kRecipients, kSendExamples},
};

}  // namespace

std::span<const CommandRow> SendCommands() { return kCommands; }

}  // namespace cli
