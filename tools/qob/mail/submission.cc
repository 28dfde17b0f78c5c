#include "submission.h"

#include <algorithm>
#include <array>
#include <vector>

#include <qob3xapi/frame.h>
#include <qob3xapi/submit.h>
#include <qobplatform/logapi.h>
#include <qobplatform/mqapi.h>

#include "../failure.h"
#include "../library_log.h"
#include "../private_site.h"
#include "../system.h"
#include "../system_user.h"
#include "values.h"

namespace cli::mail {
namespace {

constexpr const char* kClient = "qob";
constexpr const char* kDefaultChannel = "smtp";
constexpr std::size_t kLongestChannel = 63;
constexpr std::int32_t kFailureLevel = 1;
constexpr std::int32_t kDetailLevel = 6;

std::string Configured(const char* section, const char* key) {
  std::array<char, 260> value{};
  QOBGetPrivateProfileString(section, key, "", value.data(), value.size(), kProfileName);
  return value.data();
}

std::string Native(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::string ProfilePath() { return SiteDirectory() + "/" + kProfileName; }

void RequireDirectory(const char* key) {
  const std::string path = Native(Configured("Gateway", key));
  if (path.empty())
    throw Failure(ExitCode::kConfig, ProfilePath() + ": [Gateway] " + key +
                                         " is not set: nothing can be queued without it; set it "
                                         "with 'qob config set', or set QOB_CONFIG_DIR");
  const sys::Status status = sys::StatusOf(path);
  if (status.kind == sys::Kind::kFolder) return;
  const std::string why =
      status.kind == sys::Kind::kMissing ? sys::ErrorText(status.error) : "not a directory";
  throw Failure(sys::IsPermission(status.error) ? ExitCode::kNoPermission : ExitCode::kConfig,
                path + ": " + why + ": it is [Gateway] " + key + " of " + ProfilePath() +
                    ": make it, or name another");
}

Failure NoQueue() {
  RequireDirectory("QueueDirectory");
  RequireDirectory("TemporaryDirectory");
  const std::string queue = Native(Configured("Gateway", "QueueDirectory"));
  if (!sys::MayWrite(queue))
    return Failure(ExitCode::kNoPermission,
                   queue + ": no right to put mail there: run as a user who may write in it");
  return Failure(ExitCode::kTemporary,
                 queue + ": the queue cannot be opened: " +
                     LibraryLog::Get().LastProblem("its database gives no answer") +
                     ": try again, and see 'qob queue check'");
}

std::vector<MimeRecipient> Records(const Envelope& envelope) {
  std::vector<MimeRecipient> records;
  for (const Recipient& recipient : envelope.recipients) {
    records.push_back(
        {recipient.address.c_str(), recipient.original.c_str(), envelope.notify, "", ""});
  }
  return records;
}

}  // namespace

SiteQueue::SiteQueue(bool verbose) {
  RequireDirectory("QueueDirectory");
  RequireDirectory("TemporaryDirectory");
  LibraryLog::Get().Start(verbose);
  if (InitQOBDll(kClient) != 0) return;
  const Failure failure = NoQueue();
  TerminateQOBDll();
  LibraryLog::Get().Stop();
  throw failure;
}

SiteQueue::~SiteQueue() {
  LibraryLog::Get().Stop();
  for (const std::string& problem : LibraryLog::Get().problems())
    LogMessage(kFailureLevel, kClient, problem.c_str());
  if (!note_.empty()) LogMessage(kDetailLevel, kClient, note_.c_str());
  MQTerminate();
  TerminateQOBDll();
}

std::string SiteQueue::Submit(const Envelope& envelope, const std::string& channel,
                              const std::string& message_file) {
  const std::vector<MimeRecipient> records = Records(envelope);
  char* const path = MimeSendMessage(envelope.sender.c_str(), envelope.envelope_id.c_str(),
                                     envelope.return_option, 0, "", channel.c_str(), records.data(),
                                     static_cast<std::int32_t>(records.size()), nullptr,
                                     message_file.c_str(), nullptr, envelope.receipt ? 1 : 0, 0);
  if (path == nullptr)
    throw Failure(ExitCode::kTemporary,
                  "the message was not queued: " +
                      LibraryLog::Get().LastProblem("the queue did not take it") +
                      ": see to the space and the rights in the queue's directory, and try again");
  const std::string queued = Native(path);
  QOBFreeMQId(path);
  return queued;
}

std::string QueueIdOf(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

std::string ChannelOf(const Arguments& arguments) {
  const bool given = arguments.Has("--channel");
  std::string channel = given ? arguments.Value("--channel") : Configured("Submission", "Channel");
  if (!given && channel.empty()) channel = kDefaultChannel;
  RequireGraphic("--channel", channel, kLongestChannel);
  return channel;
}

std::string WithHost(const std::string& address) {
  const std::string host = Configured("Connection", "GatewayHostName");
  const std::string domain = Configured("Connection", "GatewayDomain");
  if (address.find('@') != std::string::npos || host.empty() || domain.empty()) return address;
  return address + "@" + host + "." + domain;
}

}  // namespace cli::mail
