// Which controller is on a port that has come back after an unplugging: how the commands that drive
// for days decide it.
#pragma once

#include <chrono>

#include "input/host_handlers.h"

namespace korvex::command {

// The state of the decision on a port that has come back; used by its reader alone.
struct ReturnedPort {
    enum class State : uint8_t {
        NEW,     // not asked yet
        HELD,    // no answer yet: reports of a touch that had already begun are dropped
        WATCHED, // no answer yet: reports are injected
    } state;
    bool searched;        // for any controller at any rate
    uint32_t failedWaits; // of its session; another number: the port has come back once more
    std::chrono::steady_clock::time_point heard; // last; since it is WATCHED
};

// One step, as HostHandlers::portReturned has it. The port is asked at once; if nothing answers,
// again after a touch that had already begun, and a last time after 2 s of silence. The controller
// is a different one if it answers a question otherwise than before; a question without an answer
// proves nothing. Takes up to 0.6 s if nothing answers, else milliseconds.
PortReturn DecidePortReturn(
    ReturnedPort* port, TouchController* controller, ReadResult result, const Packet* report);

} // namespace korvex::command
