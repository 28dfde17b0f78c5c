// The order in which a submission goes, what its header is read with, and what each failing step of
// an entry leaves behind.
#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>
#include <qob3xapi/mesgdb.h>
#include <qob3xapi/queueid.h>
#include <qob3xapi/util.h>

#include "submit_support.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

using Lines = std::vector<LogLine>;
using Numbers = std::vector<std::uint32_t>;

const LogLine kNoEntry{1, "submit", "CreateMQEntry failed."};
const LogLine kEmptyRecipient{6, "submit", "Ignore empty recipient address."};
const LogLine kNoDate{6, "submit", "Received invalid date.  Adopting the current time instead."};

// ---- the order

using SubmitSteps = SubmitTest;

TEST_F(SubmitSteps, TheEntryComesBeforeTheMessageFile) {
  Call call;
  call.file = "nothing";
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_EQ(log_.lines(), Lines{});
  EXPECT_NE(Queued("\r\n").find(") id 00000001; "), std::string::npos) << "a number was drawn";
  MQTerminate();
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_EQ(log_.lines(), Lines{kNoEntry});
}

TEST_F(SubmitSteps, TheMessageFileComesBeforeTheRecipients) {
  Call call;
  call.file = "nothing";
  call.recipients = {To("")};
  EXPECT_EQ(call.Send(), nullptr);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(SubmitSteps, TheRecipientsComeBeforeTheDates) {
  Call call;
  call.recipients = {To("bob@b.example"), To("")};
  Queued("Date: some day\r\n\r\n", call);
  EXPECT_EQ(log_.lines(), (Lines{kEmptyRecipient, kNoDate}));
}

TEST_F(SubmitSteps, APipeIsNoMessageAndIsNotWaitedFor) {
  const std::string pipe = spool_.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  Call call;
  call.file = pipe.c_str();
  EXPECT_EQ(call.Send(), nullptr);
  ExpectNothingQueued();
  EXPECT_TRUE(std::filesystem::exists(pipe));
}

TEST_F(SubmitSteps, AReceiptForNobodyIsAskedForAllTheSame) {
  Call call;
  call.sender = nullptr;
  call.receipt = 1;
  const std::string queued = Queued("\r\n", call);
  EXPECT_TRUE(queued.ends_with("\r\nReturn-Receipt-To: \r\n\r\n")) << queued;
}

TEST_F(SubmitSteps, TheQueueAloneIsEnough) {
  TerminateQOBDll();
  MQTerminate();
  ASSERT_NE(MQInit("localhost", "queue"), 0);
  const std::string queued = Queued("Subject: x\r\n\r\nbody\r\n");
  EXPECT_TRUE(queued.ends_with("Subject: x\r\n\r\nbody\r\n")) << queued;
  EXPECT_EQ(Waiting(), Numbers{0});
}

TEST_F(SubmitSteps, TheEndOfTheLibraryLeavesTheQueueConnected) {
  const std::string file = spool_.File("message", "\r\n");
  TerminateQOBDll();
  Call call;
  call.file = file.c_str();
  EXPECT_NE(call.Send(), nullptr);
  EXPECT_EQ(Waiting(), Numbers{0});
}

// ---- recipients and senders that are odd

class SubmitOdd : public SubmitTest {
 protected:
  std::vector<std::string> Put(const char* sender, const char* recipient) {
    Call call;
    call.sender = sender;
    call.recipients = {To(recipient)};
    Queued("\r\n", call);
    stEnvelope* envelope = GetMQEnvelope(Waiting().back());
    std::vector<std::string> texts{envelope->senders.head->record->address};
    for (const MQEnvRecipNode* at = envelope->recipients.head; at != nullptr; at = at->next) {
      texts.push_back(at->record->address);
    }
    FreeMQEnvelope(envelope);
    return texts;
  }
};
using Texts = std::vector<std::string>;

TEST_F(SubmitOdd, BlanksAreNoAddressAndNotEmpty) {
  EXPECT_EQ(Put("ann@a.example", "  "), (Texts{"ann@a.example", "  "}));
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(SubmitOdd, AMalformedMemberOfAListCostsOnlyItself) {
  EXPECT_EQ(Put("ann@a.example", "bob@b.example, >, cec@c.example"),
            (Texts{"ann@a.example", "bob@b.example", "cec@c.example"}));
}

TEST_F(SubmitOdd, TheFirstOfSeveralSendersIsTheSender) {
  EXPECT_EQ(Put("ann@a.example, eve@e.example", "bob@b.example"),
            (Texts{"ann@a.example", "bob@b.example"}));
}

TEST_F(SubmitOdd, ASenderWithAnOpenQuoteStaysAndTheSiteNamesTheMessage) {
  Call call;
  call.sender = "\"ann@a.example";
  const std::string queued = Queued("\r\n", call);
  EXPECT_NE(queued.find("Message-ID: <00000000.site7@gw.gate.example>"), std::string::npos)
      << queued;
}

TEST_F(SubmitOdd, ARecipientOfAnUnconfiguredSiteGetsADot) {
  Start("UTC0", "");
  EXPECT_EQ(Put("ann", "bob"), (Texts{"ann", "bob@."}));
}

// ---- what the message's header has

class SubmitPresence : public SubmitTest {
 protected:
  struct Known {
    bool message_id = false;
    bool mime_version = false;
    bool operator==(const Known&) const = default;
  };
  // As the header reader sees the file.
  static Known Read(const std::string& file) {
    addr822* header = New822Header();
    const int handle = fileopen(file.c_str(), 0, 1);
    std::int32_t lines = 0;
    std::int32_t status = 0;
    EXPECT_EQ(ParseHdr(handle, header, &lines, &status), 1);
    fileclose(handle);
    const Known known{header->messageId != nullptr, header->mimeVersion != nullptr};
    Free822Header(header);
    std::free(header);
    return known;
  }
};

TEST_F(SubmitPresence, IsJudgedAsTheHeaderReaderReads) {
  const std::string starts[] = {"Message-ID: <m@a>",
                                "MESSAGE-ID:",
                                "Message-ID : <m@a>",
                                " Message-ID: <m@a>",
                                "Mime-version: 1.0",
                                "mime-Version:",
                                "\tMime-version: 1.0",
                                "Subject: x",
                                "no field",
                                "From somebody",
                                "",
                                " ",
                                "\r",
                                "\rX: y",
                                "X: a\rb",
                                "Message-ID"};
  const std::string ends[] = {"\r\n", "\r\n", "\r\n", "\n", "\r\r\n", "\r", ""};
  std::mt19937 dice(7);
  for (int round = 0; round < 150; ++round) {
    std::string message;
    for (auto i = dice() % 7; i > 0; --i) {
      message += starts[dice() % std::size(starts)] + ends[dice() % std::size(ends)];
    }
    const std::string file = spool_.File("header", message);
    Call call;
    call.file = file.c_str();
    const TextPtr path = call.Send();
    ASSERT_NE(path, nullptr);
    const std::string queued = TempSpool::Read(std::string(path.get()) + ".msg");
    const std::string front = queued.substr(0, queued.size() - message.size());
    const Known known = Read(file);
    EXPECT_TRUE(queued.ends_with(message));
    EXPECT_EQ(front.find("\r\nMessage-ID: <") == std::string::npos, known.message_id) << message;
    EXPECT_EQ(front.find("\r\nMime-version: ") == std::string::npos, known.mime_version) << message;
  }
}

TEST_F(SubmitPresence, AFieldBehindAnEndlessOneIsStillSeen) {
  std::string message = "References: <first@a.example>\r\n";
  while (message.size() < 200'000) message += " <another@a.example>\r\n";
  message += "Message-ID: <own@a.example>\r\nMime-version: 1.0\r\n\r\n";
  EXPECT_EQ(Queued(message), kReceived + kDate + message);
}

// ---- every step fails

class SubmitStepFaults : public SubmitTest {
 protected:
  void SetUp() override {
    SubmitTest::SetUp();
    Queued("\r\n");  // what is made once is made
    files_ = QueueFiles();
    known_ = Waiting();
    log_.Clear();
  }
  MQContext* Entry() {
    MQContext* entry = QOBGetNewMQEntry();
    EXPECT_NE(entry, nullptr);
    const TextPtr path(QOBNativePath(GetMQPathName(entry, ".msg")));
    TempSpool::Write(path.get(), "\r\n");
    return entry;
  }
  // Nothing fails any more: one message more is there, or nothing.
  void Judge(bool acknowledged) {
    if (acknowledged) {
      ASSERT_EQ(Waiting().size(), known_.size() + 1);
      ASSERT_EQ(QueueFiles().size(), files_.size() + 1) << "its file, and no lock";
      known_ = Waiting();
      files_ = QueueFiles();
    } else {
      ASSERT_EQ(Waiting(), known_);
      ASSERT_EQ(QueueFiles(), files_);
    }
    log_.Clear();
  }

  static constexpr os::Call kCalls[] = {os::Call::kOpen,   os::Call::kClose,  os::Call::kRead,
                                        os::Call::kWrite,  os::Call::kSeek,   os::Call::kStat,
                                        os::Call::kFlush,  os::Call::kRename, os::Call::kList,
                                        os::Call::kAccess, os::Call::kLock,   os::Call::kMode};
  std::vector<std::string> files_;
  Numbers known_;
};

TEST_F(SubmitStepFaults, ANewEntryIsMadeOrToldToBeNone) {
  const auto judge = [this](MQContext* entry) {
    EXPECT_EQ(log_.Has(1, kNoEntry.text), entry == nullptr);
    if (entry != nullptr) DiscardMQEntry(entry);
    Judge(false);
  };
  MQContext* entry = nullptr;
  for (const os::Call call : kCalls) {
    FailEachCall(
        call, [&] { entry = QOBGetNewMQEntry(); }, [&](bool) { judge(entry); });
  }
  FailEachAllocation([&] { entry = QOBGetNewMQEntry(); }, [&](bool) { judge(entry); });
}

TEST_F(SubmitStepFaults, AnEntryIsSubmittedOrNothingOfItIsLeft) {
  char ann[] = "ann@a.example";
  char bob[] = "bob@b.example";
  const EnvFrom sender{ann, nullptr, 0, 0, nullptr};
  EnvRecip recipient{bob, nullptr, 0, nullptr};
  const EnvRecipNode node{&recipient, nullptr};
  for (const os::Call call : kCalls) {
    MQContext* entry = Entry();
    std::int32_t result = 0;
    FailEachCall(
        call, [&] { result = SubmitMQMessage(entry, &sender, &node, "SMTP"); },
        [&](bool failed) {
          SCOPED_TRACE(static_cast<int>(call));
          EXPECT_TRUE(failed || result != 0);
          Judge(result != 0);
          entry = Entry();
        });
    DiscardMQEntry(entry);
  }
}

// A header longer than what is read at once: the way back to its begin is a call of its own.
TEST_F(SubmitStepFaults, TheWayBackToAHeadersBeginFails) {
  std::string message;
  while (message.size() < 300'000) message += "X-Long: header\r\n";
  message += "\r\nbody\r\n";
  const std::string file = spool_.File("long", message);
  Call call;
  call.file = file.c_str();
  TextPtr path;
  int refused = 0;
  for (const os::Call kind : {os::Call::kSeek, os::Call::kRead}) {
    FailEachCall(
        kind, [&] { path = call.Send(); },
        [&](bool) {
          refused += path == nullptr ? 1 : 0;
          if (path != nullptr) {
            EXPECT_TRUE(TempSpool::Read(std::string(path.get()) + ".msg").ends_with(message));
          }
          Judge(path != nullptr);
        });
  }
  EXPECT_GT(refused, 0);
  EXPECT_TRUE(TempSpool::Read(file) == message);
}

// Killed, or refused by the system, between the commit and the end of the lock: the channel has the
// message, the walks over the queue meet it when the lock is gone.
TEST_F(SubmitStepFaults, AMessageWhoseLockIsLeftIsSeenButNotTaken) {
  Call call;
  const std::string file = spool_.File("message", "\r\n");
  call.file = file.c_str();
  TextPtr path;
  {
    FailCalls fail(os::Call::kRemove, 1, Failing::kFromThenOn, EACCES, "00000001.lck");
    path = call.Send();
    EXPECT_TRUE(fail.triggered());
  }
  ASSERT_NE(path, nullptr) << "it is committed";
  EXPECT_EQ(log_.texts().size(), 1u);
  EXPECT_EQ(Waiting(), (Numbers{0, 1}));
  MesgHandle db{};
  ASSERT_EQ(OpenMesgFile(nullptr, &db), 0);
  const auto walk = [&](const QueueScanFilter* filter) {
    Texts found;
    char* at = FindFirstQueueId(GetQueueDir(), &db, filter);
    while (at != nullptr) {
      found.emplace_back(at);
      filter == nullptr ? FreeQueueId(at) : ReleaseQueueId(at);
      at = FindNextQueueId(GetQueueDir(), &db, filter);
    }
    std::sort(found.begin(), found.end());
    return found;
  };
  const QueueScanFilter any{0, 0, 1};
  const std::string first = spool_.queue() + "\\00000000";
  EXPECT_EQ(walk(nullptr), Texts{first});
  EXPECT_EQ(walk(&any), Texts{first});
  unlink((spool_.queue() + "/00000001.lck").c_str());
  EXPECT_EQ(walk(nullptr), (Texts{first, path.get()}));
  EXPECT_EQ(walk(&any), (Texts{first, path.get()}));
  CloseMesgFile(&db);
}

}  // namespace
}  // namespace qob::testing
