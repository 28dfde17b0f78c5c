// Bounces, byte for byte: to the sender, with the header alone, to the postmaster.
#include "notify_support.h"

namespace qob::testing {
namespace {

constexpr char kOriginal[] = "From: ann@a.example\r\nSubject: hello\r\n\r\nBody line\r\n#Fkept\r\n";

class Bounce : public NotifyTest {
 protected:
  std::int32_t ToSender(const std::string& path, const Texts& reasons = {"user unknown"}) {
    return BounceMimeMessage(path.c_str(), nullptr, NewChain(reasons), nullptr, &db_);
  }
  std::int32_t Header(const std::string& path, const Texts& reasons = {"user unknown"}) {
    return BounceMimeMessageHeader(path.c_str(), NewChain(reasons), nullptr, &db_);
  }
  std::int32_t ToPostmaster(const std::string& path, const Texts& reasons = {"user unknown"}) {
    const Chain chain(reasons);
    return BounceMimeMessageToPostmaster(path.c_str(), chain, nullptr, &db_);
  }

  static std::string Head(const std::string& to,
                          const std::string& from = "postmaster@gw.gate.example") {
    return "From: " + from + "\r\nTo: " + to +
           "\r\nSubject: unable to deliver mail\r\n"
           "Content-type: multipart/mixed; boundary=\"" +
           Boundary() + "\"\r\n" + kPreamble;
  }
  static std::string Explanation(const std::string& text) {
    return "\r\n--" + Boundary() +
           "\r\nContent-type: text/plain\r\n"
           "Content-transfer-encoding: 7bit\r\n"
           "Content-disposition: inline\r\n\r\n" +
           text;
  }
  static std::string Whole(const std::string& message) {
    return "\r\n--" + Boundary() +
           "\r\nContent-type: message/rfc822\r\n"
           "Content-transfer-encoding: 7bit\r\n"
           "Content-disposition: inline\r\n\r\n" +
           message + "\r\n--" + Boundary() + "--\r\n";
  }
  static std::string HeaderOnly(const std::string& header) {
    return "\r\n--" + Boundary() +
           "\r\nContent-type: text/RFC822-Headers\r\n"
           "Content-transfer-encoding: 7bit\r\n"
           "Content-disposition: attachment\r\n\r\n" +
           header + "\r\n--" + Boundary() + "--\r\n";
  }
  // The second part's content of the only entry, header form.
  std::string ReturnedHeader() const {
    const std::string built = Only().built();
    const std::size_t from = built.find("Content-disposition: attachment\r\n\r\n");
    if (from == std::string::npos) return "<none>";
    const std::size_t begin = from + 35;
    return built.substr(begin, built.rfind("\r\n--" + Boundary() + "--") - begin);
  }
};

TEST_F(Bounce, ReturnsTheWholeMessageToItsSender) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(ToSender(path, {"user unknown", "", "second reason"}), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file,
            InFront(sent) + Head("ann@a.example") +
                Explanation("This message was returned to you for the following reasons:\r\n\r\n"
                            "user unknown\r\n\r\nsecond reason\r\n"
                            "The original message follows.\r\n\r\n") +
                Whole(kOriginal));
  EXPECT_EQ(sent.sender, "postmaster@gw.gate.example");
  EXPECT_EQ(sent.envelope_id, "");
  EXPECT_EQ(sent.ret, 0);
  EXPECT_EQ(sent.recipients, Texts{"ann@a.example"});
  EXPECT_EQ(log_.lines(), std::vector<LogLine>{});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Bounce, TheHeaderFormReturnsTheHeaderAlone) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(Header(path), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file,
            InFront(sent) + Head("ann@a.example") +
                Explanation("This message was returned to you for the following reasons:\r\n\r\n"
                            "user unknown\r\n"
                            "The original message header follows.\r\n\r\n") +
                HeaderOnly("From: ann@a.example\r\nSubject: hello\r\n"));
  EXPECT_EQ(sent.sender, "postmaster@gw.gate.example");
  EXPECT_EQ(sent.recipients, Texts{"ann@a.example"});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Bounce, ThePostmasterGetsTheWholeMessage) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(ToPostmaster(path), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file,
            InFront(sent) + Head("postmaster@gw.gate.example") +
                Explanation(
                    "This message has been bounced to postmaster for the following "
                    "reason(s):\r\n\r\nuser unknown\r\n\r\nThe original message follows.\r\n\r\n") +
                Whole(kOriginal));
  EXPECT_EQ(sent.sender, "postmaster@gw.gate.example");
  EXPECT_EQ(sent.recipients, Texts{"postmaster@gw.gate.example"});
  EXPECT_EQ(log_.lines(), std::vector<LogLine>{});
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Bounce, NoReasonsLeaveNoLine) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(ToSender(path, {}), 0);
  EXPECT_NE(Only().file.find("reasons:\r\n\r\nThe original message follows."), std::string::npos);
}

TEST_F(Bounce, AReasonWithoutTextIsAnEmptyLine) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  ms* reasons = NewChain({"one", "two"});
  std::free(reasons->text);
  reasons->text = nullptr;
  EXPECT_EQ(BounceMimeMessage(path.c_str(), nullptr, reasons, nullptr, &db_), 0);
  EXPECT_NE(Only().file.find("reasons:\r\n\r\n\r\ntwo\r\nThe original"), std::string::npos);
}

// ---- who it goes to ----

TEST_F(Bounce, AMessageWithoutSenderRecordGoesToThePostmaster) {
  const std::string path = Message("000000AA", nullptr, kOriginal);
  EXPECT_EQ(ToSender(path), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file,
            InFront(sent) + Head("postmaster@gw.gate.example (envelope From missing)") +
                Explanation("This message has no sender in the envelope.\r\n"
                            "It was being returned to sender for the following reasons:\r\n\r\n"
                            "user unknown\r\nThe original message follows.\r\n\r\n") +
                Whole(kOriginal));
  EXPECT_EQ(sent.recipients, Texts{"postmaster@gw.gate.example"});
  EXPECT_EQ(log_.texts(1), Texts{"Waring: trying to bonce message with no envelope from."});
}

TEST_F(Bounce, TheHeaderFormWithoutSenderRecordSaysSoToo) {
  const std::string path = Message("000000AA", nullptr, kOriginal);
  EXPECT_EQ(Header(path), 0);
  const Queued sent = Only();
  EXPECT_EQ(sent.file,
            InFront(sent) + Head("postmaster@gw.gate.example (envelope From missing)") +
                Explanation("This message has no sender in the envelope.\r\n"
                            "It was being returned to sender for the following reasons:\r\n\r\n"
                            "user unknown\r\nThe original message header follows.\r\n\r\n") +
                HeaderOnly("From: ann@a.example\r\nSubject: hello\r\n"));
  EXPECT_EQ(log_.texts(1), Texts{"Waring: trying to bonce message with no envelope from."});
}

TEST_F(Bounce, AnEmptyAddressCountsAsNoSender) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  char empty[] = "";
  const EnvFrom given{empty, empty, 0, 0, empty};
  EXPECT_EQ(BounceMimeMessage(path.c_str(), &given, nullptr, nullptr, &db_), 0);
  EXPECT_EQ(Only().recipients, Texts{"postmaster@gw.gate.example"});
  EXPECT_NE(Only().file.find("no sender in the envelope"), std::string::npos);
}

TEST_F(Bounce, ARecordWithoutAddressCountsAsNoSender) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  const EnvFrom given{};
  EXPECT_EQ(BounceMimeMessage(path.c_str(), &given, nullptr, nullptr, &db_), 0);
  EXPECT_EQ(Only().recipients, Texts{"postmaster@gw.gate.example"});
}

TEST_F(Bounce, AGivenSenderIsTakenInsteadOfTheEnvelopes) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  char other[] = "other@o.example";
  const EnvFrom given{other, nullptr, 0, 0, nullptr};
  EXPECT_EQ(BounceMimeMessage(path.c_str(), &given, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(Only().recipients, Texts{"other@o.example"});
  EXPECT_STREQ(given.address, "other@o.example");
}

TEST_F(Bounce, WithoutHandleTheConfiguredQueueIsAsked) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(BounceMimeMessage(path.c_str(), nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(BounceMimeMessageHeader(path.c_str(), nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(On().size(), 2u);
  EXPECT_EQ(On()[0].recipients, Texts{"ann@a.example"});
  EXPECT_EQ(On()[1].recipients, Texts{"ann@a.example"});
}

TEST_F(Bounce, TheEmptySenderIsDiscardedByDefault) {
  const std::string path = Message("000000AA", "<>", kOriginal);
  EXPECT_EQ(ToSender(path), 2);
  EXPECT_EQ(On().size(), 0u);
  EXPECT_EQ(log_.lines(),
            (std::vector<LogLine>{
                {6, "notify", "Discard to bounce message with empty envelope From ( <> )."}}));
  EXPECT_EQ(Header(path), 2);
  EXPECT_EQ(On().size(), 0u);
}

TEST_F(Bounce, TheEmptySenderIsComparedExactly) {
  const std::string path = Message("000000AA", nullptr, kOriginal);
  char blank[] = "<> ";
  const EnvFrom given{blank, nullptr, 0, 0, nullptr};
  EXPECT_NE(BounceMimeMessage(path.c_str(), &given, nullptr, nullptr, &db_), 2);
}

TEST_F(Bounce, TheEmptySendersMailMayGoToThePostmaster) {
  SetIni("BounceToPostmaster=yes\n");
  const std::string path = Message("000000AA", "<>", kOriginal);
  EXPECT_EQ(ToSender(path), 1);
  const Queued sent = Only();
  EXPECT_EQ(sent.recipients, Texts{"postmaster@gw.gate.example"});
  EXPECT_NE(
      sent.file.find("bounced to postmaster for the following reason(s):\r\n\r\nuser unknown"),
      std::string::npos);
  EXPECT_EQ(
      log_.lines(),
      (std::vector<LogLine>{{3, "notify",
                             "Bounced 000000AA size: " + std::to_string(sizeof kOriginal - 1) +
                                 " bytes to: <postmaster>\r\n"}}));
}

TEST_F(Bounce, TheHeaderFormSendsThePostmasterTheWholeMessage) {
  SetIni("BounceToPostmaster=YES\n");
  const std::string path = Message("000000AA", "<>", kOriginal);
  EXPECT_EQ(Header(path), 1);
  EXPECT_NE(Only().file.find("Content-type: message/rfc822"), std::string::npos);
  EXPECT_EQ(log_.texts(3).size(), 1u);
}

TEST_F(Bounce, APostmastersBounceThatFailsFailsTheCallWithoutAccount) {
  SetIni("BounceToPostmaster=YES\n");
  const std::string path = Message("000000AA", "<>", kOriginal);
  std::filesystem::remove(Native(path) + ".msg");
  EXPECT_EQ(ToSender(path), -1);
  EXPECT_EQ(log_.texts(3), Texts{});
  EXPECT_TRUE(log_.Has(1, "BounceMimeMessageToPostmaster failed. MimeBuildMessage failed."));
  EXPECT_FALSE(log_.Has(1, "BounceMimeMessage failed: MimeSendMessage failed."));
  EXPECT_EQ(On().size(), 0u);
}

TEST_F(Bounce, ThePostmasterMayGetACopyOfEveryBounce) {
  SetIni("bounceToPostmaster=YES\n");
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(ToSender(path), 0);
  const std::vector<Queued> all = On();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].recipients, Texts{"ann@a.example"});
  EXPECT_EQ(all[1].recipients, Texts{"postmaster@gw.gate.example"});
  EXPECT_NE(all[1].file.find("user unknown\r\n\r\nThe original message follows."),
            std::string::npos);
  EXPECT_EQ(log_.texts(3), Texts{"Bounced 000000AA size: " + std::to_string(sizeof kOriginal - 1) +
                                 " bytes to: <postmaster>\r\n"});
}

TEST_F(Bounce, ACopyOfAHeaderBounceIsWhole) {
  SetIni("bounceToPostmaster=YES\n");
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(Header(path), 0);
  ASSERT_EQ(On().size(), 2u);
  EXPECT_NE(On()[0].file.find("text/RFC822-Headers"), std::string::npos);
  EXPECT_NE(On()[1].file.find("message/rfc822"), std::string::npos);
}

TEST_F(Bounce, ThePostmastersOwnBounceIsNotCopied) {
  SetIni("bounceToPostmaster=YES\n");
  EXPECT_EQ(ToSender(Message("000000AA", "PostMaster@GW.Gate.Example", kOriginal)), 0);
  EXPECT_EQ(On().size(), 1u);
  EXPECT_EQ(log_.texts(3), Texts{});
}

TEST_F(Bounce, ABounceOfAMessageWithoutSenderIsNotCopied) {
  SetIni("bounceToPostmaster=YES\n");
  EXPECT_EQ(ToSender(Message("000000AA", nullptr, kOriginal)), 0);
  EXPECT_EQ(On().size(), 1u);
}

TEST_F(Bounce, ASenderThatIsNoAddressIsNotCopied) {
  SetIni("bounceToPostmaster=YES\n");
  char odd[] = "\"odd";  // its quotes do not pair
  const EnvFrom given{odd, nullptr, 0, 0, nullptr};
  const std::string path = Message("000000AA", nullptr, kOriginal);
  EXPECT_EQ(BounceMimeMessage(path.c_str(), &given, nullptr, nullptr, &db_), 0);
  EXPECT_EQ(On().size(), 1u);
}

// ---- the two keys of one spelling ----

struct KeyCase {
  const char* options;
  std::int32_t empty_sender;  // result for "<>"
  std::size_t to_sender;      // messages for an ordinary sender
};

class BounceKeys : public Bounce, public ::testing::WithParamInterface<KeyCase> {};

TEST_P(BounceKeys, AreToldApartByCase) {
  const KeyCase& given = GetParam();
  SetIni(given.options);
  EXPECT_EQ(ToSender(Message("000000AA", "<>", kOriginal)), given.empty_sender);
  const std::size_t before = On().size();
  EXPECT_EQ(before, given.empty_sender == 1 ? 1u : 0u);
  EXPECT_EQ(ToSender(Message("000000AB", "ann@a.example", kOriginal)), 0);
  EXPECT_EQ(On().size() - before, given.to_sender);
}

INSTANTIATE_TEST_SUITE_P(
    All, BounceKeys,
    ::testing::Values(KeyCase{"", 2, 1},                                                  //
                      KeyCase{"BounceToPostmaster=YES\n", 1, 1},                          //
                      KeyCase{"bounceToPostmaster=YES\n", 2, 2},                          //
                      KeyCase{"BounceToPostmaster=YES\nbounceToPostmaster=NO\n", 1, 1},   //
                      KeyCase{"bounceToPostmaster=NO\nBounceToPostmaster=YES\n", 1, 1},   //
                      KeyCase{"BounceToPostmaster=NO\nbounceToPostmaster=YES\n", 2, 2},   //
                      KeyCase{"BounceToPostmaster=YES\nbounceToPostmaster=YES\n", 1, 2},  //
                      KeyCase{"BOUNCETOPOSTMASTER=YES\n", 1, 2},                          //
                      KeyCase{"BOUNCETOPOSTMASTER=YES\nbounceToPostmaster=NO\n", 1, 1},   //
                      KeyCase{"BounceToPostmaster=yEs\n", 1, 1},                          //
                      KeyCase{"BounceToPostmaster=YESS\n", 2, 1},                         //
                      KeyCase{"bounceToPostmaster=YESSSSSS\n", 2, 1},                     //
                      KeyCase{"BounceToPostmaster=1\nbounceToPostmaster=TRUE\n", 2, 1}));

// ---- who it comes from ----

struct SenderCase {
  const char* options;
  const char* sender;
};

class BounceFrom : public Bounce, public ::testing::WithParamInterface<SenderCase> {};

TEST_P(BounceFrom, IsTheConfiguredSender) {
  SetIni(GetParam().options);
  const std::string sender = GetParam().sender;
  EXPECT_EQ(ToSender(Message("000000AA", "ann@a.example", kOriginal)), 0);
  EXPECT_EQ(Header(Path("000000AA")), 0);
  EXPECT_EQ(ToPostmaster(Path("000000AA")), 0);
  const std::vector<Queued> all = On();
  ASSERT_EQ(all.size(), 3u);
  for (const Queued& sent : all) {
    EXPECT_EQ(sent.sender, sender);
    EXPECT_TRUE(sent.built().starts_with("From: " + sender + "\r\n")) << sent.built();
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, BounceFrom,
    ::testing::Values(SenderCase{"", "postmaster@gw.gate.example"},
                      SenderCase{"BounceSender=\n", "postmaster@gw.gate.example"},
                      SenderCase{"BounceSender=daemon\n", "daemon@gw.gate.example"},
                      SenderCase{"BounceSender=daemon@other.example\n", "daemon@other.example"},
                      SenderCase{"BounceSender=<>\n", "<>"}));

TEST_F(Bounce, TheSendersNameIsReadToItsTwoHundredAndFiftyFifthByte) {
  SetIni("BounceSender=" + std::string(300, 's') + "\n");
  EXPECT_EQ(ToSender(Message("000000AA", "ann@a.example", kOriginal)), 0);
  EXPECT_TRUE(
      Only().built().starts_with("From: " + std::string(255, 's') + "@gw.gate.example\r\n"));
}

TEST_F(Bounce, TheGatewaysNamesAreReadToTheirHundredAndTwentySeventhByte) {
  SetIni("", "",
         "[Connection]\nGatewayHostName=" + std::string(140, 'h') +
             "\nGatewayDomain=" + std::string(140, 'd') + "\n");
  EXPECT_EQ(ToPostmaster(Message("000000AA", "ann@a.example", kOriginal)), 0);
  EXPECT_TRUE(Only().built().starts_with("From: postmaster@" + std::string(127, 'h') + "." +
                                         std::string(127, 'd') + "\r\n"));
}

TEST_F(Bounce, WithoutNamesTheDotRemains) {
  SetIni("", "", "");
  EXPECT_EQ(ToPostmaster(Message("000000AA", "ann@a.example", kOriginal)), 0);
  EXPECT_TRUE(Only().built().starts_with("From: postmaster@.\r\n")) << Only().built();
}

// ---- what is returned ----

TEST_F(Bounce, TheEnvelopeLinesAtTheHeadAreLeftOut) {
  const std::string path = Message(
      "000000AA", "ann@a.example",
      "#Fann@a.example\r\n#rbob@b.example\r\n#D1\r\nSubject: s\r\n#Fno\r\n\r\nbody\r\n#Rno\r\n");
  EXPECT_EQ(ToSender(path), 0);
  EXPECT_NE(Only().file.find("inline\r\n\r\nSubject: s\r\n#Fno\r\n\r\nbody\r\n#Rno\r\n\r\n--"),
            std::string::npos);
}

TEST_F(Bounce, TheHeaderFormLeavesTheEnvelopeLinesOut) {
  const std::string path =
      Message("000000AA", "ann@a.example",
              "#fann@a.example\r\n#Rbob@b.example\r\n#D1\r\nSubject: s\r\n#Fno\r\n\r\nbody\r\n");
  EXPECT_EQ(Header(path), 0);
  EXPECT_EQ(ReturnedHeader(), "Subject: s\r\n#Fno\r\n");
}

TEST_F(Bounce, AnEnvelopeLineIsLeftOutToItsEnd) {
  // Its pieces of 1024 bytes begin with what would be a line of its own.
  const std::string line = "#F" + std::string(1022, 'x') + "Subject: no" + std::string(70'000, 'y');
  EXPECT_EQ(Header(Message("000000AA", "ann@a.example", line + "\r\nSubject: s\r\n\r\nb")), 0);
  EXPECT_EQ(ReturnedHeader(), "Subject: s\r\n");
}

TEST_F(Bounce, AMessageOfEnvelopeLinesAloneHasNoHeader) {
  EXPECT_EQ(Header(Message("000000AA", "ann@a.example", "#Fa\r\n#Rb")), 0);
  EXPECT_EQ(ReturnedHeader(), "");
}

TEST_F(Bounce, OtherLinesThatBeginWithANumberSignStay) {
  const std::string header = "#X: a\r\n#Fb\r\n";
  EXPECT_EQ(Header(Message("000000AA", "ann@a.example", header + "\r\nb")), 0);
  EXPECT_EQ(ReturnedHeader(), header);
}

TEST_F(Bounce, EightBitBytesAreReturnedAsTheyAre) {
  const std::string message = std::string("Subject: \xFC\r\n\r\n") + std::string("a\0\xFF", 3);
  EXPECT_EQ(ToSender(Message("000000AA", "ann@a.example", message)), 0);
  EXPECT_NE(Only().file.find(Whole(message)), std::string::npos);
}

TEST_F(Bounce, AnEmptyMessageIsReturnedEmpty) {
  EXPECT_EQ(ToSender(Message("000000AA", "ann@a.example", "")), 0);
  EXPECT_NE(Only().file.find(Whole("")), std::string::npos);
}

TEST_F(Bounce, TheHeaderOfAnEmptyMessageIsEmpty) {
  EXPECT_EQ(Header(Message("000000AA", "ann@a.example", "")), 0);
  EXPECT_EQ(ReturnedHeader(), "");
}

TEST_F(Bounce, AMessageOfBareLineFeedsIsHeaderAsAWhole) {
  EXPECT_EQ(Header(Message("000000AA", "ann@a.example", "A: b\n\nbody\n")), 0);
  EXPECT_EQ(ReturnedHeader(), "A: b\n\nbody\n");
}

TEST_F(Bounce, APieceOfALongLineIsNoEmptyLine) {
  const std::string line = "X: " + std::string(1021, 'x');  // 1024 bytes: the next piece is CR LF
  EXPECT_EQ(Header(Message("000000AA", "ann@a.example", line + "\r\nA: b\r\n\r\nbody")), 0);
  EXPECT_EQ(ReturnedHeader(), line + "\r\nA: b\r\n");
}

TEST_F(Bounce, AHeaderWithNulBytesIsReturnedWhole) {
  const std::string header = std::string("X: a\0b\r\nY: c\r\n", 14);
  EXPECT_EQ(Header(Message("000000AA", "ann@a.example", header + "\r\nbody")), 0);
  EXPECT_EQ(ReturnedHeader(), header);
}

TEST_F(Bounce, EitherSeparatorIsUnderstood) {
  SetIni("bounceToPostmaster=YES\n");
  Message("000000AA", "ann@a.example", kOriginal);
  EXPECT_EQ(ToSender(spool_.queue() + "/000000AA"), 0);
  EXPECT_EQ(On().size(), 2u);
  EXPECT_EQ(log_.texts(3), Texts{"Bounced 000000AA size: " + std::to_string(sizeof kOriginal - 1) +
                                 " bytes to: <postmaster>\r\n"});
}

TEST_F(Bounce, TheQueuedMessageStaysAsItIs) {
  SetIni("bounceToPostmaster=YES\n");
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  ASSERT_EQ(CreateLockFile(path.c_str()), 0);
  EXPECT_EQ(ToSender(path), 0);
  EXPECT_EQ(Header(path), 0);
  EXPECT_EQ(TempSpool::Read(Native(path) + ".msg"), kOriginal);
  EXPECT_EQ(DeleteLockFile(path.c_str()), 0);
  EXPECT_EQ(GetMessageRetryCount(path.c_str(), &db_), 0);
}

// ---- a bounce that is bounced ----

TEST_F(Bounce, ABounceWithTheEmptySenderIsNotAnswered) {
  SetIni("BounceSender=<>\n");
  EXPECT_EQ(ToSender(Message("000000AA", "ann@a.example", kOriginal)), 0);
  const Queued sent = Only();
  EXPECT_EQ(ToSender(sent.path), 2);
  EXPECT_EQ(On().size(), 1u);
}

TEST_F(Bounce, ABounceOfTheDefaultSenderGoesToThePostmaster) {
  EXPECT_EQ(ToSender(Message("000000AA", "ann@a.example", kOriginal)), 0);
  EXPECT_EQ(ToSender(Only().path), 0);
  ASSERT_EQ(On().size(), 2u);
  EXPECT_EQ(On()[1].recipients, Texts{"postmaster@gw.gate.example"});
  EXPECT_EQ(On()[1].sender, "postmaster@gw.gate.example");
}

TEST_F(Bounce, ACallSubmitsAtMostTwoMessages) {
  SetIni("BounceToPostmaster=YES\nbounceToPostmaster=YES\n");
  std::size_t before = 0;
  for (const char* sender : {"ann@a.example", "<>", "postmaster@gw.gate.example"}) {
    EXPECT_GE(ToSender(Message("000000AA", sender, kOriginal)), 0);
    EXPECT_LE(On().size() - before, 2u);
    before = On().size();
    EXPECT_GE(Header(Path("000000AA")), 0);
    EXPECT_LE(On().size() - before, 2u);
    before = On().size();
  }
}

// ---- what cannot be done ----

TEST_F(Bounce, WithoutQueueFileNothingIsSentAndTheReasonsAreFreed) {
  EXPECT_EQ(BounceMimeMessage(nullptr, nullptr, NewChain({"r"}), nullptr, &db_), -1);
  EXPECT_EQ(BounceMimeMessageHeader(nullptr, NewChain({"r"}), nullptr, &db_), -1);
  EXPECT_EQ(BounceMimeMessageToPostmaster(nullptr, nullptr, nullptr, &db_), -1);
  EXPECT_EQ(On().size(), 0u);
}

TEST_F(Bounce, AnEmptyQueuePathNamesNoMessage) {
  EXPECT_EQ(ToSender(""), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessage failed: MimeBuildMessage failed.");
  EXPECT_EQ(Header(""), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessage failed: fileopen failed.");
  EXPECT_EQ(ToPostmaster(""), -1);
  EXPECT_EQ(On().size(), 0u);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Bounce, WhatIsHandedOnToSubmissionIsNotLookedAt) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  void* const nowhere = reinterpret_cast<void*>(8);
  EXPECT_EQ(BounceMimeMessage(path.c_str(), nullptr, nullptr, nowhere, &db_), 0);
  EXPECT_EQ(BounceMimeMessageHeader(path.c_str(), nullptr, nowhere, &db_), 0);
  EXPECT_EQ(BounceMimeMessageToPostmaster(path.c_str(), nullptr, nowhere, &db_), 0);
  EXPECT_EQ(On().size(), 3u);
}

TEST_F(Bounce, ThePostmastersBounceLeavesTheReasonsToTheCaller) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  const Chain reasons({"one", "two"});
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(BounceMimeMessageToPostmaster(path.c_str(), reasons, nullptr, nullptr), 0);
    EXPECT_NE(On().back().file.find("reason(s):\r\n\r\none\r\ntwo\r\n\r\nThe"), std::string::npos);
  }
  EXPECT_EQ(log_.lines(), std::vector<LogLine>{});
}

TEST_F(Bounce, AMissingMessageFileIsNamedByEachForm) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  std::filesystem::remove(Native(path) + ".msg");
  EXPECT_EQ(ToSender(path), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessage failed: MimeBuildMessage failed.");
  EXPECT_EQ(Header(path), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessage failed: fileopen failed.");
  EXPECT_EQ(ToPostmaster(path), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessageToPostmaster failed. MimeBuildMessage failed.");
  EXPECT_EQ(On().size(), 0u);
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Bounce, WithoutTemporaryDirectoryItSaysSo) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  std::filesystem::remove_all(spool_.temp());
  EXPECT_EQ(ToSender(path), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessage failed: filecreate error.");
  EXPECT_EQ(Header(path), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessage failed: filecreate error.");
  EXPECT_EQ(ToPostmaster(path), -1);
  EXPECT_EQ(log_.texts(1).back(), "BounceMimeMessageToPostmaster failed. filecreate failed.");
}

TEST_F(Bounce, AQueueThatTakesNothingFailsTheCall) {
  const std::string path = Message("000000AA", "ann@a.example", kOriginal);
  MQTerminate();
  EXPECT_EQ(ToSender(path), -1);
  EXPECT_EQ(log_.texts(1),
            (Texts{"CreateMQEntry failed.", "BounceMimeMessage failed: MimeSendMessage failed."}));
  log_.Clear();
  EXPECT_EQ(ToPostmaster(path), -1);
  EXPECT_EQ(log_.texts(1),
            (Texts{"CreateMQEntry failed.",
                   "BounceMimeMessageToPostmaster failed. MimeSendMessage failed, message cannot "
                   "be submitted to MQ."}));
  EXPECT_EQ(spool_.TempFiles(), Texts{});
}

TEST_F(Bounce, APathLongerThanAnyFails) {
  const std::string path = std::string(5000, 'x') + "\\000000AA";
  EXPECT_EQ(ToSender(path), -1);
  EXPECT_EQ(Header(path), -1);
  EXPECT_EQ(ToPostmaster(path), -1);
  EXPECT_EQ(On().size(), 0u);
}

}  // namespace
}  // namespace qob::testing
