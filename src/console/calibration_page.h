// The page of the calibration: what a calibration looks like on the screen.
#pragma once

#include <array>

#include "console/calibration_flow.h"
#include "platform/win32.h"
#include "support/bounded_text.h"

namespace korvex {

using PageTextBuffer = std::array<WCHAR, 2 * TEXT_CAPACITY>;

// Texts of the page that the flow does not know.
struct PageWords {
    SourceText panel;     // that is calibrated, for people; empty: none yet
    PanelFile file;       // that Save changes
    SourceText reason;    // why it was not saved or undone
    SourceText noneFound; // why there is no panel; empty: not known
};

// A few words, and a sentence below them.
struct PageText {
    PageTextBuffer title;
    PageTextBuffer more;
};

// Says where the flow is.
PageText DescribeStep(const CalibrationFlow* flow, const PageWords* words);

// Why a target is asked for again, or the panel cannot be calibrated so; empty if there is no
// reason.
const WCHAR* ReasonText(RetakeReason reason);
const WCHAR* FaultText(PointsFault fault);

// "very good"
const WCHAR* AccuracyText(Accuracy accuracy);

// Draws all of it, the parts that change while a finger rests, or what a free touch leaves.
void PaintPage(const CalibrationFlow* flow, const PageWords* words, HDC device);
void PaintRing(const CalibrationFlow* flow, HDC device);
void PaintTouch(const CalibrationFlow* flow, HDC device);

} // namespace korvex
