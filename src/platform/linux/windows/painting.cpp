#include "platform/linux/windows/painting.h"

#include <cmath>
#include <numbers>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/core/last_error.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/window_records.h"

namespace {

enum class Kind { BRUSH, PEN, FONT };

} // namespace

// An object that can be selected into a device context.
struct HGDIOBJ__ {
    Kind kind;
    bool isStock;
    COLORREF color;                       // of a brush
    bool draws = false;                   // a pen does
    korvex::platform::FontView font = {}; // of a font
};

namespace {

constexpr COLORREF WHITE = 0xFFFFFF;
constexpr COLORREF GRAY = 0x808080;
constexpr int SYSTEM_FONT_HEIGHT = 14;

HGDIOBJ__ whiteBrush{Kind::BRUSH, true, WHITE};
HGDIOBJ__ grayBrush{Kind::BRUSH, true, GRAY};
HGDIOBJ__ contextBrush{Kind::BRUSH, true, WHITE}; // its colour is the device context's
HGDIOBJ__ blackPen{Kind::PEN, true, 0, true};
HGDIOBJ__ nullPen{Kind::PEN, true, 0};
HGDIOBJ__ systemFont{Kind::FONT, true, 0, false, {SYSTEM_FONT_HEIGHT, false}};

} // namespace

struct HDC__ {
    HWND window;
    HGDIOBJ brush = &whiteBrush;
    HGDIOBJ pen = &blackPen;
    HGDIOBJ font = &systemFont;
    COLORREF dcBrushColor = WHITE;
    COLORREF textColor = 0;
};

namespace {

using korvex::platform::Backend;
using korvex::platform::FindWindow;
using korvex::platform::FontView;
using korvex::platform::Windows;

COLORREF FillColor(HDC context, const HGDIOBJ__* brush)
{
    return brush == &contextBrush ? context->dcBrushColor : brush->color;
}

// Marks the window as one to be painted, or as painted; the result says whether it was to be
// erased.
bool ChangePaint(korvex::platform::Window* window, bool toPaint, bool toErase)
{
    const std::lock_guard guard(Windows()->mutex);
    const bool wasToErase = window->toErase;
    window->toPaint = toPaint;
    window->toErase = toPaint && (toErase || wasToErase);
    return wasToErase;
}

bool IsToBePainted(const korvex::platform::Window* window)
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

// The lines of a text in a width; a word that is wider has one of its own.
std::vector<std::u16string> LinesOf(
    std::u16string_view text, FontView font, int width, bool breaksWords)
{
    std::vector<std::u16string> lines(1);
    while (!text.empty()) {
        const size_t end = text.find_first_of(u" \n");
        const std::u16string word(text.substr(0, end));
        const std::u16string longer = lines.back().empty() ? word : lines.back() + u" " + word;
        if (breaksWords && !lines.back().empty() && Backend()->textWidth(font, longer) > width)
            lines.push_back(word);
        else
            lines.back() = longer;
        if (end == std::u16string_view::npos)
            break;
        if (text[end] == u'\n')
            lines.emplace_back();
        text.remove_prefix(end + 1);
    }
    return lines;
}

// A text in one line that lacks its middle where it is wider.
std::u16string Shortened(const std::u16string& text, FontView font, int width)
{
    std::u16string shown = text;
    for (size_t left = text.size(); left > 2 && Backend()->textWidth(font, shown) > width; --left)
        shown
            = text.substr(0, left / 2) + u"..." + text.substr(text.size() - (left - left / 2 - 1));
    return shown;
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
    return new HGDIOBJ__{Kind::BRUSH, false, color};
}

HFONT CreateFontW(int height, int /*width*/, int /*escapement*/, int /*orientation*/, int weight,
    DWORD /*italic*/, DWORD /*underline*/, DWORD /*strikeOut*/, DWORD /*characterSet*/,
    DWORD /*outPrecision*/, DWORD /*clipPrecision*/, DWORD /*quality*/, DWORD /*pitchAndFamily*/,
    LPCWSTR /*name*/)
{
    return new HGDIOBJ__{Kind::FONT, false, 0, false,
        {height < 0 ? -height : SYSTEM_FONT_HEIGHT, weight >= FW_BOLD}};
}

HGDIOBJ GetStockObject(int object)
{
    switch (object) {
    case DC_BRUSH:
        return &contextBrush;
    case GRAY_BRUSH:
        return &grayBrush;
    case NULL_PEN:
        return &nullPen;
    default:
        return &whiteBrush;
    }
}

BOOL DeleteObject(HGDIOBJ object)
{
    if (object != nullptr && !object->isStock)
        delete object;
    return TRUE;
}

HGDIOBJ SelectObject(HDC context, HGDIOBJ object)
{
    HGDIOBJ& place = object->kind == Kind::FONT ? context->font
        : object->kind == Kind::PEN             ? context->pen
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
    Backend()->rectangle(context->window, {left, top, right, bottom},
        FillColor(context, context->brush), context->pen->draws);
    return TRUE;
}

BOOL Ellipse(HDC context, int left, int top, int right, int bottom)
{
    Backend()->ellipse(context->window, {left, top, right, bottom},
        FillColor(context, context->brush), context->pen->draws);
    return TRUE;
}

BOOL Pie(HDC context, int left, int top, int right, int bottom, int x1, int y1, int x2, int y2)
{
    const RECT bounds{left, top, right, bottom};
    const double start = AngleOf(bounds, x1, y1);
    const double extent = AngleOf(bounds, x2, y2) - start;
    Backend()->pie(context->window, bounds, start, extent <= 0 ? extent + 360 : extent,
        FillColor(context, context->brush), context->pen->draws);
    return TRUE;
}

int FillRect(HDC context, const RECT* area, HBRUSH brush)
{
    Backend()->rectangle(context->window, *area, FillColor(context, brush), false);
    return 1;
}

int DrawTextW(HDC context, LPCWSTR text, int /*count*/, RECT* area, UINT format)
{
    const FontView font = context->font->font;
    const int lineHeight = Backend()->lineHeight(font);
    const int width = area->right - area->left;
    const std::vector<std::u16string> lines = (format & DT_PATH_ELLIPSIS) != 0
        ? std::vector{Shortened(text, font, width)}
        : LinesOf(text, font, width, (format & DT_WORDBREAK) != 0);
    const int height = lineHeight * static_cast<int>(lines.size());
    int y = area->top;
    for (const std::u16string& line : lines) {
        const int x = (format & DT_CENTER) != 0
            ? area->left + (width - Backend()->textWidth(font, line)) / 2
            : area->left;
        Backend()->text(context->window, x, y, font, context->textColor, line);
        y += lineHeight;
    }
    return height;
}
