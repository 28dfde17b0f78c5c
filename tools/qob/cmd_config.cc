// qob config show, get and set: the values of the site's configuration and where they come from.
#include <qob3xapi/frame.h>

#include "commands.h"
#include "json_line.h"
#include "output.h"
#include "site_profile.h"
#include "system.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.config/1";

// One value in effect.
struct Setting {
  std::string section;
  std::string key;
  std::string value;
  const ProfileEntry* entry = nullptr;  // null: the default
  bool known = true;
  bool cut = false;
  bool has_default = false;
};

Setting SettingOf(const SiteProfile& profile, const KeyRow& row) {
  Setting setting;
  setting.section = row.section;
  setting.key = row.key;
  setting.value = profile.Value(row);
  setting.entry = EntryOf(profile.scan(), row);
  setting.cut = setting.entry != nullptr && setting.entry->value.size() > row.buffer_bytes - 1;
  setting.has_default = row.default_value[0] != '\0';
  return setting;
}

Setting SettingOf(const SiteProfile& profile, const std::string& section, const std::string& key) {
  const KeyRow* const row = FindKey(section, key);
  if (row != nullptr) return SettingOf(profile, *row);
  Setting setting;
  setting.section = section;
  setting.key = key;
  setting.entry = EntryOf(profile.scan(), section, key);
  setting.value = profile.Value(section, key);
  setting.known = false;
  return setting;
}

std::string OriginText(const Setting& setting) {
  if (setting.entry != nullptr) return "line " + std::to_string(setting.entry->line);
  return setting.has_default ? "default" : "not set";
}

void PrintJson(const SiteProfile& profile, const Setting& setting) {
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", profile.path());
  PutText(&line, "section", setting.section);
  PutText(&line, "key", setting.key);
  PutText(&line, "value", setting.value);
  line["origin"] = setting.entry != nullptr ? "file" : setting.has_default ? "default" : "unset";
  line["line"] = setting.entry == nullptr ? Json() : Json(setting.entry->line);
  line["cut"] = setting.cut;
  line["known"] = setting.known;
  Out().Line(JsonText(line));
}

std::vector<Setting> AllSettings(const SiteProfile& profile, bool with_unset) {
  std::vector<Setting> settings;
  for (const KeyRow& row : KnownKeys()) {
    Setting setting = SettingOf(profile, row);
    if (with_unset || setting.entry != nullptr || setting.has_default)
      settings.push_back(std::move(setting));
  }
  return settings;
}

void CheckOperand(const std::string& what, const std::string& text) {
  if (text.find_first_of("\r\n") != std::string::npos || text.empty()) {
    throw Failure(ExitCode::kUsage,
                  "config: " + what + " is empty or holds a line end: give one line of text");
  }
}

void RefuseDoubtful(const Arguments& arguments, const std::string& section, const std::string& key,
                    const std::string& value) {
  if (arguments.Has("--force")) return;
  const KeyRow* const row = FindKey(section, key);
  if (row == nullptr) {
    throw Failure(ExitCode::kUsage,
                  "config set: nothing reads [" + section + "] " + key +
                      ": 'qob config show --all' lists the keys; --force writes it all the same");
  }
  if (value.size() > row->buffer_bytes - 1) {
    throw Failure(ExitCode::kUsage, "config set: the value is " + std::to_string(value.size()) +
                                        " bytes long and would be cut to " +
                                        std::to_string(row->buffer_bytes - 1) +
                                        ": give a shorter one; --force writes it all the same");
  }
}

// Why could the file not be written?
Failure CannotWrite(const std::string& path) {
  const std::string folder = path.substr(0, path.find_last_of('/'));
  const sys::Status status = sys::StatusOf(folder.empty() ? "/" : folder);
  if (status.kind == sys::Kind::kMissing) {
    return {ExitCode::kCantCreate, path + ": cannot be written: " + sys::ErrorText(status.error) +
                                       ": make the directory " + folder + " first"};
  }
  return {ExitCode::kNoPermission,
          path + ": cannot be written: the file or its directory refuses it: run as its owner"};
}

}  // namespace

ExitCode RunConfigShow(const Arguments& arguments) {
  const SiteProfile profile(arguments);
  const std::vector<Setting> settings = AllSettings(profile, arguments.Has("--all"));
  if (arguments.Has("--json")) {
    for (const Setting& setting : settings) PrintJson(profile, setting);
  } else {
    Out().Line(Visible(profile.path()) + " (" + profile.chosen_by() +
               (profile.exists() ? ")" : ", does not exist)"));
    const auto row = [&](std::size_t i) -> Columns::Cells {
      const Setting& setting = settings[i];
      return {setting.section, setting.key, OriginText(setting),
              Visible(setting.value) + (setting.cut ? " [cut]" : "")};
    };
    Columns({"section", "key", "origin", "value"}).Print(settings.size(), row, Paint("never"));
  }
  Out().Flush();
  return ExitCode::kOk;
}

ExitCode RunConfigGet(const Arguments& arguments) {
  const SiteProfile profile(arguments);
  const std::string& section = arguments.operands[0];
  const std::string& key = arguments.operands[1];
  const Setting setting = SettingOf(profile, section, key);
  if (setting.entry == nullptr && !setting.known) {
    throw Failure(ExitCode::kConfig, profile.path() + ": [" + section + "] " + key +
                                         " is not set and no part of the system knows it: 'qob "
                                         "config show --all' lists the keys");
  }
  if (arguments.Has("--json")) {
    PrintJson(profile, setting);
  } else {
    Out().Line(setting.value);
  }
  Out().Flush();
  return ExitCode::kOk;
}

ExitCode RunConfigSet(const Arguments& arguments) {
  const bool unset = arguments.Has("--unset");
  if (unset != (arguments.operands.size() == 2)) {
    throw Failure(ExitCode::kUsage,
                  unset ? "config set: --unset takes no value: leave one of them out"
                        : "config set: the value is missing: give one, or --unset");
  }
  const std::string& section = arguments.operands[0];
  const std::string& key = arguments.operands[1];
  const std::string value = unset ? std::string() : arguments.operands[2];
  CheckOperand("the section", section);
  CheckOperand("the key", key);
  if (!value.empty()) CheckOperand("the value", value);
  if (!unset) RefuseDoubtful(arguments, section, key, value);
  const SiteProfile profile(arguments);
  if (unset && EntryOf(profile.scan(), section, key) == nullptr) return ExitCode::kOk;
  const char* const written = unset ? nullptr : value.c_str();
  if (QOBWritePrivateProfileString(section.c_str(), key.c_str(), written, profile.path().c_str()) ==
      0)
    throw CannotWrite(profile.path());
  return ExitCode::kOk;
}

}  // namespace cli
