#include "text_input.h"

#include <array>
#include <string_view>

#include "output.h"
#include "system.h"
#include "utf8.h"

namespace cli {
namespace {

// How much of a text stands in the message about it.
constexpr std::size_t kShownBytes = 60;

std::string Shown(const std::string& text) {
  return text.size() <= kShownBytes ? "\"" + text + "\""
                                    : "\"" + Repaired(text.substr(0, kShownBytes)) + "...\"";
}

class Reader {
 public:
  explicit Reader(const std::function<void(const std::string&)>& visit) : visit_(visit) {}

  void Take(const std::string& text);
  void TakeStandardInput();
  ExitCode code() const { return code_; }

 private:
  const std::function<void(const std::string&)>& visit_;
  ExitCode code_ = ExitCode::kOk;
};

void Reader::Take(const std::string& text) {
  try {
    if (text.find('\0') != std::string::npos)
      throw Failure(ExitCode::kData, "holds a NUL byte: give text");
    visit_(text);
  } catch (const FatalFailure&) {
    throw;
  } catch (const Failure& failure) {
    Message(Shown(text) + ": " + failure.what());
    if (code_ == ExitCode::kOk) code_ = failure.code();
  }
}

void Reader::TakeStandardInput() {
  sys::File input = sys::File::StandardInput();
  std::array<char, 65536> block;
  std::string line;
  std::ptrdiff_t got = 0;
  const auto take_line = [&] {
    if (line.ends_with('\r')) line.pop_back();
    Take(line);
    line.clear();
  };
  while ((got = input.Read(block.data(), block.size())) > 0) {
    std::string_view bytes(block.data(), static_cast<std::size_t>(got));
    for (std::size_t feed = bytes.find('\n'); feed != std::string_view::npos;
         feed = bytes.find('\n')) {
      line += bytes.substr(0, feed);
      bytes.remove_prefix(feed + 1);
      take_line();
    }
    line += bytes;
  }
  if (got < 0)
    throw Failure(ExitCode::kIo, "-: reading failed: " + sys::ErrorText(input.error()) +
                                     ": check where the input comes from");
  if (!line.empty()) take_line();
}

}  // namespace

ExitCode ForEachText(const std::vector<std::string>& operands,
                     const std::function<void(const std::string&)>& visit) {
  Reader reader(visit);
  for (const std::string& operand : operands) {
    if (operand == "-") {
      reader.TakeStandardInput();
    } else {
      reader.Take(operand);
    }
  }
  return reader.code();
}

}  // namespace cli
