// Profile files: any bytes parse; every listed key is found; an edit is read back and changes
// nothing else.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os/ascii.h"
#include "platform/os/profile_lines.h"
#include "platform/os/profile_text.h"

namespace {

using qob::os::EditProfile;
using qob::os::ProfileText;

void Require(bool holds) {
  if (!holds) std::abort();
}

// What a reader sees: the first value of each key of the first section of each name.
std::vector<std::string> Readings(const ProfileText& text) {
  std::vector<std::string> all;
  for (std::string_view section : text.Sections()) {
    for (std::string_view key : text.Keys(section)) {
      std::string_view value;
      Require(text.Find(section, key, &value));
      Require(text.FindExact(section, key, "", &value));
      all.push_back(std::string(section) + "\n" + std::string(key) + "\n" + std::string(value));
    }
  }
  return all;
}

// Names that stand in a file as they are asked for.
bool IsPlainName(std::string_view name) {
  return !name.empty() && name.find_first_of("[]=;\r\n") == std::string_view::npos &&
         qob::ascii::Trim(name).size() == name.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  // section LF key LF value LF file text
  std::string_view rest = input;
  std::string_view end;
  const std::string_view section = qob::os::TakeProfileLine(&rest, &end);
  const std::string_view key = qob::os::TakeProfileLine(&rest, &end);
  const std::string_view value = qob::os::TakeProfileLine(&rest, &end);

  const ProfileText before{std::string(rest)};
  const std::vector<std::string> old_readings = Readings(before);
  std::string_view found;
  before.Find(section, key, &found);
  before.FindExact(section, key, value, &found);

  if (!IsPlainName(section) || !IsPlainName(key)) return 0;
  const std::string set = EditProfile(rest, section, &key, &value);
  const ProfileText after(set);
  Require(after.Find(section, key, &found));
  Require(found == qob::os::ProfileValue(value));
  Require(EditProfile(set, section, &key, &value) == set);

  const std::string gone = EditProfile(rest, section, nullptr, nullptr);
  Require(gone.size() <= rest.size());
  const std::string less = EditProfile(set, section, &key, nullptr);
  Require(less.size() < set.size());
  if (!before.Find(section, key, &found)) {
    // What was added and taken away again leaves the readings as they were.
    Require(Readings(ProfileText(less)) == old_readings || before.Sections().empty() ||
            before.Keys(section).empty());
  }
  return 0;
}
