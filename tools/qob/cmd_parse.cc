// qob parse: the parts of messages.
#include "commands.h"
#include "encoded_text.h"
#include "json_line.h"
#include "library_log.h"
#include "message_tree.h"
#include "message_walk.h"
#include "output.h"
#include "parameters.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.parse/1";
constexpr std::size_t kShownProblems = 3;

// Where a part lies in the user's file.
struct Place {
  std::int64_t start;
  std::int64_t body;
  std::int64_t end;
};

std::vector<Place> PlacesOf(const MessageTree& tree, const WorkingCopy& copy) {
  std::vector<std::int64_t> positions;
  for (std::size_t i = 0; i < tree.size(); ++i) {
    const MimeBodyPart& part = tree.part(i);
    positions.insert(positions.end(), {part.contentStart, part.bodyStart, part.contentEnd});
  }
  const std::vector<std::int64_t> mapped = copy.InUserFile(positions);
  std::vector<Place> places;
  for (std::size_t i = 0; i < tree.size(); ++i)
    places.push_back({mapped[3 * i], mapped[3 * i + 1], mapped[3 * i + 2]});
  return places;
}

std::string TextOr(const char* text, const char* otherwise) {
  return text == nullptr || text[0] == '\0' ? otherwise : Visible(text);
}

std::string TypeText(const MimeBodyPart& part) {
  if (part.contentType == nullptr) return "(no type)";
  std::string type = Visible(part.contentType);
  if (part.contentSubtype != nullptr) type += "/" + Visible(part.contentSubtype);
  return type;
}

class Printer {
 public:
  Printer(const Arguments& arguments)
      : json_(arguments.Has("--json")),
        tree_options_{arguments.Has("--plain"), arguments.Has("--keep-messages")},
        paint_(arguments.Value("--color", "auto")) {}

  void Print(const Message822& message) {
    const MessageTree tree(*message.copy, tree_options_);
    const std::vector<Place> places = PlacesOf(tree, *message.copy);
    if (json_) {
      PrintJson(message, tree, places);
    } else {
      PrintPlain(message, tree, places);
    }
  }

 private:
  void PrintPlain(const Message822& message, const MessageTree& tree,
                  const std::vector<Place>& places);
  void PrintJson(const Message822& message, const MessageTree& tree,
                 const std::vector<Place>& places) const;
  static std::vector<std::string> Row(const MessageTree& tree, const std::vector<Place>& places,
                                      std::size_t index);
  static Json PartJson(const MessageTree& tree, const Place& place, std::size_t index);
  static void TellProblems(const Message822& message);

  bool json_;
  TreeOptions tree_options_;
  Paint paint_;
  bool first_ = true;
};

std::vector<std::string> Printer::Row(const MessageTree& tree, const std::vector<Place>& places,
                                      std::size_t index) {
  const MimeBodyPart& part = tree.part(index);
  const Place& place = places[index];
  const std::string name = Visible(tree.NameOf(index));
  const std::string type = std::string(2 * tree.depth(index), ' ') + TypeText(part);
  return {std::to_string(index),
          tree.unclosed(index) ? type + " [unclosed]" : type,
          TextOr(part.contentTransferEncoding, "-"),
          TextOr(part.contentDisposition, "-"),
          std::to_string(place.body),
          std::to_string(place.start) + "-" + std::to_string(place.end),
          name.empty() ? "-" : name};
}

void Printer::PrintPlain(const Message822& message, const MessageTree& tree,
                         const std::vector<Place>& places) {
  if (!first_) Out().Line("");
  first_ = false;
  const std::string count = std::to_string(tree.size()) + (tree.size() == 1 ? " part" : " parts");
  Out().Line(paint_.Bold(Visible(message.Label())) + ": " + count);
  const Columns columns({"part", "type", "encoding", "disposition", "body", "bytes", "name"});
  columns.Print(
      tree.size(), [&](std::size_t index) { return Row(tree, places, index); }, paint_);
  TellProblems(message);
}

void Printer::TellProblems(const Message822& message) {
  const LibraryLog& log = LibraryLog::Get();
  std::size_t shown = 0;
  for (const std::string& problem : log.problems()) {
    if (shown++ == kShownProblems) break;
    Message(message.Label() + ": " + problem);
  }
  if (log.problem_count() > kShownProblems) {
    Message(message.Label() + ": " + std::to_string(log.problem_count() - kShownProblems) +
            " more problems; --verbose shows all");
  }
}

Json ParametersJson(const ms* chain) {
  Json list = Json::array();
  for (const Parameter& parameter : ParametersOf(chain)) {
    Json row;
    PutText(&row, "attribute", parameter.attribute);
    PutText(&row, "value", parameter.value);
    list.push_back(std::move(row));
  }
  return list;
}

Json Printer::PartJson(const MessageTree& tree, const Place& place, std::size_t index) {
  const MimeBodyPart& part = tree.part(index);
  Json row;
  row["part"] = index;
  row["parent"] = tree.parent(index) == MessageTree::kNone ? Json() : Json(tree.parent(index));
  row["depth"] = tree.depth(index);
  row["container"] = tree.IsContainer(index);
  row["unclosed"] = tree.unclosed(index);
  PutText(&row, "type", part.contentType);
  PutText(&row, "subtype", part.contentSubtype);
  row["parameters"] = ParametersJson(part.contentTypeParams);
  PutText(&row, "encoding", part.contentTransferEncoding);
  PutText(&row, "disposition", part.contentDisposition);
  row["disposition_parameters"] = ParametersJson(part.contentDispositionParams);
  PutText(&row, "id", part.contentId);
  PutText(&row, "description", part.contentDescription);
  const std::string name = tree.NameOf(index);
  PutText(&row, "name", name.empty() ? nullptr : name.c_str());
  row["start"] = place.start;
  row["body"] = place.body;
  row["end"] = place.end;
  return row;
}

// The parts are written one by one into the line, so that a message of a million parts needs no
// tree of all of them.
void Printer::PrintJson(const Message822& message, const MessageTree& tree,
                        const std::vector<Place>& places) const {
  Json head;
  head["schema"] = kSchema;
  PutText(&head, "file", message.file);
  head["message"] = message.in_file == 0 ? Json() : Json(message.in_file);
  head["start"] = message.range.start;
  head["end"] = message.range.end;
  head["line_ends"] = message.copy->converted() ? "converted" : "kept";
  head["problems"] = Json::array();
  for (const std::string& problem : LibraryLog::Get().problems())
    head["problems"].push_back(Repaired(problem));
  std::string line = JsonText(head);
  line.back() = ',';
  Out().Write(line + "\"parts\":[");
  for (std::size_t i = 0; i < tree.size(); ++i) {
    Out().Write((i == 0 ? "" : ",") + JsonText(PartJson(tree, places[i], i)));
  }
  Out().Line("]}");
}

}  // namespace

ExitCode RunParse(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  MessageWalk walk(site, arguments.operands, arguments.Has("--recursive"));
  Printer printer(arguments);
  const ExitCode code = walk.Run([&](const Message822& message) { printer.Print(message); });
  Out().Flush();
  return code;
}

}  // namespace cli
