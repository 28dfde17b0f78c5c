// Parses an input of the given kind and size once, for instruction counts: scaling_main KIND N.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include <unistd.h>

#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>

namespace {

std::string Repeat(std::string_view piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += piece;
  return text;
}

const std::map<std::string, std::function<std::string(int)>> kLists = {
    {"addresses", [](int n) { return Repeat("user@host.example, ", n); }},
    {"mixed-addresses",
     [](int n) {
       return Repeat("\"Doe, \\\"J\\\"\" <j.doe@x.example> (c), G: a@b, c@d;, <@r:a@b>,", n);
     }},
    {"bad-addresses", [](int n) { return Repeat("a@b > x \"q\", ", n); }},
    {"words", [](int n) { return Repeat("word ", n); }},
    {"phrase", [](int n) { return Repeat("word \"quoted\"  ", n) + "<a@b>"; }},
    {"domain", [](int n) { return "a@x" + Repeat(" . y", n); }},
    {"local-part", [](int n) { return "<@r:x" + Repeat(" . y", n) + "@z>"; }},
    {"route", [](int n) { return "<" + Repeat("@r.s, ", n) + "@t:a@b>"; }},
    {"group", [](int n) { return "G: a@b" + Repeat(", C <c@d>", n) + ";"; }},
    {"open-group", [](int n) { return "G: a@b" + Repeat(", C <c@d>", n); }},
    {"comments", [](int n) { return "a@b " + Repeat("(c) ", n); }},
    {"nested-comments", [](int n) { return "a@b " + Repeat("(", n) + Repeat(")", n); }},
    {"open-comments", [](int n) { return Repeat("a (b, ", n); }},
    {"open-nested-comments", [](int n) { return Repeat("(a, ", n) + Repeat(")", n / 2); }},
    {"open-comments-and-quotes", [](int n) { return Repeat("(a, \"b, (\\\"c\", ", n); }},
    {"open-literals", [](int n) { return Repeat("a@[b, ", n); }},
    {"open-quotes", [](int n) { return Repeat("[\"], ", 2 * n); }},
    {"commas", [](int n) { return Repeat(",", n) + "a"; }},
    {"commas-and-blanks", [](int n) { return Repeat(", ", n) + "a"; }},
    {"backslashes", [](int n) { return Repeat("\\", 2 * n) + "a"; }},
    {"escaped-quotes", [](int n) { return Repeat("\\\"a, ", n); }},
    {"angles", [](int n) { return Repeat("<", n); }},
};

const std::map<std::string, std::function<std::string(int)>> kHeaders = {
    {"fields", [](int n) { return Repeat("X-field: value\r\n", n); }},
    {"received", [](int n) { return Repeat("Received: by x\r\n", n); }},
    {"to-fields", [](int n) { return Repeat("To: a@b, c@d\r\n", n); }},
    {"subjects", [](int n) { return Repeat("Subject: x\r\n", n); }},
    {"folded-lines", [](int n) { return Repeat("X-field: a\r\n b\r\n\tc\r\n", n); }},
    {"one-folded-field", [](int n) { return "Sender: a" + Repeat("\r\n b", n); }},
    {"folded-list", [](int n) { return "To: a@b" + Repeat(",\r\n c@d", n); }},
    {"long-line", [](int n) { return "Subject: " + Repeat("x", n); }},
    {"no-fields", [](int n) { return Repeat("this is no field\r\n", n); }},
};

int ParseList(std::string list) {
  RecipTbl table{};
  RecipParse(list.data(), &table, 1);
  Clear_RT(&table);
  return 0;
}

int ParseHeader(const std::string& header) {
  char path[] = "/tmp/qobscale-XXXXXX";
  const int temporary = mkstemp(path);
  if (temporary < 0 ||
      write(temporary, header.data(), header.size()) != static_cast<ssize_t>(header.size()))
    return 1;
  close(temporary);
  InitLineIO();
  const int32_t file = fileopen(path, 0, 1);
  addr822 record{};
  const int32_t result = ParseHdr(file, &record, nullptr, nullptr);
  Free822Header(&record);
  fileclose(file);
  TerminateLineIO();
  unlink(path);
  return result == 1 ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) return 2;
  const int size = std::atoi(words[2]);
  if (const auto list = kLists.find(words[1]); list != kLists.end())
    return ParseList(list->second(size));
  if (const auto header = kHeaders.find(words[1]); header != kHeaders.end())
    return ParseHeader(header->second(size));
  std::fprintf(stderr, "unknown kind %s\n", words[1]);
  return 2;
}
