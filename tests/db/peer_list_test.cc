// The text that the peer database is seeded from.
#include "db/seed/peer_list.h"

#include <gtest/gtest.h>

namespace qob::testing {
namespace {

std::string Fault(std::string_view text) {
  std::vector<PeerRecord> peers;
  return db::ReadPeerList(text, &peers);
}

TEST(PeerList, GivesTheNamedValuesAnd0ForTheOthers) {
  std::vector<PeerRecord> peers;
  EXPECT_EQ(db::ReadPeerList("# peers\n\nexample.org flag0=1  MaxInBoundSize=-2 RetryPeriod=72\n"
                             "default MaxMesgPerSession=6",
                             &peers),
            "");
  ASSERT_EQ(peers.size(), 2U);
  EXPECT_STREQ(peers[0].domain, "example.org");
  EXPECT_EQ(peers[0].flag0, 1);
  EXPECT_EQ(peers[0].AcceptMail, 0);
  EXPECT_EQ(peers[0].MaxInBoundSize, -2);
  EXPECT_EQ(peers[0].RetryPeriod, 72);
  EXPECT_STREQ(peers[1].domain, "default");
  EXPECT_EQ(peers[1].MaxMesgPerSession, 6);
}

TEST(PeerList, TellsTheLineOfAFault) {
  EXPECT_EQ(Fault("a\nb AcceptMail"), "2: no value: AcceptMail");
  EXPECT_EQ(Fault("a acceptmail=1"), "1: no value: acceptmail=1");
  EXPECT_EQ(Fault("a AcceptMail="), "1: no value: AcceptMail=");
  EXPECT_EQ(Fault("a AcceptMail=1x"), "1: no value: AcceptMail=1x");
  EXPECT_EQ(Fault("a AcceptMail=2147483648"), "1: no value: AcceptMail=2147483648");
  EXPECT_EQ(Fault("a\nA"), "2: a domain met before");
  EXPECT_EQ(Fault(std::string(128, 'n')), "1: a domain of more than 127 characters");
  EXPECT_EQ(Fault(std::string(127, 'n')), "");
}

}  // namespace
}  // namespace qob::testing
