// The messages between a watcher (watch.h) and its detection (watched_detection.h), and the window
// class by which others find the watcher.
#pragma once

#include "console/restart_rule.h"
#include "platform/win32.h"

namespace korvex {

// The class of the watcher's hidden window, by which it is found. WM_CLOSE ends watcher and
// detection.
inline constexpr const WCHAR* WATCH_CLASS = TEXT("kxWatch");

// Messages posted to it:
// the detection's status window, and its state (PackState)
inline constexpr UINT WM_DETECTION_STATE = WM_USER + 1;
// a detection is wanted: whoever has had the ports gives them back
inline constexpr UINT WM_DETECTION_WANTED = WM_USER + 2;

// The word that makes this program a watched detection.
inline constexpr const WCHAR* DETECTION_OPTION = TEXT("-drive");

inline constexpr int DETECTION_FAILED = 1; // the exit code of a detection that nobody has closed

// A state as the data of WM_DETECTION_STATE: two flags, and the count above them.
constexpr LPARAM PackState(const DetectionState& state)
{
    return (state.detecting ? 1 : 0) + (state.touched ? 2 : 0)
        + 4 * static_cast<LPARAM>(state.driven);
}

constexpr DetectionState UnpackState(LPARAM packed)
{
    return {true, (packed & 1) != 0, (packed & 2) != 0, static_cast<uint32_t>(packed) / 4};
}

} // namespace korvex
