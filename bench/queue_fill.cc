// queue_fill DIRECTORY MESSAGES: a queue directory as programs leave it when they have put messages there: the database with one
// recipient for each message, and the message files. DIRECTORY is made; its last component is "queue". Linked with the static
// core.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "platform/spool/message_record.h"
#include "platform/store/record_file.h"
#include "queue_data.h"

namespace {

namespace spool = qob::spool;
namespace store = qob::store;
namespace fs = std::filesystem;

void Must(store::Status status) {
  if (status != store::kOk) throw std::runtime_error("status " + std::to_string(status));
}

void WriteMessage(const fs::path& directory, std::uint32_t message) {
  char name[16];
  std::snprintf(name, sizeof name, "%08X.msg", bench::IdOf(message, bench::Order::kAscending));
  std::ofstream out(directory / name, std::ios::binary);
  out << "From: someone@example.org\r\nSubject: number " << message << "\r\n\r\n";
  for (int line = 0; line < 30; ++line) out << "A line of text.\r\n";
  out.close();
  if (!out) throw std::runtime_error("cannot write " + (directory / name).string());
}

void Fill(const fs::path& directory, std::uint32_t messages) {
  fs::create_directories(directory);
  const std::string path = (directory / spool::kDatabaseName).string();
  Must(store::RecordFile::Create(path, spool::DatabaseDescription(), {}));
  std::shared_ptr<store::RecordFile> file;
  Must(store::RecordFile::Open(path, {}, &file));
  for (std::uint32_t message = 0; message < messages;) {
    store::Transaction transaction(*file);
    Must(transaction.begun());
    for (int batch = 0; batch < 5'000 && message < messages; ++batch, ++message) {
      MesgRecord record;
      store::Entry entry;
      bench::ComposeMessageRecord(message, bench::Order::kAscending, &record);
      Must(file->Insert(spool::Bytes(record), &entry));
      bench::ComposeRecipientRecord(message, 0, bench::Order::kAscending, &record);
      Must(file->Insert(spool::Bytes(record), &entry));
      WriteMessage(directory, message);
    }
    Must(transaction.Commit());
  }
  Must(file->Checkpoint());
}

}  // namespace

int main(int argc, char** argv) {
  const int messages = argc == 3 ? std::atoi(argv[2]) : 0;
  if (messages < 1) {
    std::fprintf(stderr, "usage: queue_fill DIRECTORY MESSAGES\n");
    return 64;
  }
  try {
    Fill(argv[1], static_cast<std::uint32_t>(messages));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "queue_fill: %s\n", error.what());
    return 70;
  }
  return 0;
}
