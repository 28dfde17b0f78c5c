// Header blocks: any file ends in a record whose every field can be read and released, and in the
// right place.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>
#include <qobplatform/logapi.h>

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

// One file in memory for all runs.
class Scratch {
 public:
  Scratch() {
    file_ = memfd_create("header", MFD_CLOEXEC);
    Check(file_ >= 0);
    path_ = "/proc/self/fd/" + std::to_string(file_);
    InitLineIO();
    LogSetSink([](void*, std::int32_t, const char*, const char*) {}, nullptr);
  }
  const char* Fill(const std::uint8_t* data, std::size_t size) const {
    Check(ftruncate(file_, 0) == 0);
    Check(pwrite(file_, data, size, 0) == static_cast<ssize_t>(size));
    return path_.c_str();
  }

 private:
  int file_;
  std::string path_;
};

std::size_t CheckAddresses(const HeaderAddressList* list) {
  if (list == nullptr) return 0;
  Check(list->table != nullptr && list->next == nullptr && list->text == nullptr);
  std::uint32_t count = 0;
  for (const RecipNode* n = list->table->head; n != nullptr; n = n->next, ++count) {
    for (const char* text :
         {n->address, n->rawText, n->phrase, n->comment, n->localPart, n->domain}) {
      Check(text != nullptr);
    }
    Check(n->address[0] != '\0' && n->rawText[0] != '\0');
    if (n->next == nullptr) Check(n == list->table->tail);
  }
  Check(count == list->table->count);
  return count;
}

std::size_t CheckTexts(const ms* chain) {
  std::size_t count = 0;
  for (; chain != nullptr; chain = chain->next, ++count) Check(chain->text != nullptr);
  return count;
}

void CheckRecord(const addr822& r, std::int32_t lines) {
  for (const HeaderAddressList* list : {r.to, r.resentTo, r.cc, r.resentCc, r.bcc, r.resentBcc,
                                        r.from, r.resentFrom, r.replyTo, r.returnReceiptTo}) {
    CheckAddresses(list);
  }
  Check(CheckTexts(r.received) + CheckTexts(r.otherHeaders) <= static_cast<std::size_t>(lines));
  for (const ms* other = r.otherHeaders; other != nullptr; other = other->next) {
    const char* colon = std::strchr(other->text, ':');
    Check(colon != nullptr && colon[1] == ' ');
    for (const char* c = other->text + 1; c < colon; ++c) Check(*c < 'A' || *c > 'Z');
  }
  Check(r.status == nullptr);
  if (r.date != nullptr) Check(std::strlen(r.date->text) < 40);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Scratch scratch;
  const std::int32_t file = fileopen(scratch.Fill(data, size), 0, 1);
  Check(file >= 0);
  addr822 record{};
  std::int32_t lines = -1;
  std::int32_t status_line = -1;
  Check(ParseHdr(file, &record, &lines, &status_line) == 1);
  Check(lines >= 0 && status_line == 0);
  Check(static_cast<std::size_t>(getfpos(file)) <= size);
  CheckRecord(record, lines);
  Free822Header(&record);
  Check(fileclose(file) == 1);
  return 0;
}
