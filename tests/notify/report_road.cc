// One message on its road there and back, through the shared libraries: it is submitted, found by
// the scan, returned in every form, and each answer is walked down the same road: scan, lock,
// envelope, parse, extract. At the end everything is deleted.
//
//   report_road MESSAGE SENDER OUT     with QOB_CONFIG_DIR; SENDER "-" leaves the message without
//                                      its records. A copy of each queued message, and the bodies
//                                      of its leaves, go to OUT; one line of JSON each to standard
//                                      output.
#include <qob3xapi/qob3xapi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void Expect(bool held, const char* what) {
  if (!held) throw std::runtime_error(what);
}

struct FreeText {
  void operator()(char* text) const { FreeString(text); }
};
using Text = std::unique_ptr<char, FreeText>;

std::string Native(const std::string& path) {
  const Text native(QOBNativePath(path.c_str()));
  Expect(native != nullptr, "no memory");
  return native.get();
}

ms* Chain(std::initializer_list<const char*> texts) {
  ms* chain = nullptr;
  for (const char* text : texts) Expect(appendString(&chain, text) == 1, "appendString");
  return chain;
}

// What the test knows of an answer by the order in which it is made.
struct Answer {
  std::string kind;
  std::int32_t result;
};

class Road {
 public:
  Road(const char* message, const char* sender, const char* out)
      : message_(message), sender_(sender), out_(out) {
    Expect(InitQOBDll("road") == 1, "InitQOBDll");
    Expect(OpenMesgFile(nullptr, &db_) == 0, "OpenMesgFile");
  }
  ~Road() {
    CloseMesgFile(&db_);
    TerminateQOBDll();
  }
  Road(const Road&) = delete;
  Road& operator=(const Road&) = delete;

  void Go() {
    const std::string first = Submit();
    Show(first, "message", 0);
    AnswerIt(first);
    WalkAnswers(first);
    DeleteAll(first);
  }

 private:
  std::string Submit() {
    const MimeRecipient to[] = {{"bob@b.example", "rfc822;bob@b.example", 0, nullptr, nullptr},
                                {"carl@c.example", nullptr, 0, nullptr, nullptr}};
    const bool known = std::strcmp(sender_, "-") != 0;
    const Text path(MimeSendMessage(known ? sender_ : "ann@a.example", "ENV-1", 2, 0, nullptr,
                                    "SMTP", to, 2, nullptr, message_, nullptr, 0, 0));
    Expect(path != nullptr, "MimeSendMessage");
    if (!known) Expect(DestroyQueueId(path.get(), &db_) == 0, "DestroyQueueId");
    return path.get();
  }

  void AnswerIt(const std::string& path) {
    Expect(CreateLockFile(path.c_str()) == 0, "the message is locked");
    const char* file = path.c_str();
    answers_ = {
        {"bounce",
         BounceMimeMessage(file, nullptr, Chain({"user unknown", "second"}), nullptr, &db_)},
        {"header", BounceMimeMessageHeader(file, Chain({"user unknown"}), nullptr, &db_)},
        {"postmaster", ToPostmaster(file)},
        {"dsn-failed", Notify(file, "failed", "5.1.1")},
        {"dsn-delayed", Notify(file, "delayed", "4.4.1")},
        {"dsn-plain", Notify(file, nullptr, nullptr)},
    };
    Expect(DeleteLockFile(file) == 0, "the lock is ours");
  }
  std::int32_t ToPostmaster(const char* file) {
    ms* reasons = Chain({"user unknown"});
    const std::int32_t result = BounceMimeMessageToPostmaster(file, reasons, nullptr, &db_);
    freeStringChain(reasons);
    return result;
  }
  std::int32_t Notify(const char* file, const char* action, const char* status) {
    EnvFrom* from = GetEnvelopeFrom(file, &db_);
    DsnEnvFrom sender{};
    if (from != nullptr) {
      sender = {from->address, from->envelopeId, from->firstOption, from->secondOption,
                GetMessageCreationTime(file, &db_)};
    }
    PerRecipField fields[2];
    PerRecipFieldNode nodes[2] = {{&fields[0], &nodes[1]}, {&fields[1], nullptr}};
    Expect(
        AssignPerRecipField(&fields[0], "rfc822;bob@b.example", " bob@b.example", action, status,
                            "mx.b.example", " 550 5.1.1 no such user", 1794738245, 1794739245) == 0,
        "AssignPerRecipField");
    Expect(AssignPerRecipField(&fields[1], nullptr, " carl@c.example", "delivered", "2.0.0",
                               nullptr, nullptr, 0, -1) == 0,
           "AssignPerRecipField");
    ms* text = Chain({"Your message could not be delivered.\r\n",
                      "Gr\xFC\xDF"
                      "e\r\n"});
    const std::int32_t result =
        GenerateDSNMessage(file, from == nullptr ? nullptr : &sender, "Delivery report", text,
                           action == nullptr ? nullptr : nodes);
    freeStringChain(text);
    for (PerRecipField& field : fields) CleanPerRecipField(&field);
    FreeEnvFrom(from);
    return result;
  }

  // Finds each answer by the scan that locks; those that were submitted are in the order of
  // answers_.
  void WalkAnswers(const std::string& first) {
    const QueueScanFilter any{0, 0, 1};
    std::vector<std::string> found;
    Text path(FindFirstQueueId(GetQueueDir(), &db_, &any));
    for (; path != nullptr; path.reset(FindNextQueueId(GetQueueDir(), &db_, &any))) {
      Expect(CreateLockFile(path.get()) == -1, "what the scan hands out is locked");
      if (path.get() != first) found.emplace_back(path.get());
      Expect(DeleteLockFile(path.get()) == 0, "DeleteLockFile");
    }
    std::size_t next = 0;
    for (const Answer& answer : answers_) {
      if (answer.result != 0 && answer.result != 1) {
        std::printf("{\"kind\": \"%s\", \"result\": %d}\n", answer.kind.c_str(), answer.result);
        continue;
      }
      Expect(next < found.size(), "an answer is not in the queue");
      Show(found[next++], answer.kind, answer.result);
    }
    Expect(next == found.size(), "more answers in the queue than were made");
    Bounce(found);
  }
  // Whatever comes of an answer, it is at most one message more, and none of a notification.
  void Bounce(const std::vector<std::string>& answers) {
    for (const std::string& path : answers) {
      EnvFrom* from = GetEnvelopeFrom(path.c_str(), &db_);
      Expect(from != nullptr, "an answer without envelope");
      const bool nobody = std::strcmp(from->address, "<>") == 0;
      FreeEnvFrom(from);
      const std::int32_t result = BounceMimeMessageHeader(path.c_str(), nullptr, nullptr, &db_);
      Expect(result == (nobody ? 2 : 0), "the bounce of an answer");
    }
  }

  void Show(const std::string& path, const std::string& kind, std::int32_t result) {
    const std::string copy = out_ + "/" + kind + ".msg";
    std::filesystem::copy_file(Native(path) + ".msg", copy);
    std::printf("{\"kind\": \"%s\", \"result\": %d, \"file\": \"%s\"", kind.c_str(), result,
                copy.c_str());
    if (EnvFrom* from = GetEnvelopeFrom(path.c_str(), &db_); from != nullptr) {
      std::printf(", \"sender\": \"%s\", \"id\": \"%s\", \"ret\": %d", from->address,
                  from->envelopeId, from->firstOption);
      FreeEnvFrom(from);
    }
    std::printf(", \"recipients\": [");
    const char* comma = "";
    EnvRecip* to = GetFirstEnvelopeRecipient(path.c_str(), &db_);
    for (; to != nullptr; to = GetNextEnvelopeRecipient(path.c_str(), &db_)) {
      std::printf("%s\"%s\"", comma, to->address);
      comma = ", ";
      FreeEnvRecip(to);
    }
    std::printf("], \"leaves\": [");
    if (kind != "message") ShowLeaves(copy);
    std::printf("]}\n");
  }
  // The types of the parts without children, and their bodies as files "<copy>.<number>".
  void ShowLeaves(const std::string& copy) {
    MimeMessagePool* pool = nullptr;
    const std::int32_t count = MimeParseMessage(copy.c_str(), 0, &pool);
    Expect(count > 0, "MimeParseMessage");
    const char* comma = "";
    int number = 0;
    for (std::int32_t i = 0; i < count; ++i) {
      MimeBodyPart* part = MimeGetMsg(pool, i);
      if (part->childCount != 0) continue;
      const char* type = MimeGetContentType(part);
      const char* subtype = MimeGetContentSubtype(part);
      std::printf("%s\"%s/%s\"", comma, type == nullptr ? "" : type,
                  subtype == nullptr ? "" : subtype);
      comma = ", ";
      char* body = MimeGetBody(part, 0, QOB_OSHANDLE{-1});
      if (body != nullptr) {
        std::filesystem::copy_file(Native(body), copy + "." + std::to_string(number));
      }
      MimeFreeFile(body);
      ++number;
    }
    MimeFreeMessage(&pool);
  }

  void DeleteAll(const std::string& first) {
    const QueueScanFilter any{0, 0, 1};
    Text path(FindFirstQueueId(GetQueueDir(), &db_, &any));
    for (; path != nullptr; path.reset(FindNextQueueId(GetQueueDir(), &db_, &any))) {
      Expect(DeleteQueueId(path.get(), path.get() == first ? "SMTP" : "DSN", &db_) == 0,
             "DeleteQueueId");
      DeleteLockFile(path.get());
    }
    if (std::strcmp(sender_, "-") == 0) std::filesystem::remove(Native(first) + ".msg");
    for (const auto& entry : std::filesystem::directory_iterator(Native(GetQueueDir()))) {
      Expect(entry.path().filename().string().starts_with("mesg.btr"), "the queue is not empty");
    }
    for (const auto& entry : std::filesystem::directory_iterator(Native(GetTempDir()))) {
      Expect(!entry.path().filename().string().starts_with("MIME"), "a temporary file is left");
    }
  }

  const char* message_;
  const char* sender_;
  std::string out_;
  MesgHandle db_{};
  std::vector<Answer> answers_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("report_road MESSAGE SENDER OUT\n", stderr);
    return 64;
  }
  try {
    Road(argv[1], argv[2], argv[3]).Go();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
