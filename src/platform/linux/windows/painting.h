// Painting in windows. A device context outlines figures with a black pen, one pixel wide, or with
// none (these have smooth edges); fills them with the selected brush (white by default); and writes
// in the selected font (the system's by default). On the windows' thread.
#pragma once

#include "platform/linux/core/input.h"
#include "platform/linux/windows/window_types.h"

// The window is painted as a whole: areas must be null. WM_PAINT comes when no other message is
// due, or at once with RDW_UPDATENOW.
BOOL InvalidateRect(HWND window, const RECT* area, BOOL erase);
BOOL RedrawWindow(HWND window, const RECT* area, HRGN region, UINT flags);

// For WM_PAINT: ends the need to paint, and erases with the class's background where that was asked
// for. Null for a window that is gone.
HDC BeginPaint(HWND window, PAINTSTRUCT* paint);
BOOL EndPaint(HWND window, const PAINTSTRUCT* paint);

// To draw at any other time.
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC context);

HBRUSH CreateSolidBrush(COLORREF color);
HPEN CreatePen(int style, int width, COLORREF color); // PS_SOLID; for lines
// A font whose letters are -`height` pixels high (the em square); it is DejaVu Sans, or the
// system's substitute, whatever the name.
HFONT CreateFontW(int height, int width, int escapement, int orientation, int weight, DWORD italic,
    DWORD underline, DWORD strikeOut, DWORD characterSet, DWORD outPrecision, DWORD clipPrecision,
    DWORD quality, DWORD pitchAndFamily, LPCWSTR name);
// WHITE_BRUSH, GRAY_BRUSH, DC_BRUSH and NULL_PEN; never deleted
HGDIOBJ GetStockObject(int object);
BOOL DeleteObject(HGDIOBJ object);
HGDIOBJ SelectObject(HDC context, HGDIOBJ object); // the one of its kind that was selected before
COLORREF SetDCBrushColor(HDC context, COLORREF color);
COLORREF SetTextColor(HDC context, COLORREF color); // at first black
int SetBkMode(HDC context, int mode);               // text is transparent whatever the mode

// Figures inside (left, top) to (right - 1, bottom - 1), filled, and outlined by the pen. A pie is
// the part of an ellipse that lies counterclockwise between the rays from its middle through (x1,
// y1) and (x2, y2); the whole ellipse if both rays are the same.
BOOL Rectangle(HDC context, int left, int top, int right, int bottom);
BOOL Ellipse(HDC context, int left, int top, int right, int bottom);
BOOL Pie(HDC context, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2);

// A rectangle. Without an outline its corners are quarters of circles of that diameter.
BOOL RoundRect(HDC context, int left, int top, int right, int bottom, int diameter, int height);

// A line with round ends from where the last one ended, or from MoveToEx (`before` must be null).
BOOL MoveToEx(HDC context, int x, int y, POINT* before);
BOOL LineTo(HDC context, int x, int y);

// Without an outline, and without the right and the bottom edge.
int FillRect(HDC context, const RECT* area, HBRUSH brush);

// Writes a terminated text (`count` -1) into an area, from its top on: DT_CENTER, DT_WORDBREAK
// (else lines end at "\n" alone); DT_PATH_ELLIPSIS omits the middle of a line that is too wide. The
// height of the text; what does not fit is not cut. With DT_CALCRECT nothing
// is written, and the area becomes that of the text.
int DrawTextW(HDC context, LPCWSTR text, int count, RECT* area, UINT format);

namespace korvex::platform {

// The colour of a brush; white for none.
COLORREF ColorOf(HBRUSH brush);

} // namespace korvex::platform
