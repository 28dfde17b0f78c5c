// Fills a queue for the tests of the command line, straight through the store.
//
//   cli_queue_fill DIR [GROUP] < records      a JSON object on each line, see Compose
//   cli_queue_fill DIR --bulk MESSAGES RECIPIENTS    ids from 1 on, each with its file, retried by
//   the
//                                         hour, of domains that differ
//
// The database is made when it is missing. Texts are bytes: each character up to U+00FF is one.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/spool/message_record.h"
#include "platform/spool/names.h"
#include "platform/store/record_file.h"

namespace {

using nlohmann::json;
using qob::spool::MessageRecord;
using qob::spool::SetField;
using qob::store::RecordFile;

[[noreturn]] void Fail(const std::string& what, int status) {
  std::fprintf(stderr, "cli_queue_fill: %s: %d\n", what.c_str(), status);
  std::exit(1);
}

std::string BytesOf(const json& object, const char* name) {
  std::string bytes;
  const std::string text = object.value(name, "");
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      bytes += text[i];
    } else {
      bytes += static_cast<char>((lead & 3) << 6 | (text[++i] & 0x3F));
    }
  }
  return bytes;
}

template <std::size_t N>
void Put(const json& object, const char* name, char (&field)[N]) {
  SetField(field, BytesOf(object, name));
}

// "key" is the record's key as it stands; the other members are called as the record's fields are.
MessageRecord Compose(const json& object) {
  MessageRecord record{};
  Put(object, "key", record.key);
  Put(object, "directoryName", record.directoryName);
  Put(object, "stateText", record.stateText);
  Put(object, "address", record.address);
  Put(object, "statusText", record.statusText);
  Put(object, "secondText", record.secondText);
  Put(object, "envelopeId", record.envelopeId);
  Put(object, "optionText", record.optionText);
  record.creationTime = object.value("creationTime", 0);
  record.lastChangeTime = object.value("lastChangeTime", 0);
  record.retryTime = object.value("retryTime", 0);
  record.retryCount = object.value("retryCount", 0);
  record.delayNotifyStatus = object.value("delayNotifyStatus", 0);
  record.partNumber = object.value("partNumber", 0);
  record.firstOption = object.value("firstOption", 0);
  record.secondOption = object.value("secondOption", 0);
  record.notifyFlags = object.value("notifyFlags", 0);
  return record;
}

void Insert(RecordFile& file, const MessageRecord& record) {
  qob::store::Entry entry;
  const auto status = file.Insert(qob::spool::Bytes(record), &entry);
  if (status != qob::store::kOk) Fail(std::string("insert of ") + record.key, status);
}

void InsertLines(RecordFile& file) {
  std::string line;
  while (std::getline(std::cin, line)) {
    const json object = json::parse(line);
    if (object.contains("mark")) {
      const auto status = file.AddMark(object["mark"].get<std::string>(), object["id"]);
      if (status != qob::store::kOk) Fail("mark", status);
    } else {
      Insert(file, Compose(object));
    }
  }
}

std::string Lower(std::string key) {
  for (char& c : key) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  return key;
}

void InsertBulk(RecordFile& file, const std::string& directory, int messages, int recipients) {
  const std::time_t now = std::time(nullptr);
  for (int i = 1; i <= messages; ++i) {
    const auto id = static_cast<std::uint32_t>(i);
    MessageRecord record{};
    qob::spool::ComposeMessage(Lower(qob::spool::RecordKey(id, 'F')),
                               "deferred: connection timed out with mx.example.net", now - i,
                               &record);
    qob::spool::SenderFields sender;
    const std::string from = "sender" + std::to_string(i) + "@example.org";
    sender.address = from;
    qob::spool::SetSender(qob::spool::DirectoryName(directory), sender, &record);
    record.retryTime = static_cast<std::int32_t>(now + i % 3600);
    record.retryCount = i % 7;
    Insert(file, record);
    for (int k = 0; k < recipients; ++k) {
      MessageRecord recipient{};
      qob::spool::RecipientFields fields;
      const std::string to =
          "user" + std::to_string(k) + "@host" + std::to_string(i % 97) + ".example";
      fields.address = to;
      qob::spool::ComposeRecipient(Lower(qob::spool::RecordKey(id, 'R')), fields, &recipient);
      Insert(file, recipient);
    }
    std::string name = qob::spool::RecordKey(id, 'F');
    name.pop_back();
    std::ofstream(directory + "/" + name + ".msg")
        << std::string(static_cast<std::size_t>(i % 4096), 'x');
  }
}

}  // namespace

int main(int count, char** words) {
  if (count < 2) Fail("no directory", 0);
  const std::string directory = words[1];
  const std::string path = directory + "/" + qob::spool::kDatabaseName;
  const bool bulk = count == 5 && std::string(words[2]) == "--bulk";
  qob::store::CreateOptions create;
  if (!bulk && count > 2) create.group = words[2];
  auto status = RecordFile::Create(path, qob::spool::DatabaseDescription(), create);
  if (status != qob::store::kOk && status != qob::store::kFileExists) Fail("create", status);
  std::shared_ptr<RecordFile> file;
  status = RecordFile::Open(path, {}, &file);
  if (status != qob::store::kOk) Fail("open", status);
  qob::store::Transaction transaction(*file);
  if (bulk) {
    InsertBulk(*file, directory, std::atoi(words[3]), std::atoi(words[4]));
  } else {
    InsertLines(*file);
  }
  status = transaction.Commit();
  if (status != qob::store::kOk) Fail("commit", status);
  return 0;
}
