// Qualification of addresses: every combination of the switches, the outcomes written by hand.
#include "platform/spool/qualify.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace qob::spool {
namespace {

using Site = std::map<std::string, std::string>;

QualifySettings Read(const Site& site) {
  return ReadQualifySettings(
      [&](const char* section, const char* key, const char* fallback, std::size_t size) {
        const auto found = site.find(std::string(section) + "/" + key);
        return (found == site.end() ? std::string(fallback) : found->second).substr(0, size - 1);
      });
}

// The site of the tables: every name differs, so that an outcome says where it comes from.
QualifySettings Settings(bool use_hostname, bool hosts, bool addresses, bool relay) {
  QualifySettings settings;
  settings.use_hostname = use_hostname;
  settings.sender_hosts = hosts;
  settings.recipient_hosts = hosts;
  settings.addresses = addresses;
  settings.host = "gate";
  settings.domain = "corp.example";
  settings.relay = relay ? "relay.example" : "";
  return settings;
}

struct SenderRow {
  bool use_hostname, sender_hosts, addresses, smtp;
  const char* bare;     // outcome for "ann"
  const char* dotless;  // outcome for "ann@pc"
};

// All sixteen combinations.
constexpr SenderRow kSenders[] = {
    {false, false, false, false, "ann@corp.example", "ann@pc"},
    {false, false, false, true, "ann", "ann@pc"},
    {false, false, true, false, "ann@corp.example", "ann@pc"},
    {false, false, true, true, "ann@corp.example", "ann@pc"},
    {false, true, false, false, "ann@corp.example", "ann@pc.corp.example"},
    {false, true, false, true, "ann", "ann@pc.corp.example"},
    {false, true, true, false, "ann@corp.example", "ann@pc.corp.example"},
    {false, true, true, true, "ann@corp.example", "ann@pc.corp.example"},
    {true, false, false, false, "ann@gate.corp.example", "ann@pc"},
    {true, false, false, true, "ann", "ann@pc"},
    {true, false, true, false, "ann@gate.corp.example", "ann@pc"},
    {true, false, true, true, "ann@gate.corp.example", "ann@pc"},
    {true, true, false, false, "ann@gate.corp.example", "ann@pc.corp.example"},
    {true, true, false, true, "ann", "ann@pc.corp.example"},
    {true, true, true, false, "ann@gate.corp.example", "ann@pc.corp.example"},
    {true, true, true, true, "ann@gate.corp.example", "ann@pc.corp.example"},
};

TEST(QualifySender, FollowsEveryCombinationOfTheSwitches) {
  for (const SenderRow& row : kSenders) {
    // The relay is for recipients alone, so it changes nothing here.
    for (const bool relay : {false, true}) {
      SCOPED_TRACE(::testing::Message()
                   << row.use_hostname << row.sender_hosts << row.addresses << row.smtp << relay);
      QualifySettings settings = Settings(row.use_hostname, row.sender_hosts, row.addresses, relay);
      settings.recipient_hosts = !row.sender_hosts;
      EXPECT_EQ(QualifySender("ann", settings, row.smtp), row.bare);
      EXPECT_EQ(QualifySender("ann@pc", settings, row.smtp), row.dotless);
      EXPECT_EQ(QualifySender("<>", settings, row.smtp), "<>");
      EXPECT_EQ(QualifySender("ann@pc.example", settings, row.smtp), "ann@pc.example");
      EXPECT_EQ(QualifySender("ann@[192.0.2.1]", settings, row.smtp), "ann@[192.0.2.1]");
      EXPECT_EQ(QualifySender("ann@[IPv6:2001:db8::1]", settings, row.smtp),
                "ann@[IPv6:2001:db8::1]");
    }
  }
}

struct RecipientRow {
  bool use_hostname, recipient_hosts, addresses, relay;
  const char* bare;
  const char* dotless;
};

constexpr RecipientRow kRecipients[] = {
    {false, false, false, false, "bob", "bob@pc"},
    {false, false, false, true, "bob", "bob@pc"},
    {false, false, true, false, "bob@corp.example", "bob@pc"},
    {false, false, true, true, "bob@relay.example", "bob@pc"},
    {false, true, false, false, "bob", "bob@pc.corp.example"},
    {false, true, false, true, "bob", "bob@pc.corp.example"},
    {false, true, true, false, "bob@corp.example", "bob@pc.corp.example"},
    {false, true, true, true, "bob@relay.example", "bob@pc.corp.example"},
    {true, false, false, false, "bob", "bob@pc"},
    {true, false, false, true, "bob", "bob@pc"},
    {true, false, true, false, "bob@gate.corp.example", "bob@pc"},
    {true, false, true, true, "bob@relay.example", "bob@pc"},
    {true, true, false, false, "bob", "bob@pc.corp.example"},
    {true, true, false, true, "bob", "bob@pc.corp.example"},
    {true, true, true, false, "bob@gate.corp.example", "bob@pc.corp.example"},
    {true, true, true, true, "bob@relay.example", "bob@pc.corp.example"},
};

TEST(QualifyRecipient, FollowsEveryCombinationOfTheSwitches) {
  for (const RecipientRow& row : kRecipients) {
    SCOPED_TRACE(::testing::Message()
                 << row.use_hostname << row.recipient_hosts << row.addresses << row.relay);
    QualifySettings settings =
        Settings(row.use_hostname, row.recipient_hosts, row.addresses, row.relay);
    settings.sender_hosts = !row.recipient_hosts;
    EXPECT_EQ(QualifyRecipient("bob", settings), row.bare);
    EXPECT_EQ(QualifyRecipient("bob@pc", settings), row.dotless);
    EXPECT_EQ(QualifyRecipient("bob@pc.example", settings), "bob@pc.example");
    EXPECT_EQ(QualifyRecipient("bob@[192.0.2.1]", settings), "bob@[192.0.2.1]");
    EXPECT_EQ(QualifyRecipient("bob@[IPv6:2001:db8::1]", settings), "bob@[IPv6:2001:db8::1]");
  }
}

struct AddressRow {
  const char* address;
  const char* sender;
  const char* recipient;
};

// Switches as they come, no relay.
TEST(Qualify, LooksBehindTheLastAtSign) {
  constexpr AddressRow kRows[] = {
      {"\"a@b\"@gw", "\"a@b\"@gw.corp.example", "\"a@b\"@gw.corp.example"},
      {"\"a@b.c\"@gw", "\"a@b.c\"@gw.corp.example", "\"a@b.c\"@gw.corp.example"},
      {"\"a@b\"@gw.example", "\"a@b\"@gw.example", "\"a@b\"@gw.example"},
      {"@hub.example:ann@pc", "@hub.example:ann@pc.corp.example",
       "@hub.example:ann@pc.corp.example"},
      {"a.b@pc", "a.b@pc.corp.example", "a.b@pc.corp.example"},
      {"a.b", "a.b@gate.corp.example", "a.b@gate.corp.example"},
      {"\"a b\"", "\"a b\"@gate.corp.example", "\"a b\"@gate.corp.example"},
      {"ann@", "ann@.corp.example", "ann@.corp.example"},
      {"ann@.", "ann@.", "ann@."},
      {"@", "@.corp.example", "@.corp.example"},
      {"ann@[", "ann@[", "ann@["},
      {"ann@pc[", "ann@pc[.corp.example", "ann@pc[.corp.example"},
  };
  for (const AddressRow& row : kRows) {
    const QualifySettings settings = Settings(true, true, true, false);
    EXPECT_EQ(QualifySender(row.address, settings, false), row.sender) << row.address;
    EXPECT_EQ(QualifySender(row.address, settings, true), row.sender) << row.address;
    EXPECT_EQ(QualifyRecipient(row.address, settings), row.recipient) << row.address;
  }
}

TEST(Qualify, AnEmptyAddressIsOneWithoutHostPart) {
  const QualifySettings settings = Settings(true, true, true, false);
  EXPECT_EQ(QualifySender("", settings, false), "@gate.corp.example");
  EXPECT_EQ(QualifyRecipient("", settings), "@gate.corp.example");
}

TEST(Qualify, OnlyASenderMayBeNobody) {
  const QualifySettings settings = Settings(true, true, true, false);
  EXPECT_EQ(QualifySender("<>", settings, false), "<>");
  EXPECT_EQ(QualifySender("< >", settings, false), "< >@gate.corp.example");
  EXPECT_EQ(QualifyRecipient("<>", settings), "<>@gate.corp.example");
}

TEST(QualifySettings, AreThoseOfASiteThatSaysNothing) {
  const QualifySettings settings = Read({});
  EXPECT_TRUE(settings.use_hostname);
  EXPECT_TRUE(settings.sender_hosts);
  EXPECT_TRUE(settings.recipient_hosts);
  EXPECT_TRUE(settings.addresses);
  EXPECT_EQ(settings.host, "twgate");
  EXPECT_EQ(settings.domain, "domain.invalid");
  EXPECT_EQ(settings.relay, "");
}

// useHostname asks for YES, the others refuse NO: a word that is neither switches the first off and
// leaves the others on.
TEST(QualifySettings, MaybeIsNoYesAndNoNo) {
  const QualifySettings settings = Read({{"Options/useHostname", "MAYBE"},
                                         {"Options/qualifySenderHosts", "MAYBE"},
                                         {"Options/qualifyRecipientHosts", "MAYBE"},
                                         {"Options/qualifyAddress", "MAYBE"}});
  EXPECT_FALSE(settings.use_hostname);
  EXPECT_TRUE(settings.sender_hosts);
  EXPECT_TRUE(settings.recipient_hosts);
  EXPECT_TRUE(settings.addresses);
}

TEST(QualifySettings, SwitchesMindNoCase) {
  const QualifySettings settings = Read({{"Options/useHostname", "yEs"},
                                         {"Options/qualifySenderHosts", "no"},
                                         {"Options/qualifyRecipientHosts", "No"},
                                         {"Options/qualifyAddress", "nO"}});
  EXPECT_TRUE(settings.use_hostname);
  EXPECT_FALSE(settings.sender_hosts);
  EXPECT_FALSE(settings.recipient_hosts);
  EXPECT_FALSE(settings.addresses);
}

TEST(QualifySettings, AnEmptySwitchIsNeither) {
  const QualifySettings settings = Read({{"Options/useHostname", ""},
                                         {"Options/qualifySenderHosts", ""},
                                         {"Options/qualifyRecipientHosts", ""},
                                         {"Options/qualifyAddress", ""}});
  EXPECT_FALSE(settings.use_hostname);
  EXPECT_TRUE(settings.sender_hosts);
  EXPECT_TRUE(settings.recipient_hosts);
  EXPECT_TRUE(settings.addresses);
}

TEST(QualifySettings, NamesAreCutToTheirBuffers) {
  const std::string name(300, 'n');
  const QualifySettings settings = Read({{"Connection/GatewayHostName", name},
                                         {"Connection/GatewayDomain", name},
                                         {"Routing/PrimaryRelayHostName", name}});
  EXPECT_EQ(settings.host.size(), 127u);
  EXPECT_EQ(settings.domain.size(), 127u);
  EXPECT_EQ(settings.relay.size(), 255u);
}

}  // namespace
}  // namespace qob::spool
