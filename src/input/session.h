// The running life of an identified serial controller: a reader thread of its own that turns each
// valid report into pointer input.
#pragma once

#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// Milliseconds that stopping sessions may take.
inline constexpr uint32_t SESSION_STOP_LIMIT_MS = 2000;

// Loads the calibration and starts the reader thread. Once per record, after the controller is
// identified; from then on the link is the reader's. False when no thread could be created. The
// session ends by itself, HasReaderEnded without a stop, only where the handler of a returned port
// (HostHandlers) finds another controller there.
bool StartSession(TouchController* controller);

// Stops the session and waits for its reader's end, at most SESSION_STOP_LIMIT_MS. A report that is
// being read is not injected any more. Returns at once for a record whose session was never
// started; one whose thread could not be created takes the whole limit. True always; whether the
// record can be released is HasReaderEnded's result afterwards. Any thread but the reader's own,
// one at a time.
bool StopSession(TouchController* controller);

// Tells the session to end, without waiting: the first half of StopSession, for stopping many under
// one deadline. Threads as there.
void RequestSessionStop(TouchController* controller);

// Waits for the reader of a session that was asked to stop, at most `limitMs` milliseconds, 0 to
// poll: the second half of StopSession.
void JoinSession(TouchController* controller, uint32_t limitMs);

// True when the record has no reader thread that still runs.
bool HasReaderEnded(const TouchController* controller);

// Copies the last report. Any thread; never a mix of two reports.
bool TakeSnapshot(TouchController* controller, ReportSnapshot* snapshot);

// Copies the last report together with the touch at that moment. Any thread; never a mix of two
// reports.
bool TakeLiveSnapshot(TouchController* controller, ReportSnapshot* snapshot, LiveTouch* touch);

// Sets the calibration's mapMode: 1 calibrated, 0 plain scaling. Applies from the next report on.
// On the thread that also imports calibrations (ImportCalibration).
bool SetMapMode(TouchController* controller, uint8_t mode);

} // namespace korvex
