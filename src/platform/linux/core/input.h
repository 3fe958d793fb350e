// Pointer input as records.
#pragma once

#include "platform/linux/core/types.h"

inline constexpr DWORD INPUT_MOUSE = 0;
inline constexpr DWORD MOUSEEVENTF_MOVE = 0x0001;
inline constexpr DWORD MOUSEEVENTF_LEFTDOWN = 0x0002;
inline constexpr DWORD MOUSEEVENTF_LEFTUP = 0x0004;
inline constexpr DWORD MOUSEEVENTF_RIGHTDOWN = 0x0008;
inline constexpr DWORD MOUSEEVENTF_RIGHTUP = 0x0010;
inline constexpr DWORD MOUSEEVENTF_ABSOLUTE = 0x8000;

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
