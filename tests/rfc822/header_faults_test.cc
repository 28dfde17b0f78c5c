// Memory and reads that fail while a header is read.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rfc822/header_field.h"
#include "rfc822/header_support.h"
#include "support/failing_allocator.h"
#include "support/faults.h"

namespace qob::testing {
namespace {

using Strings = std::vector<std::string>;

const char kHeader[] =
    "From joe\r\nReceived: one\r\nReceived: two\r\nTo: J Doe <a@b>, c@d,\r\n\tG: e@f;\r\nCc: "
    "g@h\r\n"
    "Date: Sun, 15 Nov 2026 02:24:05 -0800\r\nSubject: a subject that is long enough for the "
    "heap\r\n"
    "X-a-field-with-a-name-for-the-heap: x\r\nX-b: y\r\n\r\n";

class HeaderFaults : public HeaderTest {};

// Whatever fails, the result is 0 with its line, or the header without what did not fit, with a
// line.
TEST_F(HeaderFaults, EveryFailedAllocationIsToldAndLeaksNothing) {
  int32_t result = -1;
  FailEachAllocation(
      [&] {
        SuspendFailing(true);
        Open(kHeader);
        log_.Clear();
        SuspendFailing(false);
        result = ParseHdr(file_, &record_, &count_, &status_line_);
      },
      [&](bool triggered) {
        if (!triggered) {
          EXPECT_EQ(result, 1);
          EXPECT_EQ(AddressesOf(record_.to), (Strings{"a@b", "c@d", "G: e@f;"}));
          EXPECT_EQ(Texts(record_.otherHeaders).size(), 2U);
          EXPECT_TRUE(log_.lines().empty());
        }
        if (result == 0) {
          EXPECT_TRUE(log_.Has(1, "malloc failed."));
        }
        for (const LogLine& line : log_.lines()) EXPECT_EQ(line.text, "malloc failed.");
        Free822Header(&record_);
      });
}

TEST_F(HeaderFaults, NoMemoryForTheFirstBufferFailsTheCall) {
  Open(kHeader);
  {
    FailAllocations fail(1, Failing::kOnce);
    EXPECT_EQ(ParseHdr(file_, &record_, &count_, &status_line_), 0);
  }
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "ParseHdr", "malloc failed."}}));
  EXPECT_EQ(count_, 0);
  EXPECT_EQ(getfpos(file_), 0);
}

TEST_F(HeaderFaults, NoMemoryForAFieldThatGrowsFailsTheCall) {
  std::string header = "X-a: 1\r\nSubject: s\r\n";
  for (int i = 0; i < 30; ++i) header += " " + std::string(100, 'f') + "\r\n";
  Open(header + "\r\n");
  {
    // 1 the buffer, 2 and 3 node and text of the first field, 4 the larger buffer.
    FailAllocations fail(4, Failing::kOnce);
    EXPECT_EQ(ParseHdr(file_, &record_, &count_, &status_line_), 0);
    EXPECT_TRUE(fail.triggered());
  }
  EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "ParseHdr", "malloc failed."}}));
  EXPECT_EQ(Texts(record_.otherHeaders), Strings{"X-a: 1"});
}

TEST_F(HeaderFaults, NoMemoryForAnAddressListEmptiesTheRecordAndReadingGoesOn) {
  for (const std::uint64_t nth : {1U, 2U}) {  // the table, the list node
    SCOPED_TRACE(nth);
    log_.Clear();
    HeaderFiler filer(&record_);
    filer.File("Subject: gone");
    filer.File("X-a: gone");
    filer.File("Received: gone");
    {
      FailAllocations fail(nth, Failing::kOnce);
      EXPECT_EQ(filer.File("To: a@b"), HeaderCode::kNone);
      EXPECT_TRUE(fail.triggered());
    }
    EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "ParseLine", "malloc failed."}}));
    EXPECT_EQ(record_.subject, nullptr);
    EXPECT_EQ(record_.to, nullptr);
    filer.File("X-b: stays");
    filer.File("Received: stays");
    filer.File("To: c@d");
    EXPECT_EQ(Texts(record_.otherHeaders), Strings{"X-b: stays"});
    EXPECT_EQ(Texts(record_.received), Strings{"stays"});
    EXPECT_EQ(AddressesOf(record_.to), Strings{"c@d"});
    Free822Header(&record_);
  }
}

TEST_F(HeaderFaults, NoMemoryForATextDropsThatField) {
  HeaderFiler filer(&record_);
  for (const char* field : {"Subject: x", "Received: x", "X-a: x", "Date: 1 Jan 2000"}) {
    SCOPED_TRACE(field);
    log_.Clear();
    {
      FailAllocations fail(1, Failing::kFromThenOn);
      EXPECT_EQ(filer.File(field), HeaderCode::kNone);
    }
    EXPECT_EQ(log_.lines(), (std::vector<LogLine>{{1, "ParseLine", "malloc failed."}}));
  }
  EXPECT_EQ(record_.subject, nullptr);
  EXPECT_EQ(record_.received, nullptr);
  EXPECT_EQ(record_.otherHeaders, nullptr);
  EXPECT_EQ(record_.date, nullptr);
}

// A failing read costs the call, unless every line had been read before it.
TEST_F(HeaderFaults, ReadErrorGivesZeroAndKeepsWhatWasFiled) {
  std::string header = "Subject: first\r\n";
  int32_t lines = 1;
  for (; header.size() < 3 * 4096; ++lines) header += "X-a: b\r\n";
  int32_t result = -1;
  int told = 0;
  FailEachCall(
      os::Call::kRead,
      [&] {
        Open(header);
        log_.Clear();
        result = ParseHdr(file_, &record_, &count_, &status_line_);
      },
      [&](bool triggered) {
        const bool failed = result == 0;
        if (!failed) {
          EXPECT_EQ(count_, lines);
        }
        EXPECT_EQ(log_.Count(1, "getline failed."), failed ? 1U : 0U);
        EXPECT_TRUE(triggered || !failed);
        if (count_ > 1) {
          EXPECT_EQ(Text(record_.subject), "first");
        }
        told += failed ? 1 : 0;
        Free822Header(&record_);
      });
  EXPECT_GE(told, 6);  // three blocks, once and from then on
}

TEST(HeaderRecordFaults, NewGivesNullWithoutMemory) {
  FailAllocations fail(1, Failing::kOnce);
  EXPECT_EQ(New822Header(), nullptr);
}

}  // namespace
}  // namespace qob::testing
