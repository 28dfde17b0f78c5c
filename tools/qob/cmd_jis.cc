// qob jis encode and decode: ISO-2022-JP made and read by the library, between files of people.
//
// The library makes ISO-2022-JP of a body file when it builds a message, and reads it where a
// message file is converted in place: so a text goes through both as a file of its own.
#include <algorithm>

#include <qob3xapi/japanese.h>
#include <qob3xapi/mimebuild.h>
#include <qob3xapi/util.h>

#include "commands.h"
#include "input_file.h"
#include "json_line.h"
#include "library_log.h"
#include "output.h"
#include "output_file.h"
#include "shift_jis_text.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.jis/1";
// The library takes a mark of so many bytes.
constexpr std::size_t kLongestMark = 31;

struct Text {
  std::string operand;
  std::string path;  // of the file that holds it
  std::int64_t bytes = 0;
};

Text TextOf(const Arguments& arguments, const PrivateSite& site) {
  Text text;
  text.operand = arguments.operands.empty() ? "-" : arguments.operands.front();
  text.path = LibraryPath(site, text.operand);
  text.bytes = sys::StatusOf(text.path).size_bytes;
  return text;
}

void CheckOptions(const Arguments& arguments) {
  const std::string out = arguments.Value("--output");
  if (arguments.Has("--json") && (out.empty() || out == "-")) {
    throw Failure(ExitCode::kUsage, std::string(arguments.command->name) +
                                        ": --json tells about the file that --output names: give "
                                        "one");
  }
}

bool IsUtf8Asked(const Arguments& arguments, const std::string& option) {
  return arguments.Value(option) == "utf-8";
}

// What goes from one file into a new one.
class Copy {
 public:
  explicit Copy(const std::string& path) : path_(path), file_(sys::File::CreateNew(path)) {
    if (!file_) throw Broken();
  }
  void Write(std::string_view bytes) {
    if (!file_.Write(bytes)) throw Broken();
    written_ += static_cast<std::int64_t>(bytes.size());
  }
  void Close() {
    if (!file_.Close()) throw Broken();
  }
  std::int64_t written() const { return written_; }

 private:
  Failure Broken() const {
    return Failure(ExitCode::kIo, "a temporary copy cannot be written to " + path_ + ": " +
                                      sys::ErrorText(file_.error()) +
                                      ": free some space, or set TMPDIR to another directory");
  }

  std::string path_;
  sys::File file_;
  std::int64_t written_ = 0;
};

template <typename Take>
void ReadAll(const std::string& operand, const std::string& path, Take take) {
  const bool read = ForEachBlock(path, [&](std::string_view block) {
    take(block);
    return true;
  });
  if (!read) throw Failure(ExitCode::kIo, operand + ": reading failed: check the disk it lies on");
}

void PrintJson(const Arguments& arguments, const char* action, const Text& text,
               std::int64_t written, std::size_t unconverted) {
  if (!arguments.Has("--json")) return;
  Json line;
  line["schema"] = kSchema;
  line["action"] = action;
  PutText(&line, "file", text.operand);
  PutText(&line, "path", arguments.Value("--output"));
  line["read"] = text.bytes;
  line["written"] = written;
  line["unconverted"] = unconverted;
  Out().Line(JsonText(line));
}

std::string Counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// ---- encode ----

std::string MarkOf(const Arguments& arguments) {
  if (!arguments.Has("--mark")) return {};
  std::string mark = arguments.Value("--mark");
  const bool ascii =
      std::all_of(mark.begin(), mark.end(), [](char c) { return c >= 32 && c < 127; });
  if (mark.empty() || mark.size() > kLongestMark || !ascii) {
    throw Failure(ExitCode::kUsage,
                  "--mark: give 1 to 31 printable ASCII characters to stand for each byte");
  }
  return mark;
}

// UTF-8 that has no place in the character set, where no mark stands for it.
Failure NoPlace(const std::string& operand, const Misfits& misfits) {
  std::string line = operand + ": line " + std::to_string(misfits.first_line) + ": " +
                     misfits.first + " cannot be written in ISO-2022-JP";
  if (misfits.count > 1) line += ", and " + std::to_string(misfits.count - 1) + " more characters";
  return Failure(ExitCode::kData, line + ": --mark TEXT writes TEXT for each");
}

// The text in Shift-JIS, between two line feeds that are taken away again: the library leaves a
// half-width katakana alone that is the very first or last byte.
void SpoolShiftJis(const Arguments& arguments, const Text& text, const std::string& mark,
                   Copy* copy) {
  copy->Write("\n");
  if (!IsUtf8Asked(arguments, "--from")) {
    ReadAll(text.operand, text.path, [&](std::string_view block) { copy->Write(block); });
  } else {
    const ShiftJisTable table;
    Utf8ToShiftJis converter(table, mark);
    std::string out;
    ReadAll(text.operand, text.path, [&](std::string_view block) {
      out.clear();
      converter.Take(block, &out);
      copy->Write(out);
    });
    out.clear();
    converter.Finish(&out);
    copy->Write(out);
    const Misfits& misfits = converter.misfits();
    if (misfits.count > 0 && mark.empty()) throw NoPlace(text.operand, misfits);
    if (misfits.count > 0) {
      Message(text.operand + ": " + Counted(misfits.count, "character") +
              " replaced by the mark, the first in line " + std::to_string(misfits.first_line) +
              ": " + misfits.first);
    }
  }
  copy->Write("\n");
  copy->Close();
}

// A message without any header: an empty line and the body.
std::string Build(const std::string& operand, const std::string& body) {
  std::string charset = "charset=ISO-2022-JP";
  ms parameter{charset.data(), nullptr};
  constexpr std::int32_t kNoHeaders = 2;
  char* const built =
      MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, "text", "plain", &parameter, "7bit",
                       nullptr, nullptr, body.c_str(), nullptr, kNoHeaders);
  char* const native = built == nullptr ? nullptr : QOBNativePath(built);
  const std::string path = native == nullptr ? "" : native;
  FreeString(native);
  FreeString(built);
  if (path.empty()) {
    throw Failure(ExitCode::kIo, operand + ": cannot be converted: " +
                                     LibraryLog::Get().LastProblem("no reason given") +
                                     ": check the space in the temporary directory");
  }
  return path;
}

// Bytes that stand between the empty line and the body, and behind it.
constexpr std::int64_t kFront = 3;
constexpr std::int64_t kBack = 1;

// The body alone; counts the bytes that are still no ISO-2022-JP.
Misfits Unwrap(const std::string& operand, const std::string& built, Copy* copy) {
  Misfits misfits;
  std::size_t line = 1;
  std::int64_t skip = kFront;
  std::int64_t left = sys::StatusOf(built).size_bytes - kFront - kBack;
  ReadAll(operand, built, [&](std::string_view block) {
    const auto dropped = std::min<std::int64_t>(skip, static_cast<std::int64_t>(block.size()));
    block.remove_prefix(static_cast<std::size_t>(dropped));
    skip -= dropped;
    block = block.substr(0, static_cast<std::size_t>(std::clamp<std::int64_t>(
                                left, 0, static_cast<std::int64_t>(block.size()))));
    left -= static_cast<std::int64_t>(block.size());
    for (const char c : block) {
      if (c == '\n') ++line;
      if ((static_cast<unsigned char>(c) & 0x80) == 0) continue;
      if (misfits.count++ == 0) misfits.first_line = line;
    }
    copy->Write(block);
  });
  copy->Close();
  return misfits;
}

// ---- decode ----

Misfits Utf8Of(const std::string& operand, const std::string& path, Copy* copy) {
  const ShiftJisTable table;
  ShiftJisToUtf8 converter(table);
  std::string out;
  ReadAll(operand, path, [&](std::string_view block) {
    out.clear();
    converter.Take(block, &out);
    copy->Write(out);
  });
  out.clear();
  converter.Finish(&out);
  copy->Write(out);
  copy->Close();
  return converter.misfits();
}

void Convert(const Text& text, const std::string& path) {
  if (CheckJapanese(path.c_str()) == 0) return;
  throw Failure(ExitCode::kIo, text.operand + ": cannot be converted: " +
                                   LibraryLog::Get().LastProblem("no reason given") +
                                   ": check the space in the temporary directory");
}

}  // namespace

ExitCode RunJisEncode(const Arguments& arguments) {
  CheckOptions(arguments);
  const std::string mark = MarkOf(arguments);
  const PrivateSite site(arguments.Has("--verbose"));
  // In quotes, so that blanks around it and quotes of its own stay.
  site.Set("Options", "InvalidCharacterMark", mark.empty() ? "" : "\"" + mark + "\"");
  const Text text = TextOf(arguments, site);
  const std::string body = site.PathOf("body");
  Copy spooled(body);
  SpoolShiftJis(arguments, text, mark, &spooled);
  const std::string result = site.PathOf("result");
  Copy copy(result);
  const Misfits left = Unwrap(text.operand, Build(text.operand, body), &copy);
  DeliverOutput(result, arguments);
  PrintJson(arguments, "encode", text, copy.written(), left.count);
  Out().Flush();
  if (left.count == 0) return ExitCode::kOk;
  throw Failure(ExitCode::kData, text.operand + ": " + Counted(left.count, "byte") +
                                     (left.count == 1 ? " is" : " are") +
                                     " no Shift-JIS and left as they were, the first in line " +
                                     std::to_string(left.first_line) +
                                     ": --mark TEXT writes TEXT for each");
}

ExitCode RunJisDecode(const Arguments& arguments) {
  CheckOptions(arguments);
  const bool utf8 = IsUtf8Asked(arguments, "--to");
  const PrivateSite site(arguments.Has("--verbose"));
  site.Set("Options", "ScanForJIS", "YES");
  site.Set("Options", "RepairDamagedJIS", arguments.Has("--repair") ? "YES" : "NO");
  const Text text = TextOf(arguments, site);
  std::string result = site.PathOf("text");
  Copy copy(result);
  ReadAll(text.operand, text.path, [&](std::string_view block) { copy.Write(block); });
  copy.Close();
  Convert(text, result);
  Misfits misfits;
  if (utf8) {
    const std::string shift_jis = std::exchange(result, site.PathOf("result"));
    Copy converted(result);
    misfits = Utf8Of(text.operand, shift_jis, &converted);
  }
  const std::int64_t written = sys::StatusOf(result).size_bytes;
  DeliverOutput(result, arguments);
  PrintJson(arguments, "decode", text, written, misfits.count);
  Out().Flush();
  if (misfits.count == 0) return ExitCode::kOk;
  throw Failure(ExitCode::kData, text.operand + ": " + std::to_string(misfits.count) +
                                     " places hold no character and became U+FFFD, the first in "
                                     "line " +
                                     std::to_string(misfits.first_line) + ": " + misfits.first +
                                     ": check where the text comes from");
}

}  // namespace cli
