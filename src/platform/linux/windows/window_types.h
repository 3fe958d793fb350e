// Records and constants of windows, messages and painting.
#pragma once

#include "platform/linux/core/modules.h"
#include "platform/linux/core/types.h"

using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using UINT_PTR = uintptr_t;

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
};

inline constexpr UINT WM_DESTROY = 0x0002;
inline constexpr UINT WM_SETTEXT = 0x000C;
inline constexpr UINT WM_PAINT = 0x000F;
inline constexpr UINT WM_CLOSE = 0x0010;
inline constexpr UINT WM_KEYDOWN = 0x0100;
inline constexpr UINT WM_KEYUP = 0x0101;
inline constexpr UINT WM_TIMER = 0x0113;
inline constexpr UINT WM_LBUTTONDOWN = 0x0201;
inline constexpr UINT WM_LBUTTONUP = 0x0202;
inline constexpr UINT WM_USER = 0x0400;
inline constexpr WPARAM VK_RETURN = 0x0D;
inline constexpr WPARAM VK_ESCAPE = 0x1B;
inline constexpr WPARAM VK_SPACE = 0x20;
inline constexpr DWORD QS_SENDMESSAGE = 0x0040;
inline constexpr UINT PM_NOREMOVE = 0;

using COLORREF = DWORD; // 0x00BBGGRR
using HDC = struct HDC__*;
using HRGN = struct HRGN__*;
using HGDIOBJ = struct HGDIOBJ__*;
using HBRUSH = HGDIOBJ;
using HFONT = HGDIOBJ;
using HPEN = HGDIOBJ;

struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

struct PAINTSTRUCT {
    HDC hdc;
};

inline constexpr int WHITE_BRUSH = 0;
inline constexpr int GRAY_BRUSH = 2;
inline constexpr int NULL_PEN = 8;
inline constexpr int PS_SOLID = 0;
inline constexpr int DC_BRUSH = 18; // of the colour that SetDCBrushColor has set
inline constexpr int FW_NORMAL = 400;
inline constexpr int FW_BOLD = 700;
inline constexpr DWORD DEFAULT_CHARSET = 1;
inline constexpr int TRANSPARENT = 1;
inline constexpr UINT DT_CENTER = 0x0001;
inline constexpr UINT DT_VCENTER = 0x0004;
inline constexpr UINT DT_WORDBREAK = 0x0010;
inline constexpr UINT DT_SINGLELINE = 0x0020;
inline constexpr UINT DT_CALCRECT = 0x0400;
inline constexpr UINT DT_PATH_ELLIPSIS = 0x4000;
inline constexpr UINT DT_NOPREFIX = 0x0800;
inline constexpr UINT RDW_INVALIDATE = 0x0001;
inline constexpr UINT RDW_INTERNALPAINT = 0x0002;
inline constexpr UINT RDW_ERASE = 0x0004;
inline constexpr UINT RDW_ALLCHILDREN = 0x0080;
inline constexpr UINT RDW_UPDATENOW = 0x0100;

using ATOM = WORD;
using HICON = struct HICON__*;
using HCURSOR = HICON;
using HMENU = struct HMENU__*;
using WNDPROC = LRESULT(CALLBACK*)(HWND, UINT, WPARAM, LPARAM);

struct WNDCLASSW {
    UINT style;
    WNDPROC lpfnWndProc;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszClassName;
};

inline constexpr UINT CS_DBLCLKS = 0x0008;
inline constexpr DWORD WS_OVERLAPPED = 0x00000000;
inline constexpr DWORD WS_MINIMIZEBOX = 0x00020000;
inline constexpr DWORD WS_SYSMENU = 0x00080000;
inline constexpr DWORD WS_VISIBLE = 0x10000000;
inline constexpr DWORD WS_CHILD = 0x40000000;
inline constexpr DWORD WS_POPUP = 0x80000000;
inline constexpr DWORD WS_EX_TOPMOST = 0x00000008;
inline constexpr DWORD SS_CENTER = 1;
inline constexpr int SW_SHOW = 5;
inline constexpr UINT MB_OK = 0;
inline constexpr int IDOK = 1;
// NOLINTNEXTLINE(performance-no-int-to-ptr): as Windows has it
inline const LPCWSTR IDC_ARROW = reinterpret_cast<LPCWSTR>(uintptr_t{32512});
