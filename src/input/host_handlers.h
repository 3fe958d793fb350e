// Handlers that the program around the library sets for its events and decisions. KORVEX.dll sets
// none.
#pragma once

#include <cstddef>
#include <cstdint>

#include "input/touch_report.h"
#include "link/touch_controller.h"
#include "platform/win32.h"

namespace korvex {

struct PanelTestContext; // host/panel_test.h

// Events of a session.
enum class SessionEvent : uint8_t {
    STARTED, // its reader is about to run; on the thread that starts it
    // a valid report has come, or a touch has ended without one; on the reader's thread, as the
    // following ones
    TOUCHED,
    REJECTED,      // packets have been rejected, and no report was found after them
    PORT_LOST,     // the port has failed
    PORT_RETURNED, // it works again, and the controller on it has answered or reported (if
                   // portReturned is set)
    ENDED,         // its reader has ended: the last event on that thread
    // it is asked to stop: do not use the record after this call returns; on the thread that stops
    // it
    STOPPING,
};

// The decision on a session whose port has failed and works again.
enum class PortReturn : uint8_t {
    SAME,       // its own controller has answered: it goes on
    REPLACED,   // another controller has answered: the session ends
    UNKNOWN,    // its reports are injected, and it is asked about again after the next read
    HELD,       // as UNKNOWN, but the report that was read is dropped
    UNANSWERED, // it goes on, and the port is back with its first report
};

// Routines that the library calls when something happens. A null one is not called, and input goes
// to the system.
struct HostHandlers {
    // An event of any session of this process, on the thread that the event names. STOPPING may
    // come beside one of the reader's events, and more than once.
    void (*sessionEvent)(TouchController* controller, SessionEvent event) = nullptr;

    // A session's port has failed and works again, and a read has ended with `result`, with
    // `report` where that is REPORT. On the session's reader thread, after each read until it
    // returns SAME, REPLACED or UNANSWERED; only within this call may the link be used. Null: as
    // SAME.
    PortReturn (*portReturned)(TouchController* controller, ReadResult result, const Packet* report)
        = nullptr;

    // A touch ends that no report has ended: its port has failed, its session stops, or nothing but
    // noise follows. Its release is about to be sent; on the session's reader thread.
    void (*touchAbandoned)() = nullptr;

    // Sends an input instead of the system; false when it could not be sent. On the sessions'
    // reader threads.
    bool (*input)(const INPUT* input) = nullptr;

    // The detection worker's thread could not be created; on the entry's thread, before StartHost
    // returns. Without it the window stays empty until it is closed.
    void (*workerRefused)() = nullptr;

    // Whether both passes leave this port out: nothing is asked, opened or restarted there. On the
    // worker's thread.
    bool (*ignoresPort)(HDEVINFO devices, SP_DEVINFO_DATA* element) = nullptr;

    // The detecting pass has asked all ports, and its result is about to be posted; on the worker's
    // thread.
    void (*detectionDone)() = nullptr;

    // Writes what the status window shows below its text into `text`, which is empty and has
    // `capacity` UTF-16 units; on the window's thread.
    void (*statusDetail)(WCHAR* text, size_t capacity) = nullptr;

    // The panel test has entered another state; on the window's thread.
    void (*panelTestState)(const PanelTestContext* context) = nullptr;
};

// Sets all of them, from a copy. Before the first session and StartHost, once in a program.
void SetHostHandlers(const HostHandlers& handlers);

// Those that are set. Any thread.
const HostHandlers& Handlers();

} // namespace korvex
