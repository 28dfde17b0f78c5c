// Prints a message as the tree of its parts: type, name, encoding and bytes of each.
//
//   message_tree FILE
//
// Shows in C++ how the records are owned by values of one's own, so that no path leaves anything
// behind.
#include <qob3xapi/qob3xapi.h>

#include <cstdio>
#include <string_view>
#include <vector>

namespace {

class Library {
 public:
  Library() { InitQOBDll_NOMQ("message_tree"); }
  ~Library() { TerminateQOBDll(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

class Message {
 public:
  explicit Message(const char* path) : parts_(MimeParseMessage(path, 1, &pool_)) {}
  ~Message() { MimeFreeMessage(&pool_); }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  int32_t parts() const { return parts_; }
  const MimeBodyPart* part(int32_t index) const { return MimeGetMsg(pool_, index); }

 private:
  MimeMessagePool* pool_ = nullptr;
  int32_t parts_;
};

// A part's text or a dash; never null.
const char* Or(const char* text) { return text == nullptr ? "-" : text; }

// The value of `attribute` (with its "=") as it was written, quotes included, or null.
const char* Parameter(const ms* list, std::string_view attribute) {
  for (; list != nullptr; list = list->next) {
    if (list->text != nullptr && std::string_view(list->text).starts_with(attribute)) {
      return list->text + attribute.size();
    }
  }
  return nullptr;
}

const char* Name(const MimeBodyPart* part) {
  const char* name = MimeGetTrueName(part);
  if (name == nullptr) name = Parameter(MimeGetContentDispositionParams(part), "filename=");
  if (name == nullptr) name = Parameter(MimeGetContentTypeParams(part), "name=");
  return name;
}

// A part without a type is plain text.
void PrintPart(const MimeBodyPart* part, int depth) {
  const char* type = MimeGetContentType(part);
  std::printf("%*s%s/%s %s name=%s bytes %d-%d\n", 2 * depth, "", type == nullptr ? "text" : type,
              type == nullptr ? "plain" : Or(MimeGetContentSubtype(part)),
              Or(MimeGetContentTransferEncoding(part)), Or(Name(part)), part->bodyStart,
              part->contentEnd);
}

// From the first part down; an explicit stack, because a message may be nested deeply.
void PrintTree(const Message& message) {
  struct Place {
    const MimeBodyPart* part;
    int depth;
  };
  std::vector<Place> waiting{{message.part(0), 0}};
  while (!waiting.empty()) {
    const Place here = waiting.back();
    waiting.pop_back();
    PrintPart(here.part, here.depth);
    for (int32_t child = here.part->childCount & 0xFFFF; child-- > 0;) {
      waiting.push_back({here.part->children[child], here.depth + 1});
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("usage: message_tree FILE\n", stderr);
    return 64;
  }
  const Library library;
  const Message message(arguments[1]);
  if (message.parts() <= 0) {
    std::fprintf(stderr, "message_tree: %s cannot be read\n", arguments[1]);
    return 66;
  }
  PrintTree(message);
  return 0;
}
