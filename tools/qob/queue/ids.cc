#include "ids.h"

#include <array>
#include <unordered_set>

#include "../failure.h"
#include "../system.h"
#include "platform/spool/names.h"

namespace cli::queue {
namespace {

constexpr std::string_view kStandardInput = "-";
// No line of ids is longer; what is longer is no id and is not kept whole.
constexpr std::size_t kLongestLine = 200;

// Lines of standard input, one after the other.
class LineReader {
 public:
  // False at the end. The line is cut where it is longer than any id.
  bool Next(std::string* line);
  std::size_t number() const { return number_; }

 private:
  bool Fill();

  sys::File input_ = sys::File::StandardInput();
  std::array<char, 16384> block_{};
  std::size_t at_ = 0;
  std::size_t end_ = 0;
  std::size_t number_ = 0;
};

bool LineReader::Fill() {
  const std::ptrdiff_t got = input_.Read(block_.data(), block_.size());
  if (got < 0) {
    throw Failure(ExitCode::kIo,
                  "standard input: reading failed: " + sys::ErrorText(input_.error()));
  }
  at_ = 0;
  end_ = static_cast<std::size_t>(got);
  return got > 0;
}

bool LineReader::Next(std::string* line) {
  line->clear();
  bool any = false;
  while (at_ < end_ || Fill()) {
    any = true;
    const char c = block_[at_++];
    if (c == '\n') break;
    if (line->size() < kLongestLine) *line += c;
  }
  if (any) ++number_;
  return any;
}

std::string_view Trimmed(std::string_view line) {
  const std::size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

// Ids in the order in which they come, each once.
class IdCollector {
 public:
  explicit IdCollector(std::vector<std::uint32_t>* ids) : ids_(ids) {}

  void Add(std::uint32_t id) {
    if (seen_.insert(id).second) ids_->push_back(id);
  }
  void AddLines();

 private:
  std::vector<std::uint32_t>* ids_;
  std::unordered_set<std::uint32_t> seen_;
};

void IdCollector::AddLines() {
  LineReader reader;
  std::string line;
  while (reader.Next(&line)) {
    const std::string_view text = Trimmed(line);
    if (text.empty()) continue;
    const auto id = qob::spool::ReadId(text);
    if (!id.has_value()) {
      throw Failure(ExitCode::kData, "standard input, line " + std::to_string(reader.number()) +
                                         ": \"" + std::string(text) +
                                         "\" is no id: give eight hexadecimal digits on each line");
    }
    Add(*id);
  }
}

// Adds the word's ids; false when it is neither an id nor standard input.
bool AddWord(const std::string& word, IdCollector* collector) {
  if (word == kStandardInput) {
    collector->AddLines();
    return true;
  }
  const auto id = qob::spool::ReadId(word);
  if (id.has_value()) collector->Add(*id);
  return id.has_value();
}

}  // namespace

std::string IdText(std::uint32_t id) {
  std::string text;
  for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[id >> shift & 15];
  return text;
}

Operands ReadOperands(const std::vector<std::string>& words) {
  Operands operands;
  IdCollector collector(&operands.ids);
  auto word = words.begin();
  for (; word != words.end() && AddWord(*word, &collector); ++word) operands.has_ids = true;
  for (; word != words.end(); ++word) {
    if (!operands.filter.empty()) operands.filter += ' ';
    operands.filter += *word;
  }
  return operands;
}

std::vector<std::uint32_t> ReadIds(const std::vector<std::string>& words) {
  std::vector<std::uint32_t> ids;
  IdCollector collector(&ids);
  for (const std::string& word : words) {
    if (!AddWord(word, &collector)) {
      throw Failure(ExitCode::kUsage,
                    "\"" + word +
                        "\" is no id: give eight hexadecimal digits, as 'qob queue list' "
                        "shows them, or - for standard input");
    }
  }
  return ids;
}

}  // namespace cli::queue
