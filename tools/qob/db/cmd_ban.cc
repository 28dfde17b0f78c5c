// qob ban list, add, remove, check: the banned users of a site.
#include "../commands.h"
#include "../json_line.h"
#include "../output.h"
#include "../utf8.h"
#include "site_databases.h"

namespace cli {
namespace {

using db::Site;

constexpr const char* kName = "banuserdb";
constexpr const char* kListSchema = "qob.ban/1";
constexpr const char* kCheckSchema = "qob.ban-check/1";
constexpr std::size_t kAddress = sizeof db::BanRow::address - 1;
constexpr dbError kStandsAlready = 5;
constexpr dbError kFileExists = 59;

using Bans = db::Table<db::BanRow>;

// Nothing of the system makes this database: the first ban does.
void MakeIfMissing(const Site& site) {
  {
    tesseraBase session;
    const Bans bans(session, site, kName);
    if (bans.status() != db::kNoRelation) return;
  }
  const dbError result = tesRel::create(site.queue().c_str(), kName, sizeof(db::BanRow), 0,
                                        sizeof db::BanRow::address, false);
  if (result != db::kDone && result != kFileExists) {
    throw db::RelationFailure(site, kName, result);
  }
}

}  // namespace

ExitCode RunBanList(const Arguments& arguments) {
  const Site site(arguments);
  tesseraBase session;
  Bans bans(session, site, kName);
  if (bans.status() == db::kNoRelation) return ExitCode::kOk;  // nobody was banned so far
  bans.ForEach([&] {
    const std::string address = db::TextOf(bans.row.address);
    if (!arguments.Has("--json")) {
      Out().Line(Visible(address));
      return;
    }
    Json line;
    line["schema"] = kListSchema;
    PutText(&line, "address", address);
    Out().Line(JsonText(line));
  });
  return ExitCode::kOk;
}

ExitCode RunBanAdd(const Arguments& arguments) {
  for (const std::string& address : arguments.operands) {
    db::CheckWord("address", address, kAddress);
  }
  const Site site(arguments);
  MakeIfMissing(site);
  tesseraBase session;
  Bans bans(session, site, kName);
  bans.Must(bans.status());
  for (const std::string& address : arguments.operands) {
    db::SetText(bans.row.address, address);
    const dbError result = bans.add();
    if (result != kStandsAlready) bans.Must(result);
  }
  return ExitCode::kOk;
}

ExitCode RunBanRemove(const Arguments& arguments) {
  const Site site(arguments);
  tesseraBase session;
  Bans bans(session, site, kName);
  bans.Must(bans.status());
  bans.Must(bans.lock(false, 0xFFFFFFFF));
  ExitCode code = ExitCode::kOk;
  for (const std::string& address : arguments.operands) {
    dbError result = db::kNoMatch;
    if (address.size() <= kAddress) {
      db::SetText(bans.row.address, address);
      result = bans.get(0);
    }
    if (result == db::kNoMatch) {
      Message(address + ": is not banned: 'qob ban list' shows who is");
      code = ExitCode::kNoInput;
      continue;
    }
    bans.Must(result);
    bans.Must(bans.del());
  }
  bans.unlock();
  return code;
}

ExitCode RunBanCheck(const Arguments& arguments) {
  const Site site(arguments);
  {
    // The library says no for a database that it cannot read; here that is to be known.
    tesseraBase session;
    const Bans bans(session, site, kName);
    if (bans.status() != db::kNoRelation) bans.Must(bans.status());
  }
  for (const std::string& address : arguments.operands) {
    const bool banned = BanUserExist(address.c_str()) != 0;
    if (!arguments.Has("--json")) {
      Out().Line(Visible(address) + (banned ? " banned" : " not banned"));
      continue;
    }
    Json line;
    line["schema"] = kCheckSchema;
    PutText(&line, "address", address);
    line["banned"] = banned;
    Out().Line(JsonText(line));
  }
  return ExitCode::kOk;
}

}  // namespace cli
