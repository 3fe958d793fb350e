// When a watched detection is started again: the decision alone, without a process or a clock of
// its own. On the watcher's thread.
#pragma once

#include <cstdint>

namespace korvex {

// Tries after an event, and the pauses before them in milliseconds: each is twice the one before.
inline constexpr uint32_t RESTART_TRIES = 5;
inline constexpr uint32_t SHORTEST_PAUSE_MS = 2000;
inline constexpr uint32_t LONGEST_PAUSE_MS = 30000;

// The state of the running detection.
struct DetectionState {
    bool running;    // its process; without it the rest is 0
    bool detecting;  // its walk over the ports has not ended
    bool touched;    // a finger is down on one of its panels
    uint32_t driven; // panels whose port has not failed
};

// The tries in progress. Times are those of a millisecond clock that wraps.
struct Restarts {
    bool waiting;       // for the next try
    uint32_t known;     // panels: as many as are to be driven
    uint32_t left;      // tries
    uint32_t pauseMs;   // before the next one
    uint32_t dueMs;     // when it is due
    uint32_t startedMs; // the last one
};

// A machine with at least so many panels. The first try is due at once.
Restarts FirstRestarts(uint32_t panels, uint32_t nowMs);

// The machine has woken up: all tries again.
void HandleWakeUp(Restarts* restarts, uint32_t nowMs);

// A serial port has arrived: all tries again, unless detection still walks over the ports. It
// restarts some, which then arrive, and must not keep itself going.
void HandlePortArrival(Restarts* restarts, const DetectionState& state, uint32_t nowMs);

// Detection has ended by itself. Whoever closes its window wants the ports for something else: the
// longest pause is theirs. After a crash the tries in progress go on; they begin again when it
// had run for longer than the longest pause.
void HandleDetectionEnd(Restarts* restarts, bool closed, uint32_t nowMs);

// True if detection must be started now, in place of the running one: that counts as a try.
// Never while its walk over the ports lasts, a finger is down, or `portsTaken`, by another program
// of Korvex. The tries end when as many panels are driven as have ever been, or none is left. Must
// be called about once a second while `waiting` holds.
bool IsStartDue(Restarts* restarts, const DetectionState& state, bool portsTaken, uint32_t nowMs);

} // namespace korvex
