// qob notice and qob sendlog: mail of the system's own making.
#include <qob3xapi/generate.h>

#include "../commands.h"
#include "../failure.h"
#include "../library_log.h"
#include "../mail/mailbox.h"
#include "../mail/submission.h"
#include "../mail/values.h"
#include "../output.h"
#include "../system.h"
#include "../system_user.h"
#include "queued_message.h"
#include "text_lines.h"

namespace cli {
namespace {

// What the library opens; told here, where it can be told well.
std::string ReadablePath(const std::string& file) {
  const std::string path = sys::AbsolutePath(file);
  if (sys::StatusOf(path).kind != sys::Kind::kRegular || !sys::File::OpenToRead(path))
    throw Failure(ExitCode::kNoInput, file + ": cannot be read: check its name and its rights");
  if (path.find('\\') != std::string::npos)
    throw Failure(ExitCode::kNoInput, file + ": a backslash divides folders here: rename it");
  return path;
}

std::vector<std::string> Recipients(const Arguments& arguments) {
  std::vector<std::string> addresses;
  std::vector<std::string> texts = arguments.All("--to");
  texts.insert(texts.end(), arguments.operands.begin(), arguments.operands.end());
  for (const std::string& text : texts) {
    for (const mail::Mailbox& mailbox : mail::ParseMailboxes("--to " + text, text))
      addresses.push_back(mailbox.address);
  }
  if (addresses.empty())
    throw Failure(ExitCode::kUsage, "a recipient is missing: name one; see 'qob notice --help'");
  return addresses;
}

std::string From(const Arguments& arguments) {
  if (!arguments.Has("--from")) return mail::WithHost(sys::ThisUser().name);
  const std::string from = arguments.Value("--from");
  mail::RequireAddress("--from", from);
  return from;
}

// The call says nothing of a submission that failed; the log does.
void RequireQuiet(const std::string& what) {
  if (!LibraryLog::Get().problems().empty()) throw notify::Refused(what);
}

}  // namespace

ExitCode RunNotice(const Arguments& arguments) {
  const std::string from = From(arguments);
  const notify::Chain to = notify::ChainOf("--to", Recipients(arguments));
  const std::string subject = arguments.Value("--subject");
  mail::RequireOneLine("--subject", subject);
  const std::string channel = mail::ChannelOf(arguments);
  const auto lines = notify::TextOf(arguments);
  std::vector<std::string> files;
  for (const std::string& file : arguments.All("--attach")) files.push_back(ReadablePath(file));
  if (!lines && files.empty())
    throw Failure(ExitCode::kUsage, "nothing to send: give --text, --body or --attach");
  const notify::Chain text =
      notify::ChainOf("the text", lines.value_or(std::vector<std::string>()));
  const notify::Chain attachments = notify::ChainOf("--attach", files);

  const mail::SiteQueue queue(arguments.Has("--verbose"));
  sys::DelaySignals();
  LibraryLog::Get().Clear();
  const std::int32_t result =
      GenerateMimeMessage(from.c_str(), channel.c_str(), to.get(), subject.c_str(), nullptr,
                          text.get(), attachments.get(), nullptr);
  if (result != 0) throw notify::Refused("the notice was not made");
  RequireQuiet("the notice was not queued");
  return ExitCode::kOk;
}

ExitCode RunSendLog(const Arguments& arguments) {
  const std::string path = ReadablePath(arguments.operands.front());
  mail::RequireOneLine("FILE", path);
  const mail::SiteQueue queue(arguments.Has("--verbose"));
  sys::DelaySignals();
  if (SendOldLogfile(path.c_str()) != 0) throw notify::Refused(path + ": was not mailed");
  return ExitCode::kOk;
}

}  // namespace cli
