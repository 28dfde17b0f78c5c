// Every allocation and every system call fails once, and from then on: the documented result and
// log line, nothing leaks, no file is left.
#include <algorithm>
#include <string>

#include "mime_support.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

const char kMessage[] =
    "Mime-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b; x=\"y\r\n z\"\r\n\r\n"
    "--b\r\nContent-ID: <1>\r\nContent-Description: d\r\nContent-Disposition: inline; "
    "filename=f\r\n\r\n"
    "text\r\nbegin 644 a\r\n#86)C\r\n`\r\nend\r\n(This file must be converted with BinHex "
    "4.0)\r\n:!@%!9%9B9(4dH(3!N!8#!*!%`(a)DARU!!$r:\r\n"
    "--b\r\nContent-Type: message/rfc822\r\n\r\nSubject: x\r\n\r\ninner\r\n"
    "--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: base64\r\n\r\nSGVsbG8=\r\n--b--\r\n";
const char kPlain[] =
    "Subject: x\r\n\r\ntext\r\nbegin 644 a\r\n#86)C\r\n`\r\nend\r\n(This file must be converted "
    "with BinHex 4.0)\r\n:a:\r\nlast\r\n";

using Parse = std::int32_t (*)(const char*, MimeMessagePool**);
std::int32_t ParseAsMime(const char* path, MimeMessagePool** pool) {
  return ParseMimeMessage(path, 1, pool);
}
std::int32_t ParseAny(const char* path, MimeMessagePool** pool) {
  return MimeParseMessage(path, 1, pool);
}

class Faults : public MimeTest {
 protected:
  // Runs the parse once; the pool is released where one was made.
  void Attempt(Parse parse, const std::string& path) {
    log_.Clear();
    MimeMessagePool* pool = nullptr;
    count_ = parse(path.c_str(), &pool);
    made_ = pool != nullptr;
    MimeFreeMessage(&pool);
  }
  void ExpectAllOrNothing(bool failed, std::int32_t whole, const Texts& messages) {
    EXPECT_EQ(made_, count_ > 0);
    if (!failed) {
      EXPECT_EQ(count_, whole);
      return;
    }
    if (count_ == whole)
      return;  // a failure that the contract lets pass, such as a setting that could not be read
    EXPECT_EQ(count_, -1);
    const Texts said = log_.texts(1);
    const bool documented =
        std::any_of(messages.begin(), messages.end(), [&](const std::string& text) {
          return std::find(said.begin(), said.end(), text) != said.end();
        });
    EXPECT_TRUE(documented || messages.empty())
        << (said.empty() ? "nothing was said" : said.back());
  }

  std::int32_t count_ = 0;
  bool made_ = false;
};

TEST_F(Faults, MemoryOfTheMimeReader) {
  const std::string path = File(kMessage);
  Attempt(ParseAsMime, path);
  const std::int32_t whole = count_;
  ASSERT_EQ(whole, 7);
  FailEachAllocation([&] { Attempt(ParseAsMime, path); },
                     [&](bool failed) {
                       ExpectAllOrNothing(failed, whole, {"ParseMimeMessage: out of memory."});
                     });
}

TEST_F(Faults, MemoryOfThePlainReader) {
  const std::string path = File(kPlain);
  Attempt(ParseNonMimeMessage, path);
  const std::int32_t whole = count_;
  ASSERT_EQ(whole, 5);
  FailEachAllocation([&] { Attempt(ParseNonMimeMessage, path); },
                     [&](bool failed) {
                       ExpectAllOrNothing(failed, whole,
                                          {"ParseNonMimeMessage failed. out of memory.",
                                           "ParseNonMimeMessage failed: out of memory."});
                     });
}

TEST_F(Faults, FirstPartOfThePlainReaderHasItsOwnMessage) {
  const std::string path = File(kPlain);
  Texts said;
  FailEachAllocation([&] { Attempt(ParseNonMimeMessage, path); },
                     [&](bool failed) {
                       if (failed && count_ == -1) said.push_back(log_.texts(1).back());
                     });
  EXPECT_NE(std::find(said.begin(), said.end(), "ParseNonMimeMessage failed. out of memory."),
            said.end());
  EXPECT_NE(std::find(said.begin(), said.end(), "ParseNonMimeMessage failed: out of memory."),
            said.end());
}

TEST_F(Faults, MemoryOfTheEntryPoint) {
  const std::string path = File(kMessage);
  Attempt(ParseAny, path);
  const std::int32_t whole = count_;
  FailEachAllocation([&] { Attempt(ParseAny, path); },
                     [&](bool failed) {
                       EXPECT_EQ(made_, count_ > 0);
                       // Without memory for its header the message is read as plain text; that is
                       // no failure.
                       if (!failed) {
                         EXPECT_EQ(count_, whole);
                       }
                     });
}

struct CallCase {
  os::Call call;
  Texts mime;
  Texts plain;
};

TEST_F(Faults, SystemCallsOfTheReaders) {
  const std::string mime = File(kMessage);
  const std::string plain = spool_.File("plain.eml", kPlain);
  Attempt(ParseAsMime, mime);
  const std::int32_t mime_parts = count_;
  Attempt(ParseNonMimeMessage, plain);
  const std::int32_t plain_parts = count_;
  const std::vector<CallCase> cases = {
      {os::Call::kAccess,
       {"ParseMimeMessage: file cannot be read."},
       {"ParseNonMimeMessage failed: message file cannot be read."}},
      {os::Call::kStat,
       {"ParseMimeMessage: file cannot be read.", "ParseMimeMessage: fileopen failed."},
       {"ParseNonMimeMessage failed: message file cannot be read.",
        "ParseNonMimeMessage failed: fileopen failed."}},
      {os::Call::kOpen,
       {"ParseMimeMessage: fileopen failed."},
       {"ParseNonMimeMessage failed: fileopen failed."}},
      {os::Call::kLock,
       {"ParseMimeMessage: fileopen failed."},
       {"ParseNonMimeMessage failed: fileopen failed."}},
      {os::Call::kRead,
       {"ParseMimeMessage: getline failed."},
       {"ParseNonMimeMessage failed: getline failed."}},
      {os::Call::kClose, {}, {}},
  };
  for (const CallCase& row : cases) {
    SCOPED_TRACE(static_cast<int>(row.call));
    FailEachCall(
        row.call, [&] { Attempt(ParseAsMime, mime); },
        [&](bool failed) { ExpectAllOrNothing(failed, mime_parts, row.mime); });
    FailEachCall(
        row.call, [&] { Attempt(ParseNonMimeMessage, plain); },
        [&](bool failed) { ExpectAllOrNothing(failed, plain_parts, row.plain); });
    FailEachCall(
        row.call, [&] { Attempt(ParseAny, mime); }, [&](bool) { EXPECT_EQ(made_, count_ > 0); });
  }
}

// A block that turns out to have no end is read again; the step back may fail too.
TEST_F(Faults, SeekingBackOfTheMimeReader) {
  const std::string path = File("Content-Type: text/plain\r\n\r\nBegin forwarded message:\r\n" +
                                std::string(2000000, 'x'));
  FailEachCall(
      os::Call::kSeek, [&] { Attempt(ParseAsMime, path); },
      [&](bool failed) { ExpectAllOrNothing(failed, 1, {"ParseMimeMessage: getline failed."}); });
  FailEachCall(
      os::Call::kRead, [&] { Attempt(ParseAsMime, path); },
      [&](bool failed) { ExpectAllOrNothing(failed, 1, {"ParseMimeMessage: getline failed."}); });
}

TEST_F(Faults, ReadingInsideABlockOfTheMimeReader) {
  const std::string filler(400000, 'x');
  for (const std::string& block : {"begin 644 a\r\n" + filler + "\r\nend\r\n",
                                   "(This file must be converted with BinHex 4.0)\r\n" + filler +
                                       "\r\n:" + filler + ":\r\n"}) {
    const std::string path = File("Content-Type: text/plain\r\n\r\n" + block + filler);
    FailEachCall(
        os::Call::kRead, [&] { Attempt(ParseAsMime, path); },
        [&](bool failed) { ExpectAllOrNothing(failed, 2, {"ParseMimeMessage: getline failed."}); });
    FailEachCall(
        os::Call::kRead, [&] { Attempt(ParseNonMimeMessage, path); },
        [&](bool failed) {
          ExpectAllOrNothing(failed, 3, {"ParseNonMimeMessage failed: getline failed."});
        });
  }
}

TEST_F(Faults, ReadErrorInAnOpenQuotedStringIsAlsoReportedForTheField) {
  const std::string path = File("Content-Type: text/plain; name=\"" + std::string(300000, 'x'));
  bool seen = false;
  FailEachCall(
      os::Call::kRead, [&] { Attempt(ParseAsMime, path); },
      [&](bool failed) {
        if (!failed || count_ != -1) return;
        const Texts said = log_.texts(1);
        if (said.size() < 4) return;  // the very first block could not be read
        seen = true;
        EXPECT_EQ(Texts(said.end() - 3, said.end()),
                  (Texts{"ReadNextHeaderLine: getline failed.",
                         "Premature end of file, or file read error.",
                         "ParseMimeMessage: getline failed."}));
      });
  EXPECT_TRUE(seen);
}

// Extraction: the parts are read undisturbed, then one of the calls is disturbed.
class ExtractionFaults : public MimeTest {
 protected:
  enum Kind { kBody, kRaw, kOwnText, kHeader };
  static char* Take(Kind kind, MimeBodyPart* part) {
    switch (kind) {
      case kBody:
        return MimeGetBody(part, 0, kOwnFile);
      case kRaw:
        return MimeGetBody(part, 1, kOwnFile);
      case kOwnText:
        return MimeGetBodyWithNoEmbeddedAttachment(part);
      case kHeader:
        return MimeGetHeader(part);
    }
    return nullptr;
  }
  // What the undisturbed call gives for each part and kind.
  std::string Content(char* name) {
    if (name == nullptr) return "<null>";
    const std::string content = TempSpool::Read(name);
    MimeFreeFile(name);
    return content;
  }
  // A body that cannot be decoded is delivered raw; a header whose end cannot be read is delivered
  // as far as it goes.
  void Check(Kind kind, MimeBodyPart* part, char* name, const std::string& whole, bool failed) {
    const std::string got = Content(name);
    EXPECT_TRUE(LeftFiles().empty()) << LeftFiles().front();
    if (got == whole || (failed && got == "<null>")) return;
    EXPECT_TRUE(failed);
    if (kind == kBody) {
      EXPECT_EQ(got, Range(part->bodyStart, part->contentEnd));
    } else {
      EXPECT_EQ(kind, kHeader) << got;
      EXPECT_EQ(whole.rfind(got, 0), 0u);
    }
  }
};

TEST_F(ExtractionFaults, MemoryAndEverySystemCall) {
  const Message message = Mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
      "--b\r\nSubject: =?US-ASCII?Q?x?=\r\n\r\ntext\r\nbegin 644 a\r\n#86)C\r\n`\r\nend\r\nmore\r\n"
      "--b\r\nContent-Type: application/mac-binhex40\r\n\r\n(This file must be converted with "
      "BinHex 4.0)\r\n:!@%!9%9B9(4dH(3!N!8#!*!%`(a)DARU!!$r:\r\n"
      "--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\na=3Db\r\n"
      "--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: base64\r\n\r\nSGVsbG8=\r\n--b--\r\n");
  ASSERT_EQ(message.count(), 6);
  for (std::int32_t index = 1; index < message.count(); ++index) {
    for (const Kind kind : {kBody, kRaw, kOwnText, kHeader}) {
      SCOPED_TRACE("part " + std::to_string(index) + " kind " + std::to_string(kind));
      MimeBodyPart* part = &message[index];
      const std::string whole = Content(Take(kind, part));
      char* name = nullptr;
      const auto attempt = [&] { name = Take(kind, part); };
      const auto check = [&](bool failed) { Check(kind, part, name, whole, failed); };
      FailEachAllocation(attempt, check);
      for (const os::Call call :
           {os::Call::kOpen, os::Call::kClose, os::Call::kRead, os::Call::kWrite, os::Call::kSeek,
            os::Call::kStat, os::Call::kLock, os::Call::kAccess}) {
        SCOPED_TRACE("call " + std::to_string(static_cast<int>(call)));
        FailEachCall(call, attempt, check, call == os::Call::kWrite ? ENOSPC : EIO);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST_F(ExtractionFaults, FullDiskGivesNullAndLeavesNothing) {
  const Message message = Mime("Subject: x\r\n\r\n" + std::string(1000000, 'x'));
  for (const Kind kind : {kBody, kRaw, kOwnText}) {
    char* name = nullptr;
    FailEachCall(
        os::Call::kWrite, [&] { name = Take(kind, &message[0]); },
        [&](bool failed) {
          if (failed) {
            EXPECT_EQ(name, nullptr);
          }
          MimeFreeFile(name);
          EXPECT_TRUE(LeftFiles().empty());
        },
        ENOSPC);
  }
}

TEST_F(ExtractionFaults, FailedDecodingWritesTheBodyAsItStands) {
  const Message message = Mime("Content-Transfer-Encoding: base64\r\n\r\nSGVsbG8=\r\n");
  EXPECT_EQ(Content(MimeGetBody(&message[0], 0, kOwnFile)), "Hello");  // makes the counter's file
  // The second write to the disk is that of the decoded bytes: the first draws the file's name.
  bool raw_seen = false;
  FailEachCall(
      os::Call::kWrite, [&] { bytes_ = Content(MimeGetBody(&message[0], 0, kOwnFile)); },
      [&](bool failed) { raw_seen = raw_seen || (failed && bytes_ == "SGVsbG8=\r\n"); });
  EXPECT_TRUE(raw_seen);
}

TEST(CountFaults, CounterStaysWithoutMemory) {
  MimeBodyPart leaf{};
  MimeBodyPart* children[] = {&leaf, &leaf};
  MimeBodyPart part{};
  part.children = children;
  part.childCount = 2;
  std::int32_t counter = 1;
  FailEachAllocation(
      [&] {
        counter = 1;
        MimeGetNumLeafBodyParts(&part, &counter);
      },
      [&](bool failed) { EXPECT_EQ(counter, failed ? 1 : 2); });
}

}  // namespace
}  // namespace qob::testing
