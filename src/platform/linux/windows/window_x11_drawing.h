// Painting in the windows on an X display: the painting of WindowBackend. Nothing happens to a
// window that is not shown, and once the server has gone away.
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
void DrawRectangle(HWND handle, RECT bounds, COLORREF fill, bool outlined);
void DrawEllipse(HWND handle, RECT bounds, COLORREF fill, bool outlined);
void DrawPie(HWND handle, RECT bounds, double start, double extent, COLORREF fill, bool outlined);
int TextWidth(FontView font, const std::u16string& text);
int LineHeight(FontView font);
void DrawWords(
    HWND handle, int x, int y, FontView font, COLORREF color, const std::u16string& text);
void Beep();

} // namespace korvex::platform
