// A message from a file: the tree must be sound, every part must come out as the bytes of its
// range, nothing may be left behind.
//
// The first byte chooses the options: bit 0 descend, bit 1 loose parameters and blank values, bit 2
// leave the handle open for the extraction.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>

#include <qob3xapi/frame.h>
#include <qob3xapi/mimebody.h>
#include <qob3xapi/mimeparse.h>
#include <qob3xapi/util.h>
#include <qobplatform/logapi.h>

namespace {

namespace fs = std::filesystem;

constexpr QOB_OSHANDLE kOwnFile = -1;
constexpr std::int32_t kExtractedParts = 40;

void Require(bool claim, unsigned line = __builtin_LINE()) {
  if (claim) return;
  std::fprintf(stderr, "line %u does not hold\n", line);
  std::abort();
}

void NoLog(void*, std::int32_t, const char*, const char*) {}

// A directory in memory with two settings and a place for temporary files.
class Place {
 public:
  Place() {
    const char* memory = "/dev/shm";
    std::string pattern =
        (fs::is_directory(memory) ? std::string(memory) : std::string("/tmp")) + "/mimefuzz-XXXXXX";
    Require(mkdtemp(pattern.data()) != nullptr);
    root_ = pattern;
    fs::create_directory(root_ / "temp");
    WriteSettings("strict", "");
    WriteSettings("loose",
                  "[Options]\nStrictMimeParsing=NO\nAcceptBlankValueInContentTypeParm=YES\n");
    Choose(false);
    LogSetSink(&NoLog, nullptr);
    Require(InitQOBDll_NOMQ("fuzz") == 1);
    path_ = (root_ / "message").string();
  }
  ~Place() { fs::remove_all(root_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  void Choose(bool loose) const {
    setenv("QOB_CONFIG_DIR", (root_ / (loose ? "loose" : "strict")).c_str(), 1);
  }
  const std::string& Message(std::string_view bytes) const {
    const int fd = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    Require(write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    close(fd);
    return path_;
  }
  bool LeftNothing() const {
    return std::all_of(fs::directory_iterator(root_ / "temp"), fs::directory_iterator(),
                       [](const fs::directory_entry& entry) {
                         const std::string name = entry.path().filename().string();
                         return name == "tmpcnt.$$$" || name.ends_with(".log");
                       });
  }

 private:
  void WriteSettings(const char* name, const char* options) const {
    fs::create_directory(root_ / name);
    std::ofstream(root_ / name / "twmta.ini")
        << "[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" << (root_ / "temp").string() << "\n"
        << options;
  }

  fs::path root_;
  std::string path_;
};

std::string Take(char* name) {
  Require(name != nullptr);
  char* native = QOBNativePath(name);
  std::ifstream in(native, std::ios::binary);
  std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  FreeString(native);
  MimeFreeFile(name);
  return content;
}

void CheckRanges(const MimeMessagePool& pool, std::int32_t size) {
  std::set<const MimeBodyPart*> children;
  for (std::int32_t i = 0; i < pool.count; ++i) {
    const MimeBodyPart& part = *pool.parts[i];
    Require(0 <= part.contentStart && part.contentStart <= part.bodyStart);
    Require(part.bodyStart <= part.contentEnd && part.contentEnd <= size);
    Require(i == 0 || pool.parts[i - 1]->contentStart <= part.contentStart);
    Require((part.children == nullptr) == (part.childCount == 0));
    std::int32_t behind = part.bodyStart;
    for (std::int32_t k = 0; k < part.childCount; ++k) {
      const MimeBodyPart& child = *part.children[k];
      Require(children.insert(&child).second && child.role == 2);
      Require(behind <= child.contentStart && child.contentEnd <= part.contentEnd);
      behind = child.contentEnd;
    }
  }
}

std::string OwnText(const MimeBodyPart& part, std::string_view bytes) {
  std::string text;
  std::int32_t at = part.bodyStart;
  for (std::int32_t k = 0; k < part.childCount; ++k) {
    text += bytes.substr(static_cast<std::size_t>(at),
                         static_cast<std::size_t>(part.children[k]->bodyStart - at));
    at = part.children[k]->contentEnd;
  }
  return text +=
         bytes.substr(static_cast<std::size_t>(at), static_cast<std::size_t>(part.contentEnd - at));
}

bool IsMultipart(const MimeBodyPart& part) { return part.delimiter != nullptr; }

void Extract(MimeBodyPart* part, std::string_view bytes, QOB_OSHANDLE file) {
  const auto range = [&](std::int32_t from) {
    return bytes.substr(static_cast<std::size_t>(from),
                        static_cast<std::size_t>(part->contentEnd - from));
  };
  Require(Take(MimeGetBody(part, 1, file)) == range(part->contentStart));
  const std::string body = Take(MimeGetBody(part, 0, file));
  if (part->contentTransferEncoding == nullptr && part->contentType == nullptr)
    Require(body == range(part->bodyStart));
  if (part->contentEnd > part->bodyStart && !IsMultipart(*part)) {
    Require(Take(MimeGetBodyWithNoEmbeddedAttachment(part)) == OwnText(*part, bytes));
  }
  char* header = MimeGetHeader(part);
  Require((header == nullptr) == (part->contentStart == part->contentEnd));
  if (header != nullptr) Take(header);
}

void Use(std::int32_t count, MimeMessagePool* pool, std::string_view bytes, QOB_OSHANDLE file) {
  Require(count == -1 || (pool != nullptr && pool->count == count && count >= 1));
  if (count == -1) return;
  CheckRanges(*pool, static_cast<std::int32_t>(bytes.size()));
  for (std::int32_t i = 0; i < std::min(count, kExtractedParts); ++i)
    Extract(MimeGetMsg(pool, i), bytes, file);
  std::int32_t leaves = 1;
  std::int32_t containers = 0;
  MimeGetNumLeafBodyParts(pool->parts[0], &leaves);
  MimeGetNumMultipartHeaders(pool->parts[0], &containers);
  Require(leaves >= 1 && leaves <= count && containers < count);
  MimeFreeMessage(&pool);
  Require(pool == nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Place place;
  if (size == 0) return 0;
  const unsigned options = data[0];
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  place.Choose((options & 2) != 0);
  const std::string& path = place.Message(bytes);
  const QOB_OSHANDLE file =
      (options & 4) != 0 ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : kOwnFile;
  MimeMessagePool* pool = nullptr;
  std::int32_t count =
      ParseMimeMessage(path.c_str(), static_cast<std::int32_t>(options & 1), &pool);
  Use(count, pool, bytes, file);
  pool = nullptr;
  count = ParseNonMimeMessage(path.c_str(), &pool);
  Require(count % 2 == 1);
  Use(count, pool, bytes, file);
  pool = nullptr;
  count = MimeParseMessage(path.c_str(), 1, &pool);
  MimeFreeMessage(&pool);
  if (file != kOwnFile) close(static_cast<int>(file));
  Require(place.LeftNothing());
  return 0;
}
