#include "platform/linux/windows/windowing.h"

#include <memory>
#include <string>
#include <vector>

#include "platform/linux/core/last_error.h"
#include "platform/linux/core/text.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/painting.h"
#include "platform/linux/windows/window_records.h"

namespace korvex::platform {

namespace {

LRESULT CALLBACK StaticProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    return DefWindowProcW(window, message, wParam, lParam);
}

} // namespace

} // namespace korvex::platform

using korvex::platform::Backend;
using korvex::platform::Fail;
using korvex::platform::FindWindow;
using korvex::platform::ThisQueue;
using korvex::platform::Windows;

ATOM RegisterClassW(const WNDCLASSW* windowClass)
{
    const std::lock_guard guard(Windows()->mutex);
    Windows()->classes[korvex::platform::FoldCase(windowClass->lpszClassName)] = *windowClass;
    return 1;
}

HWND CreateWindowExW(DWORD /*extendedStyle*/, LPCWSTR className, LPCWSTR title, DWORD style, int x,
    int y, int width, int height, HWND parent, HMENU /*menu*/, HINSTANCE /*instance*/,
    void* /*parameter*/)
{
    auto window = std::make_shared<korvex::platform::WindowRecord>();
    {
        const std::lock_guard guard(Windows()->mutex);
        const bool isStatic = korvex::platform::EqualNoCase(className, u"STATIC");
        const auto known = Windows()->classes.find(korvex::platform::FoldCase(className));
        if (!isStatic && known == Windows()->classes.end()) {
            Fail(ERROR_NOT_FOUND);
            return nullptr;
        }
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a number, as Windows has it
        auto* handle = reinterpret_cast<HWND>(++Windows()->lastHandle);
        HBRUSH brush = isStatic ? nullptr : known->second.hbrBackground;
        korvex::platform::WindowView* view = &window->view;
        *view = {handle, parent, title == nullptr ? u"" : title, korvex::platform::ColorOf(brush),
            isStatic, style, x, y, width, height};
        window->procedure
            = isStatic ? korvex::platform::StaticProcedure : known->second.lpfnWndProc;
        window->queue = ThisQueue();
    }
    if (!Backend()->create(&window->view)) {
        Fail(ERROR_GEN_FAILURE);
        return nullptr;
    }
    const std::lock_guard guard(Windows()->mutex);
    Windows()->windows[window->view.handle] = window;
    return window->view.handle;
}

BOOL DestroyWindow(HWND handle)
{
    const auto window = FindWindow(handle);
    if (window == nullptr || window->queue != ThisQueue())
        return Fail(ERROR_INVALID_HANDLE);
    std::vector<HWND> children;
    {
        const std::lock_guard guard(Windows()->mutex);
        for (const auto& [child, record] : Windows()->windows) {
            if (record->view.parent == handle)
                children.push_back(child);
        }
    }
    SendMessageW(handle, WM_DESTROY, 0, 0);
    for (HWND child : children)
        DestroyWindow(child);
    Backend()->destroy(handle);
    const std::lock_guard guard(Windows()->mutex);
    Windows()->windows.erase(handle);
    return TRUE;
}

BOOL ShowWindow(HWND window, int /*command*/)
{
    if (FindWindow(window) == nullptr)
        return FALSE;
    Backend()->show(window);
    return TRUE;
}

BOOL SetWindowTextW(HWND window, LPCWSTR text)
{
    return SendMessageW(window, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text)) != 0 ? TRUE : FALSE;
}

LRESULT DefWindowProcW(HWND handle, UINT message, WPARAM /*wParam*/, LPARAM lParam)
{
    const auto window = FindWindow(handle);
    if (window == nullptr)
        return 0;
    if (message == WM_SETTEXT) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): as Windows passes it
        window->view.text = reinterpret_cast<LPCWSTR>(lParam);
        Backend()->changeText(&window->view);
        return TRUE;
    }
    if (message == WM_PAINT) {
        PAINTSTRUCT paint{};
        BeginPaint(handle, &paint);
        EndPaint(handle, &paint);
    }
    if (message == WM_CLOSE)
        DestroyWindow(handle);
    return 0;
}

HICON LoadIconW(HINSTANCE /*instance*/, LPCWSTR /*name*/)
{
    Fail(ERROR_NOT_FOUND);
    return nullptr;
}

BOOL DestroyIcon(HICON /*icon*/)
{
    return Fail(ERROR_INVALID_HANDLE);
}

HCURSOR LoadCursorW(HINSTANCE /*instance*/, LPCWSTR /*name*/)
{
    return nullptr;
}
