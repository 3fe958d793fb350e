// The calibration program from its start to its end: panels come and go, one of them is led through
// the targets (calibration_guide.h), its result is tried and saved, or everything is left as it
// was. It knows no window, no controller and no clock: what happens is told it with its time, and
// what is to be done it asks for. One thread.
#pragma once

#include <array>
#include <cstdint>

#include "console/calibration_guide.h"
#include "console/page_layout.h"
#include "console/panel_source.h"

namespace korvex {

// without a touch, a key or a button, after which everything is left as it was
inline constexpr uint32_t PATIENCE_MS = 60000;
// while panels are searched: many ports, seconds each
inline constexpr uint32_t SEARCH_PATIENCE_MS = 600000;
inline constexpr uint32_t LAST_SECONDS = 15; // of it, that are counted down
// a runtime takes a result back that nobody asks it to try again within a minute
inline constexpr uint32_t ATTEMPT_INTERVAL_MS = 20000;
inline constexpr uint32_t SAVED_SHOWN_MS = 1500; // how long it is shown that all is saved
inline constexpr uint32_t NO_PANEL = UINT32_MAX;

enum class CourseStep : uint8_t {
    SEARCHING, // no panel is known yet
    NOBODY,    // and none was found
    GUIDING,   // the targets (guide.step)
    MISFIT,    // their points cannot be right: it begins anew at the next touch
    TRYING,    // they map; the panel is touched as one likes
    NOT_SAVED, // the same, after a store that has failed
    SAVED,
    LEFT, // nothing was changed
};

// What is to be done, in this order; bits.
using CourseTasks = uint32_t;
inline constexpr CourseTasks TASK_ATTEMPT = 1;   // have guide.calib map, on the panel `tried`
inline constexpr CourseTasks TASK_TAKE_BACK = 2; // have what mapped there before map again
// store guide.calib, and say how it went (FinishStore)
inline constexpr CourseTasks TASK_STORE = 4;
inline constexpr CourseTasks TASK_BELL = 8;        // a target is taken, or something else is heard
inline constexpr CourseTasks TASK_SHOW = 16;       // everything is to be shown anew
inline constexpr CourseTasks TASK_SHOW_RING = 32;  // the ring has grown
inline constexpr CourseTasks TASK_SHOW_TOUCH = 64; // the free touch has moved
inline constexpr CourseTasks TASK_END = 128;       // of the program

struct CoursePanel {
    bool known;
    bool gone;
    uint32_t resolutionBits;
};

struct CalibrationCourse {
    CourseStep step;
    bool savesUnasked; // nobody can press a button: all targets taken, and a passed check, save
    uint32_t targetCount;
    POINT screen; // its size, in pixels; changed with it
    std::array<CoursePanel, MAX_PANELS> panels;
    uint32_t panel; // that is calibrated: the one that was touched first; NO_PANEL: none yet
    CalibrationGuide guide;
    uint32_t tried; // the panel whose result is tried, or was last
    uint32_t attemptedMs;

    // The free touch.
    bool touching;
    POINT touch;        // in pixels
    PageButton pressed; // where it began
    uint32_t mark;      // where it began; MARK_COUNT: at none
    int64_t touchSumX;  // of all its reports, and how many they are
    int64_t touchSumY;
    uint32_t touchCount;
    // of the last touch of each mark, in pixels; below 0: it was not touched
    std::array<double, MARK_COUNT> distances;

    uint32_t lastActionMs; // somebody was there
    uint32_t savedMs;
    uint32_t secondsLeft; // that are counted down; 0: none are
};

void StartCourse(CalibrationCourse* course, uint32_t targetCount, POINT screen, uint32_t nowMs);

// Panels come, while they are searched and later; go, and come back. One that comes anew under its
// number is another one.
CourseTasks AddPanel(
    CalibrationCourse* course, uint32_t panel, uint32_t resolutionBits, uint32_t nowMs);
CourseTasks LosePanel(CalibrationCourse* course, uint32_t panel);
CourseTasks RegainPanel(CalibrationCourse* course, uint32_t panel, uint32_t nowMs);
CourseTasks FinishSearch(CalibrationCourse* course, uint32_t nowMs);

// A report of a panel. Panels beside the one that is calibrated are not listened to, but while the
// first target waits, or in place of one that is gone.
CourseTasks TakeReport(
    CalibrationCourse* course, uint32_t panel, Point raw, bool touching, uint32_t nowMs);

// A button, by mouse, key or touch; one that is not there now changes nothing. CANCEL is always
// there.
CourseTasks PressButton(CalibrationCourse* course, PageButton button, uint32_t nowMs);

// How the store went that TASK_STORE has asked for.
CourseTasks FinishStore(CalibrationCourse* course, bool stored, uint32_t nowMs);

// Time goes by: to be told a few times a second.
CourseTasks TakeTime(CalibrationCourse* course, uint32_t nowMs);

// True while a result is tried: TRYING and NOT_SAVED.
bool IsTrying(const CalibrationCourse* course);

// Which buttons are there now.
bool HasButton(const CalibrationCourse* course, PageButton button);

// True while the panel that is calibrated, or all of them, are gone.
bool IsPanelGone(const CalibrationCourse* course);

// How far a target lies from where the others let expect it, in pixels; from TRYING and MISFIT on.
double ResidualPixels(const CalibrationCourse* course, uint32_t target);

} // namespace korvex
