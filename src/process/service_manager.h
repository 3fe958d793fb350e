// The system's service manager, where the process is one of its units.
#pragma once

#include <string>

namespace korvex::command {

// Tells it how the unit is doing, in assignments, one a line, as sd_notify(3) has them: "READY=1",
// "STATUS=..." and so on. Does nothing unless asked for (NOTIFY_SOCKET), and does not
// wait. Any thread.
void NotifyServiceManager(const std::string& assignments);

// Sends an entry to the journal: fields, one a line, as the journal's native protocol has them
// (systemd.journal-fields(7)). False if it does not take it, without a wait unless `waits`; the
// line can go to standard error then. Any thread.
bool SendToJournal(const std::string& fields, bool waits);

// True when standard error goes to the journal (JOURNAL_STREAM in systemd.exec(5)).
bool IsStandardErrorJournal();

} // namespace korvex::command
