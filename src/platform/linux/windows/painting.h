// Painting in windows, and the brushes for it. A device context draws with a black pen, one pixel wide, and fills with the brush that is
// selected into it, at first white. On the windows' thread.
#pragma once

#include "platform/linux/windows/window_types.h"

// The window is painted as a whole: areas must be null. WM_PAINT comes when nothing else is to be done, or at once with RDW_UPDATENOW.
BOOL InvalidateRect(HWND window, const RECT* area, BOOL erase);
BOOL RedrawWindow(HWND window, const RECT* area, HRGN region, UINT flags);

// For WM_PAINT: ends the need to paint, and erases with the class's background where that was asked for. Null for a window that is gone.
HDC BeginPaint(HWND window, PAINTSTRUCT* paint);
BOOL EndPaint(HWND window, const PAINTSTRUCT* paint);

// To draw at any other time.
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC context);

HBRUSH CreateSolidBrush(COLORREF color);
HGDIOBJ GetStockObject(int object);               // WHITE_BRUSH, GRAY_BRUSH and DC_BRUSH; never deleted
BOOL DeleteObject(HGDIOBJ object);                // a brush
HGDIOBJ SelectObject(HDC context, HGDIOBJ brush); // the one that was selected before
COLORREF SetDCBrushColor(HDC context, COLORREF color);

// Figures inside (left, top) to (right - 1, bottom - 1), filled and outlined.
BOOL Rectangle(HDC context, int left, int top, int right, int bottom);
BOOL Ellipse(HDC context, int left, int top, int right, int bottom);

namespace korvex::platform {

// The colour of a brush; white for none.
COLORREF ColorOf(HBRUSH brush);

} // namespace korvex::platform
