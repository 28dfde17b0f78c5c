// qob extract: the bodies of parts as files.
#include <array>
#include <cstdio>

#include <qob3xapi/mimebody.h>
#include <qob3xapi/util.h>

#include "commands.h"
#include "file_drop.h"
#include "json_line.h"
#include "message_tree.h"
#include "message_walk.h"
#include "output.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.extract/1";

// A file that the library made; removed with the object, even when it was moved away meanwhile.
class LibraryFile {
 public:
  explicit LibraryFile(char* name) : name_(name) {}
  LibraryFile(const LibraryFile&) = delete;
  LibraryFile& operator=(const LibraryFile&) = delete;
  ~LibraryFile() { MimeFreeFile(name_); }

  explicit operator bool() const { return name_ != nullptr; }
  std::string Path() const {
    char* const native = QOBNativePath(name_);
    const std::string path = native == nullptr ? "" : native;
    FreeString(native);
    return path;
  }

 private:
  char* name_;
};

// Are the bytes of the body those of the file, so that embedded blocks can be cut out of it line by
// line?
bool IsUnencoded(const MimeBodyPart& part) {
  const char* const encoding = part.contentTransferEncoding;
  return encoding == nullptr || SameText(encoding, "7bit") || SameText(encoding, "8bit") ||
         SameText(encoding, "binary");
}

// The empty text that stands behind an embedded block at the end of a message without MIME.
bool IsEmptyRest(const MessageTree& tree, std::size_t index) {
  const MimeBodyPart& part = tree.part(index);
  return index != 0 && !tree.IsContainer(0) && part.contentType == nullptr &&
         part.bodyStart == part.contentEnd;
}

struct Written {
  std::size_t part;
  std::string type;
  std::string name;
  std::string path;
  std::int64_t bytes;
};

class Extractor {
 public:
  explicit Extractor(const Arguments& arguments)
      : json_(arguments.Has("--json")),
        raw_(arguments.Has("--raw")),
        tree_options_{arguments.Has("--plain"), arguments.Has("--keep-messages")},
        wanted_(arguments.Numbers("--part")),
        drop_(arguments.Value("--output"), arguments.Has("--force")) {}

  void Extract(const Message822& message);

 private:
  std::vector<std::size_t> Chosen(const MessageTree& tree) const;
  Written ExtractPart(const Message822& message, const MessageTree& tree, std::size_t index);
  std::string WantedName(const MessageTree& tree, std::size_t index) const;
  std::string Fallback(const MimeBodyPart& part, std::size_t index) const;
  void Print(const Message822& message, const std::vector<Written>& files) const;
  void PrintJson(const Message822& message, const Written& file) const;

  bool json_;
  bool raw_;
  TreeOptions tree_options_;
  std::vector<int> wanted_;
  FileDrop drop_;
};

std::string TypeOf(const MimeBodyPart& part) {
  if (part.contentType == nullptr) return "-";
  return part.contentSubtype == nullptr ? part.contentType
                                        : std::string(part.contentType) + "/" + part.contentSubtype;
}

void Extractor::Extract(const Message822& message) {
  const MessageTree tree(*message.copy, tree_options_);
  std::vector<Written> files;
  try {
    for (const std::size_t index : Chosen(tree)) files.push_back(ExtractPart(message, tree, index));
  } catch (const Failure&) {
    Print(message, files);  // what was written stays, so the map of it is shown
    throw;
  }
  Print(message, files);
}

std::vector<std::size_t> Extractor::Chosen(const MessageTree& tree) const {
  std::vector<std::size_t> chosen;
  for (const int number : wanted_) {
    const std::size_t index = static_cast<std::size_t>(number);
    if (index >= tree.size()) {
      throw Failure(ExitCode::kUsage,
                    "has no part " + std::to_string(number) + ": its parts are 0 to " +
                        std::to_string(tree.size() - 1) + "; 'qob parse' shows them");
    }
    chosen.push_back(index);
  }
  if (!wanted_.empty()) return chosen;
  for (std::size_t i = 0; i < tree.size(); ++i) {
    if (!tree.IsContainer(i) && !IsEmptyRest(tree, i)) chosen.push_back(i);
  }
  return chosen;
}

std::string Extractor::WantedName(const MessageTree& tree, std::size_t index) const {
  if (raw_) return {};
  const MimeBodyPart& part = tree.part(index);
  const char* const true_name = MimeGetTrueName(&part);
  // A decoded BinHex part is an AppleSingle file, which its name has to tell.
  if (SameText(part.contentSubtype, "mac-binhex40") && true_name != nullptr)
    return std::string(true_name) + ".as";
  return tree.NameOf(index);
}

std::string Extractor::Fallback(const MimeBodyPart& part, std::size_t index) const {
  std::string extension =
      part.contentType == nullptr
          ? ".txt"
          : ExtensionFor(part.contentType,
                         part.contentSubtype == nullptr ? "" : part.contentSubtype);
  if (raw_) extension = ".eml";
  return "part-" + std::to_string(index) + extension;
}

Written Extractor::ExtractPart(const Message822& message, const MessageTree& tree,
                               std::size_t index) {
  MimeBodyPart& part = tree.part(index);
  const bool cut_out = !raw_ && tree.HasEmbedded(index) && IsUnencoded(part);
  const LibraryFile body(cut_out ? MimeGetBodyWithNoEmbeddedAttachment(&part)
                                 : MimeGetBody(&part, raw_ ? 1 : 0, QOB_INVALID_OSHANDLE));
  if (!body) {
    throw Failure(ExitCode::kIo, "part " + std::to_string(index) +
                                     " cannot be written to the temporary directory: free some "
                                     "space, or set TMPDIR to another one");
  }
  Written file;
  file.part = index;
  file.type = TypeOf(part);
  file.name = WantedName(tree, index);
  file.bytes = sys::StatusOf(body.Path()).size_bytes;
  std::array<char, 32> prefix{};
  if (message.serial != 0) std::snprintf(prefix.data(), prefix.size(), "m%04zu-", message.serial);
  file.path = drop_.Drop(body.Path(), file.name, Fallback(part, index), prefix.data());
  return file;
}

void Extractor::Print(const Message822& message, const std::vector<Written>& files) const {
  if (json_) {
    for (const Written& file : files) PrintJson(message, file);
    return;
  }
  Out().Line(Visible(message.Label()) + ": " + std::to_string(files.size()) +
             (files.size() == 1 ? " file" : " files"));
  const auto row = [&](std::size_t i) -> Columns::Cells {
    const Written& file = files[i];
    return {std::to_string(file.part), std::to_string(file.bytes), Visible(file.type),
            Visible(file.path)};
  };
  Columns({"part", "size", "type", "file"}).Print(files.size(), row, Paint("never"));
}

void Extractor::PrintJson(const Message822& message, const Written& file) const {
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", message.file);
  line["message"] = message.in_file == 0 ? Json() : Json(message.in_file);
  line["part"] = file.part;
  PutText(&line, "type", file.type == "-" ? nullptr : file.type.c_str());
  PutText(&line, "name", file.name.empty() ? nullptr : file.name.c_str());
  PutText(&line, "path", file.path);
  line["size"] = file.bytes;
  line["raw"] = raw_;
  Out().Line(JsonText(line));
}

}  // namespace

ExitCode RunExtract(const Arguments& arguments) {
  if (arguments.Value("--output").empty())
    throw Failure(ExitCode::kUsage,
                  "extract: the folder for the files is missing: give it with -o DIR");
  Extractor extractor(arguments);
  const PrivateSite site(arguments.Has("--verbose"));
  MessageWalk walk(site, arguments.operands, arguments.Has("--recursive"));
  const ExitCode code = walk.Run([&](const Message822& message) { extractor.Extract(message); });
  Out().Flush();
  return code;
}

}  // namespace cli
