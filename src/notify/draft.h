// The pieces a message of the system's own is made of: drafts of text, built parts, and how far the
// making of it came.
#pragma once
#include <memory>
#include <string_view>
#include <utility>

#include <qob3xapi/mimeparse.h>
#include <qob3xapi/util.h>

#include "lineio/file_writer.h"
#include "util/temp_file.h"

namespace qob::notify {

// The step at which it failed.
enum class Step {
  kDone,
  kMemory,
  kCreate,  // a temporary file
  kWrite,   // to it
  kOpen,    // the message file
  kRead,    // from it
  kPart,    // MimeBuildMessage
  kWhole,   // MimeBuildMultipartMessage
  kSubmit,  // MimeSendMessage
};

// A temporary text file, gone with the object.
class Draft {
 public:
  // Throws std::bad_alloc.
  Draft() : file_(TempName("MIME")) {}

  // write(out) gives a Step; what it could not write is found out by itself. Failures of the file
  // are logged as those of filecreate and putline are.
  template <class Write>
  Step Fill(Write&& write) {
    FileWriter out;
    if (!file_ || !out.Create(file_.path().c_str(), true)) return Step::kCreate;
    const Step step = write(out);
    if (step != Step::kDone) return step;
    return out.Close() ? Step::kDone : Step::kWrite;
  }
  const char* path() const { return file_.path().c_str(); }

 private:
  TempFile file_;
};

// A file of the builders, removed with its owner.
struct RemoveBuilt {
  void operator()(char* path) const { MimeFreeFile(path); }
};
using BuiltFile = std::unique_ptr<char, RemoveBuilt>;

// A part without addresses and subject.
BuiltFile BuildPart(const char* type, const char* subtype, const char* encoding, const char* body,
                    const ms* parameters = nullptr);

// A chain of one text that stays its owner's.
class OneText {
 public:
  // Only read through `chain`.
  explicit OneText(const char* text) : node_{const_cast<char*>(text), nullptr} {}
  const ms* chain() const { return &node_; }

 private:
  ms node_;
};

// Null counts as "".
inline std::string_view TextOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

}  // namespace qob::notify
