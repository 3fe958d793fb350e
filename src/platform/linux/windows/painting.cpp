#include "platform/linux/windows/painting.h"

#include <cmath>
#include <numbers>
#include <utility>

#include "platform/linux/core/last_error.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/window_records.h"

// An object that can be selected into a device context.
struct HGDIOBJ__ {
    enum { BRUSH, PEN, FONT } kind;
    bool isStock;
    COLORREF color;                       // of a brush or a pen
    int width = 0;                        // of a pen; 0: it draws nothing
    korvex::platform::FontView font = {}; // of a font
};

namespace {

constexpr COLORREF WHITE = 0xFFFFFF;
constexpr int SYSTEM_FONT_HEIGHT = 14;

HGDIOBJ__ whiteBrush{HGDIOBJ__::BRUSH, true, WHITE};
HGDIOBJ__ grayBrush{HGDIOBJ__::BRUSH, true, 0x808080};
HGDIOBJ__ contextBrush{HGDIOBJ__::BRUSH, true, WHITE}; // its colour is the device context's
HGDIOBJ__ blackPen{HGDIOBJ__::PEN, true, 0, 1};
HGDIOBJ__ nullPen{HGDIOBJ__::PEN, true, 0};
HGDIOBJ__ systemFont{HGDIOBJ__::FONT, true, 0, 0, {SYSTEM_FONT_HEIGHT, false}};

} // namespace

struct HDC__ {
    HWND window;
    HGDIOBJ brush = &whiteBrush;
    HGDIOBJ pen = &blackPen;
    HGDIOBJ font = &systemFont;
    COLORREF dcBrushColor = WHITE;
    COLORREF textColor = 0;
    POINT position{0, 0}; // where a line begins
};

namespace {

using korvex::platform::Backend;
using korvex::platform::FindWindow;
using korvex::platform::Windows;

COLORREF FillColor(HDC context, const HGDIOBJ__* brush)
{
    return brush == &contextBrush ? context->dcBrushColor : brush->color;
}

// Marks the window as one to be painted, or as painted; the result says whether it was to be
// erased.
bool ChangePaint(korvex::platform::WindowRecord* window, bool toPaint, bool toErase)
{
    const std::lock_guard guard(Windows()->mutex);
    const bool wasToErase = window->toErase;
    window->toPaint = toPaint;
    window->toErase = toPaint && (toErase || wasToErase);
    return wasToErase;
}

bool IsToBePainted(const korvex::platform::WindowRecord* window)
{
    const std::lock_guard guard(Windows()->mutex);
    return window->toPaint;
}

// Degrees counterclockwise from the right, 0 to below 360, of a ray from the middle of a figure.
double AngleOf(RECT bounds, int x, int y)
{
    const double angle
        = std::atan2((bounds.top + bounds.bottom) / 2.0 - y, x - (bounds.left + bounds.right) / 2.0)
        * 180 / std::numbers::pi;
    return angle < 0 ? angle + 360 : angle;
}

} // namespace

COLORREF korvex::platform::ColorOf(HBRUSH brush)
{
    return brush == nullptr ? WHITE : brush->color;
}

BOOL InvalidateRect(HWND window, const RECT* /*area*/, BOOL erase)
{
    return RedrawWindow(
        window, nullptr, nullptr, RDW_INVALIDATE | (erase != FALSE ? RDW_ERASE : 0));
}

BOOL RedrawWindow(HWND window, const RECT* /*area*/, HRGN /*region*/, UINT flags)
{
    const auto found = FindWindow(window);
    if (found == nullptr)
        return korvex::platform::Fail(ERROR_INVALID_HANDLE);
    if ((flags & (RDW_INVALIDATE | RDW_INTERNALPAINT)) != 0)
        ChangePaint(found.get(), true, (flags & RDW_ERASE) != 0);
    if ((flags & RDW_UPDATENOW) != 0 && IsToBePainted(found.get()))
        SendMessageW(window, WM_PAINT, 0, 0);
    return TRUE;
}

HDC BeginPaint(HWND window, PAINTSTRUCT* paint)
{
    const auto found = FindWindow(window);
    *paint = {};
    if (found == nullptr)
        return nullptr;
    if (ChangePaint(found.get(), false, false))
        Backend()->erase(&found->view);
    paint->hdc = GetDC(window);
    return paint->hdc;
}

BOOL EndPaint(HWND window, const PAINTSTRUCT* paint)
{
    ReleaseDC(window, paint->hdc);
    return TRUE;
}

HDC GetDC(HWND window)
{
    return FindWindow(window) == nullptr ? nullptr : new HDC__{window};
}

int ReleaseDC(HWND /*window*/, HDC context)
{
    delete context;
    return 1;
}

HBRUSH CreateSolidBrush(COLORREF color)
{
    return new HGDIOBJ__{HGDIOBJ__::BRUSH, false, color};
}

HPEN CreatePen(int /*style*/, int width, COLORREF color)
{
    return new HGDIOBJ__{HGDIOBJ__::PEN, false, color, width};
}

HFONT CreateFontW(int height, int /*width*/, int /*escapement*/, int /*orientation*/, int weight,
    DWORD /*italic*/, DWORD /*underline*/, DWORD /*strikeOut*/, DWORD /*characterSet*/,
    DWORD /*outPrecision*/, DWORD /*clipPrecision*/, DWORD /*quality*/, DWORD /*pitchAndFamily*/,
    LPCWSTR /*name*/)
{
    return new HGDIOBJ__{HGDIOBJ__::FONT, false, 0, 0,
        {height < 0 ? -height : SYSTEM_FONT_HEIGHT, weight >= FW_BOLD}};
}

HGDIOBJ GetStockObject(int object)
{
    return object == DC_BRUSH  ? &contextBrush
        : object == GRAY_BRUSH ? &grayBrush
        : object == NULL_PEN   ? &nullPen
                               : &whiteBrush;
}

BOOL DeleteObject(HGDIOBJ object)
{
    if (object != nullptr && !object->isStock)
        delete object;
    return TRUE;
}

HGDIOBJ SelectObject(HDC context, HGDIOBJ object)
{
    HGDIOBJ& place = object->kind == HGDIOBJ__::FONT ? context->font
        : object->kind == HGDIOBJ__::PEN             ? context->pen
                                                     : context->brush;
    return std::exchange(place, object);
}

COLORREF SetDCBrushColor(HDC context, COLORREF color)
{
    return std::exchange(context->dcBrushColor, color);
}

COLORREF SetTextColor(HDC context, COLORREF color)
{
    return std::exchange(context->textColor, color);
}

int SetBkMode(HDC /*context*/, int /*mode*/)
{
    return TRANSPARENT;
}

BOOL Rectangle(HDC context, int left, int top, int right, int bottom)
{
    return RoundRect(context, left, top, right, bottom, 0, 0);
}

BOOL RoundRect(HDC context, int left, int top, int right, int bottom, int diameter, int /*height*/)
{
    Backend()->rectangle(context->window, {left, top, right, bottom}, diameter,
        FillColor(context, context->brush), context->pen->width > 0);
    return TRUE;
}

BOOL Ellipse(HDC context, int left, int top, int right, int bottom)
{
    Backend()->pie(context->window, {left, top, right, bottom}, 0, 360,
        FillColor(context, context->brush), context->pen->width > 0);
    return TRUE;
}

BOOL MoveToEx(HDC context, int x, int y, POINT* /*before*/)
{
    context->position = {x, y};
    return TRUE;
}

BOOL LineTo(HDC context, int x, int y)
{
    Backend()->line(
        context->window, context->position, {x, y}, context->pen->width, context->pen->color);
    return MoveToEx(context, x, y, nullptr);
}

BOOL Pie(HDC context, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2)
{
    const RECT bounds{left, top, right, bottom};
    const double start = AngleOf(bounds, x1, y1);
    const double extent = AngleOf(bounds, x2, y2) - start;
    Backend()->pie(context->window, bounds, start, extent <= 0 ? extent + 360 : extent,
        FillColor(context, context->brush), context->pen->width > 0);
    return TRUE;
}

int FillRect(HDC context, const RECT* area, HBRUSH brush)
{
    Backend()->rectangle(context->window, *area, 0, FillColor(context, brush), false);
    return 1;
}

int DrawTextW(HDC context, LPCWSTR text, int /*count*/, RECT* area, UINT format)
{
    return Backend()->text(
        context->window, area, context->font->font, context->textColor, text, format);
}
