// The order of names, and the getters against a plain model over random records and names.
#include "db/peer_walk.h"

#include <map>
#include <random>

#include "db/db_fixture.h"
#include "db/peers.h"

namespace qob::testing {
namespace {

using Names = std::vector<std::string>;

Names Walked(std::string_view name) {
  Names names;
  db::WalkPeerNames(name, [&](std::string_view tried) {
    names.emplace_back(tried);
    return names.size() > 1000;
  });
  return names;
}

TEST(PeerWalk, GoesUpToDefault) {
  EXPECT_EQ(Walked("mail.sales.example.org"), (Names{"mail.sales.example.org", "sales.example.org",
                                                     "example.org", "org", "default"}));
}

TEST(PeerWalk, PassesOverAFullStopAtTheBeginning) {
  EXPECT_EQ(Walked(".example.org"), (Names{"example.org", "org", "default"}));
}

TEST(PeerWalk, PassesOverOneFullStopAtATime) {
  EXPECT_EQ(Walked("..org"), (Names{".org", "org", "default"}));
  EXPECT_EQ(Walked("a..b"), (Names{"a..b", ".b", "b", "default"}));
}

TEST(PeerWalk, EndsWithTheEmptyNameBehindALastFullStop) {
  EXPECT_EQ(Walked("org."), (Names{"org.", "", "default"}));
  EXPECT_EQ(Walked("."), (Names{"", "default"}));
  EXPECT_EQ(Walked(""), (Names{"", "default"}));
}

TEST(PeerWalk, HasOneNameWithoutFullStops) { EXPECT_EQ(Walked("org"), (Names{"org", "default"})); }

TEST(PeerWalk, CutsWhatIsLookedForAndNotWhatIsWalked) {
  const std::string head(200, 'h');
  EXPECT_EQ(Walked(head + ".example.org"),
            (Names{std::string(127, 'h'), "example.org", "org", "default"}));
  EXPECT_EQ(Walked("." + head), (Names{std::string(127, 'h'), "default"}));
}

TEST(PeerWalk, Keeps127CharactersAndCuts128) {
  EXPECT_EQ(Walked(std::string(127, 'a'))[0], std::string(127, 'a'));
  EXPECT_EQ(Walked(std::string(127, 'a') + "b")[0], std::string(127, 'a'));
}

TEST(PeerWalk, StopsWhereItIsTold) {
  int tried = 0;
  EXPECT_TRUE(db::WalkPeerNames("a.b.c", [&](std::string_view) { return ++tried == 2; }));
  EXPECT_EQ(tried, 2);
  EXPECT_FALSE(db::WalkPeerNames("a.b.c", [](std::string_view) { return false; }));
}

TEST(PeerWalk, OfAMillionFullStopsIsOneStepForEach) {
  std::size_t tried = 0;
  db::WalkPeerNames(std::string(1000000, '.'), [&](std::string_view name) {
    EXPECT_LE(name.size(), 127U);
    ++tried;
    return false;
  });
  EXPECT_EQ(tried, 1000001U);
}

// What the getters promise, said in another way: the names of a name are its text without a first
// full stop, and what stands behind each full stop of that.
class PeerModel {
 public:
  void Add(const std::string& domain, std::vector<std::int32_t> values) {
    records_.emplace(Key(domain), std::move(values));
  }
  bool Has(const std::string& domain) const { return records_.count(Key(domain)) != 0; }

  std::int32_t Positive(const std::string& name, std::size_t field, std::int32_t otherwise) const {
    for (const auto* values : Applying(name)) {
      if ((*values)[field] > 0) return (*values)[field];
    }
    return otherwise;
  }
  std::int32_t Existing(const std::string& name, std::size_t field, std::int32_t otherwise) const {
    const auto applying = Applying(name);
    return applying.empty() ? otherwise : (*applying.front())[field];
  }

 private:
  static std::string Key(std::string name) {
    if (name.size() > 127) name.erase(127);
    for (char& c : name) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return name;
  }
  std::vector<const std::vector<std::int32_t>*> Applying(const std::string& name) const {
    const std::string whole = !name.empty() && name[0] == '.' ? name.substr(1) : name;
    Names names{whole};
    for (std::size_t i = 0; i < whole.size(); ++i) {
      if (whole[i] == '.') names.push_back(whole.substr(i + 1));
    }
    names.push_back("default");
    std::vector<const std::vector<std::int32_t>*> found;
    for (const std::string& tried : names) {
      const auto record = records_.find(Key(tried));
      if (record != records_.end()) found.push_back(&record->second);
    }
    return found;
  }
  std::map<std::string, std::vector<std::int32_t>> records_;
};

class RandomNames {
 public:
  explicit RandomNames(std::uint32_t seed) : random_(seed) {}
  std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }
  std::string Name() {
    static const char* const kLabels[] = {"a", "B", "mx", "Mail", "EXAMPLE", "org", "", "default"};
    std::string name = Below(6) == 0 ? "." : "";
    const std::uint32_t labels = Below(5);
    for (std::uint32_t i = 0; i <= labels; ++i) {
      if (i != 0) name += '.';
      name += Below(12) == 0 ? std::string(125 + Below(5), 'l') : kLabels[Below(8)];
    }
    if (Below(10) == 0)
      name = std::string(200 - std::min<std::size_t>(name.size(), 199), 'x') + name;
    return name;
  }
  // Often what the getters pass over.
  std::int32_t Value() {
    switch (Below(4)) {
      case 0:
        return 0;
      case 1:
        return -static_cast<std::int32_t>(Below(5));
      case 2:
        return 1;
      default:
        return static_cast<std::int32_t>(Below(1000));
    }
  }

 private:
  std::mt19937 random_;
};

class PeerGettersAtRandom : public Databases {
 protected:
  void Compare(const PeerModel& model, const std::string& name) {
    const char* const text = name.c_str();
    EXPECT_EQ(GetAcceptMailValue(text), model.Existing(name, 1, 1)) << name;
    EXPECT_EQ(GetPeerMesageQueuedBeforeAttempt(text), model.Existing(name, 7, 0) == 1 ? 1 : 0)
        << name;
    EXPECT_EQ(GetMaxInBoundSize(text), model.Positive(name, 5, 0)) << name;
    EXPECT_EQ(GetMaxOutBoundSize(text), model.Positive(name, 6, 0)) << name;
    EXPECT_EQ(GetPeerQueueRunInterval(text), model.Positive(name, 8, 15)) << name;
    EXPECT_EQ(GetPeerRetryPeriod(text), model.Positive(name, 9, 72)) << name;
    EXPECT_EQ(GetPeerMaxSMTPSessions(text), model.Positive(name, 10, 5)) << name;
    EXPECT_EQ(GetPeerMaxMesgPerSession(text), model.Positive(name, 11, 6)) << name;
    PeerDomainInfo info{-1, -1};
    EXPECT_EQ(GetPeerDomainInfo(text, &info), 0);
    EXPECT_EQ(info.accept, model.Existing(name, 1, 1) != 0 ? 1 : 0) << name;
    EXPECT_EQ(info.maxInBoundSize, std::max(model.Existing(name, 5, 0), 0)) << name;
  }
};

TEST_F(PeerGettersAtRandom, AgreeWithTheModel) {
  for (std::uint32_t round = 0; round < 12; ++round) {
    std::filesystem::remove_all(spool_.queue());
    std::filesystem::create_directory(spool_.queue());
    RandomNames random(1000 + round);
    PeerModel model;
    StartPeers();
    for (std::uint32_t i = 0, records = random.Below(40); i < records; ++i) {
      const std::string domain = i == 0 && round % 2 == 0 ? "default" : random.Name();
      std::vector<std::int32_t> values(12);
      for (std::int32_t& value : values) value = random.Value();
      const PeerRecord record = Peer(domain.substr(0, 127), values);
      ASSERT_EQ(InsPeerRecord(&record), model.Has(domain) ? 5 : 0) << domain;
      model.Add(domain, values);
    }
    libpeer_fini();
    for (int i = 0; i < 150; ++i) Compare(model, random.Name());
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace qob::testing
