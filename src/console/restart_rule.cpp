#include "console/restart_rule.h"

#include <algorithm>

namespace korvex {

namespace {

// The next try is due after the pause.
void Await(Restarts* restarts, uint32_t nowMs)
{
    restarts->waiting = true;
    restarts->dueMs = nowMs + restarts->pauseMs;
}

void RestoreTries(Restarts* restarts)
{
    restarts->left = RESTART_TRIES;
    restarts->pauseMs = SHORTEST_PAUSE_MS;
}

} // namespace

Restarts FirstRestarts(uint32_t panels, uint32_t nowMs)
{
    return {true, panels, RESTART_TRIES, SHORTEST_PAUSE_MS, nowMs, nowMs};
}

void HandleWakeUp(Restarts* restarts, uint32_t nowMs)
{
    RestoreTries(restarts);
    Await(restarts, nowMs);
}

void HandlePortArrival(Restarts* restarts, const DetectionState& state, uint32_t nowMs)
{
    if (!state.detecting)
        HandleWakeUp(restarts, nowMs);
}

void HandleDetectionEnd(Restarts* restarts, bool closed, uint32_t nowMs)
{
    if (closed || nowMs - restarts->startedMs > LONGEST_PAUSE_MS)
        RestoreTries(restarts);
    if (closed)
        restarts->pauseMs = LONGEST_PAUSE_MS;
    Await(restarts, nowMs);
}

bool IsStartDue(Restarts* restarts, const DetectionState& state, bool portsTaken, uint32_t nowMs)
{
    restarts->known = std::max(restarts->known, state.driven);
    if (!restarts->waiting)
        return false;
    if (state.detecting) {
        Await(restarts, nowMs);
        return false;
    }
    if (state.running && state.driven >= restarts->known) {
        RestoreTries(restarts);
        restarts->waiting = false;
        return false;
    }
    if (state.touched || portsTaken || static_cast<int32_t>(nowMs - restarts->dueMs) < 0)
        return false;
    if (restarts->left == 0) {
        restarts->waiting = false;
        return false;
    }
    --restarts->left;
    restarts->pauseMs = std::min(2 * restarts->pauseMs, LONGEST_PAUSE_MS);
    restarts->startedMs = nowMs;
    Await(restarts, nowMs);
    return true;
}

} // namespace korvex
