// Mail of the system's own making: texts with files, and the log for the postmaster.
#include <sys/stat.h>

#include <qobplatform/tessera.h>

#include "frame/config.h"
#include "notify/attachment.h"
#include "notify_support.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

class Generate : public NotifyTest {
 protected:
  std::int32_t Send(const Texts* text, const Texts& attachments, const Texts& to = {"b@b.example"},
                    const char* channel = "SMTP") {
    const Chain lines(text == nullptr ? Texts{} : *text);
    const Chain files(attachments);
    const Chain recipients(to);
    return GenerateMimeMessage("me@gw.gate.example", channel, recipients, "subject", nullptr,
                               text == nullptr ? nullptr : static_cast<ms*>(lines), files, nullptr);
  }
  std::int32_t Send(const Texts& text, const Texts& attachments) {
    return Send(&text, attachments);
  }
  Queued OnlyOne() const {
    const std::vector<Queued> all = On("SMTP");
    EXPECT_EQ(all.size(), 1u);
    return all.empty() ? Queued() : all.front();
  }

  static std::string Head(const std::string& to = "b@b.example") {
    return "From: me@gw.gate.example\r\nTo: " + to +
           "\r\nSubject: subject\r\nContent-type: multipart/mixed; boundary=\"" + Boundary() +
           "\"\r\n" + kPreamble;
  }
  static std::string Part(const std::string& type, const std::string& encoding,
                          const std::string& name, const std::string& body) {
    const bool text = name.empty();
    return "\r\n--" + Boundary() + "\r\nContent-type: " + type +
           (text ? "" : "; name=\"" + name + "\"") + "\r\nContent-transfer-encoding: " + encoding +
           "\r\nContent-disposition: " +
           (text ? "inline" : "attachment; filename=\"" + name + "\"") + "\r\n\r\n" + body;
  }
  static std::string End() { return "\r\n--" + Boundary() + "--\r\n"; }

  // The file type database with one record.
  void Learn(const char* extension, const char* type, const char* subtype, const char* encoding) {
    tesRel::create(spool_.queue().c_str(), "magicdb", 380, 0, 4, true);
    libmagic_init();
    MagicRecord record{};
    std::snprintf(record.extension, sizeof record.extension, "%s", extension);
    std::snprintf(record.contentType, sizeof record.contentType, "%s", type);
    std::snprintf(record.contentSubtype, sizeof record.contentSubtype, "%s", subtype);
    std::snprintf(record.textA, sizeof record.textA, "%s", encoding);
    ASSERT_EQ(InsMagicRecord(&record), 0);
    libmagic_fini();
    log_.Clear();
  }
  // How an attachment of that name with a byte of 128 or more goes.
  std::string KindOf(const std::string& name) {
    EXPECT_EQ(Send(nullptr, {spool_.File(name, "\x80")}), 0);
    const std::string built = OnlyOne().built();
    const std::size_t at = built.find("\r\nContent-type: ", built.find("\r\n--"));
    const std::size_t end = built.find("\r\nContent-disposition", at);
    return built.substr(at + 16, end - at - 16);
  }
};

TEST_F(Generate, SendsATextWithFilesOfEachKind) {
  Learn("pic", "image", "x-pic", "base64");
  const std::string text = spool_.File("notes.txt", "All ASCII\r\n");
  const std::string picture = spool_.File("a.pic", "\xFF\xD8\x01");
  const std::string other = spool_.File("b.unknown", "\x80");
  EXPECT_EQ(Send({"line one", "", "line three"}, {text, picture, other}), 0);
  const Queued sent = OnlyOne();
  EXPECT_EQ(sent.file, InFront(sent) + Head() +
                           Part("text/plain", "7bit", "", "line one\r\n\r\nline three\r\n") +
                           Part("text/basic", "7bit", "notes.txt", "All ASCII\r\n") +
                           Part("image/x-pic", "base64", "a.pic", "/9gB\r\n") +
                           Part("application/x-unknown", "base64", "b.unknown", "gA==\r\n") +
                           End());
  EXPECT_EQ(sent.sender, "me@gw.gate.example");
  EXPECT_EQ(sent.ret, 0);
  EXPECT_EQ(sent.envelope_id, "");
  EXPECT_EQ(sent.recipients, Texts{"b@b.example"});
  EXPECT_EQ(log_.texts(6),
            (Texts{"file is ASCII", "IsFileAscii: file contains binary data - using base64",
                   "IsFileAscii: file contains binary data - using base64"}));
  EXPECT_EQ(log_.texts(1), Texts{});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Generate, GoesToEveryRecipientOnTheGivenChannel) {
  const Texts text{"t"};
  EXPECT_EQ(Send(&text, {}, {"b@b.example", "c", "", "d@d.example"}, "LOCAL"), 0);
  const std::vector<Queued> all = On("LOCAL");
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].recipients, (Texts{"b@b.example", "c@gw.gate.example", "d@d.example"}));
  EXPECT_TRUE(all[0].built().starts_with(Head("b@b.example, c@gw.gate.example, d@d.example")));
  EXPECT_EQ(log_.texts(6), Texts{"Ignore empty recipient address."});
}

TEST_F(Generate, WithoutTextThereIsNoTextPart) {
  EXPECT_EQ(Send(nullptr, {spool_.File("n", "x")}), 0);
  const Queued sent = OnlyOne();
  EXPECT_EQ(sent.built(), Head() + Part("text/basic", "7bit", "n", "x") + End());
}

TEST_F(Generate, WithoutAnyPartItFails) {
  EXPECT_EQ(Send(nullptr, {}), -1);
  EXPECT_EQ(log_.texts(1), Texts{"GenerateMimeMessage failed: MimeBuildMessage failed."});
  EXPECT_EQ(On("SMTP").size(), 0u);
}

// ---- the kind of a file ----

TEST_F(Generate, AnUnknownExtensionGoesAsUnknownInBase64WithItsName) {
  EXPECT_EQ(KindOf("b.unknown"),
            "application/x-unknown; name=\"b.unknown\"\r\nContent-transfer-encoding: base64");
}

TEST_F(Generate, ADatabaseThatIsMissingKnowsNothing) {
  EXPECT_EQ(KindOf("a.pic"),
            "application/x-unknown; name=\"a.pic\"\r\nContent-transfer-encoding: base64");
}

TEST_F(Generate, ExtensionsCompareWithoutCase) {
  Learn("PIC", "image", "x-pic", "quoted-printable");
  EXPECT_EQ(KindOf("a.Pic"),
            "image/x-pic; name=\"a.Pic\"\r\nContent-transfer-encoding: quoted-printable");
}

TEST_F(Generate, TheLastDotCounts) {
  Learn("pic", "image", "x-pic", "base64");
  EXPECT_TRUE(KindOf("a.tar.pic").starts_with("image/x-pic"));
}

TEST_F(Generate, AnExtensionCountsToItsNinthByte) {
  Learn("abcdefghi", "image", "x-pic", "base64");
  EXPECT_TRUE(KindOf("x.abcdefghijk").starts_with("image/x-pic"));
}

TEST_F(Generate, AnExtensionEndsAtABlank) {
  Learn("pic", "image", "x-pic", "base64");
  EXPECT_TRUE(KindOf("x.pic old").starts_with("image/x-pic"));
}

TEST_F(Generate, ADotInADirectoryIsNoExtension) {
  Learn("d/name", "image", "x-pic", "base64");
  std::filesystem::create_directory(spool_.path("x.d"));
  EXPECT_TRUE(KindOf("x.d/name").starts_with("application/x-unknown; name=\"name\""));
}

TEST_F(Generate, AnIncompleteRecordIsNotUsed) {
  Learn("pic", "image", "", "base64");
  EXPECT_TRUE(KindOf("a.pic").starts_with("application/x-unknown"));
}

TEST_F(Generate, ARecordWithoutEncodingIsNotUsed) {
  Learn("pic", "image", "x-pic", "");
  EXPECT_TRUE(KindOf("a.pic").starts_with("application/x-unknown"));
}

TEST_F(Generate, AnEncodingThatNobodyWritesFailsTheCall) {
  Learn("pic", "image", "x-pic", "binary");
  EXPECT_EQ(Send({"t"}, {spool_.File("a.pic", "\x80")}), -1);
  EXPECT_EQ(log_.texts(1), (Texts{"Cannot send unencoded binary via Mime.",
                                  "GenerateMimeMessage failed: MimeBuildMessage failed."}));
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Generate, EitherSeparatorEndsTheDirectory) {
  std::string path = spool_.File("n.txt", "x");
  const std::size_t slash = path.rfind('/');
  path[slash] = '\\';
  EXPECT_EQ(Send(nullptr, {path}), 0);
  EXPECT_NE(OnlyOne().file.find("name=\"n.txt\""), std::string::npos);
}

TEST_F(Generate, AQuoteInANameIsEscaped) {
  EXPECT_EQ(Send(nullptr, {spool_.File("a\"b.txt", "x")}), 0);
  EXPECT_NE(OnlyOne().file.find("; name=\"a\\\"b.txt\"\r\n"), std::string::npos);
}

// ---- text or not ----

TEST_F(Generate, AFileOfAsciiIsText) {
  EXPECT_EQ(notify::IsFileAscii(spool_.File("f", "text\x7F\x01\r\n").c_str()), 1);
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{6, "notify", "file is ASCII"}}));
}

TEST_F(Generate, AnEmptyFileIsText) {
  EXPECT_EQ(notify::IsFileAscii(spool_.File("f", "").c_str()), 1);
}

TEST_F(Generate, AByteOf128IsNot) {
  EXPECT_EQ(notify::IsFileAscii(spool_.File("f", "text\x80").c_str()), 0);
  EXPECT_EQ(log_.lines(),
            (std::vector<LogLine>{
                {6, "notify", "IsFileAscii: file contains binary data - using base64"}}));
}

TEST_F(Generate, TheLastByteOfALongFileCountsToo) {
  for (const std::size_t size : {1023u, 1024u, 1025u, 16384u, 16385u, 100000u}) {
    std::string bytes(size, 'a');
    EXPECT_EQ(notify::IsFileAscii(spool_.File("f", bytes).c_str()), 1) << size;
    bytes.back() = '\xFF';
    EXPECT_EQ(notify::IsFileAscii(spool_.File("f", bytes).c_str()), 0) << size;
  }
}

TEST_F(Generate, AFileThatCannotBeOpenedIsTakenForText) {
  const std::string path = spool_.path("none") + std::string(300, 'x');
  EXPECT_EQ(notify::IsFileAscii(path.c_str()), 1);
  const int error = ENAMETOOLONG;
  EXPECT_EQ(log_.lines(),
            (std::vector<LogLine>{{1, "notify",
                                   "IsFileAscii: failed to open file " + path.substr(0, 256) +
                                       ", error #" + std::to_string(error)}}));
}

TEST_F(Generate, AFileThatCannotBeReadIsNotTakenForText) {
  const std::string path = spool_.File("f", "text");
  const FailCalls fail(os::Call::kRead, 1, Failing::kFromThenOn);
  EXPECT_EQ(notify::IsFileAscii(path.c_str()), 0);
  EXPECT_EQ(log_.lines(), std::vector<LogLine>{});
}

TEST_F(Generate, AnAttachmentThatCannotBeOpenedFailsTheCall) {
  const std::string path = spool_.path("none");
  EXPECT_EQ(Send({"t"}, {path}), -1);
  EXPECT_EQ(log_.texts(1), (Texts{"IsFileAscii: failed to open file " + path + ", error #2",
                                  "CreateFile failed: " + path + ", error 2",
                                  "GenerateMimeMessage failed: MimeBuildMessage failed."}));
  EXPECT_EQ(On("SMTP").size(), 0u);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Generate, APipeOrADeviceIsNoAttachment) {
  const std::string pipe = spool_.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {pipe, std::string("/dev/zero"), std::string("/dev/null")}) {
    log_.Clear();
    EXPECT_EQ(notify::IsFileAscii(path.c_str()), 0) << path;
    EXPECT_EQ(Send({"t"}, {path}), -1) << path;
    EXPECT_EQ(log_.texts(1), Texts{"GenerateMimeMessage failed: MimeBuildMessage failed."});
  }
  EXPECT_EQ(On("SMTP").size(), 0u);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Generate, ALinkToAFileIsThatFile) {
  const std::string link = spool_.path("link.txt");
  std::filesystem::create_symlink(spool_.File("n.txt", "x"), link);
  EXPECT_EQ(Send(nullptr, {link}), 0);
  EXPECT_EQ(OnlyOne().built(), Head() + Part("text/basic", "7bit", "link.txt", "x") + End());
}

// ---- what is not given ----

TEST_F(Generate, ALineWithoutTextIsEmptyAndAnAttachmentWithoutPathIsNone) {
  char address[] = "b@b.example";
  char second[] = "two";
  std::string path = spool_.File("n", "x");
  ms one_more{second, nullptr};
  const ms lines{nullptr, &one_more};
  ms file{path.data(), nullptr};
  const ms files{nullptr, &file};
  ms known{address, nullptr};
  const ms to{nullptr, &known};
  EXPECT_EQ(GenerateMimeMessage("me@gw.gate.example", "SMTP", &to, "subject", nullptr, &lines,
                                &files, nullptr),
            0);
  const Queued sent = OnlyOne();
  EXPECT_NE(sent.built().find(Part("text/plain", "7bit", "", "\r\ntwo\r\n") +
                              Part("text/basic", "7bit", "n", "x") + End()),
            std::string::npos);
  EXPECT_EQ(sent.recipients, Texts{"b@b.example"});
}

TEST_F(Generate, AnAttachmentWithoutPathAloneIsNoPart) {
  const ms files{nullptr, nullptr};
  EXPECT_EQ(GenerateMimeMessage("me", "SMTP", nullptr, "s", nullptr, nullptr, &files, nullptr), -1);
  EXPECT_EQ(log_.texts(1), Texts{"GenerateMimeMessage failed: MimeBuildMessage failed."});
}

TEST_F(Generate, WithoutChannelTheSubmissionFails) {
  const Chain to({"b@b.example"});
  const Chain text({"t"});
  for (const char* channel : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(GenerateMimeMessage("me", channel, to, "s", nullptr, text, nullptr, nullptr), 0);
  }
  EXPECT_EQ(QueueFiles(), Texts{});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Generate, WithoutSenderAndSubjectTheirFieldsAreMissing) {
  const Chain to({"b@b.example"});
  const Chain text({"t"});
  EXPECT_EQ(GenerateMimeMessage(nullptr, "SMTP", to, nullptr, nullptr, text, nullptr, nullptr), 0);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
  const Queued sent = OnlyOne();
  EXPECT_EQ(sent.sender, "");
  EXPECT_EQ(sent.file.find("\r\nFrom: "), std::string::npos);
  EXPECT_EQ(sent.file.find("\r\nSubject: "), std::string::npos);
}

// ---- what cannot be done ----

TEST_F(Generate, AFailedSubmissionIsNoFailure) {
  MQTerminate();
  EXPECT_EQ(Send({"t"}, {}), 0);
  EXPECT_EQ(log_.texts(1), Texts{"CreateMQEntry failed."});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Generate, NoRecipientIsASubmissionThatFailed) {
  const Texts text{"t"};
  EXPECT_EQ(Send(&text, {}, {}), 0);
  EXPECT_EQ(On("SMTP").size(), 0u);
}

TEST_F(Generate, WithoutTemporaryDirectoryItSaysSo) {
  std::filesystem::remove_all(spool_.temp());
  EXPECT_EQ(Send({"t"}, {}), -1);
  EXPECT_EQ(log_.texts(1).back(), "GenerateMimeMessage failed: filecreate failed.");
}

// ---- the log ----

class LogFile : public NotifyTest {
 protected:
  static std::string Expected(const Queued& sent, const std::string& path, const std::string& body,
                              const std::string& local = "gw.gate.example",
                              const std::string& from = "postmaster@gw.gate.example") {
    const std::string now = "Sun, 15 Nov 2026 10:24:05 +0000";
    return "Received: from " + local + " by " + local + " with SMTP\r\n  (QOB Tarrow 5.1) id " +
           sent.name() + "; " + now + "\r\nDate: " + now + "\r\nMessage-ID: <" + sent.name() + "@" +
           local + ">\r\nFrom: " + from + "\r\nSubject: Received Logfile " + path +
           "\r\nTo: postmaster@" + local + "\r\n\r\n" + body;
  }
};

TEST_F(LogFile, IsMailedToThePostmaster) {
  const std::string body = "line one\r\nline two\n\xFF and no end";
  const std::string path = spool_.File("old.log", body);
  EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file, Expected(sent, path, body));
  EXPECT_EQ(sent.sender, "postmaster@gw.gate.example");
  EXPECT_EQ(sent.envelope_id, "");
  EXPECT_EQ(sent.ret, 0);
  EXPECT_EQ(sent.recipients, Texts{"postmaster@gw.gate.example"});
  EXPECT_EQ(TempSpool::Read(path), body);
  EXPECT_EQ(log_.lines(), std::vector<LogLine>{});
}

TEST_F(LogFile, TheDefaultsNameAGatewayAndAPlaceholder) {
  SetIni("", "", "");
  const std::string path = spool_.File("old.log", "x");
  EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file,
            Expected(sent, path, "x", "twgate.domain.invalid", "postmaster@twgate.domain.invalid"));
  EXPECT_EQ(sent.recipients, Texts{"postmaster@twgate.domain.invalid"});
}

TEST_F(LogFile, TheSenderIsWrittenAsItIsWhenItIsWhole) {
  const std::string path = spool_.File("old.log", "x");
  for (const char* sender : {"<>", "daemon@o.example"}) {
    SetIni("BounceSender=" + std::string(sender) + "\n");
    EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
    const Queued sent = On().back();
    EXPECT_EQ(sent.file, Expected(sent, path, "x", "gw.gate.example", sender));
    EXPECT_EQ(sent.sender, sender);
  }
}

TEST_F(LogFile, ABareSenderGetsTheLocalName) {
  SetIni("BounceSender=daemon\n");
  const std::string path = spool_.File("old.log", "x");
  EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
  EXPECT_EQ(Only().sender, "daemon@gw.gate.example");
}

TEST_F(LogFile, AnEmptySenderIsThePostmaster) {
  SetIni("BounceSender=\n");
  EXPECT_EQ(SendOldLogfile(spool_.File("old.log", "x").c_str()), 0);
  EXPECT_EQ(Only().sender, "postmaster@gw.gate.example");
}

TEST_F(LogFile, ItsEnvelopeHoldsNothingButTheAddresses) {
  EXPECT_EQ(SendOldLogfile(spool_.File("old.log", "x").c_str()), 0);
  stEnvelope* envelope = GetMQEnvelope(Only().id);
  ASSERT_NE(envelope, nullptr);
  ASSERT_EQ(envelope->senders.count, 1u);
  const MQEnvFrom& sender = *envelope->senders.head->record;
  EXPECT_STREQ(sender.address, "postmaster@gw.gate.example");
  EXPECT_STREQ(sender.envelopeId, "");
  EXPECT_EQ(sender.ret, 0);
  EXPECT_EQ(sender.fourth, 0);
  EXPECT_STREQ(sender.fifthText, "");
  EXPECT_STREQ(sender.channel, "");
  ASSERT_EQ(envelope->recipients.count, 1u);
  const MQEnvRecip& recipient = *envelope->recipients.head->record;
  EXPECT_STREQ(recipient.address, "postmaster@gw.gate.example");
  EXPECT_STREQ(recipient.originalRecipient, "");
  EXPECT_EQ(recipient.notifyFlags, 0);
  EXPECT_STREQ(recipient.fourthText, "");
  EXPECT_STREQ(recipient.fifthText, "");
  FreeMQEnvelope(envelope);
}

TEST_F(LogFile, TheLocalNamesAreReadToTheirTwoHundredAndFiftyFifthByte) {
  SetIni("", "",
         "[Connection]\nGatewayHostName=" + std::string(300, 'h') +
             "\nGatewayDomain=" + std::string(300, 'd') + "\n");
  const std::string path = spool_.File("old.log", "x");
  EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
  const std::string local = std::string(255, 'h') + "." + std::string(255, 'd');
  const Queued sent = Only();
  EXPECT_EQ(sent.file, Expected(sent, path, "x", local, "postmaster@" + local));
}

TEST_F(LogFile, TheLocalNamesAreReadInEveryProfileMode) {
  const std::string path = spool_.File("old.log", "x");
  SetProfileMode(7);
  EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
  SetProfileMode(kProfileIni);
  const Queued sent = Only();
  EXPECT_EQ(sent.file, Expected(sent, path, "x"));
}

TEST_F(LogFile, LeavesNothingInTheTemporaryDirectory) {
  const std::string path = spool_.File("old.log", "x");
  EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(LogFile, AnEmptyLogIsMailedEmpty) {
  const std::string path = spool_.File("old.log", "");
  EXPECT_EQ(SendOldLogfile(path.c_str()), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file, Expected(sent, path, ""));
}

TEST_F(LogFile, OneThatCannotBeReadLeavesNothing) {
  EXPECT_NE(SendOldLogfile(spool_.path("none").c_str()), 0);
  EXPECT_NE(SendOldLogfile(spool_.root().c_str()), 0);
  EXPECT_NE(SendOldLogfile(""), 0);
  EXPECT_NE(SendOldLogfile(nullptr), 0);
  EXPECT_EQ(On().size(), 0u);
  EXPECT_EQ(QueueFiles(), Texts{});
}

TEST_F(LogFile, APipeOrADeviceIsNoLog) {
  const std::string pipe = spool_.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_NE(SendOldLogfile(pipe.c_str()), 0);
  EXPECT_NE(SendOldLogfile("/dev/zero"), 0);
  EXPECT_EQ(On().size(), 0u);
  EXPECT_EQ(QueueFiles(), Texts{});
}

TEST_F(LogFile, WithoutQueueItSaysSo) {
  MQTerminate();
  EXPECT_NE(SendOldLogfile(spool_.File("old.log", "x").c_str()), 0);
  EXPECT_EQ(log_.texts(1), Texts{"CreateMQEntry failed."});
}

}  // namespace
}  // namespace qob::testing
