// Painting in the windows on an X display: the painting of WindowBackend. Outlined figures are
// drawn by the X server, whose pixels are those of Windows; everything else through cairo, with
// smooth edges, and text through pango. Nothing happens to a window that is not shown, and once the
// server has gone away.
#pragma once

#include <string>

#include "platform/linux/windows/window_x11_display.h"

namespace korvex::platform {

// The pixel value of a colour, whatever the depth of the screen.
unsigned long XColorOf(COLORREF color);

// Whether there is a font.
bool CanDrawText();

// A STATIC window's line of text, centred on both axes.
void DrawStatic(const WindowDisplay* connection, const ShownWindow* shown);

void Erase(const WindowView* view);
void DrawRectangle(HWND handle, RECT bounds, int diameter, COLORREF fill, bool outlined);
void DrawPie(HWND handle, RECT bounds, double start, double extent, COLORREF fill, bool outlined);
void DrawLine(HWND handle, POINT from, POINT to, int width, COLORREF color);
int DrawWords(HWND handle, RECT* area, FontView font, COLORREF color, const std::u16string& text,
    UINT format);
void Beep();

} // namespace korvex::platform
