// Durable submission: a message is built once and submitted many times, each time until the queue
// has it on stable storage.
//
//   submit_bench COUNT [BYTES]     with QOB_CONFIG_DIR; prints one JSON line
//
// With a third argument it waits for a line on standard input before it starts, so that several
// begin together.
#include <qob3xapi/frame.h>
#include <qob3xapi/mimebuild.h>
#include <qob3xapi/submit.h>
#include <qob3xapi/util.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

std::string BodyFile(std::size_t size) {
  std::string text;
  while (text.size() < size)
    text += "A line of text that says nothing, over and over again here.\r\n";
  text.resize(size - 2);
  text += "\r\n";
  const std::string path = std::string(GetTempDir()) + "/body." + std::to_string(getpid());
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

std::string Message(std::size_t size) {
  const std::string body = BodyFile(size);
  std::string to = "someone@b.example";
  const ms recipients = {to.data(), nullptr};
  char* built =
      MimeBuildMessage("sender@a.example", &recipients, "A message", nullptr, "text", "plain",
                       nullptr, "7bit", nullptr, nullptr, body.c_str(), nullptr, 0);
  std::filesystem::remove(body);
  if (built == nullptr) throw std::runtime_error("the message was not built");
  const std::string path = built;
  FreeString(built);
  return path;
}

void Submit(const std::string& message) {
  const MimeRecipient recipient = {"someone@b.example", nullptr, 0, nullptr, nullptr};
  char* path = MimeSendMessage("sender@a.example", nullptr, 0, 0, nullptr, "SMTP", &recipient, 1,
                               nullptr, message.c_str(), nullptr, 0, 0);
  if (path == nullptr) throw std::runtime_error("a message was not submitted");
  QOBFreeMQId(path);
}

int Run(int argc, char** argv) {
  if (argc < 2) throw std::runtime_error("submit_bench COUNT [BYTES [wait]]");
  const long count = std::atol(argv[1]);
  const std::size_t size = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 4096;
  if (InitQOBDll("bench") != 1) throw std::runtime_error("no queue: see QOB_CONFIG_DIR");
  const std::string message = Message(size);
  char* native = QOBNativePath(message.c_str());
  if (argc > 3) {
    std::puts("ready");
    std::fflush(stdout);
    std::string line;
    std::getline(std::cin, line);
  }
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  for (long i = 0; i < count; ++i) Submit(message);
  const std::chrono::duration<double> took = Clock::now() - begin;
  std::filesystem::remove(native);
  FreeString(native);
  TerminateQOBDll();
  std::printf("{\"messages\": %ld, \"seconds\": %.6f, \"rate\": %.1f}\n", count, took.count(),
              static_cast<double>(count) / took.count());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
