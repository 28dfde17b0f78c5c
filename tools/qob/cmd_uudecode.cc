// qob uudecode: uuencoded blocks as files.
#include <qob3xapi/lineio.h>
#include <qob3xapi/util.h>

#include "commands.h"
#include "file_drop.h"
#include "input_file.h"
#include "json_line.h"
#include "library_log.h"
#include "output.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.uudecode/1";

// A line I/O handle of the library, closed with the object.
class Handle {
 public:
  explicit Handle(std::int32_t number) : number_(number) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (number_ != -1) fileclose(number_);
  }
  std::int32_t number() const { return number_; }
  explicit operator bool() const { return number_ != -1; }

 private:
  std::int32_t number_;
};

struct Block {
  bool complete = false;
  bool found = false;  // a begin line was there
  std::string name;
  std::int64_t bytes = 0;
};

class Decoder {
 public:
  Decoder(const Arguments& arguments, const PrivateSite& site)
      : site_(site),
        json_(arguments.Has("--json")),
        drop_(arguments.Value("--output", "."), arguments.Has("--force")) {}

  void Decode(const std::string& operand);

 private:
  Block Next(std::int32_t input) const;
  void Keep(const std::string& operand, const Block& block);

  const PrivateSite& site_;
  bool json_;
  FileDrop drop_;
  std::size_t number_ = 0;
};

Block Decoder::Next(std::int32_t input) const {
  const std::string path = site_.PathOf("block");
  Block block;
  {
    const Handle output(filecreate(path.c_str(), 0, 1));
    if (!output) {
      throw FatalFailure(
          ExitCode::kCantCreate,
          path + ": cannot be made: " + LibraryLog::Get().LastProblem("no reason given") +
              ": set TMPDIR to a directory that you can write");
    }
    char* name = nullptr;
    block.complete = uudecode(input, 0, output.number(), &name) == 1;
    if (name != nullptr) block.name = name;
    FreeString(name);
  }
  block.bytes = sys::StatusOf(path).size_bytes;
  block.found = block.complete || block.bytes != 0 || !block.name.empty();
  return block;
}

void Decoder::Keep(const std::string& operand, const Block& block) {
  const std::string path =
      drop_.Drop(site_.PathOf("block"), block.name, "block-" + std::to_string(++number_) + ".bin");
  if (!json_) {
    Out().Line(Visible(operand) + ": " + Visible(path) + ": " + std::to_string(block.bytes) +
               " bytes" + (block.complete ? "" : " [incomplete]"));
    return;
  }
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", operand);
  PutText(&line, "name", block.name.empty() ? nullptr : block.name.c_str());
  PutText(&line, "path", path);
  line["size"] = block.bytes;
  line["complete"] = block.complete;
  Out().Line(JsonText(line));
}

void Decoder::Decode(const std::string& operand) {
  const Handle input(fileopen(LibraryPath(site_, operand).c_str(), 0, 1));
  if (!input) {
    if (LibraryLog::Get().SawBusyFile())
      throw Failure(ExitCode::kTemporary, operand + ": another process holds it: try again later");
    throw Failure(ExitCode::kNoInput, operand + ": cannot be opened: " +
                                          LibraryLog::Get().LastProblem("no reason given") +
                                          ": check the file");
  }
  std::size_t blocks = 0;
  std::size_t incomplete = 0;
  for (Block block = Next(input.number()); block.found; block = Next(input.number())) {
    ++blocks;
    if (!block.complete) ++incomplete;
    Keep(operand, block);
  }
  sys::Remove(site_.PathOf("block"));
  if (blocks == 0)
    throw Failure(
        ExitCode::kData,
        operand + ": no uuencoded block in it (no line like 'begin 644 name'): give another file");
  if (incomplete != 0) {
    throw Failure(ExitCode::kData, operand + ": " + std::to_string(incomplete) +
                                       " of its blocks without an end line: what there is was "
                                       "written; get the rest of the file");
  }
}

}  // namespace

ExitCode RunUudecode(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  Decoder decoder(arguments, site);
  ExitCode code = ExitCode::kOk;
  for (const std::string& operand : arguments.operands) {
    LibraryLog::Get().Clear();
    try {
      decoder.Decode(operand);
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
