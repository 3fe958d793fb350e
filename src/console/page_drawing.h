// Figures and texts of the calibration's page. Lengths and places in pixels. On the window's
// thread, after PrepareDevice.
#pragma once

#include "console/page_layout.h"
#include "platform/win32.h"

namespace korvex {

inline constexpr COLORREF INK = 0x00202020;
inline constexpr COLORREF FAINT = 0x00707070;
inline constexpr COLORREF TRACK = 0x00DCDCDC; // of a ring that is not full yet
inline constexpr COLORREF WHITE_PAPER = 0x00FFFFFF;
inline constexpr COLORREF BLUE = 0x00C86414;
inline constexpr COLORREF GREEN = 0x00328C28;
inline constexpr COLORREF AMBER = 0x000078C8;
inline constexpr COLORREF RED = 0x001E28BE;

// Heights of letters, in page units.
inline constexpr int TITLE_UNITS = 6;
inline constexpr int WORDS_UNITS = 4;
inline constexpr int SMALL_UNITS = 3;

// How a text looks.
struct TextStyle {
    int units; // the letters' height, in page units
    int weight;
    COLORREF color;
    UINT format; // DT_ flags
};

// Sets the device up for the routines below: figures without outlines, text without a background.
void PrepareDevice(HDC device);

// Writes a text centred at the top of the area on a screen of that size, and takes its height off
// the area. An empty text changes nothing.
void Write(HDC device, POINT screen, const WCHAR* text, TextStyle words, RECT* area);

void Disc(HDC device, POINT middle, int radius, COLORREF color);

// `percent` of a disc, clockwise from the top.
void Sector(HDC device, POINT middle, int radius, uint32_t percent, COLORREF color);

// A filled rectangle without its right and bottom edge, and one with round corners.
void Bar(HDC device, int left, int top, int right, int bottom, COLORREF color);
void RoundBar(HDC device, const RECT& area, int diameter, COLORREF color);

// A thick line with round ends.
void Stroke(HDC device, POINT from, POINT to, int radius, COLORREF color);

// A tick, `size` pixels high.
void CheckMark(HDC device, POINT middle, int size, COLORREF color);

// A cross of two bars, each `reach` long from the middle and `halfWidth` wide to either side.
void Cross(HDC device, POINT middle, int reach, int halfWidth, COLORREF color);

} // namespace korvex
