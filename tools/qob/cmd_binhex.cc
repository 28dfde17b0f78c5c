// qob binhex: BinHex 4.0 files, written and read by the library.
#include <cstring>

#include <qob3xapi/lineio.h>
#include <qob3xapi/macfile.h>
#include <qob3xapi/util.h>

#include "applesingle.h"
#include "commands.h"
#include "file_drop.h"
#include "input_file.h"
#include "json_line.h"
#include "library_log.h"
#include "output.h"
#include "output_file.h"
#include "utf8.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.binhex/1";
constexpr std::size_t kLongestMacName = 63;

std::string Owned(char* text) {
  const std::string copy = text == nullptr ? "" : text;
  FreeString(text);
  return copy;
}

std::string NativePath(const std::string& library_path) {
  return Owned(QOBNativePath(library_path.c_str()));
}

std::string FirstBytes(const std::string& path, std::size_t count) {
  sys::File file = sys::File::OpenToRead(path);
  std::string bytes(count, '\0');
  const std::ptrdiff_t got = file ? file.Read(bytes.data(), count) : 0;
  bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return bytes;
}

// ---- encode ----

std::string FourCharacters(const Arguments& arguments, const std::string& option) {
  const std::string code = arguments.Value(option, "????");
  if (code.size() != 4)
    throw Failure(ExitCode::kUsage,
                  "binhex encode: " + option + " " + code + ": give exactly four characters");
  return code;
}

// The plain file as the data fork of an AppleSingle file in the private directory.
std::string Wrapped(const PrivateSite& site, const std::string& path, MacFile mac) {
  const std::string wrapped = site.PathOf("applesingle");
  mac.data_bytes = static_cast<std::uint32_t>(sys::StatusOf(path).size_bytes);
  sys::File to = sys::File::CreateNew(wrapped);
  std::uint32_t copied = 0;
  bool done = to && to.Write(AppleSingleHead(mac));
  done = done && ForEachBlock(path, [&](std::string_view block) {
           copied += static_cast<std::uint32_t>(block.size());
           return to.Write(block);
         });
  done = done && copied == mac.data_bytes && to.Write(AppleSingleTail(mac)) && to.Close();
  if (!done) {
    throw Failure(ExitCode::kIo, wrapped +
                                     ": a temporary copy cannot be written: free some space, or "
                                     "set TMPDIR to another directory");
  }
  return wrapped;
}

// ---- decode ----

struct Forks {
  sys::File data;
  std::int64_t data_bytes = 0;
  std::int64_t resource_bytes = 0;
};

std::int32_t WriteData(void* context, const void* buffer, std::uint32_t count,
                       std::uint32_t* total) {
  Forks* const forks = static_cast<Forks*>(context);
  if (!forks->data.Write({static_cast<const char*>(buffer), count})) return -1;
  forks->data_bytes += count;
  *total += count;
  return 0;
}

std::int32_t CountResource(void* context, const void*, std::uint32_t count, std::uint32_t* total) {
  static_cast<Forks*>(context)->resource_bytes += count;
  *total += count;
  return 0;
}

bool BeginsBanner(std::string_view line) {
  static constexpr std::string_view kBanner = "(this file must be converted with binhex";
  if (line.size() < kBanner.size()) return false;
  for (std::size_t i = 0; i < kBanner.size(); ++i) {
    const char c = line[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != kBanner[i]) return false;
  }
  return true;
}

// Where the text behind the banner line starts; 0 when there is no banner.
std::int32_t TextStart(const std::string& path) {
  std::string line;
  std::int64_t position = 0;
  std::int64_t start = 0;
  ForEachBlock(path, [&](std::string_view block) {
    for (const char c : block) {
      ++position;
      if (c != '\n' && c != '\r') {
        if (line.size() < kLongestMacName) line += c;
        continue;
      }
      if (BeginsBanner(line)) {
        start = position;
        return false;
      }
      line.clear();
    }
    return true;
  });
  return static_cast<std::int32_t>(start);
}

std::string CodeText(std::uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(code >> shift & 0xFF);
  return text;
}

struct Decoded {
  std::string source;  // the file to place
  std::string name;
  std::string wanted;  // the name to place it under
  std::string type;
  std::string creator;
  std::int64_t resource_bytes = 0;
};

Failure NotBinHex(const std::string& operand) {
  return Failure(ExitCode::kData,
                 operand + ": no whole BinHex 4.0 text in it: " +
                     LibraryLog::Get().LastProblem("header, data or end are missing") +
                     ": get the file again, or give another one");
}

Decoded DecodeForks(const PrivateSite& site, const std::string& operand, const std::string& path) {
  Decoded decoded;
  Forks forks;
  decoded.source = site.PathOf("data");
  forks.data = sys::File::CreateNew(decoded.source);
  const std::int32_t start = TextStart(path);
  const std::int32_t count = static_cast<std::int32_t>(sys::StatusOf(path).size_bytes) - start;
  std::uint32_t type = 0;
  std::uint32_t creator = 0;
  std::uint32_t flags = 0;
  char* name = nullptr;
  const std::int32_t done = SplitBinHexForks(&forks, path.c_str(), start, count, WriteData,
                                             CountResource, &name, &type, &creator, &flags);
  decoded.name = Owned(name);
  const bool closed = forks.data.Close();
  if (forks.data.error() != 0 || !closed) {
    throw Failure(ExitCode::kIo, decoded.source +
                                     ": cannot be written: " + sys::ErrorText(forks.data.error()) +
                                     ": free some space, or set TMPDIR to another directory");
  }
  if (done != 0) throw NotBinHex(operand);
  decoded.wanted = decoded.name;
  decoded.type = CodeText(type);
  decoded.creator = CodeText(creator);
  decoded.resource_bytes = forks.resource_bytes;
  return decoded;
}

// Both forks as the library writes them.
void TakeAppleSingle(const std::string& operand, const std::string& path, Decoded* decoded) {
  const std::int32_t start = TextStart(path);
  const std::int32_t input = fileopen(path.c_str(), 0, 1);
  char* output = nullptr;
  char* name = nullptr;
  std::int32_t done = -1;
  if (input != -1) {
    setfpos(input, start);
    done = ConvertBinHexToAS(path.c_str(), input,
                             static_cast<std::int32_t>(sys::StatusOf(path).size_bytes) - start,
                             &output, &name);
    fileclose(input);
  }
  const std::string made = Owned(output);
  FreeString(name);
  if (done != 0) throw NotBinHex(operand);
  decoded->source = NativePath(made);
  decoded->wanted = decoded->name + ".as";
}

void PrintDecoded(const Arguments& arguments, const std::string& operand, const Decoded& decoded,
                  const std::string& path, std::int64_t size_bytes) {
  if (!arguments.Has("--json")) {
    Out().Line(Visible(operand) + ": " + Visible(path) + ": " + std::to_string(size_bytes) +
               " bytes, type " + Visible(decoded.type) + ", creator " + Visible(decoded.creator));
    return;
  }
  Json line;
  line["schema"] = kSchema;
  PutText(&line, "file", operand);
  PutText(&line, "name", decoded.name);
  PutText(&line, "path", path);
  line["size"] = size_bytes;
  line["applesingle"] = arguments.Has("--applesingle");
  line["resource_size"] = decoded.resource_bytes;
  PutText(&line, "type", decoded.type);
  PutText(&line, "creator", decoded.creator);
  Out().Line(JsonText(line));
}

}  // namespace

ExitCode RunBinHexEncode(const Arguments& arguments) {
  const std::string operand = arguments.operands.front();
  MacFile mac;
  mac.type = FourCharacters(arguments, "--type");
  mac.creator = FourCharacters(arguments, "--creator");
  mac.name = arguments.Value("--name", operand == "-" ? "untitled" : LastComponent(operand))
                 .substr(0, kLongestMacName);
  if (mac.name.empty())
    throw Failure(ExitCode::kUsage, "binhex encode: the name is empty: give one with --name");
  const PrivateSite site(arguments.Has("--verbose"));
  std::string path = LibraryPath(site, operand);
  if (!IsAppleSingle(FirstBytes(path, 4))) path = Wrapped(site, path, mac);
  char* made = nullptr;
  if (ConvertASToBinHex(path.c_str(), mac.name.c_str(), &made) != 0) {
    FreeString(made);
    throw Failure(ExitCode::kData,
                  operand + ": cannot be written as BinHex: " +
                      LibraryLog::Get().LastProblem("its AppleSingle header is damaged") +
                      ": check the file and the space in the temporary directory");
  }
  const std::string result = NativePath(Owned(made));
  DeliverOutput(result, arguments);
  Out().Flush();
  return ExitCode::kOk;
}

ExitCode RunBinHexDecode(const Arguments& arguments) {
  const std::string operand = arguments.operands.front();
  const PrivateSite site(arguments.Has("--verbose"));
  const std::string path = LibraryPath(site, operand);
  Decoded decoded = DecodeForks(site, operand, path);
  if (arguments.Has("--applesingle")) {
    TakeAppleSingle(operand, path, &decoded);
  } else if (decoded.resource_bytes != 0) {
    Message(operand + ": a resource fork of " + std::to_string(decoded.resource_bytes) +
            " bytes is left out; --applesingle keeps it");
  }
  const std::int64_t size_bytes = sys::StatusOf(decoded.source).size_bytes;
  FileDrop drop(arguments.Value("--output", "."), arguments.Has("--force"));
  const std::string placed = drop.Drop(decoded.source, decoded.wanted, "untitled");
  PrintDecoded(arguments, operand, decoded, placed, size_bytes);
  Out().Flush();
  return ExitCode::kOk;
}

}  // namespace cli
