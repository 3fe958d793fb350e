// The sessions of this process, for the control server and the journal. They reach a controller
// only through this list, and only until the session is asked to stop.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "control/panel_state.h"
#include "input/host_handlers.h"
#include "link/touch_controller.h"

namespace korvex::command {

// The handler of session events (input/host_handlers.h) that keeps the list of sessions.
void HandleSessionEvent(TouchController* controller, SessionEvent event);

// The handler of returned ports (HostHandlers::portReturned) beside it. A different controller on
// the port ends the session, and the journal says so.
PortReturn HandlePortReturn(TouchController* controller, ReadResult result, const Packet* report);

// A running session at one moment. Whether a client tries a calibration is known only to
// control_protocol.h.
struct RunningSession {
    PanelState state;
    CalibrationData calibration;
};

// All of them, in the order of their paths. Any thread.
std::vector<RunningSession> RunningSessions();

// Tells the journal something when the first session starts.
void NoticeAtFirstSession(const std::string& text);

// Takes note that a port's controller is waited for, until a session starts there or the reason is
// empty.
void NotePending(const std::string& path, const std::string& reason);

std::vector<PendingPanel> PendingPanels();

// Identifies a session among those before and after it on the same port.
struct SessionKey {
    std::string path;
    std::chrono::system_clock::time_point since;

    bool operator<(const SessionKey& other) const
    {
        return std::tie(path, since) < std::tie(other.path, other.since);
    }
};

SessionKey KeyOf(const RunningSession* session);

// Calls `use` for the session while it cannot end: false when it has ended. `use` waits for
// nothing. Any thread.
bool UseSession(const SessionKey& key, const std::function<void(TouchController*)>& use);

// A change of a calibration through the control socket.
struct CalibrationChange {
    const char* change; // "stored" or "undone"
    std::string file;   // that has the calibration now
    int process;        // that asked for it
    std::string user;   // whose it is
};

// Takes note that the session's calibration is now that of a file, and reports it: as an event and
// to the journal.
void NoteCalibrationChange(const SessionKey& key, const CalibrationChange& change);

// An event on a panel, as a client receives it.
struct PanelEvent {
    enum class Kind : uint8_t { STARTED, TOUCH, GONE, BACK, CALIBRATED, ENDED } kind;
    std::string panel;
    std::string path;
    uint32_t sequence; // number of the session's touch events so far, sent or not
    Point raw;
    Point mapped; // output units
    bool touching;
    CalibrationChange change = {};
    std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
};

// From now on events are kept, and `descriptor` (an eventfd) is written to at each; -1: no more.
// Readers pay for it only during that time.
void ListenToSessions(int descriptor);

// Takes what has come since. Up to 512 events are kept; of more the oldest are lost, which the
// sequence shows.
std::vector<PanelEvent> PopPanelEvents();

// "controller 5200, firmware 1.2.3, 10 bits, 19200 baud". Before its session runs: the link is then
// its reader's.
std::string DescriptionOf(const TouchController* controller);

} // namespace korvex::command
