// The source of the calibration's touches: the sessions of this process (own_panels.h), or
// those of a runtime that drives the panel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "link/touch_controller.h"
#include "platform/win32.h"
#include "support/bounded_text.h"

namespace korvex {

// Panels are numbered in the order in which they are found.
inline constexpr uint32_t MAX_PANELS = 16;

// The messages that a source posts to the window, with the panel's number in wParam.
inline constexpr UINT WM_PANEL_CAME = WM_USER + 1;     // lParam: its resolution, in bits
inline constexpr UINT WM_PANEL_LOST = WM_USER + 2;     // lParam: a PanelLoss
inline constexpr UINT WM_PANEL_RETURNED = WM_USER + 3; // its port works again
inline constexpr UINT WM_PANEL_TOUCH
    = WM_USER + 4; // a report; wParam: PackPlace; lParam: PackTouch
inline constexpr UINT WM_SEARCH_DONE = WM_USER + 5; // all ports have been asked; no panel in wParam

enum class PanelLoss : uint8_t {
    NONE,
    PORT,    // it has failed
    RUNTIME, // the process that drives the panel has ended
};

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

// The panel's number, and where on the screen its touches are mapped to now, in output units: 0 to
// 65535, beyond them the nearest, in steps of 4.
constexpr WPARAM PackPlace(uint32_t panel, Point mapped)
{
    const auto part = [](int32_t value) {
        return (static_cast<uint32_t>(value < 0 ? 0 : value > 0xFFFF ? 0xFFFF : value)) >> 2U;
    };
    return panel << 28U | part(mapped.y) << 14U | part(mapped.x);
}

constexpr uint32_t PanelOfPlace(WPARAM packed)
{
    return static_cast<uint32_t>(packed) >> 28U;
}

constexpr Point MappedOfPlace(WPARAM packed)
{
    return {static_cast<int32_t>((packed & 0x3FFFU) << 2U),
        static_cast<int32_t>((packed >> 14U & 0x3FFFU) << 2U)};
}

using SourceText = std::array<WCHAR, TEXT_CAPACITY>;

// The file that a save changes.
struct PanelFile {
    SourceText path;
    SourceText other;    // whose calibration it has; empty: no other panel's
    SourceText previous; // until when the calibration that Undo restores was in use; empty: none is
                         // kept
};

// All of it on the window's thread.
struct PanelSource {
    // Begins to post to the window: first WM_PANEL_CAME for each panel that is there.
    void (*begin)(HWND window);

    // Searches again, after a WM_SEARCH_DONE without panels, for those that have come; posts
    // another one at the end. Null: panels are found as they come.
    void (*search)(HWND window);

    // Nothing is posted after it.
    void (*end)();

    // The panel and its controller, for people.
    void (*describe)(uint32_t panel, SourceText* text);
    void (*describeFile)(uint32_t panel, PanelFile* file);

    // Why no panel was found, where something is known of it, a line for each port; else empty.
    void (*explainNoneFound)(SourceText* text);

    // Maps the panel's touches by these points from now on; `revert` restores the previous mapping.
    void (*tryPoints)(uint32_t panel, const CalibrationData* points);
    void (*revert)(uint32_t panel);

    // Stores the points, whole or not at all: true when the file has them. Else why not.
    bool (*save)(uint32_t panel, const CalibrationData* points, SourceText* reason);

    // Restores the calibration that the last save replaced: true when the file has it. Else why
    // not.
    bool (*undo)(uint32_t panel, SourceText* reason);
};

} // namespace korvex
