#include "message_walk.h"

#include <new>

#include "input_file.h"
#include "library_log.h"
#include "system.h"

namespace cli {
namespace {

std::string Joined(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

bool IsFolder(const std::string& path) { return sys::StatusOf(path).kind == sys::Kind::kFolder; }
bool IsMaildir(const std::string& path) {
  return IsFolder(Joined(path, "cur")) && IsFolder(Joined(path, "new"));
}

}  // namespace

MessageWalk::MessageWalk(const PrivateSite& site, const std::vector<std::string>& operands,
                         bool recursive)
    : site_(site), recursive_(recursive) {
  for (const std::string& operand : operands) AddOperand(operand);
  many_ = targets_.size() > 1;
}

void MessageWalk::AddOperand(const std::string& operand) {
  if (operand == "-") return AddStandardInput();
  const sys::Status status = sys::StatusOf(operand);
  switch (status.kind) {
    case sys::Kind::kMissing:
      return AddUnreadable(operand, status.error);
    case sys::Kind::kFolder:
      return AddFolder(operand);
    case sys::Kind::kOther:
      return AddProblem(
          operand, ExitCode::kNoInput,
          "not a file but a device or a socket: give a file, or - for standard input");
    case sys::Kind::kRegular:
    case sys::Kind::kPipe:
      targets_.push_back({operand, operand, std::nullopt});
  }
}

void MessageWalk::AddStandardInput() { targets_.push_back({"-", "", std::nullopt}); }

void MessageWalk::AddFolder(const std::string& path) {
  if (recursive_) return AddFilesOf(path, true);
  if (IsMaildir(path)) return AddMaildir(path);
  AddProblem(path, ExitCode::kUsage,
             "a folder that is no maildir: use --recursive to take every file below it");
}

void MessageWalk::AddMaildir(const std::string& path) {
  AddFilesOf(Joined(path, "new"), false);
  AddFilesOf(Joined(path, "cur"), false);
}

// Walks with a list of its own instead of recursion; the folders of one level come after its files.
void MessageWalk::AddFilesOf(const std::string& path, bool descend) {
  std::vector<std::string> folders = {path};
  for (std::size_t at = 0; at < folders.size(); ++at) {
    const std::string folder = folders[at];
    int error = 0;
    const auto entries = sys::ListFolder(folder, &error);
    if (!entries.has_value()) AddUnreadable(folder, error);
    // Beside its messages a maildir holds the files of the programs that keep it, and
    // half-delivered ones in tmp.
    const bool maildir = descend && IsMaildir(folder);
    for (const sys::Entry& entry : entries.value_or(std::vector<sys::Entry>())) {
      const std::string full = Joined(folder, entry.name);
      if (entry.kind == sys::Kind::kRegular && !maildir)
        targets_.push_back({full, full, std::nullopt});
      if (entry.kind == sys::Kind::kFolder && descend && !(maildir && entry.name == "tmp"))
        folders.push_back(full);
    }
  }
}

void MessageWalk::AddProblem(const std::string& shown, ExitCode code, const std::string& line) {
  targets_.push_back({shown, "", Failure(code, line)});
}

void MessageWalk::AddUnreadable(const std::string& shown, int error) {
  targets_.push_back({shown, "", Unreadable(error)});
}

ExitCode MessageWalk::Run(const Visit& visit) {
  if (many_) progress_.emplace(targets_.size());
  for (const Target& target : targets_) {
    if (many_) progress_->Step(target.shown);
    try {
      VisitFile(target, visit);
    } catch (const FatalFailure&) {
      throw;
    } catch (const Failure& failure) {
      Report(target.shown, failure);
    }
  }
  progress_.reset();
  TellConverted();
  return code_;
}

void MessageWalk::VisitFile(const Target& target, const Visit& visit) {
  if (target.problem.has_value()) throw *target.problem;
  Target opened = target;
  const bool is_input = target.shown == "-" && target.path.empty();
  if (is_input || sys::StatusOf(target.path).kind == sys::Kind::kPipe) {
    opened.path = site_.PathOf("input");
    sys::Remove(opened.path);
    Spool(is_input ? sys::File::StandardInput() : sys::File::OpenToRead(target.path), opened.path);
  }
  sys::File file = sys::File::OpenToRead(opened.path);
  if (!file) throw Unreadable(file.error());
  const std::int64_t size_bytes = sys::StatusOf(opened.path).size_bytes;
  const auto messages = MessagesOf(&file, size_bytes);
  if (!messages.has_value())
    throw Failure(ExitCode::kIo,
                  "reading failed: " + sys::ErrorText(file.error()) + ": check the disk");
  const bool mbox = messages->size() > 1;
  if (mbox && !many_) progress_.emplace(messages->size());
  for (std::size_t i = 0; i < messages->size(); ++i) {
    VisitMessage(opened, (*messages)[i], mbox ? i + 1 : 0, size_bytes, visit);
  }
}

void MessageWalk::VisitMessage(const Target& target, ByteRange range, std::size_t in_file,
                               std::int64_t size_bytes, const Visit& visit) {
  Message822 message;
  message.file = target.shown;
  message.in_file = in_file;
  message.serial = many_ || in_file != 0 ? ++serial_ : 0;
  message.range = range;
  if (!many_ && progress_.has_value()) progress_->Step(message.Label());
  LibraryLog::Get().Clear();
  try {
    const WorkingCopy copy(site_, target.path, range, size_bytes);
    message.copy = &copy;
    if (copy.converted() && converted_++ == 0) converted_label_ = message.Label();
    visit(message);
  } catch (const FatalFailure&) {
    throw;
  } catch (const Failure& failure) {
    Report(message.Label(), failure);
  } catch (const std::bad_alloc&) {
    Report(message.Label(),
           {ExitCode::kSoftware, "out of memory: close other programs, or raise the limit"});
  }
}

void MessageWalk::Report(const std::string& label, const Failure& failure) {
  Message(label + ": " + failure.what());
  if (code_ == ExitCode::kOk) code_ = failure.code();
}

void MessageWalk::TellConverted() const {
  constexpr const char* kText =
      "bare line feeds: read through a temporary copy with CR LF; byte positions are those of the "
      "file";
  if (converted_ == 1) Message(converted_label_ + ": " + kText);
  if (converted_ > 1) Message(std::to_string(converted_) + " messages have " + kText);
}

}  // namespace cli
