// What the command line asks of the operating system. The functions behind it (system_*.cc) are the
// only code of the tool that includes a header of the system.
#ifndef TOOLS_QOB_SYSTEM_H
#define TOOLS_QOB_SYSTEM_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cli::sys {

// ---- files ----

enum class Kind { kMissing, kRegular, kFolder, kPipe, kOther };

struct Status {
  Kind kind = Kind::kMissing;
  std::int64_t size_bytes = 0;
  int error = 0;  // errno of the look-up when kind is kMissing
};

Status StatusOf(const std::string& path);

// The text of an errno value, and the question that most callers ask of one.
std::string ErrorText(int error);
bool IsPermission(int error);
bool IsNoSuchFile(int error);

// An open descriptor, closed with the object. error is the errno of the last call that failed.
class File {
 public:
  File() = default;
  explicit File(int descriptor) : descriptor_(descriptor) {}
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  static File OpenToRead(const std::string& path);
  static File StandardInput();
  // A new file, mode 0600, that did not exist before.
  static File CreateNew(const std::string& path);

  explicit operator bool() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }
  int error() const { return error_; }

  // Bytes read (0 at the end), or -1.
  std::ptrdiff_t Read(char* into, std::size_t size);
  bool Write(std::string_view bytes);
  bool Seek(std::int64_t position);
  bool Close();

 private:
  int descriptor_ = -1;
  int error_ = 0;
};

bool MakeSymlink(const std::string& target, const std::string& path);
void Remove(const std::string& path);
std::string AbsolutePath(const std::string& path);

struct Entry {
  std::string name;
  Kind kind =
      Kind::kOther;  // a link to a folder counts as kOther, so that a walk never leaves its folder
};

// The entries of a folder in the order of their names, without "." and ".."; nothing (and *error
// set) when it cannot be read.
std::optional<std::vector<Entry>> ListFolder(const std::string& path, int* error);

// ---- an output folder: everything is made relative to its descriptor, nothing follows a link ----

enum class Placed { kDone, kExists, kNameTooLong, kFailed };

class OutputFolder {
 public:
  // Opens the folder, making it (mode 0700) and the folders above it when they do not exist.
  explicit OutputFolder(const std::string& path);
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;
  ~OutputFolder();

  explicit operator bool() const { return descriptor_ >= 0; }
  int error() const { return error_; }

  // Moves or copies the file at source to name. replace allows to take the place of a file of that
  // name, never of a folder.
  Placed Place(const std::string& source, const std::string& name, bool replace);

 private:
  Placed Move(const std::string& source, const std::string& name);
  Placed Copy(const std::string& source, const std::string& name, bool replace);
  Placed Keep(int error);

  int descriptor_ = -1;
  int error_ = 0;
};

// ---- the private directory of this run ----

// Makes a new directory (mode 0700) below TMPDIR, else /tmp, and arranges that it is removed with
// all its files when a signal ends the process. Returns its absolute path; empty with *error and
// *parent set when it cannot be made.
std::string MakePrivateDirectory(std::string* parent, int* error);
void RemovePrivateDirectory();

// ---- process ----

std::optional<std::string> Environment(const char* name);
void SetEnvironment(const char* name, const std::string& value);
// Writes to descriptor 1 or 2; 0 or the errno.
int WriteOut(std::string_view bytes);
int WriteMessage(std::string_view bytes);
bool IsTerminal(int descriptor);
std::int64_t Milliseconds();

// ---- work that must not be cut short ----

// From now on a request to end (interrupt, hang-up, termination) is only noted: the work ends at the
// next place where nothing is half done.
void DelaySignals();
bool EndAsked();
// Ends the process as that request would have; returns when there was none.
void EndIfAsked();
// Who runs this: the user's name, with the one that became it in brackets.
std::string UserName();

// ---- this machine and this program ----

// The machine's name, "" when it has none.
std::string HostName();
// The program's own data: "share/qob3xapi" beside the folder it lies in; "" when there is none.
std::string DataFolder();

// ---- character sets ----

// text in the named charset as UTF-8, bytes that are wrong in it as U+FFFD; nothing when the system
// does not know it.
std::optional<std::string> ToUtf8(std::string_view text, const std::string& charset);
// UTF-8 text in the named charset; nothing when the charset is unknown or cannot hold the text.
std::optional<std::string> FromUtf8(std::string_view text, const std::string& charset);

}  // namespace cli::sys

#endif
