#include "platform/linux/windows/painting.h"

#include <array>

#include "platform/linux/core/last_error.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/window_records.h"

struct HBRUSH__ {
    COLORREF color;
    bool isStock;
};

struct HDC__ {
    HWND window;
    HBRUSH brush;
    COLORREF dcBrushColor;
};

namespace {

using korvex::platform::Backend;
using korvex::platform::FindWindow;
using korvex::platform::Windows;

constexpr COLORREF WHITE = 0xFFFFFF;
constexpr COLORREF GRAY = 0x808080;

HBRUSH__ whiteBrush{WHITE, true};
HBRUSH__ grayBrush{GRAY, true};
HBRUSH__ contextBrush{WHITE, true}; // its colour is the device context's

COLORREF FillColor(HDC context)
{
    return context->brush == &contextBrush ? context->dcBrushColor : context->brush->color;
}

// Marks the window as one to be painted, or as painted; the result says whether it was to be erased.
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

} // namespace

COLORREF korvex::platform::ColorOf(HBRUSH brush)
{
    return brush == nullptr ? WHITE : brush->color;
}

BOOL InvalidateRect(HWND window, const RECT* /*area*/, BOOL erase)
{
    return RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | (erase != FALSE ? RDW_ERASE : 0));
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
    paint->rcPaint = {0, 0, found->view.width, found->view.height};
    return paint->hdc;
}

BOOL EndPaint(HWND window, const PAINTSTRUCT* paint)
{
    ReleaseDC(window, paint->hdc);
    return TRUE;
}

HDC GetDC(HWND window)
{
    return FindWindow(window) == nullptr ? nullptr : new HDC__{window, &whiteBrush, WHITE};
}

int ReleaseDC(HWND /*window*/, HDC context)
{
    delete context;
    return 1;
}

HBRUSH CreateSolidBrush(COLORREF color)
{
    return new HBRUSH__{color, false};
}

HGDIOBJ GetStockObject(int object)
{
    if (object == DC_BRUSH)
        return &contextBrush;
    return object == GRAY_BRUSH ? &grayBrush : &whiteBrush;
}

BOOL DeleteObject(HGDIOBJ object)
{
    auto* brush = static_cast<HBRUSH>(object);
    if (brush != nullptr && !brush->isStock)
        delete brush;
    return TRUE;
}

HGDIOBJ SelectObject(HDC context, HGDIOBJ brush)
{
    HGDIOBJ before = context->brush;
    context->brush = static_cast<HBRUSH>(brush);
    return before;
}

COLORREF SetDCBrushColor(HDC context, COLORREF color)
{
    const COLORREF before = context->dcBrushColor;
    context->dcBrushColor = color;
    return before;
}

BOOL Rectangle(HDC context, int left, int top, int right, int bottom)
{
    Backend()->rectangle(context->window, {left, top, right, bottom}, FillColor(context));
    return TRUE;
}

BOOL Ellipse(HDC context, int left, int top, int right, int bottom)
{
    Backend()->ellipse(context->window, {left, top, right, bottom}, FillColor(context));
    return TRUE;
}
