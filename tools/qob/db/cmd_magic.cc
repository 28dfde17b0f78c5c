// qob magic list, find, export, add, update, remove, import: the file type database of a site.
#include <map>

#include "../commands.h"
#include "../flat_table.h"
#include "../output.h"
#include "../system.h"
#include "../utf8.h"
#include "file_type.h"

namespace cli {
namespace {

using db::FileType;
using db::Site;

constexpr const char* kName = "magicdb";

// The database opened by the library for the length of a command that changes it.
class Open {
 public:
  explicit Open(const Site& site) : site_(site) {
    libmagic_init();
    // A relation that did not open tells only that it is not open.
    tesseraBase session;
    const db::Table<db::MagicRow> table(session, site, kName);
    if (table.status() == db::kDone) return;
    libmagic_fini();
    table.Must(table.status());
  }
  ~Open() { libmagic_fini(); }
  Open(const Open&) = delete;
  Open& operator=(const Open&) = delete;

  void Must(dbError result) const {
    if (result != db::kDone) throw db::RelationFailure(site_, kName, result);
  }
  bool Find(const std::string& extension, FileType* type) const {
    MagicRecordBuffer out;
    const dbError result = FindMagicRecord(&out.record, extension.c_str());
    if (result == db::kNoFurther) return false;
    Must(result);
    *type = db::TypeOf(out.record);
    return true;
  }
  void Add(const FileType& type) const {
    const MagicRecord record = db::RecordOf(type);
    Must(InsMagicRecord(&record));
  }
  void Replace(const FileType& type) const {
    const MagicRecord record = db::RecordOf(type);
    Must(UpdateMagicRecord(&record));
  }

 private:
  const Site& site_;
};

void PrintTypes(const Arguments& arguments, const std::vector<FileType>& types) {
  if (arguments.Has("--json")) {
    for (const FileType& type : types) Out().Line(JsonText(db::JsonOf(type)));
    return;
  }
  FlatTable table({{"extension"}, {"type"}, {"encoding"}, {"Macintosh"}, {"what it is"}});
  for (const FileType& type : types) {
    table.Cell(type.extension);
    table.Cell(type.type + "/" + type.subtype);
    table.Cell(type.encoding);
    table.Cell(type.mac.empty() ? "-" : type.mac);
    table.Cell(type.description);
  }
  table.Print(Paint("never"), 0);
}

// An extension with or without its dot, a MIME type, or with --mac a type and creator.
bool Fits(const FileType& type, const std::string& word, bool mac) {
  if (mac) return !type.mac.empty() && type.mac == db::MacCodes(word);
  const std::string folded = db::Folded(word);
  if (folded.find('/') != std::string::npos) {
    return db::Folded(type.type + "/" + type.subtype) == folded;
  }
  const std::size_t start = !folded.empty() && folded[0] == '.' ? 1 : 0;
  return db::Folded(type.extension) == folded.substr(start);
}

std::string Missing(const std::string& word) {
  return word + ": no such file type: 'qob magic list' shows all";
}

struct Import {
  std::size_t added = 0;
  std::size_t changed = 0;
  std::size_t same = 0;
};

// Every line is read before the first one is acted on.
std::vector<FileType> ReadLines(const std::string& operand) {
  sys::File file = operand == "-" ? sys::File::StandardInput() : sys::File::OpenToRead(operand);
  if (!file) {
    throw Failure(ExitCode::kNoInput, operand +
                                          ": cannot be opened: " + sys::ErrorText(file.error()) +
                                          ": name a file that 'qob magic export' wrote");
  }
  std::string text;
  char block[16384];
  for (std::ptrdiff_t got = 0; (got = file.Read(block, sizeof block)) != 0;) {
    if (got < 0) throw Failure(ExitCode::kIo, operand + ": cannot be read: try again");
    text.append(block, static_cast<std::size_t>(got));
  }
  std::vector<FileType> types;
  std::size_t number = 1;
  for (std::size_t at = 0; at < text.size(); ++number) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string line = text.substr(at, end - at);
    at = end + 1;
    if (line.empty()) continue;
    try {
      types.push_back(db::ReadType(line));
    } catch (const Failure& failure) {
      throw Failure(failure.code(), operand + ":" + std::to_string(number) + ": " + failure.what());
    }
  }
  return types;
}

}  // namespace

ExitCode RunMagicList(const Arguments& arguments) {
  const Site site(arguments);
  PrintTypes(arguments, db::AllTypes(site));
  return ExitCode::kOk;
}

ExitCode RunMagicExport(const Arguments& arguments) {
  const Site site(arguments);
  for (const FileType& type : db::AllTypes(site)) Out().Line(JsonText(db::JsonOf(type)));
  return ExitCode::kOk;
}

ExitCode RunMagicFind(const Arguments& arguments) {
  const Site site(arguments);
  const std::vector<FileType> all = db::AllTypes(site);
  std::vector<FileType> found;
  std::vector<std::string> missing;
  for (const std::string& word : arguments.operands) {
    const std::size_t before = found.size();
    for (const FileType& type : all) {
      if (Fits(type, word, arguments.Has("--mac"))) found.push_back(type);
    }
    if (found.size() == before) missing.push_back(word);
  }
  if (!found.empty()) PrintTypes(arguments, found);
  Out().Flush();
  for (const std::string& word : missing) Message(Missing(word));
  return missing.empty() ? ExitCode::kOk : ExitCode::kNoInput;
}

ExitCode RunMagicAdd(const Arguments& arguments) {
  FileType type;
  type.extension = arguments.operands[0];
  db::SetMimeType(arguments.operands[1], &type);
  type.encoding = "base64";
  db::TakeOptions(arguments, &type);
  db::CheckFileType(type);
  const Site site(arguments);
  const Open open(site);
  FileType known;
  if (open.Find(type.extension, &known)) {
    throw Failure(ExitCode::kData, type.extension + ": there is such a file type already (" +
                                       known.type + "/" + known.subtype +
                                       "): change it with 'qob magic update'");
  }
  open.Add(type);
  return ExitCode::kOk;
}

ExitCode RunMagicUpdate(const Arguments& arguments) {
  const Site site(arguments);
  const Open open(site);
  FileType type;
  const std::string& extension = arguments.operands[0];
  if (!open.Find(extension, &type)) throw Failure(ExitCode::kNoInput, Missing(extension));
  if (arguments.operands.size() > 1) db::SetMimeType(arguments.operands[1], &type);
  db::TakeOptions(arguments, &type);
  db::CheckFileType(type);
  open.Replace(type);
  return ExitCode::kOk;
}

ExitCode RunMagicRemove(const Arguments& arguments) {
  const Site site(arguments);
  const Open open(site);
  ExitCode code = ExitCode::kOk;
  for (const std::string& extension : arguments.operands) {
    const dbError result = DelMagicRecord(extension.c_str());
    if (result == db::kNoFurther) {
      Message(Missing(extension));
      code = ExitCode::kNoInput;
    } else {
      open.Must(result);
    }
  }
  return code;
}

ExitCode RunMagicImport(const Arguments& arguments) {
  const std::vector<FileType> wanted = ReadLines(arguments.operands[0]);
  const Site site(arguments);
  const Open open(site);
  std::map<std::string, FileType> known;
  for (const FileType& type : db::AllTypes(site)) {
    known.emplace(db::Folded(type.extension), type);
  }
  Import done;
  for (const FileType& type : wanted) {
    const auto [place, added] = known.emplace(db::Folded(type.extension), type);
    if (added) {
      open.Add(type);
      ++done.added;
    } else if (place->second == type) {
      ++done.same;
    } else {
      open.Replace(type);
      place->second = type;
      ++done.changed;
    }
  }
  Out().Line(std::to_string(done.added) + " added, " + std::to_string(done.changed) + " changed, " +
             std::to_string(done.same) + " as they were");
  return ExitCode::kOk;
}

}  // namespace cli
