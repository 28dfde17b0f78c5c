#include "site_template.h"

#include <string_view>
#include <utility>

namespace cli {
namespace {

constexpr std::string_view kTemplate =
    R"(; twmta.ini: the configuration of this mail system. Every program of the system reads it, anew at each question, so that a
; change is seen at once; the directories alone are read when a program starts. A line that begins with ";" is a comment.
; 'qob config show' tells what is in effect, 'qob config check' finds mistakes.

[Gateway]
; Where messages wait: one file for each, and mesg.btr with their envelopes. It must be a local file system that survives a
; power cut.
QueueDirectory=@QUEUE@
; Files under construction, the counters of ids, and the log (twmta.log).
TemporaryDirectory=@TEMPORARY@
; The time zone of dates: "xxx" keeps the system's.
TimeZone=xxx
; The character set of texts that programs of this machine hand over.
;LocalCharSet=US-ASCII
; A text of this installation's own in every Message-ID; "*" makes one from the identity of the machine.
;InstallationId=*

[Config]
; Holds the directory "srcdb" with the databases that a new queue starts with.
@INSTALL_SET@InstallDirectory=@INSTALL@

[Connection]
; The name of this machine and its domain: in Received and Message-ID fields, and behind addresses that have none.
GatewayHostName=@HOST@
@DOMAIN_SET@GatewayDomain=@DOMAIN@

[Routing]
; The host that recipients without one belong to; empty: this machine.
;PrimaryRelayHostName=

[Submission]
; The channel on which 'qob send' puts messages.
;Channel=smtp

[Options]
; Who bounces come from. '<>' keeps a bounce that cannot be delivered from being answered again.
BounceSender=<>
; YES: the postmaster gets what nobody else wants back: mail whose sender is <>, and notices of failures.
;BounceToPostmaster=NO
; YES: the postmaster gets a copy of every bounce.
;bounceToPostmaster=NO
; Addresses without host part, or with a host part that has no dot, are completed.
;qualifyAddress=YES
;qualifySenderHosts=YES
;qualifyRecipientHosts=YES
;useHostname=YES
; NO: message headers are read by their looser rules.
;StrictMimeParsing=YES
; A text file that stands in front of multipart messages, for readers that know nothing of parts.
;mimePreambleFile=none
; The header field that asks for a receipt.
;rrqHeader=Return-Receipt-To

[Store]
; commit: what was acknowledged survives a power cut. system: it survives a killed program only, and is faster.
;Durability=commit
; Members of this group may read the queue.
;Group=

[Log]
; file, stderr or syslog; 1 failures, 3 bounces, 6 everything.
;Destination=file
;Level=6
)";

void Replace(std::string* text, std::string_view name, std::string_view value) {
  for (std::size_t at = text->find(name); at != std::string::npos;
       at = text->find(name, at + value.size())) {
    text->replace(at, name.size(), value);
  }
}

}  // namespace

std::string SiteTemplate(const NewSite& site) {
  std::string text(kTemplate);
  Replace(&text, "@QUEUE@", site.queue);
  Replace(&text, "@TEMPORARY@", site.temporary);
  Replace(&text, "@INSTALL_SET@", site.install.empty() ? ";" : "");
  Replace(&text, "@INSTALL@", site.install);
  Replace(&text, "@HOST@", site.host);
  Replace(&text, "@DOMAIN_SET@", site.domain.empty() ? ";" : "");
  Replace(&text, "@DOMAIN@", site.domain);
  return text;
}

}  // namespace cli
