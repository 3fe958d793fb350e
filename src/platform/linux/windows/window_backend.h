// How windows are shown. A backend's routines are called on the windows' thread only.
#pragma once

#include <string>

#include "platform/linux/core/input.h"
#include "platform/linux/windows/window_types.h"

namespace korvex::platform {

// The place and the texts of a window, for the backend to show. A backend keeps its own state by
// the handle.
struct WindowView {
    HWND handle;
    HWND parent; // null: top level
    std::u16string text;
    COLORREF background;
    bool isStatic;
    DWORD style; // WS_ flags
    int x;
    int y;
    int width;
    int height;
};

struct FontView {
    int height; // of the em square, in pixels
    bool bold;
};

struct WindowBackend {
    bool interactive; // a user can press a button

    bool (*create)(const WindowView* view);
    void (*show)(HWND window);
    void (*changeText)(const WindowView* view);
    void (*destroy)(HWND window);

    // Painting, as painting.h has it: the background, and figures that are filled with a colour and
    // may be outlined in black. A rectangle without an outline has corners that are quarters of
    // circles of that diameter. A pie's angles are degrees counterclockwise from the right, its
    // extent up to 360. Lines have round ends.
    void (*erase)(const WindowView* view);
    void (*rectangle)(HWND window, RECT bounds, int diameter, COLORREF fill, bool outlined);
    void (*pie)(
        HWND window, RECT bounds, double start, double extent, COLORREF fill, bool outlined);
    void (*line)(HWND window, POINT from, POINT to, int width, COLORREF color);

    // Writes a text as DrawTextW does, or with DT_CALCRECT measures it. Its height.
    int (*text)(HWND window, RECT* area, FontView font, COLORREF color, const std::u16string& text,
        UINT format);

    void (*beep)();

    // A descriptor that is readable when `pump` has something to do; -1: never.
    int (*descriptor)();
    // Handles what has come from the display: posts WM_CLOSE for a closed window, WM_KEYDOWN and
    // WM_KEYUP for a key, WM_LBUTTONDOWN and WM_LBUTTONUP for the first mouse button, and
    // invalidates what has come to light. False when the display is lost.
    bool (*pump)();
};

} // namespace korvex::platform
