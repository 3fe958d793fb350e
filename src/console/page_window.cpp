#include "console/page_window.h"

namespace korvex {

void RunPage(const Page& page, const PanelSource& source, HWND* window, const bool* ended)
{
    constexpr UINT_PTR TIMER = 1;
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = page.procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    windowClass.lpszClassName = page.className;
    RegisterClassW(&windowClass);
    *window = CreateWindowExW(WS_EX_TOPMOST, page.className, page.title, WS_POPUP, 0, 0,
        GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN), nullptr, nullptr,
        windowClass.hInstance, nullptr);
    if (*window == nullptr)
        return;
    ShowWindow(*window, SW_SHOW);
    SetTimer(*window, TIMER, page.timerMs, nullptr);
    source.begin(*window);
    MSG message{};
    while (!*ended && GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    source.end();
    DestroyWindow(*window);
}

} // namespace korvex
