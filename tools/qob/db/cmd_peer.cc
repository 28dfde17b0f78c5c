// qob peer list, get, set, remove, explain: the peer database of a site.
#include "../commands.h"
#include "../flat_table.h"
#include "../output.h"
#include "peer_values.h"

namespace cli {
namespace {

using db::PeerValueRow;
using db::Site;

constexpr const char* kName = "peerdb";
constexpr const char* kExplainSchema = "qob.peer-explain/1";
constexpr std::size_t kDomain = sizeof PeerRecord::domain - 1;

// The database opened by the library for the length of a command that changes it.
class Open {
 public:
  explicit Open(const Site& site) : site_(site) {
    libpeer_init();
    // A relation that did not open tells only that it is not open.
    tesseraBase session;
    const db::Table<db::PeerRow> table(session, site, kName);
    const dbError status = table.status() == db::kDone ? OpenPeerFile() : table.status();
    if (status == db::kDone) return;
    libpeer_fini();
    table.Must(status);
  }
  ~Open() { libpeer_fini(); }
  Open(const Open&) = delete;
  Open& operator=(const Open&) = delete;
  void Must(dbError result) const {
    if (result != db::kDone) throw db::RelationFailure(site_, kName, result);
  }

 private:
  const Site& site_;
};

std::string Missing(const std::string& domain) {
  return domain + ": no such peer: 'qob peer list' shows all, 'qob peer explain' what holds for it";
}

void PrintPeers(const std::vector<PeerRecord>& peers) {
  std::vector<FlatTable::Column> columns = {{"domain"}};
  for (const PeerValueRow& value : db::PeerValues()) columns.push_back({value.name, true});
  FlatTable table(columns);
  for (const PeerRecord& peer : peers) {
    table.Cell(db::TextOf(peer.domain));
    for (const PeerValueRow& value : db::PeerValues()) {
      table.Cell(std::to_string(peer.*value.field));
    }
  }
  table.Print(Paint("never"), 0);
}

void PrintPeer(const PeerRecord& peer) {
  Out().Line("domain=" + db::TextOf(peer.domain));
  for (const PeerValueRow& value : db::PeerValues()) {
    Out().Line(std::string(value.name) + "=" + std::to_string(peer.*value.field));
  }
}

// What a new record says: that it exists changes two values at once, which stay as they have been;
// the others stay with the parent domain until they are set.
PeerRecord NewPeer(const std::string& domain) {
  PeerRecord peer{};
  db::SetText(peer.domain, domain);
  for (const PeerValueRow& value : db::PeerValues()) {
    if (value.rule == db::Rule::kKept) peer.*value.field = value.built_in;
  }
  peer.AcceptMail = GetAcceptMailValue(domain.c_str());
  peer.MesageQueuedBeforeAttempt = GetPeerMesageQueuedBeforeAttempt(domain.c_str());
  return peer;
}

std::string OriginText(const db::Origin& origin) {
  const std::string kind = origin.kind;
  return kind == "parent" ? kind + " " + origin.record : kind;
}

}  // namespace

ExitCode RunPeerList(const Arguments& arguments) {
  const Site site(arguments);
  const std::vector<PeerRecord> peers = db::AllPeers(site);
  if (!arguments.Has("--json")) {
    PrintPeers(peers);
    return ExitCode::kOk;
  }
  for (const PeerRecord& peer : peers) Out().Line(JsonText(db::JsonOf(peer)));
  return ExitCode::kOk;
}

ExitCode RunPeerGet(const Arguments& arguments) {
  const Site site(arguments);
  tesseraBase session;
  db::Table<db::PeerRow> table(session, site, kName);
  table.Must(table.status());
  const std::string& domain = arguments.operands[0];
  db::SetText(table.row.domain, domain.substr(0, kDomain));
  const dbError result = table.get(0);
  if (result == db::kNoMatch) throw Failure(ExitCode::kNoInput, Missing(domain));
  table.Must(result);
  const PeerRecord peer = db::RecordOf(table.row);
  if (arguments.Has("--json")) {
    Out().Line(JsonText(db::JsonOf(peer)));
  } else {
    PrintPeer(peer);
  }
  return ExitCode::kOk;
}

ExitCode RunPeerSet(const Arguments& arguments) {
  const std::string& domain = arguments.operands[0];
  db::CheckWord("domain", domain, kDomain);
  const Site site(arguments);
  const Open open(site);
  PeerRecord peer{};
  const dbError found = FindPeerRecord(&peer, domain.c_str());
  if (found != db::kNoMatch) open.Must(found);
  if (found == db::kNoMatch) peer = NewPeer(domain);
  for (std::size_t i = 1; i < arguments.operands.size(); ++i) {
    db::SetPeerValue(arguments.operands[i], &peer);
  }
  open.Must(found == db::kNoMatch ? InsPeerRecord(&peer) : UpdatePeerRecord(&peer));
  return ExitCode::kOk;
}

ExitCode RunPeerRemove(const Arguments& arguments) {
  const Site site(arguments);
  const Open open(site);
  ExitCode code = ExitCode::kOk;
  for (const std::string& domain : arguments.operands) {
    const dbError result = DelPeerRecord(domain.c_str());
    if (result == db::kNoMatch) {
      Message(Missing(domain));
      code = ExitCode::kNoInput;
    } else {
      open.Must(result);
    }
  }
  return code;
}

ExitCode RunPeerExplain(const Arguments& arguments) {
  const Site site(arguments);
  const std::string& name = arguments.operands[0];
  const db::PeerPath path(site, name);
  FlatTable table({{"value"}, {"holds", true}, {"from"}});
  for (const PeerValueRow& value : db::PeerValues()) {
    if (value.rule == db::Rule::kKept) continue;
    const db::Origin origin = path.OriginOf(value);
    if (arguments.Has("--json")) {
      Json line;
      line["schema"] = kExplainSchema;
      PutText(&line, "name", name);
      line["value"] = value.name;
      line["holds"] = origin.value;
      line["origin"] = origin.kind;
      if (origin.record.empty()) {
        line["record"] = nullptr;
      } else {
        PutText(&line, "record", origin.record);
      }
      Out().Line(JsonText(line));
      continue;
    }
    table.Cell(value.name);
    table.Cell(std::to_string(origin.value));
    table.Cell(OriginText(origin));
  }
  if (!arguments.Has("--json")) table.Print(Paint("never"), 0);
  return ExitCode::kOk;
}

}  // namespace cli
