// Written straight into the entry's message file: a log is text that needs no builder, and this
// must work where the temporary directory does not.
#include "notify/log_file.h"

#include <memory>
#include <string>

#include <qobplatform/mqapi.h>

#include "frame/config.h"
#include "lineio/file_writer.h"
#include "lineio/line_reader.h"
#include "mime/copy_lines.h"
#include "notify/gateway.h"
#include "platform/os/path.h"
#include "platform/os/process.h"
#include "platform/os/profile.h"
#include "platform/spool/qualify.h"
#include "queue/local_date.h"
#include "queue/submission_envelope.h"
#include "queue/submit_message.h"

namespace qob::notify {
namespace {

constexpr char kChannel[] = "DSN";
constexpr std::int32_t kPriority = 255;
constexpr std::size_t kNameBytes = 256;

// Not through the profile layer: whatever its mode is, a log can be mailed.
std::string DirectText(const char* section, const char* key, const char* fallback) {
  std::string value(kNameBytes, '\0');
  value.resize(os::ReadProfile(section, key, fallback, value.data(), kNameBytes, kConfigFile));
  return value;
}

Gateway LocalName() {
  return {DirectText("Connection", "GatewayHostName", "twgate") + '.' +
          DirectText("Connection", "GatewayDomain", spool::kPlaceholderDomain)};
}

struct Discard {
  void operator()(MQContext* entry) const { DiscardMQEntry(entry); }
};
using Entry = std::unique_ptr<MQContext, Discard>;

std::string HeaderOf(const char* log_file, const std::string& entry_name, const Gateway& local,
                     const std::string& sender) {
  const std::string now = LocalDateText(os::Now());
  return "Received: from " + local.name + " by " + local.name + " with SMTP\r\n" +
         "  (QOB Tarrow 5.1) id " + entry_name + "; " + now + "\r\n" +  //
         "Date: " + now + "\r\n" +                                      //
         "Message-ID: <" + entry_name + '@' + local.name + ">\r\n" +    //
         "From: " + sender + "\r\n" +                                   //
         "Subject: Received Logfile " + log_file + "\r\n" +             //
         "To: " + local.Postmaster() + "\r\n\r\n";
}

bool WriteMessage(MQContext* entry, const char* log_file, const Gateway& local,
                  const std::string& sender) {
  LineReader log;
  const char* const path = GetMQPathName(entry, "");
  if (path == nullptr || !log.Open(log_file) || log.IsNoFile()) return false;
  const std::string base = path;
  FileWriter message;
  return message.Create((base + ".msg").c_str(), true) &&
         message.Write(HeaderOf(log_file, std::string(os::FileNamePart(base)), local, sender)) &&
         CopyRest(log, message) && message.Close();
}

bool PutEnvelope(MQContext* entry, const Gateway& local, const std::string& sender) {
  SubmissionEnvelope envelope;
  envelope.SetSender({sender, {}, 0, 0, {}, {}});
  envelope.AddRecipient({local.Postmaster(), {}, 0, {}, {}});
  return InsertMQChannel(entry, kChannel, kPriority) != 0 &&
         PutMQEnvelope(entry, envelope.get()) != 0;
}

}  // namespace

bool MailLogFile(const char* log_file) {
  const Gateway local = LocalName();
  const std::string sender = BounceSender(ConfigReader(), local);
  Entry entry(NewQueueEntry());
  if (entry == nullptr || !WriteMessage(entry.get(), log_file, local, sender) ||
      !PutEnvelope(entry.get(), local, sender)) {
    return false;
  }
  // The queue's own from here on, whatever comes of it.
  return CloseMQEntry(entry.release()) != 0;
}

}  // namespace qob::notify
