// qob jis check: message files converted in place, as programs of the site convert received mail.
// The library works on a copy; the file itself is replaced in one step when the copy is whole.
#include <array>

#include <qob3xapi/frame.h>
#include <qob3xapi/japanese.h>

#include "commands.h"
#include "input_file.h"
#include "json_line.h"
#include "library_log.h"
#include "output.h"
#include "output_file.h"
#include "system_replace.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.jis-check/1";

enum class Result { kConverted, kUnchanged, kWould };
constexpr const char* kResultWords[] = {"converted", "unchanged", "would"};

std::string Upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  return text;
}

std::string Setting(const char* section, const char* key, const char* otherwise) {
  std::array<char, 64> value{};
  QOBGetPrivateProfileString(section, key, otherwise, value.data(), value.size(), kProfileName);
  return Upper(value.data());
}

// As the library judges it.
bool SiteConverts() {
  const bool local = Setting("Gateway", "LocalCharSet", "") == "ISO-2022-JP";
  return Setting("Options", "ScanForJIS", local ? "YES" : "NO") != "NO";
}

bool SameBytes(const std::string& left, const std::string& right) {
  if (sys::StatusOf(left).size_bytes != sys::StatusOf(right).size_bytes) return false;
  sys::File other = sys::File::OpenToRead(right);
  std::string block;
  return other && ForEachBlock(left, [&](std::string_view bytes) {
           block.resize(bytes.size());
           std::size_t have = 0;
           while (have < block.size()) {
             const std::ptrdiff_t got = other.Read(block.data() + have, block.size() - have);
             if (got <= 0) return false;
             have += static_cast<std::size_t>(got);
           }
           return block == bytes;
         });
}

class Checker {
 public:
  Checker(const Arguments& arguments, const PrivateSite& site)
      : site_(site), json_(arguments.Has("--json")), dry_(arguments.Has("--dry-run")) {}

  void Check(const std::string& operand);

 private:
  void Replace(const std::string& operand, const sys::Original& original,
               const std::string& copy) const;
  void Tell(const std::string& operand, Result result, std::int64_t before,
            std::int64_t after) const;

  const PrivateSite& site_;
  bool json_;
  bool dry_;
};

sys::Original OriginalOf(const std::string& operand) {
  int error = 0;
  const std::optional<sys::Original> original = sys::LookAtOriginal(operand, &error);
  if (original.has_value()) return *original;
  if (error == 0)
    throw Failure(ExitCode::kNoInput, operand + ": not a file: only files are converted in place");
  const Failure failure = Unreadable(error);
  throw Failure(failure.code(), operand + ": " + failure.what());
}

void Checker::Replace(const std::string& operand, const sys::Original& original,
                      const std::string& copy) const {
  const int error = sys::ReplaceOriginal(original, copy);
  if (error == 0) return;
  if (sys::IsChangedMeanwhile(error)) {
    throw Failure(ExitCode::kTemporary,
                  operand + ": it changed while it was converted: left as it is: try again");
  }
  const ExitCode code = sys::IsPermission(error) ? ExitCode::kNoPermission : ExitCode::kCantCreate;
  throw Failure(code, operand + ": cannot be replaced: " + sys::ErrorText(error) +
                          ": left as it is: run as its owner, with the right to write in its "
                          "directory");
}

void Checker::Tell(const std::string& operand, Result result, std::int64_t before,
                   std::int64_t after) const {
  const char* const word = kResultWords[static_cast<int>(result)];
  if (!json_) {
    std::string text = Visible(operand) + ": ";
    text += result == Result::kUnchanged
                ? "unchanged, " + std::to_string(before) + " bytes"
                : (result == Result::kWould ? "would be converted, " : "converted, ") +
                      std::to_string(before) + " to " + std::to_string(after) + " bytes";
    return Out().Line(text);
  }
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", operand);
  line["result"] = word;
  line["before"] = before;
  line["after"] = after;
  Out().Line(JsonText(line));
}

void Checker::Check(const std::string& operand) {
  const sys::Original original = OriginalOf(operand);
  const std::string copy = site_.PathOf("copy");
  sys::Remove(copy);
  sys::File file = sys::File::OpenToRead(original.path);
  try {
    if (!file) throw Unreadable(file.error());
    Spool(std::move(file), copy);
  } catch (const Failure& failure) {
    throw Failure(failure.code(), operand + ": " + failure.what());
  }
  if (CheckJapanese(copy.c_str()) != 0) {
    throw Failure(ExitCode::kIo, operand + ": cannot be converted: " +
                                     LibraryLog::Get().LastProblem("no reason given") +
                                     ": left as it is: check the space in the temporary directory");
  }
  const std::int64_t after = sys::StatusOf(copy).size_bytes;
  if (SameBytes(original.path, copy)) return Tell(operand, Result::kUnchanged, after, after);
  if (!dry_) Replace(operand, original, copy);
  Tell(operand, dry_ ? Result::kWould : Result::kConverted, original.size_bytes, after);
}

}  // namespace

ExitCode RunJisCheck(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  if (arguments.Has("--always")) site.Set("Options", "ScanForJIS", "YES");
  if (arguments.Has("--repair")) site.Set("Options", "RepairDamagedJIS", "YES");
  if (!SiteConverts()) {
    Message(
        "this site leaves received mail as it is ([Options] ScanForJIS): nothing is converted "
        "without --always");
  }
  Checker checker(arguments, site);
  ExitCode code = ExitCode::kOk;
  for (const std::string& operand : arguments.operands) {
    LibraryLog::Get().Clear();
    try {
      checker.Check(operand);
    } catch (const FatalFailure&) {
      throw;
    } catch (const Failure& failure) {
      Message(failure.what());
      if (code == ExitCode::kOk) code = failure.code();
    }
  }
  Out().Flush();
  return code;
}

}  // namespace cli
