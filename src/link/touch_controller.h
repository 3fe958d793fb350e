// The record of one touch controller: what it is, the byte link to it, its calibration, its last
// report, its session.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "platform/win32.h"
#include "support/list_links.h"

namespace korvex {

// Controller models, as the hardware identifiers and the touch driver name them; 0 while unknown.
inline constexpr uint32_t MODEL_2400 = 0x2400;
inline constexpr uint32_t MODEL_4400 = 0x4400;
inline constexpr uint32_t MODEL_5200 = 0x5200;
inline constexpr uint32_t MODEL_5203 = 0x5203;
inline constexpr uint32_t MODEL_5460 = 0x5460;
inline constexpr uint32_t MODEL_7700 = 0x7700;
inline constexpr uint32_t MODEL_8200 = 0x8200;

// Bytes per report and per command packet of a model.
constexpr uint32_t ReportLengthOf(uint32_t model)
{
    return model == MODEL_7700 ? 5 : 6;
}

// The resolutions of controllers.
inline constexpr uint32_t LOW_RESOLUTION_BITS = 10;
inline constexpr uint32_t HIGH_RESOLUTION_BITS = 12;

// The models that can be identified and driven.
struct DrivenModel {
    uint32_t model;
    bool hasHighResolution; // it is possible; else always the low one
};

inline constexpr std::array DRIVEN_MODELS{
    DrivenModel{MODEL_5200, true}, DrivenModel{MODEL_5460, false}, DrivenModel{MODEL_7700, false}};

// Link kinds.
inline constexpr uint32_t LINK_NONE = 0;
inline constexpr uint32_t LINK_SERIAL = 2;

// The byte link to a controller (port_link.h).
struct PortLink {
    // LINK_SERIAL, or LINK_NONE while not initialised: every transfer then fails
    uint32_t kind;
    HANDLE handle;       // the open COM port, owned by the controller's record
    uint32_t portNumber; // of a serial link
    // milliseconds that a read waits for one byte; 10 once the port is configured
    uint32_t byteTimeoutMs;
    uint32_t baudRate; // 19200 or 9600; 0 after a probe that found no rate
    // the port refused a read (silence does not set it); stays set until the link's user clears it
    bool readFailed = false;
};

struct Point {
    int32_t x;
    int32_t y;

    bool operator==(const Point&) const = default;
};

inline constexpr uint32_t MAX_CALIBRATION_POINTS = 25;

// How raw coordinates become output coordinates (calibration/). Raw coordinates run from 0 to (1 <<
// resolution bits) - 1, the work space is 4096 x 4096, output coordinates span 0 to 65535.
struct CalibrationData {
    // 1: calibrated mapping; any other value: plain scaling of the raw span onto the work space
    uint8_t mapMode;
    uint32_t pointCount;  // calibration points in use: 0, 4, 9, 16 or 25
    uint32_t orientation; // 1 to 8, see TransformPoint in calibration/orientation.h
    int32_t rawRangeX;
    int32_t rawRangeY;
    int32_t outRangeX;
    int32_t outRangeY;
    int32_t workRangeX;
    int32_t workRangeY;
    // the standard box: the raw coordinates that map to work 0 (minimum) and 4096 (maximum); a
    // minimum above its maximum mirrors the axis
    int32_t stdMinX;
    int32_t stdMinY;
    int32_t stdMaxX;
    int32_t stdMaxY;
    // raw positions measured at the targets, in target order
    std::array<Point, MAX_CALIBRATION_POINTS> advPoints;
    // advPoints after the orientation transform; what the point kernels read
    std::array<Point, MAX_CALIBRATION_POINTS> refPoints;
};

// The last report that was injected, as the panel test samples it; all zero before the first one.
struct ReportSnapshot {
    int32_t lastX; // output units
    int32_t lastY;
    uint32_t reserved0;
    uint32_t lastStatus; // status byte
    uint32_t reserved1[2];
    uint32_t lastReportMs; // NowMs at the report
    uint32_t reserved2[3];
};
static_assert(sizeof(ReportSnapshot) == 10 * sizeof(uint32_t));

// The panel's present measurement, for displays.
struct LiveTouch {
    Point raw; // what the last report measured, unmapped
    // from a report of contact to the report of its end, or to the release that the session sends
    // instead
    bool touching;
};

// Counters of a session since its start. Each is written by the reader thread alone and may be read
// by any thread at any time; they wrap.
struct SessionCounters {
    std::atomic<uint32_t> reports;         // valid ones
    std::atomic<uint32_t> rejectedPackets; // of the right length, but failing the check
    // of these the whole reports with a coordinate beyond the resolution
    std::atomic<uint32_t> outOfRange;
    std::atomic<uint32_t> resynchronisations; // searches for the next status byte
    std::atomic<uint32_t> droppedBytes;       // in these searches
    std::atomic<uint32_t> inputs;             // that were sent
    std::atomic<uint32_t> failedWaits;        // of a port that has failed
};

// A controller's answers about itself; 0: it has not answered.
struct ControllerAnswers {
    // the model number of its firmware, a decimal one (5200, 5460); 6-byte controllers alone
    uint32_t modelNumber;
    uint32_t resolutionBits; // 10 or 12, which a calibration may not use (calibration/defaults.h)
};

// Adds to a counter, which only the calling thread writes.
inline void Count(std::atomic<uint32_t>* counter)
{
    counter->store(counter->load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

struct TouchController {
    uint8_t rebootRequired; // 1: binding the enumerator needs a system restart
    uint8_t usbInfoA;       // identity values from the touch driver
    uint8_t usbInfoB;
    uint16_t usbInfoC;
    uint32_t model;
    uint8_t fwMajor;
    uint8_t fwMinor;
    uint16_t fwBuild;
    uint32_t resolutionBits; // 10 or 12
    uint32_t reportLength;   // ReportLengthOf the model
    PortLink link;
    CalibrationData calib;
    // instance ID of the child device node, from malloc, owned; null when there is none
    WCHAR* deviceId;
    HANDLE readerThread;
    ReportSnapshot report;
    std::atomic<uint8_t> running;       // 1 while the reader loop must run
    std::atomic<uint8_t> injectEnabled; // 1 while valid reports are injected
    // contact class of the last injected report; the reader thread's own
    uint8_t prevContact;
    HANDLE stoppedEvent; // set by the reader thread when it has left its loop
    ListLinks links;     // in the host context's list

    // guards `calib`, `report` and `touch` of a running session; never held across a file access,
    // input or wait
    CRITICAL_SECTION lock;
    // the host's: set when everything must end; null without a host; not owned
    HANDLE stopEvent;
    // manual-reset: set when this session must end, for a reader that pauses
    HANDLE wakeEvent;
    // the helper that wakes a reader whose wait cannot be cancelled; null unless it was needed
    HANDLE wakerThread;
    LiveTouch touch;
    SessionCounters counters;
    // 1 from the failure of the session's port until the controller on it has answered or reported
    std::atomic<uint8_t> portGone;
    ControllerAnswers answers;
    uint8_t hasFileCalibration; // 1: the session's calibration was loaded from the settings file
    // data that the program's handlers (input/host_handlers.h) keep for this controller
    void* handlerData;
};

// A new record with every field zero and its lock initialised. Null when out of memory. Any
// thread.
TouchController* CreateController();

// Closes what the record owns (port, events, reader thread's handle, deviceId) and frees it. Its
// reader thread must have ended: a record whose reader could not be ended (StopSession) is left to
// the end of the process instead. Null is allowed.
void ReleaseController(TouchController* controller);

// The controller's calibration at one moment. Any thread.
CalibrationData CopyCalibration(TouchController* controller);

// True when the host's stop event is set: any exchange with the controller must end soon. Any
// thread.
bool IsStopRequested(const TouchController* controller);

} // namespace korvex
