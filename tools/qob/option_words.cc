#include "option_words.h"

#include <algorithm>

#include "failure.h"

namespace cli {
namespace {

class Reader {
 public:
  Reader(const CommandRow& row, std::span<const std::string> words,
         std::span<const ForeignOption> foreign, bool table_first, Arguments* arguments)
      : row_(row), words_(words), foreign_(foreign), table_first_(table_first), to_(arguments) {}

  void Read() {
    while (at_ < words_.size()) {
      const std::string& word = words_[at_++];
      if (word == "--") {
        to_->operands.insert(to_->operands.end(), words_.begin() + static_cast<std::ptrdiff_t>(at_),
                             words_.end());
        return;
      }
      if (word.starts_with("--")) {
        Long(word);
      } else if (word.size() > 1 && word[0] == '-') {
        Short(word);
      } else {
        to_->operands.push_back(word);
      }
    }
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw Failure(ExitCode::kUsage, what + "; see 'qob " + row_.name + " --help'");
  }

  // The value behind an option, in the next word.
  const std::string& Value(const std::string& option) {
    if (at_ == words_.size()) Fail(option + ": its value is missing");
    return words_[at_++];
  }

  void Put(const OptionRow& option, const std::string& value) {
    const std::string name(LongName(option));
    if (option.value[0] == '\0') {
      to_->values[name] = {"1"};
    } else {
      to_->values[name].push_back(value);
    }
  }

  void Long(const std::string& word) {
    const std::size_t equals = std::min(word.find('='), word.size());
    const std::string name = word.substr(0, equals);
    for (const OptionRow& option : row_.options) {
      if (LongName(option) != name) continue;
      const bool has_value = option.value[0] != '\0';
      if (!has_value && equals < word.size()) Fail(name + " takes no value");
      const bool joined = equals < word.size();
      return Put(option, !has_value ? "" : joined ? word.substr(equals + 1) : Value(name));
    }
    Fail(name + " is no option of this command");
  }

  const OptionRow* InTable(char letter) const {
    for (const OptionRow& option : row_.options) {
      const std::string_view name = ShortName(option);
      if (name.size() == 2 && name[1] == letter) return &option;
    }
    return nullptr;
  }
  const ForeignOption* Foreign(char letter) const {
    for (const ForeignOption& option : foreign_) {
      if (option.letter == letter) return &option;
    }
    return nullptr;
  }

  void Short(const std::string& word) {
    for (std::size_t i = 1; i < word.size(); ++i) {
      const OptionRow* const own = InTable(word[i]);
      const ForeignOption* const foreign = Foreign(word[i]);
      const std::string name = {'-', word[i]};
      if (own == nullptr && foreign == nullptr) Fail(name + " is no option of this command");
      const bool use_own = own != nullptr && (table_first_ || foreign == nullptr);
      const bool has_value = use_own ? own->value[0] != '\0' : foreign->has_value;
      const std::string value = !has_value            ? ""
                                : i + 1 < word.size() ? word.substr(i + 1)
                                                      : Value(name);
      if (use_own) {
        Put(*own, value);
      } else {
        to_->values[name].push_back(value);
      }
      if (has_value) return;
    }
  }

  const CommandRow& row_;
  std::span<const std::string> words_;
  std::span<const ForeignOption> foreign_;
  bool table_first_;
  Arguments* to_;
  std::size_t at_ = 0;
};

}  // namespace

void ReadWords(const CommandRow& row, std::span<const std::string> words,
               std::span<const ForeignOption> foreign, bool table_first, Arguments* arguments) {
  arguments->command = &row;
  Reader(row, words, foreign, table_first, arguments).Read();
}

}  // namespace cli
