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
    {"qob build --multipart related --body page.html --type text/html "
     "--part id=logo,file=logo.png -o page.eml",
     "a page that shows its picture as cid:logo"},
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
};

}  // namespace

std::span<const CommandRow> SendCommands() { return kCommands; }

}  // namespace cli
