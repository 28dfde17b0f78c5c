// Submits messages through the message queue and says of each that it was acknowledged.
//
//   crash_submit_program COUNT SIZE
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <qobplatform/mqapi.h>

namespace {

constexpr char kSaid[] = "acknowledged\n";

bool SubmitOne(const std::string& content) {
  char sender[] = "s@a.example";
  char recipient[] = "r@b.example";
  char none[] = "";
  MQEnvFrom from{sender, none, 0, 0, none, none};
  MQEnvFromNode from_node{&from, nullptr};
  MQEnvRecip to{recipient, none, 0, none, none};
  MQEnvRecipNode to_node{&to, nullptr};
  const stEnvelope envelope{nullptr, {&from_node, &from_node, 1}, {&to_node, &to_node, 1}, -1};
  MQContext* const entry = CreateMQEntry();
  if (entry == nullptr) return false;
  std::string path = GetMQPathName(entry, ".msg");
  for (char& c : path) c = c == '\\' ? '/' : c;
  std::ofstream out(path, std::ios::binary);
  out << content;
  out.close();
  if (!out || InsertMQChannel(entry, "smtp", 255) == 0 || PutMQEnvelope(entry, &envelope) == 0) {
    DiscardMQEntry(entry);
    return false;
  }
  return CloseMQEntry(entry) != 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 64;
  if (MQInit("localhost", "submit") == 0) return 78;
  const std::string content(std::strtoul(argv[2], nullptr, 10), 'x');
  for (int i = std::atoi(argv[1]); i > 0; --i) {
    if (!SubmitOne(content)) return 75;
    if (write(1, kSaid, sizeof kSaid - 1) < 0) return 74;
  }
  MQTerminate();
  return 0;
}
