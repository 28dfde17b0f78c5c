// Every allocation and every system call of every builder fails once, and from then on: the whole
// message or none, nothing open, no file left behind. All settings have their defaults, so that one
// that cannot be read changes nothing.
#include <dirent.h>

#include <functional>
#include <ostream>

#include "build_support.h"
#include "platform/os/process.h"
#include "support/captured_log.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

int OpenDescriptors() {
  int count = 0;
  DIR* directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}

constexpr os::Call kEveryCall[] = {
    os::Call::kOpen, os::Call::kClose,  os::Call::kRead,   os::Call::kWrite, os::Call::kSeek,
    os::Call::kStat, os::Call::kFlush,  os::Call::kRename, os::Call::kList,  os::Call::kAccess,
    os::Call::kLock, os::Call::kRemove, os::Call::kMode};

// The lists and files of one test.
struct Parts {
  List to{"J <j@a.org>", "b@c.de"};
  List bcc{"e@f.gh"};
  List params{"name=\"x y\"", "charset=us-ascii"};
  List japanese{"charset=iso-2022-jp"};
  List extra{"X-One: 1"};
  std::string body;
  std::string wide;
};

struct Builder {
  const char* name;
  char* (*build)(Parts&);
};
void PrintTo(const Builder& row, std::ostream* out) { *out << row.name; }

char* Single(Parts& p, const char* type, const char* encoding, int flags) {
  return MimeBuildMessage("me@x.org", p.to, "s", p.to, type, "plain", p.params, encoding, "i", "d",
                          p.body.c_str(), p.extra, flags);
}
char* Base64(Parts& p) { return Single(p, "image", "base64", 0); }
char* QuotedText(Parts& p) { return Single(p, "text", "quoted-printable", 0); }
char* Uuencoded(Parts& p) { return Single(p, "text", nullptr, 1); }
char* SevenBit(Parts& p) { return Single(p, "text", "7bit", 0); }
char* Encapsulated(Parts& p) {
  return MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, "message", "rfc822", nullptr, "7bit",
                          nullptr, nullptr, p.body.c_str(), nullptr, 0);
}
char* Japanese(Parts& p) {
  return MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, "text", "plain", p.japanese, "7bit",
                          nullptr, nullptr, p.wide.c_str(), nullptr, 0);
}
char* WithBcc(Parts& p) {
  return MimeBuildMessageWithBCC("me@x.org", p.to, "s", nullptr, p.bcc, "text", "plain", nullptr,
                                 nullptr, nullptr, nullptr, p.body.c_str(), nullptr, 0);
}
char* AroundAPart(Parts& p) {
  char from[] = "me@x.org";
  char subject[] = "s";
  return MimeBuildMessageV2(from, p.to, subject, p.to, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, p.body.data(), nullptr, 0);
}
char* Several(Parts& p) {
  const char* files[] = {p.body.c_str(), p.wide.c_str(), nullptr};
  return MimeBuildMultipartMessage("me@x.org", p.to, "s", nullptr, files, nullptr, p.params,
                                   p.extra, 0);
}
char* SeveralWithBcc(Parts& p) {
  const char* files[] = {p.body.c_str(), nullptr};
  return MimeBuildMultipartMessageWithBCC(nullptr, p.to, nullptr, nullptr, p.bcc, files, "x",
                                          nullptr, nullptr, 0);
}

class BuildFaults : public BuildTest, public ::testing::WithParamInterface<Builder> {
 protected:
  BuildFaults() {
    os::SetClock(+[] { return std::int64_t{0x5F000001}; });
    // Larger than a reader's block and a writer's buffer.
    std::string body = "#F<a>\r\n";
    while (body.size() < 150000) body += "From me=\xFC\r\n.";
    parts_.body = spool_.File("body", body);
    std::string wide;
    while (wide.size() < 150000) wide += "a\x88\x9F\xB6\xDE\r\n";
    parts_.wide = spool_.File("wide", wide);
  }
  ~BuildFaults() override { os::SetClock(nullptr); }

  Parts parts_;
};

TEST_P(BuildFaults, GiveAWholeMessageOrNone) {
  const CapturedLog quiet;
  const std::string expected = Take(GetParam().build(parts_));
  ASSERT_GT(expected.size(), 150000U);
  const int open = OpenDescriptors();
  char* path = nullptr;
  const auto attempt = [&] { path = GetParam().build(parts_); };
  const auto check = [&](bool triggered, bool may_leave_files) {
    ASSERT_TRUE(path != nullptr || triggered);
    if (path != nullptr) {
      ASSERT_TRUE(Take(path) == expected) << "a message of other content";
    }
    ASSERT_TRUE(may_leave_files || spool_.TempFiles().empty());
    for (const std::string& name : spool_.TempFiles()) {
      std::filesystem::remove(spool_.temp() + "/" + name);
    }
  };
  FailEachAllocation(attempt, [&](bool triggered) { check(triggered, false); });
  for (const os::Call call : kEveryCall) {
    SCOPED_TRACE(static_cast<int>(call));
    // A file that cannot be removed is left.
    const bool remains = call == os::Call::kRemove;
    FailEachCall(call, attempt, [&](bool triggered) { check(triggered, triggered && remains); });
  }
  EXPECT_EQ(OpenDescriptors(), open);
}

TEST_P(BuildFaults, GiveNoneOnAFullDisk) {
  const CapturedLog quiet;
  char* path = nullptr;
  FailEachCall(
      os::Call::kWrite, [&] { path = GetParam().build(parts_); },
      [&](bool triggered) {
        EXPECT_EQ(path == nullptr, triggered);
        Take(path);
        EXPECT_TRUE(spool_.TempFiles().empty());
      },
      ENOSPC);
}

using BuildWithoutMemory = BuildTest;

TEST_F(BuildWithoutMemory, AHeaderTextThatCannotBeEncodedStaysAsItIs) {
  const std::string raw = "Subject: \xFC\r\n\r\nHello\r\n";
  const std::string encoded = "Subject: =?US-ASCII?Q?=FC?=\r\n\r\nHello\r\n";
  char* path = nullptr;
  FailEachAllocation(
      [&] {
        path = MimeBuildMessage(nullptr, nullptr, "\xFC", nullptr, "text", "plain", nullptr, "7bit",
                                nullptr, nullptr, body_.c_str(), nullptr, 2);
      },
      [&](bool triggered) {
        const std::string built = Take(path);
        EXPECT_TRUE(built == encoded || (triggered && (built == raw || built == "<null>")))
            << built;
        EXPECT_TRUE(spool_.TempFiles().empty());
      });
}

INSTANTIATE_TEST_SUITE_P(
    Of, BuildFaults,
    ::testing::Values(Builder{"Base64", &Base64}, Builder{"QuotedText", &QuotedText},
                      Builder{"Uuencoded", &Uuencoded}, Builder{"SevenBit", &SevenBit},
                      Builder{"Encapsulated", &Encapsulated}, Builder{"Japanese", &Japanese},
                      Builder{"WithBcc", &WithBcc}, Builder{"AroundAPart", &AroundAPart},
                      Builder{"Several", &Several}, Builder{"SeveralWithBcc", &SeveralWithBcc}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace qob::testing
