// A peer's values as the peer commands read, write and explain them.
#ifndef TOOLS_QOB_DB_PEER_VALUES_H
#define TOOLS_QOB_DB_PEER_VALUES_H

#include <cstdint>
#include <string>
#include <vector>

#include "../json_line.h"
#include "site_databases.h"

namespace cli::db {

// How the record is found that a value comes from.
enum class Rule {
  kKept,      // the library does not read it
  kExists,    // the first record there is
  kPositive,  // the first record with more than 0
};

struct PeerValueRow {
  const char* name;
  std::int32_t PeerRecord::*field;
  Rule rule;
  std::int32_t built_in;
};
// The twelve, in the record's order.
const std::vector<PeerValueRow>& PeerValues();

PeerRecord RecordOf(const PeerRow& row);
Json JsonOf(const PeerRecord& record);
// "QueueRunInterval=30", names in any case; throws Failure(kUsage).
void SetPeerValue(const std::string& word, PeerRecord* record);
// The text of a record's value: flags and numbers as they stand.
std::vector<PeerRecord> AllPeers(const Site& site);

// Where a value of a name comes from.
struct Origin {
  std::int32_t value = 0;
  const char* kind = "";  // "own", "parent", "default", "built-in"
  std::string record;     // its domain; "" for a built-in value
};

// The records that apply to a host or domain name, nearest first.
class PeerPath {
 public:
  PeerPath(const Site& site, const std::string& name);
  Origin OriginOf(const PeerValueRow& value) const;

 private:
  struct Step {
    const char* kind;
    PeerRecord record;
  };
  std::vector<Step> steps_;
};

}  // namespace cli::db

#endif
