// A bounce beside a submission: one message is submitted, then bounced, in turn, each time until
// the queue has it on stable storage.
//
//   bounce_bench COUNT BYTES     with QOB_CONFIG_DIR; prints one JSON line with medians
#include <qob3xapi/bounce.h>
#include <qob3xapi/frame.h>
#include <qob3xapi/mimebuild.h>
#include <qob3xapi/submit.h>
#include <qob3xapi/util.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string Message(std::size_t size) {
  const std::string path = std::string(GetTempDir()) + "/bounced." + std::to_string(getpid());
  std::ofstream out(path, std::ios::binary);
  std::string text =
      "From: sender@a.example\r\nTo: someone@b.example\r\nSubject: A message\r\n\r\n";
  while (text.size() < size) {
    text += "A line of text that says nothing, over and over again here.\r\n";
  }
  text.resize(size - 2);
  out << text << "\r\n";
  return path;
}

std::string Submit(const std::string& message) {
  const MimeRecipient recipient = {"someone@b.example", nullptr, 0, nullptr, nullptr};
  char* path = MimeSendMessage("sender@a.example", nullptr, 0, 0, nullptr, "SMTP", &recipient, 1,
                               nullptr, message.c_str(), nullptr, 0, 0);
  if (path == nullptr) throw std::runtime_error("a message was not submitted");
  const std::string text = path;
  QOBFreeMQId(path);
  return text;
}

void Bounce(const std::string& path, MesgHandle* database) {
  ms* reasons = nullptr;
  appendString(&reasons, "550 someone is not known here");
  if (BounceMimeMessage(path.c_str(), nullptr, reasons, nullptr, database) != 0) {
    throw std::runtime_error("a message was not bounced");
  }
}

template <class Work>
double Milliseconds(Work&& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
      .count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int Run(int argc, char** argv) {
  if (argc != 3) throw std::runtime_error("bounce_bench COUNT BYTES");
  const long count = std::atol(argv[1]);
  const std::size_t size = std::strtoul(argv[2], nullptr, 10);
  if (count < 1 || size < 200) throw std::runtime_error("bounce_bench COUNT BYTES");
  if (InitQOBDll("bench") != 1) throw std::runtime_error("no queue: see QOB_CONFIG_DIR");
  MesgHandle database;
  if (OpenMesgFile(nullptr, &database) != 0) throw std::runtime_error("no message database");
  const std::string message = Message(size);
  std::vector<double> submissions;
  std::vector<double> bounces;
  for (long i = 0; i < count; ++i) {
    std::string path;
    submissions.push_back(Milliseconds([&] { path = Submit(message); }));
    bounces.push_back(Milliseconds([&] { Bounce(path, &database); }));
  }
  std::filesystem::remove(message);
  CloseMesgFile(&database);
  TerminateQOBDll();
  std::printf("{\"messages\": %ld, \"submit_ms\": %.4f, \"bounce_ms\": %.4f}\n", count,
              Median(submissions), Median(bounces));
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
