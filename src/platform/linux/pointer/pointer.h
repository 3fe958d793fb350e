// Pointer input and what is known of pointer and screen. Where input goes is set in the machine (machine.h).
#pragma once

#include "platform/linux/core/types.h"

inline constexpr DWORD INPUT_MOUSE = 0;
inline constexpr DWORD MOUSEEVENTF_MOVE = 0x0001;
inline constexpr DWORD MOUSEEVENTF_LEFTDOWN = 0x0002;
inline constexpr DWORD MOUSEEVENTF_LEFTUP = 0x0004;
inline constexpr DWORD MOUSEEVENTF_ABSOLUTE = 0x8000;
inline constexpr int SM_CXSCREEN = 0;
inline constexpr int SM_CYSCREEN = 1;
inline constexpr int SM_TABLETPC = 86;

struct POINT {
    LONG x;
    LONG y;
};

struct MOUSEINPUT {
    LONG dx;
    LONG dy;
    DWORD mouseData;
    DWORD dwFlags;
    DWORD time;
    ULONG_PTR dwExtraInfo;
};

struct INPUT {
    DWORD type;
    union {
        MOUSEINPUT mi;
    };
};

// Sends `count` records of absolute mouse input (0 to 65535 across the screen, clamped) in order and returns how many were sent. A
// record without MOUSEEVENTF_MOVE does not move the pointer. Any thread.
UINT SendInput(UINT count, INPUT* inputs, int size);

// The pointer in pixels; fails when the display cannot be asked.
BOOL GetCursorPos(POINT* point);

// SM_CXSCREEN and SM_CYSCREEN, in pixels, and SM_TABLETPC, 1 for a Tablet PC; 0 for any other index.
int GetSystemMetrics(int index);
