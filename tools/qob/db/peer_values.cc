#include "peer_values.h"

#include <algorithm>
#include <charconv>

namespace cli::db {
namespace {

constexpr const char* kSchema = "qob.peer/1";
constexpr const char* kName = "peerdb";
constexpr std::size_t kDomain = sizeof PeerRecord::domain - 1;

}  // namespace

const std::vector<PeerValueRow>& PeerValues() {
  static const std::vector<PeerValueRow> rows = {
      {"flag0", &PeerRecord::flag0, Rule::kKept, 1},
      {"AcceptMail", &PeerRecord::AcceptMail, Rule::kExists, 1},
      {"flag2", &PeerRecord::flag2, Rule::kKept, 1},
      {"flag3", &PeerRecord::flag3, Rule::kKept, 1},
      {"value4", &PeerRecord::value4, Rule::kKept, 0},
      {"MaxInBoundSize", &PeerRecord::MaxInBoundSize, Rule::kPositive, 0},
      {"MaxOutBoundSize", &PeerRecord::MaxOutBoundSize, Rule::kPositive, 0},
      {"MesageQueuedBeforeAttempt", &PeerRecord::MesageQueuedBeforeAttempt, Rule::kExists, 0},
      {"QueueRunInterval", &PeerRecord::QueueRunInterval, Rule::kPositive, 15},
      {"RetryPeriod", &PeerRecord::RetryPeriod, Rule::kPositive, 72},
      {"MaxSMTPSessions", &PeerRecord::MaxSMTPSessions, Rule::kPositive, 5},
      {"MaxMesgPerSession", &PeerRecord::MaxMesgPerSession, Rule::kPositive, 6}};
  return rows;
}

PeerRecord RecordOf(const PeerRow& row) {
  PeerRecord record{};
  SetText(record.domain, TextOf(row.domain));
  for (std::size_t i = 0; i < PeerValues().size(); ++i) {
    record.*PeerValues()[i].field = row.values[i];
  }
  return record;
}

Json JsonOf(const PeerRecord& record) {
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "domain", TextOf(record.domain));
  for (const PeerValueRow& value : PeerValues()) line[value.name] = record.*value.field;
  return line;
}

void SetPeerValue(const std::string& word, PeerRecord* record) {
  const std::size_t sign = word.find('=');
  const std::string name = Folded(word.substr(0, sign));
  for (const PeerValueRow& value : PeerValues()) {
    if (sign == std::string::npos || Folded(value.name) != name) continue;
    const char* const end = word.data() + word.size();
    const auto read = std::from_chars(word.data() + sign + 1, end, record->*value.field);
    if (read.ec == std::errc() && read.ptr == end) return;
    throw Failure(ExitCode::kUsage, "'" + word +
                                        "' has no number: give one from -2147483648 to "
                                        "2147483647");
  }
  std::string names;
  for (const PeerValueRow& value : PeerValues()) names += std::string(" ") + value.name;
  throw Failure(ExitCode::kUsage, "'" + word +
                                      "' is no value of a peer: give NAME=NUMBER with one "
                                      "of these names:" +
                                      names);
}

std::vector<PeerRecord> AllPeers(const Site& site) {
  std::vector<PeerRecord> peers;
  tesseraBase session;
  Table<PeerRow> table(session, site, kName);
  table.ForEach([&] { peers.push_back(RecordOf(table.row)); });
  return peers;
}

// As the getters walk: one full stop is passed over at each step, and 127 characters are looked
// for.
PeerPath::PeerPath(const Site& site, const std::string& name) {
  tesseraBase session;
  Table<PeerRow> table(session, site, kName);
  if (table.status() == kNoRelation) return;  // built-in values hold
  table.Must(table.status());
  table.Must(table.lock(false, 0xFFFFFFFF));
  const auto look = [&](const char* kind, const std::string& domain) {
    SetText(table.row.domain, domain.substr(0, kDomain));
    const dbError result = table.get(0);
    if (result == kDone) steps_.push_back({kind, RecordOf(table.row)});
    if (result != kDone && result != kNoMatch) table.Must(result);
  };
  std::string rest = name;
  for (const char* kind = "own";; kind = "parent") {
    if (!rest.empty() && rest[0] == '.') rest.erase(0, 1);
    look(kind, rest);
    const std::size_t stop = rest.find('.');
    if (stop == std::string::npos) break;
    rest.erase(0, stop);
  }
  look("default", "default");
  table.unlock();
}

Origin PeerPath::OriginOf(const PeerValueRow& value) const {
  const auto step = std::find_if(steps_.begin(), steps_.end(), [&](const Step& one) {
    return value.rule == Rule::kExists || one.record.*value.field > 0;
  });
  if (step == steps_.end()) return {value.built_in, "built-in", ""};
  return {step->record.*value.field, step->kind, TextOf(step->record.domain)};
}

}  // namespace cli::db
