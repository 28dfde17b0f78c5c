// Reads a message of the given kind and size once, for instruction counts: scaling_main KIND N.
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include <qob3xapi/mimebody.h>
#include <qob3xapi/mimeparse.h>
#include <qobplatform/logapi.h>

namespace {

std::string Repeat(std::string_view piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += piece;
  return text;
}

const std::string kMixed = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
const std::string kType = "Content-Type: text/plain";
const std::string kMarker = "(This file must be converted with binhex 4.0)\r\n";

const std::map<std::string, std::function<std::string(int)>> kMessages = {
    {"parts",
     [](int n) {
       return kMixed + Repeat("--b\r\nContent-Type: text/plain; a=b\r\n\r\nx\r\n", n) + "--b--\r\n";
     }},
    {"empty-parts", [](int n) { return kMixed + Repeat("--b\r\n", n); }},
    {"nested",
     [](int n) { return Repeat("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n", n); }},
    {"nested-messages", [](int n) { return Repeat("Content-Type: message/rfc822\r\n\r\n", n); }},
    {"unclosed",
     [](int n) {
       return kMixed + Repeat("--b\r\nContent-Type: multipart/x; boundary=c\r\n\r\n--c\r\n\r\n", n);
     }},
    {"lookalikes",
     [](int n) { return Repeat(kMixed + "--b\r\n", 100) + Repeat("--a\r\n--\r\n-x\r\n", n); }},
    {"parameters", [](int n) { return kType + Repeat("; a=b", n) + "\r\n\r\n"; }},
    {"bad-parameters", [](int n) { return kType + Repeat("; a b", n) + "\r\n\r\n"; }},
    {"open-quotes", [](int n) { return kType + Repeat("; a=\"\\\"", n) + "\r\n\r\n"; }},
    {"comments",
     [](int n) { return kType + Repeat(" (c)", n) + "; a=b" + Repeat(" (c)", n) + "\r\n\r\n"; }},
    {"nested-comments", [](int n) { return kType + Repeat("(", n) + Repeat(")", n) + "\r\n\r\n"; }},
    {"open-comments", [](int n) { return kType + Repeat("; (a", n) + "\r\n\r\n"; }},
    {"folded-lines", [](int n) { return kType + Repeat(";\r\n a=b", n) + "\r\n\r\n"; }},
    {"fields",
     [](int n) { return Repeat("Content-ID: <a@b>\r\nReceived: by x\r\n y\r\n", n) + "\r\n"; }},
    {"long-line", [](int n) { return "Content-Description: " + Repeat("x", n) + "\r\n\r\n"; }},
    {"open-markers", [](int n) { return "\r\n" + Repeat("begin x\r\n" + kMarker, n); }},
    {"blocks", [](int n) { return "\r\n" + Repeat("begin 644 x\r\nend\r\n", n); }},
    {"colons", [](int n) { return "\r\n" + kMarker + Repeat("-:\r\n--x\r\n", n); }},
    {"body",
     [](int n) { return kMixed + "--b\r\n\r\n" + Repeat("begin-(-b\r\n", n) + "--b--\r\n"; }},
};

// A message of size 0 may be none.
int Read(const std::string& bytes, bool plain, int size) {
  char path[] = "/tmp/scaling-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    return 2;
  close(fd);
  MimeMessagePool* pool = nullptr;
  const int count = plain ? ParseNonMimeMessage(path, &pool) : ParseMimeMessage(path, 1, &pool);
  MimeFreeMessage(&pool);
  unlink(path);
  return count >= 1 || size == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  LogSetSink([](void*, int32_t, const char*, const char*) {}, nullptr);
  if (argc != 3) return 64;
  std::string kind = argv[1];
  const bool plain = kind.starts_with("plain-");
  if (plain) kind.erase(0, 6);
  const auto message = kMessages.find(kind);
  if (message == kMessages.end()) {
    std::fprintf(stderr, "no such kind: %s\n", argv[1]);
    return 64;
  }
  const int size = std::atoi(argv[2]);
  return Read(message->second(size), plain, size);
}
