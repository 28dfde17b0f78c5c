// Log lines: formatted, under the client's name or a routine's own, of any length.
#include "frame/report.h"

#include <cstring>

#include "platform/spool/site.h"
#include "support/captured_log.h"

namespace qob::testing {
namespace {

TEST(Report, GoesOutUnderTheClientsName) {
  CapturedLog log;
  Report(kFailure, "before %d", 1);
  std::strcpy(spool::TheSite().client, "client");
  Report(kDetail, "%s #%d", "text", -5);
  ReportAs("ParseHdr", kFailure, "own");
  const std::vector<LogLine> expected = {
      {1, "", "before 1"}, {6, "client", "text #-5"}, {1, "ParseHdr", "own"}};
  EXPECT_EQ(log.lines(), expected);
  spool::TheSite().client[0] = '\0';
}

TEST(Report, LongTextsAreWhole) {
  CapturedLog log;
  for (const std::size_t size : {1022U, 1023U, 1024U, 1025U, 70000U}) {
    const std::string text(size, 'x');
    log.Clear();
    Report(kFailure, "%s", text.c_str());
    EXPECT_EQ(log.texts(), std::vector<std::string>{text}) << size;
  }
}

TEST(Report, WithoutMemoryTheFirstPartIsTold) {
  CapturedLog log;
  const std::string text(5000, 'x');
  {
    FailAllocations fail(1, Failing::kFromThenOn);
    Report(kFailure, "%s", text.c_str());
  }
  EXPECT_EQ(log.texts(), std::vector<std::string>{std::string(1023, 'x')});
}

}  // namespace
}  // namespace qob::testing
