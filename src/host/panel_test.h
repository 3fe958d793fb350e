// The panel test: a full-screen window that leads through nine targets, takes the panel's report at
// each, stores the nine points as the controller's calibration, and shows by the screen's colour
// how much of its range the panel uses. A timer paces it; each tick uses the last report of the
// controller that was touched last. All on the entry's thread, which owns the window.
#pragma once

#include <array>
#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"
#include "support/list_links.h"

namespace korvex {

// The result of the detection: wParam 1 when a session was started, else 0.
inline constexpr UINT WM_DETECT_DONE = WM_USER + 240;

inline constexpr const WCHAR* PANEL_TEST_CLASS = TEXT("kxPanelTest"); // of its window
inline constexpr uint32_t TARGET_COUNT = 9;
inline constexpr UINT TARGET_TIME_MS = 5000; // until what the panel reports is taken

// One per process.
struct PanelTestContext {
    HMODULE moduleHandle; // the executable's: the context's key
    uint8_t showResult;   // 1: the result must be drawn
    HICON icon;
    HBRUSH backgroundBrush; // white, in the end the result's colour; owned
    HWND window;
    // where the pointer was at each sample, in pixels; the last one is the check's
    std::array<POINT, TARGET_COUNT + 1> cursorPoints;
    int32_t markerX; // where the check's touch landed, in pixels
    int32_t markerY;
    uint32_t targetIndex; // of the current target, TARGET_COUNT in the check
    // what the test fills and hands over: advPoints are the raw samples in target order
    CalibrationData calib;
    ListLinks links; // in the process's list of contexts
};

// Creates context and window, which receives the detection's result. Right after StartHost. TRUE
// always; without memory for the context there is no window, and FindPanelTestContext finds none.
BOOL StartPanelTest();

// The first context with this key; null when there is none.
PanelTestContext* FindPanelTestContext(HMODULE moduleHandle);

// A new context in the process's list, its window class registered; null when out of memory.
PanelTestContext* CreatePanelTestContext(HMODULE moduleHandle);

// Registers the test window's class with the context's icon and brush. TRUE always.
BOOL RegisterPanelTestClass(PanelTestContext* context);

// The test window's procedure: the result of the detection starts the test, the timer takes a
// sample, Escape and closing end the process with exit code 0.
LRESULT CALLBACK PanelTestWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Repaints the window and draws the current target over it; after the last target it only repaints.
BOOL ShowTarget(PanelTestContext* context);

// The place of a target (0 to TARGET_COUNT - 1, row by row from the top left) on the primary
// screen, in pixels.
POINT TargetPosition(uint32_t index);

// Sets the calibration's standard box to the extent of its pointCount advPoints. 0 always.
int PointSpan(CalibrationData* calib);

// How much of the raw span the standard box takes, in percent of the part that lies between the
// outer targets, averaged over both axes: about 100 for a good panel, more for one that reaches
// further.
uint32_t PanelQuality(const CalibrationData* calib);

// Ends the host (DestroyHostContext), then frees window and context. The end of the process must
// follow.
BOOL DestroyPanelTest();

} // namespace korvex
