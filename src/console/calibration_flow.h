// The calibration program from its start to its end: panels come and go, one of them is led through
// the targets (calibration_targets.h), its result is tried and saved, or everything stays
// unchanged. It knows no window, no controller and no clock: events come with their time, and each
// routine returns the tasks that they lead to. One thread.
#pragma once

#include <array>
#include <cstdint>

#include "console/calibration_targets.h"
#include "console/page_layout.h"
#include "console/panel_source.h"

namespace korvex {

// after this long without a touch, a key or a button it ends, with everything unchanged
inline constexpr uint32_t PATIENCE_MS = 60000;
// while panels are searched for: many ports, seconds each
inline constexpr uint32_t SEARCH_PATIENCE_MS = 600000;
// between two searches while there is no panel
inline constexpr uint32_t SEARCH_INTERVAL_MS = 10000;
inline constexpr uint32_t LAST_SECONDS = 15; // the last of that time, which are counted down
// a runtime reverts a result unless it is asked to try it again within a minute
inline constexpr uint32_t TRY_INTERVAL_MS = 20000;
inline constexpr uint32_t SAVED_SHOWN_MS = 1500; // how long it is shown that all is saved
inline constexpr uint32_t NO_PANEL = UINT32_MAX;

enum class FlowStep : uint8_t {
    SEARCHING,  // no panel is known yet
    NONE_FOUND, // the search is over and found no panel; it is repeated
    MEASURING,  // the targets (targets.step)
    IMPOSSIBLE, // their points cannot be right: it starts again at the next touch
    TRYING,     // the new points apply; the panel is touched freely
    ASKING,     // the same, and whether Save may replace the calibration of another panel
    NOT_SAVED,  // the same, after a save that has failed
    NOT_UNDONE, // the same, after an undo that has failed
    SAVED,
    UNDONE,    // the last save
    UNCHANGED, // nothing was changed
};

// Tasks for the caller, in this order; bits.
using FlowTasks = uint32_t;
inline constexpr FlowTasks TASK_TRY = 1;    // map the panel `tried` by targets.calib
inline constexpr FlowTasks TASK_REVERT = 2; // map that panel by its previous calibration again
// save targets.calib, and report the result (FinishSave)
inline constexpr FlowTasks TASK_SAVE = 4;
inline constexpr FlowTasks TASK_BELL = 8;        // a target is taken, or something else is heard
inline constexpr FlowTasks TASK_SHOW = 16;       // show everything again
inline constexpr FlowTasks TASK_SHOW_RING = 32;  // the ring has grown
inline constexpr FlowTasks TASK_SHOW_TOUCH = 64; // the free touch has moved
inline constexpr FlowTasks TASK_END = 128;       // end the program
inline constexpr FlowTasks TASK_UNDO
    = 256; // undo the last save, and report the result (FinishUndo)
inline constexpr FlowTasks TASK_SEARCH = 512; // search for panels again (FinishSearch)

struct FlowPanel {
    bool known;
    PanelLoss loss;
    uint32_t resolutionBits;
};

// How exact a calibration is: within 0.5, 1 and 2 % of the screen's shorter side, or not.
enum class Accuracy : uint8_t { VERY_GOOD, GOOD, FAIR, POOR };

struct CalibrationFlow {
    FlowStep step;
    bool savesUnasked; // there are no buttons: it saves once all targets are taken and fit
    bool accepts;      // also saves a result that does not fit, or over another panel's calibration
    bool hasKeyboard;
    bool isTryWanted; // it has ended by TRY
    uint32_t targetCount;
    POINT screen; // its size, in pixels; kept up to date
    std::array<FlowPanel, MAX_PANELS> panels;
    uint32_t panel; // that is calibrated: the one that was touched first; NO_PANEL: none yet
    CalibrationTargets targets;
    uint32_t tried; // the panel whose result is tried, or was last
    uint32_t triedMs;

    // Of the panel that is calibrated.
    bool overwritesOtherPanel; // Save replaces the calibration of another panel
    bool canUndo;              // an earlier calibration is kept

    // The touch that is going on, in output units: where the new points map it to while they are
    // tried, else where the panel's own calibration does.
    bool touching;
    TouchSamples samples;
    POINT touch;        // its last report, in pixels
    PageButton pressed; // where it began
    uint32_t mark;      // where it began; MARK_COUNT: at none
    // of the last touch of each mark, in pixels; below 0: it was not touched
    std::array<double, MARK_COUNT> distances;

    uint32_t askedMs;      // since when it is ASKING
    uint32_t lastActionMs; // of the last touch, key or button
    bool isSearching;      // again: TASK_SEARCH was returned, and its result has not come
    uint32_t searchedMs;   // when the last search ended
    uint32_t savedMs;
    uint32_t secondsLeft; // that are counted down; 0: none are
};

void StartFlow(CalibrationFlow* flow, uint32_t targetCount, POINT screen, uint32_t nowMs);

// A panel was found, lost, or is back. One that is added again under its number is a new panel.
FlowTasks AddPanel(CalibrationFlow* flow, uint32_t panel, uint32_t resolutionBits, uint32_t nowMs);
FlowTasks LosePanel(CalibrationFlow* flow, uint32_t panel, PanelLoss loss);
FlowTasks ReturnPanel(CalibrationFlow* flow, uint32_t panel, uint32_t nowMs);
FlowTasks FinishSearch(CalibrationFlow* flow, uint32_t nowMs);

// A report of a panel, and where its own calibration maps it to, in output units. Those of other
// panels than the one that is calibrated are ignored, except while the first target waits, or the
// panel is lost.
FlowTasks HandleReport(
    CalibrationFlow* flow, uint32_t panel, Point raw, Point mapped, bool touching, uint32_t nowMs);

// A button, by mouse, key or touch; one that is not there now changes nothing. CANCEL is always
// there.
FlowTasks PressButton(CalibrationFlow* flow, PageButton button, uint32_t nowMs);

// Results of TASK_SAVE and TASK_UNDO.
FlowTasks FinishSave(CalibrationFlow* flow, bool stored, uint32_t nowMs);
FlowTasks FinishUndo(CalibrationFlow* flow, bool undone, uint32_t nowMs);

// Advances the clock; called a few times a second.
FlowTasks HandleTime(CalibrationFlow* flow, uint32_t nowMs);

// True while a result is tried: TRYING, ASKING, NOT_SAVED and NOT_UNDONE.
bool IsTrying(const CalibrationFlow* flow);

// Which buttons are there now.
bool HasButton(const CalibrationFlow* flow, PageButton button);

// The button that is there now at a place, in pixels; NONE: there is none.
PageButton ShownButtonAt(const CalibrationFlow* flow, POINT place);

// True when all is done: SAVED, UNDONE and UNCHANGED.
bool IsOver(const CalibrationFlow* flow);

// True when a target lies so far from where the others predict it that the points are saved only by
// a person who sees that.
bool IsDoubtful(const CalibrationFlow* flow);

// Why the panel that is calibrated, or all of them, report nothing; NONE: it is there.
PanelLoss LossOf(const CalibrationFlow* flow);

// From TRYING and IMPOSSIBLE on: how far a target lies from where the others predict it, in pixels,
// and the first target to touch again: the one that does not fit, else the one that lies farthest
// off.
double ResidualPixels(const CalibrationFlow* flow, uint32_t target);
uint32_t WorstTarget(const CalibrationFlow* flow);

// The distance of touches from where they should land, in pixels: the worst of the touched marks,
// before that (HasTouchedMarks) the worst residual. And the rating of a distance.
bool HasTouchedMarks(const CalibrationFlow* flow);
double DistanceOff(const CalibrationFlow* flow);
Accuracy AccuracyOf(const CalibrationFlow* flow, double pixels);

} // namespace korvex
