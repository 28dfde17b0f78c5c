// Brings a process's use of the library up and down.
//
// Both variants do the same set-up; only the full one connects to the message queue. A failed
// connection leaves the set-up standing, and a later call does all of it again.
#include <array>
#include <cstdio>

#include <qob3xapi/frame.h>
#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>
#include <qobplatform/mqapi.h>

#include "frame/config.h"
#include "frame/guard.h"
#include "frame/report.h"
#include "platform/log/log.h"
#include "platform/os/ascii.h"
#include "platform/os/process.h"
#include "platform/os/profile.h"
#include "platform/os/thread_slot.h"
#include "platform/spool/site.h"
#include "platform/tessera/kept.h"

namespace qob {
namespace {

// Start-up and shutdown run on one thread, before and after all other use.
bool ready = false;
// Tested and cleared but never set: each start without the queue takes the new name and
// directories.
bool ready_without_queue = false;

// The value is cut to 15 characters, so longer zone names need TimeZone=xxx and the system's own
// zone.
void SetTimeZone() {
  std::array<char, 16> zone{};
  ProfileText("Gateway", "TimeZone", "PST8PDT", zone.data(), zone.size(), kConfigFile);
  if (!ascii::StartsWithFold(zone.data(), "xxx")) os::SetEnvironment("TZ", zone.data());
  os::RefreshTimeZone();
}

void SetUp(const char* client_name) {
  spool::Site& site = spool::TheSite();
  std::snprintf(site.config_file, sizeof site.config_file, "%s", kConfigFile);
  std::snprintf(site.client, sizeof site.client, "%s", client_name == nullptr ? "" : client_name);
  SetTimeZone();
  InitLineIO();
  Init822Parser();
  // Without memory for the settings the process starts with those it has.
  Guarded(false, [&] {
    spool::FillSite(site);
    log::StartLog();
    return true;
  });
  os::SetEnvironment("TMP", site.temp_dir);
  os::ReserveThreadSlot();
}

// The host's name does not go through the profile layer.
bool ConnectToQueue(const char* client_name) {
  std::array<char, 128> host{};
  os::ReadProfile("Ldap", "HostName", "localhost", host.data(), host.size(), kConfigFile);
  return MQInit(host.data(), client_name == nullptr ? "" : client_name) != 0;
}

std::int32_t StartWithQueue(const char* client_name) {
  if (ready) return 1;
  SetUp(client_name);
  if (!ConnectToQueue(client_name)) {
    Report(kFailure, "MQInit failed.");
    return 0;
  }
  ready = true;
  return 1;
}

std::int32_t StartWithoutQueue(const char* client_name) {
  if (!ready_without_queue) SetUp(client_name);
  return 1;
}

void Stop() {
  TerminateLineIO();
  Terminate822Parser();
  os::ReleaseThreadSlot();
  tessera::CloseKept();
  ready = false;
  ready_without_queue = false;
}

}  // namespace
}  // namespace qob

extern "C" {

QOBAPI int32_t InitQOBDll(const char* clientName) {
  return qob::Guarded(int32_t{0}, [&] { return qob::StartWithQueue(clientName); });
}

QOBAPI int32_t InitQOBDll_NOMQ(const char* clientName) {
  return qob::Guarded(int32_t{1}, [&] { return qob::StartWithoutQueue(clientName); });
}

QOBAPI int32_t TerminateQOBDll(void) {
  return qob::Guarded(int32_t{0}, [] {
    qob::Stop();
    return int32_t{0};
  });
}

}  // extern "C"
