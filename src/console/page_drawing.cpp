#include "console/page_drawing.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace korvex {

namespace {

// A font that is selected while it lives.
struct SelectedFont {
    HDC device;
    HFONT font;
    HGDIOBJ before;

    SelectedFont(HDC context, int height, int weight)
        : device(context)
        , font(CreateFontW(
              -height, 0, 0, 0, weight, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, TEXT("Tahoma")))
        , before(SelectObject(device, font))
    {
    }
    ~SelectedFont()
    {
        SelectObject(device, before);
        DeleteObject(font);
    }
    SelectedFont(const SelectedFont&) = delete;
    SelectedFont& operator=(const SelectedFont&) = delete;
};

} // namespace

void Write(HDC device, POINT screen, const WCHAR* text, TextStyle words, RECT* area)
{
    if (*text == 0)
        return;
    const SelectedFont font(device, std::max(8, Units(screen, words.units)), words.weight);
    SetTextColor(device, words.color);
    area->top += DrawTextW(device, text, -1, area, words.format | DT_CENTER | DT_NOPREFIX);
}

void Disc(HDC device, POINT middle, int radius, COLORREF color)
{
    SetDCBrushColor(device, color);
    Ellipse(
        device, middle.x - radius, middle.y - radius, middle.x + radius + 1, middle.y + radius + 1);
}

void Sector(HDC device, POINT middle, int radius, uint32_t percent, COLORREF color)
{
    if (percent >= 100)
        Disc(device, middle, radius, color);
    if (percent == 0 || percent >= 100)
        return;
    const double angle = percent * 2 * std::numbers::pi / 100;
    constexpr int FAR_OFF = 1000; // far enough for whole pixels to express the angle
    SetDCBrushColor(device, color);
    Pie(device, middle.x - radius, middle.y - radius, middle.x + radius + 1, middle.y + radius + 1,
        middle.x + static_cast<int>(FAR_OFF * std::sin(angle)),
        middle.y - static_cast<int>(FAR_OFF * std::cos(angle)), middle.x, middle.y - FAR_OFF);
}

void Bar(HDC device, int left, int top, int right, int bottom, COLORREF color)
{
    const RECT area{left, top, right, bottom};
    SetDCBrushColor(device, color);
    FillRect(device, &area, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

void RoundBar(HDC device, const RECT& area, int diameter, COLORREF color)
{
    SetDCBrushColor(device, color);
    RoundRect(device, area.left, area.top, area.right, area.bottom, diameter, diameter);
}

void Stroke(HDC device, POINT from, POINT to, int radius, COLORREF color)
{
    HPEN pen = CreatePen(PS_SOLID, 2 * radius + 1, color);
    const HGDIOBJ before = SelectObject(device, pen);
    MoveToEx(device, from.x, from.y, nullptr);
    LineTo(device, to.x, to.y);
    SelectObject(device, before);
    DeleteObject(pen);
}

void CheckMark(HDC device, POINT middle, int size, COLORREF color)
{
    const int radius = std::max(1, size / 8);
    const POINT corner{middle.x - size / 8, middle.y + size / 2};
    Stroke(device, {middle.x - size / 2, middle.y + size / 8}, corner, radius, color);
    Stroke(device, corner, {middle.x + size * 5 / 8, middle.y - size / 2}, radius, color);
}

void Cross(HDC device, POINT middle, int reach, int halfWidth, COLORREF color)
{
    Bar(device, middle.x - reach, middle.y - halfWidth, middle.x + reach + 1,
        middle.y + halfWidth + 1, color);
    Bar(device, middle.x - halfWidth, middle.y - reach, middle.x + halfWidth + 1,
        middle.y + reach + 1, color);
}

void PrepareDevice(HDC device)
{
    SelectObject(device, GetStockObject(NULL_PEN));
    SelectObject(device, GetStockObject(DC_BRUSH));
    SetBkMode(device, TRANSPARENT);
}

} // namespace korvex
