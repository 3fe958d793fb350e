#include "platform/linux/windows/message_box.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/core/system.h"
#include "platform/linux/core/text.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/painting.h"
#include "platform/linux/windows/window_records.h"
#include "platform/linux/windows/windowing.h"

namespace {

constexpr LPCWSTR BOX_CLASS = u"#32770"; // Windows' name of dialogs
constexpr int MARGIN = 24;
constexpr int LINE_HEIGHT = 20;
constexpr int CHARACTER_WIDTH = 9; // enough for the font at its average
constexpr int MIN_WIDTH = 240;
constexpr int FRAME = 2;
constexpr int BUTTON_WIDTH = 88;
constexpr int BUTTON_HEIGHT = 28;

// The box that is shown. One at a time, on the windows' thread.
struct Box {
    HWND window;
    int width;
    int height;
    RECT button;
    bool pressed;      // the mouse button went down on it
    WPARAM pressedKey; // that may dismiss the box; 0: none
    bool dismissed;
};

Box box{};

bool IsOnButton(LPARAM position)
{
    const int x = static_cast<int>(position & 0xFFFF);
    const int y = static_cast<int>(position >> 16 & 0xFFFF);
    return x >= box.button.left && x < box.button.right && y >= box.button.top
        && y < box.button.bottom;
}

LRESULT CALLBACK BoxProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_PAINT) {
        PAINTSTRUCT paint{};
        HDC context = BeginPaint(window, &paint);
        // if there is no window manager, the only frame
        Rectangle(context, 0, 0, box.width, box.height);
        Rectangle(context, box.button.left, box.button.top, box.button.right, box.button.bottom);
        EndPaint(window, &paint);
        return 0;
    }
    if (message == WM_LBUTTONDOWN)
        box.pressed = IsOnButton(lParam);
    // A release is valid only after its press: that of the key that started the program comes to
    // the box too.
    if (message == WM_KEYDOWN && (wParam == VK_RETURN || wParam == VK_ESCAPE || wParam == VK_SPACE))
        box.pressedKey = wParam;
    if (message == WM_CLOSE || (message == WM_LBUTTONUP && box.pressed && IsOnButton(lParam))
        || (message == WM_KEYUP && wParam == box.pressedKey && wParam != 0)) {
        box.dismissed = true;
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND AddText(LPCWSTR text, int x, int y, int width, int height)
{
    return CreateWindowExW(0, u"STATIC", text, WS_CHILD | WS_VISIBLE | SS_CENTER, x, y, width,
        height, box.window, nullptr, nullptr, nullptr);
}

void CreateBox(LPCWSTR text, LPCWSTR caption)
{
    const std::vector<std::u16string> lines = korvex::platform::Split(text, u'\n');
    size_t longest = 0;
    for (const std::u16string& line : lines)
        longest = std::max(longest, line.size());
    const int width = std::max(MIN_WIDTH, static_cast<int>(longest) * CHARACTER_WIDTH + 2 * MARGIN);
    const int textHeight = static_cast<int>(lines.size()) * LINE_HEIGHT;
    const int height = textHeight + BUTTON_HEIGHT + 3 * MARGIN;
    box = {nullptr, width, height,
        {(width - BUTTON_WIDTH) / 2, textHeight + 2 * MARGIN, (width + BUTTON_WIDTH) / 2,
            height - MARGIN},
        false, 0, false};

    WNDCLASSW boxClass{};
    boxClass.lpfnWndProc = BoxProcedure;
    boxClass.lpszClassName = BOX_CLASS;
    RegisterClassW(&boxClass);
    const int x = (GetSystemMetrics(SM_CXSCREEN) - width) / 2;
    const int y = (GetSystemMetrics(SM_CYSCREEN) - height) / 2;
    box.window = CreateWindowExW(
        0, BOX_CLASS, caption, WS_SYSMENU, x, y, width, height, nullptr, nullptr, nullptr, nullptr);
    for (size_t i = 0; i < lines.size(); ++i) {
        HWND line = AddText(
            u"", FRAME, MARGIN + static_cast<int>(i) * LINE_HEIGHT, width - 2 * FRAME, LINE_HEIGHT);
        // a backend without a screen prints texts that are set
        SetWindowTextW(line, lines[i].c_str());
    }
    AddText(u"OK", box.button.left + FRAME, box.button.top + FRAME, BUTTON_WIDTH - 2 * FRAME,
        BUTTON_HEIGHT - 2 * FRAME);
    ShowWindow(box.window, SW_SHOW);
}

} // namespace

int MessageBoxW(HWND /*owner*/, LPCWSTR text, LPCWSTR caption, UINT /*type*/)
{
    CreateBox(text, caption);
    MSG message{};
    BOOL got = TRUE;
    while (korvex::platform::Backend()->interactive && !box.dismissed
        && (got = GetMessageW(&message, nullptr, 0, 0)) > 0)
        DispatchMessageW(&message);
    DestroyWindow(box.window);
    return got < 0 ? 0 : IDOK;
}
