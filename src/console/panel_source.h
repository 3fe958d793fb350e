// Where the calibration gets its touches from: the sessions of this process (own_panels.h), or
// those of a runtime that drives the panel.
#pragma once

#include <cstddef>
#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"

namespace korvex {

// Panels are counted in the order in which they come.
inline constexpr uint32_t MAX_PANELS = 16;

// What a source posts to the window, the panel's number in wParam.
inline constexpr UINT WM_PANEL_CAME = WM_USER + 1;  // lParam: its resolution, in bits
inline constexpr UINT WM_PANEL_GONE = WM_USER + 2;  // its port has failed
inline constexpr UINT WM_PANEL_BACK = WM_USER + 3;  // and works again
inline constexpr UINT WM_PANEL_TOUCH = WM_USER + 4; // a report; lParam: PackTouch
inline constexpr UINT WM_SEARCH_DONE = WM_USER + 5; // all ports have been asked; no panel in wParam

constexpr LPARAM PackTouch(Point raw, bool touching)
{
    return static_cast<LPARAM>((touching ? 1U << 30 : 0U)
        | (static_cast<uint32_t>(raw.y) & 0x7FFFU) << 15
        | (static_cast<uint32_t>(raw.x) & 0x7FFFU));
}

constexpr Point RawOfTouch(LPARAM packed)
{
    return {static_cast<int32_t>(packed & 0x7FFF), static_cast<int32_t>(packed >> 15 & 0x7FFF)};
}

constexpr bool IsTouching(LPARAM packed)
{
    return (packed >> 30 & 1) != 0;
}

// All of it on the window's thread.
struct PanelSource {
    // Begins to post to the window: first WM_PANEL_CAME for each panel that is there.
    void (*begin)(HWND window);

    // Nothing is posted behind it.
    void (*end)();

    // The panel and its controller, for people, and the whole path of the file that a store
    // changes.
    void (*describe)(uint32_t panel, WCHAR* text, size_t capacity);
    void (*locateFile)(uint32_t panel, WCHAR* path, size_t capacity);

    // Why no panel was found, where something is known of it; else empty.
    void (*explainNobody)(WCHAR* text, size_t capacity);

    // Has the panel's touches mapped by these points from now on, and as before again.
    void (*attempt)(uint32_t panel, const CalibrationData* points);
    void (*takeBack)(uint32_t panel);

    // Stores the points, whole or not at all: true when the file has them. Else why not.
    bool (*store)(uint32_t panel, const CalibrationData* points, WCHAR* reason, size_t capacity);
};

} // namespace korvex
