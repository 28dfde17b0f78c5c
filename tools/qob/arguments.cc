// The table of commands as a CLI11 application.
#include "arguments.h"

#include <memory>

#include <CLI/CLI.hpp>

#include "failure.h"
#include "help.h"
#include "mail/send_words.h"

namespace cli {
namespace {

// What the parser fills for one command; lives as long as the application that points into it.
struct Slots {
  const CommandRow* command = nullptr;
  CLI::App* app = nullptr;
  std::map<std::string, std::vector<std::string>, std::less<>> values;
  std::vector<std::string> operands;
};

constexpr int kManyOperands = 1 << 28;

void AddOption(const OptionRow& row, Slots* slots) {
  const std::string name(LongName(row));
  if (row.value[0] == '\0') {
    slots->app->add_flag_function(row.names,
                                  [slots, name](std::int64_t) { slots->values[name] = {"1"}; });
    return;
  }
  CLI::Option* const option = slots->app->add_option_function<std::vector<std::string>>(
      row.names,
      [slots, name](const std::vector<std::string>& given) { slots->values[name] = given; });
  option->expected(1)->allow_extra_args(false)->multi_option_policy(
      CLI::MultiOptionPolicy::TakeAll);
  if (row.offers == Offers::kWords) {
    option->check(CLI::IsMember(CLI::detail::split(row.words, ' ')));
  }
}

void AddCommand(const CommandRow& row, CLI::App* app, Slots* slots) {
  slots->command = &row;
  slots->app = app;
  app->set_help_flag();
  for (const OptionRow& option : row.options) AddOption(option, slots);
  app->add_option("operands", slots->operands)->expected(0, kManyOperands);
}

class Application {
 public:
  Application() : app_("qob") {
    app_.set_help_flag();
    app_.add_flag("-h,--help", help_);
    app_.add_flag("-V,--version", version_);
    for (const CommandRow& row : Commands()) {
      slots_.push_back(std::make_unique<Slots>());
      AddCommand(row, AppOf(row.name), slots_.back().get());
    }
  }

  bool Parse(int count, char** words, Arguments* arguments, std::string* printed);

 private:
  CLI::App* AppOf(const std::string& name);
  Slots* Chosen();
  std::string ChosenFamily();
  bool Finish(Slots* chosen, Arguments* arguments, std::string* printed);

  CLI::App app_;
  bool help_ = false;
  bool version_ = false;
  std::map<std::string, CLI::App*> families_;
  std::vector<std::unique_ptr<Slots>> slots_;
};

CLI::App* Application::AppOf(const std::string& name) {
  const std::size_t blank = name.find(' ');
  if (blank == std::string::npos) return app_.add_subcommand(name);
  const std::string family = name.substr(0, blank);
  CLI::App*& parent = families_[family];
  if (parent == nullptr) {
    parent = app_.add_subcommand(family);
    parent->set_help_flag();
    parent->add_flag("-h,--help", help_);
  }
  return parent->add_subcommand(name.substr(blank + 1));
}

Slots* Application::Chosen() {
  for (const auto& slots : slots_) {
    if (slots->app->parsed()) return slots.get();
  }
  return nullptr;
}

std::string Application::ChosenFamily() {
  for (const auto& [name, family] : families_) {
    if (family->parsed()) return name;
  }
  return {};
}

bool Application::Parse(int count, char** words, Arguments* arguments, std::string* printed) {
  try {
    app_.parse(count, words);
  } catch (const CLI::ParseError& error) {
    Slots* const chosen = Chosen();
    if (chosen != nullptr && chosen->values.count("--help") != 0) {
      *printed = CommandHelp(*chosen->command);
      return false;
    }
    const std::string command = chosen == nullptr ? ChosenFamily() : chosen->command->name;
    throw UsageFailure(error.what(), command);
  }
  if (version_) {
    *printed = VersionText();
    return false;
  }
  return Finish(Chosen(), arguments, printed);
}

bool Application::Finish(Slots* chosen, Arguments* arguments, std::string* printed) {
  if (chosen == nullptr) {
    const std::string family = ChosenFamily();
    if (!help_) throw UsageFailure("a command is missing", family);
    *printed = family.empty() ? MainHelp() : FamilyHelp(family);
    return false;
  }
  if (chosen->values.count("--help") != 0) {
    *printed = CommandHelp(*chosen->command);
    return false;
  }
  arguments->command = chosen->command;
  arguments->values = chosen->values;
  arguments->operands = chosen->operands;
  CheckOperands(*chosen->command, chosen->operands);
  return true;
}

}  // namespace

bool ParseArguments(int count, char** words, Arguments* arguments, std::string* printed) {
  if (const auto answer = mail::ParseMailWords(count, words, arguments, printed)) return *answer;
  Application application;
  return application.Parse(count, words, arguments, printed);
}

}  // namespace cli
