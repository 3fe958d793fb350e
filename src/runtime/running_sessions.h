// The sessions that run in this process, for who asks about them from outside (control_server.h),
// and what the journal is told of them. It is the only way from there to a controller: from the
// moment that a session is told to stop on, nobody gets at it any more.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "input/host_handlers.h"
#include "link/touch_controller.h"

namespace korvex::command {

// The handler of session events (input/host_handlers.h) that keeps this account.
void HandleSessionEvent(TouchController* controller, SessionEvent event);

// The handler of returned ports (HostHandlers::portReturned) beside it. Another controller on the
// port ends the session, and the journal is told.
PortReturn HandlePortReturn(TouchController* controller, ReadResult result, const Packet* report);

// What stays the same while a session lasts.
struct DrivenPanel {
    std::string panel; // "left", or the name of its tty
    std::string path;  // of its port, as it was opened
    uint32_t model;
    std::string firmware;   // "1.2.3"
    std::string controller; // all of it, for people
    uint32_t resolutionBits;
    uint32_t baudRate;
    std::chrono::system_clock::time_point since;
};

// A running session at one moment.
struct RunningSession {
    DrivenPanel driven;
    std::string tty;                                 // where the path has led to last
    std::chrono::system_clock::time_point lastTouch; // the epoch: it was never touched
    // its port has failed, and the controller has not answered since
    bool gone;
    bool noisy; // of the last minute's packets more than one in a hundred were spoiled
    LiveTouch touch;
    Point mapped; // of the last report, in output units
    uint32_t reports;
    uint32_t rejected;
    uint32_t outOfRange; // of the rejected
    uint32_t resynchronisations;
    uint32_t dropped;
    uint32_t inputs;
    CalibrationData calibration;
    // that it was loaded from or stored in; empty: the controller's own memory
    std::string calibrationFile;
};

// All of them, in the order of their paths. Any thread.
std::vector<RunningSession> RunningSessions();

// Tells the journal something when the first session starts.
void NoticeAtFirstSession(const std::string& text);

// A port whose controller is waited for.
struct AwaitedPanel {
    std::string panel;
    std::string path;
    std::string reason; // why there is none yet
};

// Takes note that a port's controller is waited for, until a session starts there or the reason is
// empty.
void NoteAwaited(const std::string& path, const std::string& reason);

std::vector<AwaitedPanel> AwaitedPanels();

// A session, told from those before and after it on the same port.
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

// Takes note that the session's calibration is now that of a file.
void NoteStoredCalibration(const SessionKey& key, const std::string& file);

// What happened on a panel, as its listener gets it.
struct PanelEvent {
    enum class Kind : uint8_t { BEGAN, TOUCH, GONE, BACK, ENDED } kind;
    std::string panel;
    std::string path;
    uint32_t sequence; // counts the touches of a session, also those that nobody listened to
    Point raw;
    Point mapped; // output units
    bool touching;
};

// From now on events are kept, and `descriptor` (an eventfd) is written to at each; -1: no more. A
// reader pays for it only meanwhile.
void ListenToSessions(int descriptor);

// Takes what has come since. Up to 512 events are kept; of more the oldest are lost, which the
// sequence shows.
std::vector<PanelEvent> TakePanelEvents();

// "controller 5200, firmware 1.2.3, 10 bits, 19200 baud". Before its session runs: the link is then
// its reader's.
std::string DescriptionOf(const TouchController* controller);

} // namespace korvex::command
