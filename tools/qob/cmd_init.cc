// qob init: a ready system in one directory. What stands there already is kept as it is, so that a
// run that was cut short is finished by the next one.
#include <array>
#include <vector>

#include <qob3xapi/frame.h>
#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>

#include "commands.h"
#include "db/site_databases.h"
#include "json_line.h"
#include "library_log.h"
#include "output.h"
#include "private_site.h"
#include "site_template.h"
#include "system.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.init/1";
// The library keeps names of at most 259 bytes.
constexpr std::size_t kLongestDirectory = 240;

struct Thing {
  std::string path;
  bool made = false;
};

bool Stands(const std::string& path) { return sys::StatusOf(path).kind != sys::Kind::kMissing; }

std::string SystemDirectory(const std::string& given) {
  const std::string directory = sys::AbsolutePath(given);
  if (directory.find_first_of("\\\r\n") != std::string::npos) {
    throw Failure(ExitCode::kUsage, Visible(directory) +
                                        ": a backslash or a line end cannot stand in a "
                                        "configuration: give another directory");
  }
  if (directory.size() > kLongestDirectory) {
    throw Failure(ExitCode::kUsage,
                  Visible(directory) + ": the name is too long for the system, which takes " +
                      std::to_string(kLongestDirectory) + " bytes: give a shorter one");
  }
  return directory;
}

void CheckName(const std::string& name) {
  for (const char c : name) {
    const bool sign = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!sign && c != '-' && c != '.') {
      throw Failure(ExitCode::kUsage, Visible(name) +
                                          ": no name of a host or domain: give letters, digits, "
                                          "'-' and '.'");
    }
  }
}

// Host and domain as given, else as the machine calls itself.
void NameTheMachine(const Arguments& arguments, NewSite* site) {
  const std::string own = sys::HostName();
  const std::size_t dot = own.find('.');
  site->host = arguments.Value("--host", own.substr(0, dot));
  site->domain = arguments.Value(
      "--domain", dot == std::string::npos ? "" : std::string_view(own).substr(dot + 1));
  CheckName(site->host);
  CheckName(site->domain);
}

void MakeFolder(const std::string& path, std::vector<Thing>* things) {
  const bool stood = Stands(path);
  const sys::OutputFolder folder(path);
  if (!folder) {
    throw Failure(ExitCode::kCantCreate, Visible(path) + ": " + sys::ErrorText(folder.error()) +
                                             ": give a directory that can be made and written");
  }
  things->push_back({path, !stood});
}

// Whole or not at all: it is what makes the directory a system.
void MakeProfile(const std::string& directory, const NewSite& site, std::vector<Thing>* things) {
  const std::string path = directory + "/" + kProfileName;
  if (!Stands(path)) {
    const std::string fresh = path + ".new";
    sys::Remove(fresh);
    sys::File file = sys::File::CreateNew(fresh);
    if (!file || !file.Write(SiteTemplate(site)) || !file.Close()) {
      const std::string why = sys::ErrorText(file.error());
      sys::Remove(fresh);
      throw Failure(ExitCode::kCantCreate, Visible(path) + ": " + why + ": nothing else was done");
    }
    sys::OutputFolder folder(directory);
    const sys::Placed placed = folder.Place(fresh, kProfileName, false);
    if (placed != sys::Placed::kDone) sys::Remove(fresh);
    if (placed == sys::Placed::kFailed) {
      throw Failure(ExitCode::kCantCreate, Visible(path) + ": " + sys::ErrorText(folder.error()));
    }
    things->push_back({path, placed == sys::Placed::kDone});
  } else {
    things->push_back({path, false});
  }
}

// A directory of the configuration, which may be another than a new one has.
std::string Configured(const char* section, const char* key) {
  std::array<char, 260> value{};
  QOBGetPrivateProfileString(section, key, "", value.data(), value.size(), kProfileName);
  return value.data();
}

// The databases, by the calls that make them where they are missing.
void MakeDatabases(const std::string& queue, std::vector<Thing>* things) {
  constexpr const char* kDatabases[] = {"mesg.btr", "magicdb.db", "peerdb.db", "banuserdb.db"};
  for (const char* const name : kDatabases) {
    const std::string path = queue + "/" + name;
    things->push_back({path, !Stands(path)});
  }
  LibraryLog::Get().Start(false);
  const bool reached = InitQOBDll("qob") != 0;
  libmagic_init();
  libpeer_init();
  // Nobody is banned at first, so this one has no seed.
  tesRel::create(queue.c_str(), "banuserdb", sizeof(db::BanRow), 0, sizeof db::BanRow::address,
                 false);
  const std::string problem = LibraryLog::Get().LastProblem("it cannot be made");
  TerminateQOBDll();
  LibraryLog::Get().Stop();
  for (Thing& thing : *things) {
    if (Stands(thing.path)) continue;
    throw Failure(ExitCode::kCantCreate, Visible(thing.path) + ": " + problem +
                                             ": look at the disk and at [Config] "
                                             "InstallDirectory, then run this again");
  }
  if (!reached) {
    throw Failure(ExitCode::kConfig, Visible(queue) + ": " + problem +
                                         ": 'qob queue check' and 'qob config check' say more");
  }
}

void Print(const Thing& thing, bool json) {
  if (!json) {
    Out().Line((thing.made ? "made  " : "kept  ") + Visible(thing.path));
    return;
  }
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "path", thing.path);
  line["made"] = thing.made;
  Out().Line(JsonText(line));
}

}  // namespace

ExitCode RunInit(const Arguments& arguments) {
  const std::string directory = SystemDirectory(arguments.operands[0]);
  NewSite site{directory + "/queue", directory + "/temp", sys::DataFolder(), "", ""};
  NameTheMachine(arguments, &site);
  std::vector<Thing> things;
  MakeFolder(directory, &things);
  MakeProfile(directory, site, &things);
  sys::SetEnvironment("QOB_CONFIG_DIR", directory);
  const std::string queue = Configured("Gateway", "QueueDirectory");
  const std::string temporary = Configured("Gateway", "TemporaryDirectory");
  if (queue.empty() || temporary.empty()) {
    throw Failure(ExitCode::kConfig, Visible(directory) +
                                         "/twmta.ini names no queue or temporary directory: set "
                                         "them with 'qob config set Gateway'");
  }
  MakeFolder(queue, &things);
  MakeFolder(temporary, &things);
  MakeDatabases(queue, &things);
  for (const Thing& thing : things) Print(thing, arguments.Has("--json"));
  if (!arguments.Has("--json")) {
    Message("ready: QOB_CONFIG_DIR=" + directory + " makes programs use it");
  }
  return ExitCode::kOk;
}

}  // namespace cli
