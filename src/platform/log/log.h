// Where the lines of LogMessage go; read from [Log] at start-up.
#pragma once

namespace qob::log {

// Reads [Log] Destination (file, stderr, syslog) and [Log] Level from the site's profile file, and
// opens the log there. Before it is called, and without a temporary directory, lines of level 1 go
// to standard error and others are dropped.
void StartLog();

}  // namespace qob::log
