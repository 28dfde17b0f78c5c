// Builds a message from any values and any body: without a line end in the values the header has
// exactly the fields that were asked for, the body decodes to the bytes that were given, and our
// parser finds as many parts as were put in. With line ends the values are written as they are: the
// call succeeds or leaves no file.
//
// The first byte chooses site (bits 0 and 1), call (2: Bcc, 3: several parts) and flags (4 to 6);
// then values, each ended by a NUL; the rest is the body. Lists are divided by "|".
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <qob3xapi/frame.h>
#include <qob3xapi/mimebody.h>
#include <qob3xapi/mimebuild.h>
#include <qob3xapi/mimeparse.h>
#include <qobplatform/logapi.h>

#include "built_body.h"

namespace {

namespace fs = std::filesystem;

void Require(bool claim, unsigned line = __builtin_LINE()) {
  if (claim) return;
  std::fprintf(stderr, "line %u does not hold\n", line);
  std::abort();
}

void NoLog(void*, std::int32_t, const char*, const char*) {}

// A directory in memory with the settings of four sites.
class Place {
 public:
  Place() {
    const bool memory = fs::is_directory("/dev/shm");
    std::string pattern = std::string(memory ? "/dev/shm" : "/tmp") + "/buildfuzz-XXXXXX";
    Require(mkdtemp(pattern.data()) != nullptr);
    root_ = pattern;
    fs::create_directory(temp());
    static constexpr const char* kSites[] = {
        "LocalCharSet=ISO-8859-1\n", "LocalCharSet=UTF-8\n[Options]\nRFC1522codingMethod=Base64\n",
        "LocalCharSet=ISO-2022-JP\n[Options]\nInvalidCharacterMark=?\n",
        "LocalCharSet=Shift_JIS\n[Options]\nEnableRFC1522Encoding=NO\n"};
    for (int i = 0; i < 4; ++i) {
      const fs::path site = root_ / std::to_string(i);
      fs::create_directory(site);
      std::ofstream(site / "twmta.ini")
          << "[Gateway]\nTimeZone=xxx\nTemporaryDirectory=" << temp().string() << "\n"
          << kSites[i];
    }
    Choose(0);
    LogSetSink(&NoLog, nullptr);
    Require(InitQOBDll_NOMQ("fuzz") == 1);
  }
  ~Place() { fs::remove_all(root_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  void Choose(unsigned site) const {
    setenv("QOB_CONFIG_DIR", (root_ / std::to_string(site)).c_str(), 1);
  }
  std::string File(const char* name, std::string_view bytes) const {
    const std::string path = (root_ / name).string();
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    Require(write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    close(fd);
    return path;
  }
  bool LeftNothing() const {
    for (const auto& entry : fs::directory_iterator(temp())) {
      const std::string name = entry.path().filename().string();
      if (name != "tmpcnt.$$$" && !name.ends_with(".log")) return false;
    }
    return true;
  }

 private:
  fs::path temp() const { return root_ / "temp"; }

  fs::path root_;
};

// A value as it stands in the input: "-" alone is a null pointer.
struct Value {
  std::string text;
  bool null = false;
  const char* get() const { return null ? nullptr : text.c_str(); }
};

class List {
 public:
  explicit List(const Value& value) : null_(value.null) {
    std::size_t at = 0;
    for (std::size_t end = 0; end != std::string::npos; at = end + 1) {
      end = value.text.find('|', at);
      texts.push_back(value.text.substr(at, end == std::string::npos ? end : end - at));
    }
    nodes_.resize(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
      nodes_[i] = {texts[i].data(), i + 1 < texts.size() ? &nodes_[i + 1] : nullptr};
    }
  }
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  const ms* get() const { return null_ ? nullptr : nodes_.data(); }
  bool Some() const {
    for (const std::string& text : texts) {
      if (!null_ && !text.empty()) return true;
    }
    return false;
  }
  std::vector<std::string> texts;

 private:
  bool null_;
  std::vector<ms> nodes_;
};

// The input taken apart.
struct Order {
  explicit Order(std::string_view input) : options(static_cast<unsigned char>(input[0])) {
    input.remove_prefix(1);
    for (Value* value : {&from, &to, &cc, &bcc, &subject, &type, &subtype, &params, &encoding, &id,
                         &description, &extra}) {
      const std::size_t end = input.find('\0');
      value->text = input.substr(0, end);
      value->null = value->text == "-";
      line_ends |= value->text.find_first_of("\r\n") != std::string::npos;
      input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    }
    body = input;
    flags = static_cast<std::int32_t>(options >> 4 & 7);
  }
  bool with_bcc() const { return (options & 4) != 0; }
  bool several() const { return (options & 8) != 0; }

  unsigned options;
  Value from, to, cc, bcc, subject, type, subtype, params, encoding, id, description, extra;
  std::string body;
  std::int32_t flags = 0;
  bool line_ends = false;
};

// What stands in the file that a builder gave; the file is removed.
std::string Take(char* path) {
  char* native = QOBNativePath(path);
  std::ifstream in(native, std::ios::binary);
  std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  FreeString(native);
  MimeFreeFile(path);
  return content;
}

// The names of the fields that a header must have, in order.
std::vector<std::string> FieldsOf(const Order& order, const List& to, const List& cc,
                                  const List& bcc, const List& extra) {
  std::vector<std::string> names;
  const auto given = [](const Value& value) { return !value.null && !value.text.empty(); };
  if (given(order.from)) names.push_back("From:");
  if (to.Some()) names.push_back("To:");
  if (cc.Some()) names.push_back("Cc:");
  if (order.with_bcc() && bcc.Some()) names.push_back("Bcc:");
  if (given(order.subject)) names.push_back("Subject:");
  for (const std::string& line : extra.texts) {
    // A line that begins with a blank continues the one before.
    const bool begins =
        extra.get() != nullptr && !line.empty() && line[0] != ' ' && line[0] != '\t';
    if (begins) names.push_back(line);
  }
  if (order.flags != 0) return names;
  names.push_back("Content-type:");
  if (order.several()) return names;
  names.push_back("Content-transfer-encoding:");
  if (given(order.description)) names.push_back("Content-description:");
  if (given(order.id)) names.push_back("Content-Id:");
  names.push_back("Content-disposition:");
  return names;
}

// A list that is given without an address ends the header early.
bool EndsEarly(const List& list) { return list.get() != nullptr && !list.Some(); }

// The header holds exactly these fields; what stands behind its empty line.
std::string_view CheckHeader(std::string_view message, const std::vector<std::string>& names) {
  std::size_t field = 0;
  while (!message.starts_with("\r\n")) {
    const std::size_t end = message.find("\r\n");
    Require(end != std::string_view::npos);
    if (message[0] != ' ' && message[0] != '\t') {
      Require(field < names.size() && message.starts_with(names[field]));
      ++field;
    }
    message.remove_prefix(end + 2);
  }
  Require(field == names.size());
  return message.substr(2);
}

// A word that cannot open a field or parameter of its own.
bool IsWord(const Value& value) {
  return value.null || (!value.text.empty() &&
                        value.text.find_first_not_of(
                            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-") ==
                            std::string::npos);
}

// Our parser finds `parts` parts in a message of several.
void CheckParts(const Place& place, const Order& order, const std::string& message,
                std::size_t parts) {
  if (!order.extra.null || !IsWord(order.subtype)) return;  // they may say anything
  const std::string path = place.File("parse", "Mime-version: 1.0\r\n" + message);
  MimeMessagePool* pool = nullptr;
  const std::int32_t count = MimeParseMessage(path.c_str(), 0, &pool);
  Require(count == static_cast<std::int32_t>(parts) + 1);
  for (std::int32_t i = 1; i < count; ++i) {
    char* const body = MimeGetBody(MimeGetMsg(pool, i), 0, -1);
    Require(body != nullptr && Take(body) == order.body);
  }
  MimeFreeMessage(&pool);
}

void BuildSeveral(const Place& place, const Order& order) {
  const List to(order.to), cc(order.cc), bcc(order.bcc), params(order.params), extra(order.extra);
  const std::string body = place.File("body", order.body);
  std::vector<std::string> paths;
  for (unsigned i = 0; i <= (order.options & 3); ++i) {
    char* const part =
        MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr, body.c_str(), nullptr, 0);
    Require(part != nullptr);
    paths.push_back(place.File(("part" + std::to_string(i)).c_str(), Take(part)));
  }
  std::vector<const char*> files;
  for (const std::string& path : paths) files.push_back(path.c_str());
  files.push_back(nullptr);
  char* const built =
      MimeBuildMultipartMessageWithBCC(order.from.get(), to.get(), order.subject.get(), cc.get(),
                                       order.with_bcc() ? bcc.get() : nullptr, files.data(),
                                       order.subtype.get(), params.get(), extra.get(), order.flags);
  Require(built != nullptr);
  const std::string message = Take(built);
  const bool early = EndsEarly(to) || EndsEarly(cc) || (order.with_bcc() && EndsEarly(bcc));
  if (order.line_ends || early || order.flags != 0) return;
  CheckHeader(message, FieldsOf(order, to, cc, bcc, extra));
  CheckParts(place, order, message, paths.size());
}

void BuildOne(const Place& place, const Order& order) {
  const List to(order.to), cc(order.cc), bcc(order.bcc), params(order.params), extra(order.extra);
  const std::string path = place.File("body", order.body);
  char* const built = MimeBuildMessageWithBCC(
      order.from.get(), to.get(), order.subject.get(), cc.get(),
      order.with_bcc() ? bcc.get() : nullptr, order.type.get(), order.subtype.get(), params.get(),
      order.encoding.get(), order.id.get(), order.description.get(), path.c_str(), extra.get(),
      order.flags);
  const fuzz::BodyForm form(order.type.get(), order.subtype.get(), order.encoding.get(),
                            params.get(), order.flags);
  Require((built == nullptr) == !form.known());
  if (built == nullptr) return;
  const std::string message = Take(built);
  const bool early = EndsEarly(to) || EndsEarly(cc) || (order.with_bcc() && EndsEarly(bcc));
  if (order.line_ends || early) return;
  const std::string_view body = CheckHeader(message, FieldsOf(order, to, cc, bcc, extra));
  const bool japanese_site = (order.options & 3) == 2;
  Require(form.Holds(body, order.body, japanese_site));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Place place;
  if (size == 0) return 0;
  const Order order(std::string_view(reinterpret_cast<const char*>(data), size));
  place.Choose(order.options & 3);
  if (order.several()) {
    BuildSeveral(place, order);
  } else {
    BuildOne(place, order);
  }
  Require(place.LeftNothing());
  return 0;
}
