// Status notifications, byte for byte: each part, each field, each recipient.
#include "notify_support.h"

namespace qob::testing {
namespace {

constexpr char kOriginal[] = "From: ann@a.example\r\nSubject: hello\r\n\r\nBody line\r\n#Fkept\r\n";
// Sun, 15 Nov 2026 09:00:00 UTC
constexpr std::int32_t kArrival = 1'794'733'200;

char* Text(const char* text) { return const_cast<char*>(text); }

class Dsn : public NotifyTest {
 protected:
  static DsnEnvFrom From(const char* address, std::int32_t ret = 1, const char* id = "") {
    return {address, id, ret, 0, kArrival};
  }
  std::int32_t Send(const DsnEnvFrom* sender, const PerRecipFieldNode* fields,
                    const Texts& text = {"Your message.\r\n"}, const char* subject = "report") {
    const Chain lines(text);
    return GenerateDSNMessage(path_.c_str(), sender, subject, lines, fields);
  }
  void SetUp() override {
    NotifyTest::SetUp();
    path_ = Message("000000AA", "ann@a.example", kOriginal);
  }

  static std::string Delimiter() { return "\r\n--" + Boundary() + "\r\n"; }
  static std::string Head(const std::string& to,
                          const std::string& from = "postmaster@gw.gate.example") {
    return "From: " + from + "\r\n" + (to.empty() ? "" : "To: " + to + "\r\n") +
           "Subject: report\r\n"
           "Content-type: multipart/Report; boundary=\"" +
           Boundary() + "\"; report-type=\"delivery-status\"\r\n" + kPreamble;
  }
  static std::string People(const std::string& text, const std::string& charset = "US-ASCII",
                            const std::string& encoding = "7bit") {
    return Delimiter() + "Content-type: text/plain; Charset=\"" + charset +
           "\"\r\nContent-transfer-encoding: " + encoding +
           "\r\nContent-disposition: inline\r\n\r\n" + text;
  }
  static std::string Status(const std::string& fields) {
    return Delimiter() +
           "Content-type: message/delivery-status\r\n"
           "Content-transfer-encoding: 7bit\r\n"
           "Content-disposition: inline\r\n\r\n" +
           fields;
  }
  static std::string Whole(const std::string& message) {
    return Delimiter() +
           "Content-type: message/rfc822\r\n"
           "Content-transfer-encoding: 7bit\r\n"
           "Content-disposition: inline\r\n\r\n" +
           message + "\r\n--" + Boundary() + "--\r\n";
  }
  static std::string HeaderOnly(const std::string& header) {
    return Delimiter() +
           "Content-type: text/RFC822-Headers\r\n"
           "Content-transfer-encoding: 7bit\r\n"
           "Content-disposition: attachment\r\n\r\n" +
           header + "\r\n--" + Boundary() + "--\r\n";
  }
  // The delivery-status part's content of the only entry.
  std::string StatusText() const {
    const std::string built = Only().built();
    const std::string head = Status("");
    const std::size_t at = built.find(head);
    if (at == std::string::npos) return "<none>";
    const std::size_t begin = at + head.size();
    return built.substr(begin, built.find(Delimiter(), begin) - begin);
  }
  bool ReturnsTheWhole() const {
    const std::string built = Only().built();
    const bool whole = built.find("Content-type: message/rfc822") != std::string::npos;
    EXPECT_NE(whole, built.find("Content-type: text/RFC822-Headers") != std::string::npos);
    return whole;
  }

  static inline const std::string kMessageFields =
      "Reporting-MTA: DNS; gw.gate.example\r\n"
      "Arrival-Date: Sun, 15 Nov 2026 09:00:00 +0000\r\n\r\n";
  static inline const std::string kHeader = "From: ann@a.example\r\nSubject: hello\r\n";

  std::string path_;
};

TEST_F(Dsn, WritesEveryPartAndEveryField) {
  const DsnEnvFrom sender = From("ann@a.example", 2, "QQ314159");
  Fields fields;
  fields.Add({Text("rfc822;Bob@B.example"), Text("bob@b.example"), Text("failed"), Text("5.1.1"),
              Text("mx.b.example"), Text(" 550 no such user"), 1'794'736'800, 1'794'996'000});
  fields.Add(
      {nullptr, Text(" carl@c.example"), Text("delayed"), Text("4.0.0"), nullptr, nullptr, 0, -1});
  EXPECT_EQ(Send(&sender, fields.list(), {"Two lines,\r\n", "of two.\r\n"}), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file, InFront(sent) + Head("ann@a.example") + People("Two lines,\r\nof two.\r\n") +
                           Status("Original-Envelope-Id: QQ314159\r\n" + kMessageFields +
                                  "Original-Recipient: rfc822;Bob@B.example\r\n"
                                  "Final-Recipient: rfc822;bob@b.example\r\n"
                                  "Action: failed\r\n"
                                  "Status: 5.1.1\r\n"
                                  "Remote-MTA: DNS; mx.b.example\r\n"
                                  "Diagnostic-code: smtp; 550 no such user\r\n"
                                  "Last-attempt-date: Sun, 15 Nov 2026 10:00:00 +0000\r\n"
                                  "Will-retry-until: Wed, 18 Nov 2026 10:00:00 +0000\r\n\r\n"
                                  "Final-Recipient: rfc822; carl@c.example\r\n"
                                  "Action: delayed\r\n"
                                  "Status: 4.0.0\r\n\r\n") +
                           Whole(kOriginal));
  EXPECT_EQ(sent.sender, "<>");
  EXPECT_EQ(sent.envelope_id, "");
  EXPECT_EQ(sent.ret, 0);
  EXPECT_EQ(sent.recipients, Texts{"ann@a.example"});
  EXPECT_EQ(log_.lines(), std::vector<LogLine>{});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Dsn, WithoutFieldsThereIsNoStatusPart) {
  const DsnEnvFrom sender = From("ann@a.example", 2);
  EXPECT_EQ(Send(&sender, nullptr), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file, InFront(sent) + Head("ann@a.example") + People("Your message.\r\n") +
                           HeaderOnly(kHeader));
}

TEST_F(Dsn, WithoutSenderItGoesToThePostmasterWithoutTo) {
  Fields fields;
  EXPECT_EQ(Send(nullptr, fields.Action("failed").list()), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file, InFront(sent) + Head("") + People("Your message.\r\n") +
                           Status("Reporting-MTA: DNS; gw.gate.example\r\n"
                                  "Arrival-Date: Sun, 15 Nov 2026 10:24:05 +0000\r\n\r\n"
                                  "Action: failed\r\n\r\n") +
                           HeaderOnly(kHeader));
  EXPECT_EQ(sent.recipients, Texts{"postmaster@gw.gate.example"});
}

TEST_F(Dsn, ToThePostmasterMeansAsIfFromHim) {
  const Chain lines({"text\r\n"});
  Fields fields;
  EXPECT_EQ(GenerateDSNMessageToPostmaster(path_.c_str(), "report", lines,
                                           fields.Action("failed").list()),
            0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file, InFront(sent) + Head("postmaster@gw.gate.example") + People("text\r\n") +
                           Status("Reporting-MTA: DNS; gw.gate.example\r\n"
                                  "Arrival-Date: Sun, 15 Nov 2026 10:24:05 +0000\r\n\r\n"
                                  "Action: failed\r\n\r\n") +
                           Whole(kOriginal));
  EXPECT_EQ(sent.sender, "<>");
  EXPECT_EQ(sent.recipients, Texts{"postmaster@gw.gate.example"});
}

TEST_F(Dsn, ForAllRecipientsDoesNothing) {
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(GenerateDSNMessageForAllRecipients(path_.c_str(), &sender, "s", nullptr, nullptr), 0);
  EXPECT_EQ(GenerateDSNMessageForAllRecipients(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(On().size(), 0u);
}

// ---- the part for people ----

TEST_F(Dsn, AnEightBitByteMakesTheTextQuotedPrintable) {
  const DsnEnvFrom sender = From("ann@a.example");
  SetIni("", "LocalCharSet=ISO-8859-1\n");
  EXPECT_EQ(Send(&sender, nullptr, {"plain\r\n", "f\xFCr\r\n"}), 0);
  EXPECT_NE(Only().file.find(People("plain\r\nf=FCr\r\n", "ISO-8859-1", "quoted-printable")),
            std::string::npos);
}

TEST_F(Dsn, SevenBitTextStaysSevenBitInEveryCharset) {
  const DsnEnvFrom sender = From("ann@a.example");
  SetIni("", "LocalCharSet=ISO-8859-1\n");
  EXPECT_EQ(Send(&sender, nullptr, {"=plain\x7F\r\n"}), 0);
  EXPECT_NE(Only().file.find(People("=plain\x7F\r\n", "ISO-8859-1")), std::string::npos);
}

TEST_F(Dsn, TheCharsetIsReadToItsThirtyFirstByte) {
  const DsnEnvFrom sender = From("ann@a.example");
  SetIni("", "LocalCharSet=" + std::string(40, 'c') + "\n");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_NE(Only().file.find("Charset=\"" + std::string(31, 'c') + "\"\r\n"), std::string::npos);
}

TEST_F(Dsn, AJapaneseSitesSevenBitTextIsConverted) {
  const DsnEnvFrom sender = From("ann@a.example");
  SetIni("", "LocalCharSet=ISO-2022-JP\n");
  EXPECT_EQ(Send(&sender, nullptr, {"plain\r\n"}), 0);
  EXPECT_NE(Only().file.find(People("plain\r\n", "ISO-2022-JP")), std::string::npos);
  EXPECT_TRUE(log_.Has(6, "Attempting to convert text file in ShiftJIS format."));
}

TEST_F(Dsn, TextLinesBringTheirOwnEnds) {
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr, {"one ", "line", "\n", ""}), 0);
  EXPECT_NE(Only().file.find(People("one line\n")), std::string::npos);
}

TEST_F(Dsn, NoTextIsAnEmptyPart) {
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr, {}), 0);
  EXPECT_NE(Only().file.find(People("") + HeaderOnly(kHeader)), std::string::npos);
}

TEST_F(Dsn, ALineWithoutTextIsNothing) {
  const DsnEnvFrom sender = From("ann@a.example");
  char text[] = "two\r\n";
  ms second{text, nullptr};
  const ms lines{nullptr, &second};
  EXPECT_EQ(GenerateDSNMessage(path_.c_str(), &sender, "report", &lines, nullptr), 0);
  EXPECT_NE(Only().file.find(People("two\r\n") + HeaderOnly(kHeader)), std::string::npos);
}

TEST_F(Dsn, NoSubjectIsNoField) {
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr, {}, nullptr), 0);
  EXPECT_EQ(Only().file.find("Subject: report"), std::string::npos);
}

// ---- the part for programs ----

TEST_F(Dsn, DatesOfZeroOrLessAreLeftOut) {
  const DsnEnvFrom sender = From("ann@a.example");
  Fields fields;
  for (const std::int32_t date : {0, -1, -2'000'000'000}) {
    fields.Add({nullptr, Text("b"), nullptr, nullptr, nullptr, nullptr, date, date});
  }
  EXPECT_EQ(Send(&sender, fields.list()), 0);
  const std::string one = "Final-Recipient: rfc822;b\r\n\r\n";
  EXPECT_EQ(StatusText(), kMessageFields + one + one + one);
}

TEST_F(Dsn, ACleanedRecordWritesNoField) {
  const DsnEnvFrom sender = From("ann@a.example");
  PerRecipField field;
  ASSERT_EQ(AssignPerRecipField(&field, "a", "b", "failed", "5.0.0", "m", "d", 1, 2), 0);
  CleanPerRecipField(&field);
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Add(field).list()), 0);
  EXPECT_EQ(StatusText(), kMessageFields + "\r\n");
}

TEST_F(Dsn, EmptyTextsAreLeftOut) {
  const DsnEnvFrom sender = From("ann@a.example");
  Fields fields;
  fields.Add({Text(""), Text(""), Text(""), Text(""), Text(""), Text(""), 1, 0});
  EXPECT_EQ(Send(&sender, fields.list()), 0);
  EXPECT_EQ(StatusText(),
            kMessageFields + "Last-attempt-date: Thu, 1 Jan 1970 00:00:01 +0000\r\n\r\n");
}

TEST_F(Dsn, ANodeWithoutRecordIsPassedOver) {
  const DsnEnvFrom sender = From("ann@a.example");
  const PerRecipFieldNode node{nullptr, nullptr};
  EXPECT_EQ(Send(&sender, &node), 0);
  EXPECT_EQ(StatusText(), kMessageFields);
}

TEST_F(Dsn, TheRemoteNameIsCutTo256Bytes) {
  const DsnEnvFrom sender = From("ann@a.example");
  const std::string name(300, 'm');
  const std::string text(2000, 'd');
  Fields fields;
  fields.Add({nullptr, nullptr, nullptr, nullptr, Text(name.c_str()), Text(text.c_str()), 0, 0});
  EXPECT_EQ(Send(&sender, fields.list()), 0);
  EXPECT_EQ(StatusText(), kMessageFields + "Remote-MTA: DNS; " + std::string(256, 'm') +
                              "\r\nDiagnostic-code: smtp;" + text + "\r\n\r\n");
}

TEST_F(Dsn, WithoutNamesTheDotRemains) {
  SetIni("", "", "");
  const DsnEnvFrom sender = From("<>");
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Action("failed").list()), 0);
  EXPECT_TRUE(StatusText().starts_with("Reporting-MTA: DNS; .\r\nArrival-Date: "));
  EXPECT_TRUE(Only().built().starts_with("From: postmaster@.\r\nTo: <>\r\n")) << Only().built();
}

TEST_F(Dsn, TheGatewaysNamesAreReadToTheirHundredAndTwentySeventhByte) {
  const std::string name = std::string(127, 'h') + "." + std::string(127, 'd');
  SetIni("", "",
         "[Connection]\nGatewayHostName=" + std::string(140, 'h') +
             "\nGatewayDomain=" + std::string(140, 'd') + "\n");
  const DsnEnvFrom sender = From("ann@a.example");
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Action("failed").list()), 0);
  EXPECT_TRUE(StatusText().starts_with("Reporting-MTA: DNS; " + name + "\r\n"));
  EXPECT_TRUE(Only().built().starts_with("From: postmaster@" + name + "\r\n"));
}

TEST_F(Dsn, TheArrivalIsAlwaysWritten) {
  DsnEnvFrom sender = From("ann@a.example");
  sender.arrivalTime = 0;
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Action("relayed").list()), 0);
  EXPECT_EQ(StatusText(),
            "Reporting-MTA: DNS; gw.gate.example\r\n"
            "Arrival-Date: Thu, 1 Jan 1970 00:00:00 +0000\r\n\r\nAction: relayed\r\n\r\n");
}

TEST_F(Dsn, TheFieldsOfARecordStandInTheirOrderAndRecordsInTheirs) {
  const DsnEnvFrom sender = From("ann@a.example");
  Fields fields;
  for (const char* name : {"c", "a", "b"}) {
    fields.Add(
        {Text("o"), Text(name), Text("delivered"), Text("2.0.0"), Text("m"), Text("d"), 0, 1});
  }
  EXPECT_EQ(Send(&sender, fields.list()), 0);
  std::string expected = kMessageFields;
  for (const char* name : {"c", "a", "b"}) {
    expected += "Original-Recipient: o\r\nFinal-Recipient: rfc822;" + std::string(name) +
                "\r\nAction: delivered\r\nStatus: 2.0.0\r\nRemote-MTA: DNS; m\r\n"
                "Diagnostic-code: smtp;d\r\n"
                "Will-retry-until: Thu, 1 Jan 1970 00:00:01 +0000\r\n\r\n";
  }
  EXPECT_EQ(StatusText(), expected);
}

TEST_F(Dsn, NoEnvelopeIdIsNoField) {
  DsnEnvFrom sender = From("ann@a.example");
  sender.envelopeId = nullptr;
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Action("relayed").list()), 0);
  EXPECT_EQ(StatusText(), kMessageFields + "Action: relayed\r\n\r\n");
}

struct ZoneCase {
  const char* zone;
  std::int32_t arrival;
  const char* text;
};

class DsnDates : public Dsn, public ::testing::WithParamInterface<ZoneCase> {};

TEST_P(DsnDates, AreLocalTimeWithItsOffset) {
  const ZoneCase& given = GetParam();
  setenv("TZ", given.zone, 1);
  os::RefreshTimeZone();
  DsnEnvFrom sender = From("ann@a.example");
  sender.arrivalTime = given.arrival;
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Action("expanded").list()), 0);
  EXPECT_EQ(StatusText(), "Reporting-MTA: DNS; gw.gate.example\r\nArrival-Date: " +
                              std::string(given.text) + "\r\n\r\nAction: expanded\r\n\r\n");
}

// Each computed with date(1).
INSTANTIATE_TEST_SUITE_P(
    All, DsnDates,
    ::testing::Values(ZoneCase{"PST8PDT", 1'784'106'245, "Wed, 15 Jul 2026 02:04:05 -0700"},
                      ZoneCase{"PST8PDT", 1'794'738'245, "Sun, 15 Nov 2026 02:24:05 -0800"},
                      ZoneCase{"JST-9", 1'794'738'245, "Sun, 15 Nov 2026 19:24:05 +0900"},
                      ZoneCase{"IST-5:30", 1'794'738'245, "Sun, 15 Nov 2026 15:54:05 +0530"},
                      ZoneCase{"UTC0", 2'147'483'647, "Tue, 19 Jan 2038 03:14:07 +0000"}));

// ---- what is returned ----

struct ReturnCase {
  std::int32_t ret;
  const char* action;  // null: no fields at all
  bool whole;
};

class DsnReturns : public Dsn, public ::testing::WithParamInterface<ReturnCase> {};

TEST_P(DsnReturns, TheWholeMessageOnlyWhenItWasAskedForAndFailed) {
  const ReturnCase& given = GetParam();
  const DsnEnvFrom sender = From("ann@a.example", given.ret);
  Fields fields;
  if (given.action != nullptr) fields.Action("delivered").Action(given.action);
  EXPECT_EQ(Send(&sender, fields.list()), 0);
  EXPECT_EQ(ReturnsTheWhole(), given.whole);
}

INSTANTIATE_TEST_SUITE_P(
    All, DsnReturns,
    ::testing::Values(ReturnCase{2, "failed", true}, ReturnCase{2, "FaiLed", true},
                      ReturnCase{2, "delayed", false}, ReturnCase{2, "failed ", false},
                      ReturnCase{2, "", false}, ReturnCase{2, nullptr, false},
                      ReturnCase{1, "failed", false}, ReturnCase{0, "failed", false},
                      ReturnCase{3, "failed", false}, ReturnCase{-1, "failed", false}));

TEST_F(Dsn, TheReturnedHeaderHasNoEnvelopeLines) {
  const DsnEnvFrom sender = From("ann@a.example");
  TempSpool::Write(Native(path_) + ".msg",
                   "#Fann@a.example\r\n#rbob@b.example\r\n#d\r\nSubject: s\r\n#F\r\n\r\nbody");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_NE(Only().file.find(HeaderOnly("Subject: s\r\n#F\r\n")), std::string::npos);
}

TEST_F(Dsn, AnEnvelopeLineIsLeftOutToItsEnd) {
  const DsnEnvFrom sender = From("ann@a.example");
  TempSpool::Write(Native(path_) + ".msg", "#R" + std::string(1022, 'x') + "Subject: no" +
                                               std::string(70'000, 'y') +
                                               "\r\nSubject: s\r\n\r\nbody");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_NE(Only().file.find(HeaderOnly("Subject: s\r\n")), std::string::npos);
}

TEST_F(Dsn, TheReturnedHeaderEndsAtTheFirstEmptyLineOfCrLf) {
  const DsnEnvFrom sender = From("ann@a.example");
  // The first CR LF behind X is the end of a line of more than 1024 bytes.
  const std::string header = "A: b\n\nX: " + std::string(1021, 'x') + "\r\nC: d\r\n";
  TempSpool::Write(Native(path_) + ".msg", header + "\r\nbody\r\n\r\nmore");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_NE(Only().file.find(HeaderOnly(header)), std::string::npos);
}

TEST_F(Dsn, AnEmptyMessageHasAnEmptyHeader) {
  const DsnEnvFrom sender = From("ann@a.example");
  TempSpool::Write(Native(path_) + ".msg", "");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_NE(Only().file.find(HeaderOnly("")), std::string::npos);
}

TEST_F(Dsn, AMissingMessageFileFailsTheCall) {
  const DsnEnvFrom sender = From("ann@a.example", 2);
  std::filesystem::remove(Native(path_) + ".msg");
  EXPECT_EQ(Send(&sender, nullptr), -1);
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Action("failed").list()), -1);
  EXPECT_EQ(On().size(), 0u);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Dsn, TheMessagesLockIsTheCallers) {
  ASSERT_EQ(CreateLockFile(path_.c_str()), 0);
  const DsnEnvFrom sender = From("ann@a.example", 1);
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_EQ(DeleteLockFile(path_.c_str()), 0);
}

// ---- who it comes from ----

struct FromCase {
  const char* option;
  const char* from;
};

class DsnFrom : public Dsn, public ::testing::WithParamInterface<FromCase> {};

TEST_P(DsnFrom, IsTheConfiguredSenderAsAnAddress) {
  SetIni(GetParam().option);
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_TRUE(Only().built().starts_with("From: " + std::string(GetParam().from) + "\r\n"))
      << Only().built();
  EXPECT_EQ(Only().sender, "<>");
}

INSTANTIATE_TEST_SUITE_P(
    All, DsnFrom,
    ::testing::Values(FromCase{"", "postmaster@gw.gate.example"},
                      FromCase{"BounceSender=daemon\n", "daemon@gw.gate.example"},
                      FromCase{"BounceSender=daemon@o.example\n", "daemon@o.example"},
                      FromCase{"BounceSender=The Daemon <daemon@o.example>\n", "daemon@o.example"},
                      FromCase{"BounceSender=<>\n", "postmaster@gw.gate.example"},
                      FromCase{"BounceSender=\n", "postmaster@gw.gate.example"},
                      FromCase{"BounceSender=\"odd\n", "postmaster@gw.gate.example"}));

TEST_F(Dsn, ItsSendersNameIsReadToItsHundredAndTwentySeventhByte) {
  SetIni("BounceSender=" + std::string(200, 's') + "\n");
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_TRUE(
      Only().built().starts_with("From: " + std::string(127, 's') + "@gw.gate.example\r\n"));
}

// ---- who it goes to ----

struct ToCase {
  const char* options;
  const char* sender;
  const char* action;
  Texts recipients;
};

class DsnTo : public Dsn, public ::testing::WithParamInterface<ToCase> {};

TEST_P(DsnTo, TheSenderAndPerhapsThePostmaster) {
  const ToCase& given = GetParam();
  SetIni(given.options);
  const DsnEnvFrom sender = From(given.sender);
  Fields fields;
  EXPECT_EQ(Send(&sender, fields.Action(given.action).list()), 0);
  EXPECT_EQ(Only().recipients, given.recipients);
  EXPECT_EQ(log_.texts(6), Texts{});
}

constexpr char kAnn[] = "ann@a.example";
constexpr char kPostmaster[] = "postmaster@gw.gate.example";
INSTANTIATE_TEST_SUITE_P(
    All, DsnTo,
    ::testing::Values(ToCase{"", kAnn, "failed", {kAnn}},  //
                      ToCase{"BounceToPostmaster=YES\n", kAnn, "failed", {kAnn, kPostmaster}},
                      ToCase{"BounceToPostmaster=yes\n", kAnn, "FAILED", {kAnn, kPostmaster}},
                      ToCase{"BounceToPostmaster=YES\n", kAnn, "delayed", {kAnn}},
                      ToCase{"BounceToPostmaster=YES\n",
                             "PostMaster@GW.gate.example",
                             "failed",
                             {"PostMaster@GW.gate.example"}},
                      ToCase{"BounceToPostmaster=YES\n", "<>", "failed", {kPostmaster}},
                      ToCase{"BounceToPostmaster=YES\n", "", "failed", {kPostmaster}},
                      ToCase{"", "<>", "failed", {kPostmaster}},   //
                      ToCase{"", "<>", "delayed", {kPostmaster}},  //
                      ToCase{"bounceToPostmaster=YES\n", kAnn, "failed", {kAnn}},
                      ToCase{"BOUNCETOPOSTMASTER=YES\n", kAnn, "failed", {kAnn, kPostmaster}},
                      // Four bytes hold three and the end: a longer word that begins so counts.
                      ToCase{"BounceToPostmaster=YESTERDAY\n", kAnn, "failed", {kAnn, kPostmaster}},
                      ToCase{"BounceToPostmaster=YE\n", kAnn, "failed", {kAnn}}));

TEST_F(Dsn, WithoutSenderThePostmasterGetsItOnce) {
  SetIni("BounceToPostmaster=YES\n");
  Fields fields;
  EXPECT_EQ(Send(nullptr, fields.Action("failed").list()), 0);
  EXPECT_EQ(Only().recipients, Texts{kPostmaster});
  EXPECT_FALSE(ReturnsTheWhole());
}

TEST_F(Dsn, ToThePostmasterGoesToHimOnce) {
  SetIni("BounceToPostmaster=YES\n");
  Fields fields;
  EXPECT_EQ(GenerateDSNMessageToPostmaster(path_.c_str(), "report", nullptr,
                                           fields.Action("failed").list()),
            0);
  EXPECT_EQ(Only().recipients, Texts{kPostmaster});
}

TEST_F(Dsn, TheEmptySenderStandsInTo) {
  const DsnEnvFrom sender = From("<>");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_TRUE(Only().built().starts_with(Head("<>"))) << Only().built();
}

TEST_F(Dsn, ASenderWithoutAddressHasNoToField) {
  DsnEnvFrom sender = From(nullptr);
  EXPECT_EQ(Send(&sender, nullptr), 0);
  EXPECT_TRUE(Only().built().starts_with(Head(""))) << Only().built();
  EXPECT_EQ(Only().recipients, Texts{kPostmaster});
}

TEST_F(Dsn, ADsnIsNotAnsweredByABounce) {
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr), 0);
  const Queued sent = Only();
  EXPECT_EQ(BounceMimeMessage(sent.path.c_str(), nullptr, nullptr, nullptr, &db_), 2);
  EXPECT_EQ(BounceMimeMessageHeader(sent.path.c_str(), nullptr, nullptr, &db_), 2);
  EXPECT_EQ(On().size(), 1u);
}

// ---- what cannot be done ----

TEST_F(Dsn, WithoutQueueFileNothingIsSent) {
  EXPECT_EQ(GenerateDSNMessage(nullptr, nullptr, "s", nullptr, nullptr), -1);
  EXPECT_EQ(GenerateDSNMessageToPostmaster(nullptr, "s", nullptr, nullptr), -1);
  EXPECT_EQ(On().size(), 0u);
}

TEST_F(Dsn, AnEmptyQueuePathNamesNoMessage) {
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(GenerateDSNMessage("", &sender, "s", nullptr, nullptr), -1);
  EXPECT_EQ(GenerateDSNMessageToPostmaster("", "s", nullptr, nullptr), -1);
  EXPECT_EQ(On().size(), 0u);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Dsn, AQueueThatTakesNothingFailsTheCall) {
  MQTerminate();
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr), -1);
  EXPECT_EQ(log_.texts(1), Texts{"CreateMQEntry failed."});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Dsn, WithoutTemporaryDirectoryItFails) {
  std::filesystem::remove_all(spool_.temp());
  const DsnEnvFrom sender = From("ann@a.example");
  EXPECT_EQ(Send(&sender, nullptr), -1);
  EXPECT_EQ(On().size(), 0u);
}

}  // namespace
}  // namespace qob::testing
