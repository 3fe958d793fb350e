// The figures and texts that the calibration's page is drawn of. Lengths and places in pixels. On
// the window's thread, on a device that PrepareDevice has seen.
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
inline constexpr COLORREF RED = 0x001E28BE;

// Heights of letters, in page units.
inline constexpr int TITLE_UNITS = 7;
inline constexpr int WORDS_UNITS = 5;
inline constexpr int SMALL_UNITS = 3;

struct Words {
    int units; // of the letters' height
    int weight;
    COLORREF color;
    UINT format;
};

// Writes into the area; what is left of it is below the text.
void Write(HDC device, POINT screen, const WCHAR* text, Words words, RECT* area);

// A disc, and a part of it, `percent`, that begins at the top and goes clockwise.
void Disc(HDC device, POINT middle, int radius, COLORREF color);

void Sector(HDC device, POINT middle, int radius, uint32_t percent, COLORREF color);

void Bar(HDC device, int left, int top, int right, int bottom, COLORREF color);

// A line that is thick and round, of discs.
void Stroke(HDC device, POINT from, POINT to, int radius, COLORREF color);

void CheckMark(HDC device, POINT middle, int size, COLORREF color);

void Cross(HDC device, POINT middle, int reach, int halfWidth, COLORREF color);

// Everything is drawn without outlines, and filled in the colour of the moment.
void PrepareDevice(HDC device);

} // namespace korvex
