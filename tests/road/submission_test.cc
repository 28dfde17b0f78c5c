// The whole road through the shared libraries: a message is built from a body, submitted, found by
// the scan, its envelope read, the message parsed and its body taken out again, byte for byte, and
// removed.
#include <gtest/gtest.h>
#include <qob3xapi/qob3xapi.h>
#include <qobplatform/mqapi.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace {

using qob::testing::CapturedLog;
using qob::testing::TempSpool;

struct FreeIt {
  void operator()(char* text) const { FreeString(text); }
};
using Text = std::unique_ptr<char, FreeIt>;

struct Body {
  const char* name;
  const char* type;
  const char* subtype;
  const char* encoding;
  std::string bytes;
};

std::string Noise(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint32_t next = 2463534242;
  for (char& c : bytes) {
    next ^= next << 13;
    next ^= next >> 17;
    next ^= next << 5;
    c = static_cast<char>(next >> 11);
  }
  return bytes;
}

class Road : public ::testing::Test {
 protected:
  void SetUp() override {
    spool_.SetIni("[Connection]\nGatewayHostName=gw\nGatewayDomain=gate.example\n");
    ASSERT_EQ(InitQOBDll("road"), 1);
    ASSERT_EQ(OpenMesgFile(nullptr, &db_), 0);
  }
  void TearDown() override {
    CloseMesgFile(&db_);
    MQTerminate();
    TerminateQOBDll();
  }

  static std::string Read(const char* path) {
    const Text native(QOBNativePath(path));
    return TempSpool::Read(native.get());
  }
  void RemoveFile(const char* path) {
    const Text native(QOBNativePath(path));
    std::filesystem::remove(native.get());
  }
  // The path of a new message file.
  Text Build(const Body& body) {
    const std::string file = spool_.File("body", body.bytes);
    std::string to = "bob@b.example";
    const ms list = {to.data(), nullptr};
    return Text(MimeBuildMessage("ann@a.example", &list, "The road", nullptr, body.type,
                                 body.subtype, nullptr, body.encoding, nullptr, nullptr,
                                 file.c_str(), nullptr, 0));
  }
  Text Send(const char* message) {
    const MimeRecipient recipients[] = {
        {"bob@b.example", "rfc822;bob@b.example", 3, nullptr, nullptr},
        {"cec@c.example", nullptr, 0, nullptr, nullptr}};
    return Text(MimeSendMessage("ann@a.example", "QQ314159", 2, 0, nullptr, "SMTP", recipients, 2,
                                nullptr, message, nullptr, 0, 0));
  }
  void ExpectFound(const char* path) {
    const QueueScanFilter filter = {0, 0, 1};
    const Text found(FindFirstQueueId(GetQueueDir(), &db_, &filter));
    ASSERT_NE(found, nullptr);
    EXPECT_STREQ(found.get(), path);
    EXPECT_EQ(CreateLockFile(path), -1) << "the scan must hold the lock";
    EXPECT_EQ(FindNextQueueId(GetQueueDir(), &db_, &filter), nullptr);
  }
  void ExpectEnvelope(const char* path) {
    EnvFrom* sender = GetEnvelopeFrom(path, &db_);
    ASSERT_NE(sender, nullptr);
    EXPECT_STREQ(sender->address, "ann@a.example");
    EXPECT_STREQ(sender->envelopeId, "QQ314159");
    EXPECT_EQ(sender->firstOption, 2);
    FreeEnvFrom(sender);
    EnvRecip* bob = GetFirstEnvelopeRecipient(path, &db_);
    ASSERT_NE(bob, nullptr);
    EXPECT_STREQ(bob->address, "bob@b.example");
    EXPECT_STREQ(bob->secondText, "rfc822;bob@b.example");
    EXPECT_EQ(bob->notifyFlags, 3);
    FreeEnvRecip(bob);
    EnvRecip* cec = GetNextEnvelopeRecipient(path, &db_);
    ASSERT_NE(cec, nullptr);
    EXPECT_STREQ(cec->address, "cec@c.example");
    FreeEnvRecip(cec);
    EXPECT_EQ(GetNextEnvelopeRecipient(path, &db_), nullptr);
  }
  // The body of part `index` of the queued message.
  static std::string BodyOf(const std::string& path, std::int32_t index, std::int32_t parts) {
    MimeMessagePool* pool = nullptr;
    EXPECT_NE(MimeParseMessage((path + ".msg").c_str(), 1, &pool), 0);
    if (pool == nullptr) return "no message";
    EXPECT_EQ(MimeGetNumberOfMessage(pool), parts);
    char* file = MimeGetBody(GetFromMsgPool(pool, index), 0, QOB_OSHANDLE{-1});
    const std::string bytes = file == nullptr ? "no body" : Read(file);
    MimeFreeFile(file);
    MimeFreeMessage(&pool);
    return bytes;
  }
  void ExpectGone() {
    for (const auto& entry : std::filesystem::directory_iterator(spool_.queue())) {
      EXPECT_TRUE(entry.path().filename().string().starts_with("mesg.btr")) << entry.path();
    }
    MQChannel* channel = OpenMQChannel("SMTP");
    std::uint32_t id = 0;
    EXPECT_EQ(GetFirstMQEntry(channel, &id), 0);
    CloseMQChannel(channel);
    EXPECT_EQ(GetMQEnvelope(0), nullptr);
    EXPECT_EQ(FindFirstQueueId(GetQueueDir(), &db_, nullptr), nullptr);
  }
  void Travel(const Body& body) {
    SCOPED_TRACE(body.name);
    const Text message = Build(body);
    ASSERT_NE(message, nullptr);
    const std::string built = Read(message.get());
    const Text path = Send(message.get());
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(Read(message.get()), built);
    RemoveFile(message.get());
    const std::string queued = Read((std::string(path.get()) + ".msg").c_str());
    EXPECT_TRUE(queued.ends_with(built));
    ExpectFound(path.get());
    ExpectEnvelope(path.get());
    const std::string bytes = BodyOf(path.get(), 0, 1);
    EXPECT_TRUE(bytes == body.bytes) << bytes.substr(0, 400);
    EXPECT_EQ(DeleteQueueId(path.get(), "SMTP", &db_), 0);
    EXPECT_EQ(DeleteLockFile(path.get()), 0);
    ExpectGone();
  }

  TempSpool spool_;
  CapturedLog log_;
  MesgHandle db_{};
};

TEST_F(Road, ABase64MessageComesOutAsItWentIn) {
  Travel({"text", "application", "octet-stream", nullptr, "Some text.\r\n"});
}

TEST_F(Road, BytesOfEveryKindComeOutAsTheyWentIn) {
  for (const std::size_t size : {1u, 53u, 54u, 55u, 2999u, 3000u, 3001u, 65536u}) {
    Travel({"noise", "application", "octet-stream", nullptr, Noise(size)});
  }
}

TEST_F(Road, FiveMegabytesComeOutAsTheyWentIn) {
  Travel({"large", "application", "octet-stream", nullptr, Noise(5'000'000)});
}

TEST_F(Road, AnEmptyBodyComesOutEmpty) {
  Travel({"empty", "application", "octet-stream", nullptr, ""});
}

// The decoder leaves the last line end to a delimiter; docs/deviations.md tells why.
TEST_F(Road, AQuotedPrintableTextComesOutAsItWentIn) {
  Travel({"quoted", "text", "plain", nullptr,
          "From here\r\n.dot\r\n" + std::string(200, 'x') + "\r\n\xe9t\xe9 = \xfc"});
}

TEST_F(Road, ASevenBitTextComesOutAsItWentIn) {
  Travel(
      {"plain", "text", "plain", "7bit", "Line one.\r\n\r\nDate: not a header\r\nLine two.\r\n"});
}

TEST_F(Road, EachPartOfAMultipartComesOutAsItWentIn) {
  const std::string first = "First part.\r\n";
  const std::string second = Noise(10'000);
  std::vector<Text> parts;
  for (const std::string& bytes : {first, second}) {
    const std::string file = spool_.File("body", bytes);
    parts.emplace_back(MimeBuildMessage(nullptr, nullptr, nullptr, nullptr, "application",
                                        "octet-stream", nullptr, nullptr, nullptr, nullptr,
                                        file.c_str(), nullptr, 0));
    ASSERT_NE(parts.back(), nullptr);
  }
  std::string to = "bob@b.example";
  const ms list = {to.data(), nullptr};
  const char* const files[] = {parts[0].get(), parts[1].get(), nullptr};
  const Text message(MimeBuildMultipartMessage("ann@a.example", &list, "Two", nullptr, files,
                                               nullptr, nullptr, nullptr, 0));
  ASSERT_NE(message, nullptr);
  const Text path = Send(message.get());
  ASSERT_NE(path, nullptr);
  EXPECT_TRUE(BodyOf(path.get(), 1, 3) == first);
  EXPECT_TRUE(BodyOf(path.get(), 2, 3) == second);
  EXPECT_EQ(DeleteQueueId(path.get(), "SMTP", &db_), 0);
  ExpectGone();
}

TEST_F(Road, TheQueuesHeaderIsReadAgain) {
  const Text message = Build({"text", "application", "octet-stream", nullptr, "x"});
  const Text path = Send(message.get());
  ASSERT_NE(path, nullptr);
  const std::string queued = std::string(path.get()) + ".msg";
  const std::int32_t file = fileopen(queued.c_str(), 0, 0);
  addr822* header = New822Header();
  std::int32_t lines = 0;
  std::int32_t status = 0;
  ASSERT_EQ(ParseHdr(file, header, &lines, &status), 1);
  fileclose(file);
  ASSERT_NE(header->received, nullptr);
  EXPECT_EQ(std::string(header->received->text).find("From gw.gate.example by gw.gate.example"),
            0u);
  EXPECT_EQ(header->received->next, nullptr);
  EXPECT_STREQ(header->mimeVersion, "1.0");
  ASSERT_NE(header->messageId, nullptr);
  EXPECT_TRUE(std::string(header->messageId).starts_with("<00000000."));
  EXPECT_NE(header->date, nullptr);
  EXPECT_STREQ(header->subject, "The road");
  Free822Header(header);
  std::free(header);
}

TEST_F(Road, MessagesComeInTheOrderOfTheirSubmission) {
  const Text message = Build({"text", "text", "plain", "7bit", "x\r\n"});
  std::vector<std::string> sent;
  for (int i = 0; i < 20; ++i) sent.emplace_back(Send(message.get()).get());
  MQChannel* channel = OpenMQChannel("SMTP");
  std::vector<std::string> walked;
  std::uint32_t id = 0;
  for (bool any = GetFirstMQEntry(channel, &id) != 0; any;
       any = GetNextMQEntry(channel, &id) != 0) {
    walked.emplace_back(GetMQPathNameById(id, ""));
  }
  CloseMQChannel(channel);
  EXPECT_EQ(walked, sent);
}

}  // namespace
