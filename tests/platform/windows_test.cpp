#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/linux/machine.h"
#include "platform/linux/windows/window_headless.h"
#include "platform/linux/windows/window_x11.h"
#include "platform/win32.h"
#include "testing/screen.h"
#include "testing/temporary_folder.h"

namespace korvex {
namespace {

using testing::TemporaryFolder;

// A screen on which somebody releases Return, and some time later presses and releases it.
int turns = 0;
int turnsBeforePress = 0;

bool ReleasePressRelease()
{
    const HWND box = reinterpret_cast<HWND>(uintptr_t{1}); // the first window of the process
    if (++turns == 1)
        PostMessageW(box, WM_KEYUP, VK_RETURN, 0);
    else if (turns == 5) {
        turnsBeforePress = turns;
        PostMessageW(box, WM_KEYDOWN, VK_RETURN, 0);
        PostMessageW(box, WM_KEYUP, VK_RETURN, 0);
    } else {
        PostMessageW(box, WM_USER, 0, 0);
    }
    return true;
}

TEST(MessageBoxW, IsNotDismissedByTheReleaseOfAKeyThatWasPressedBeforeIt)
{
    platform::WindowBackend backend = *platform::HeadlessBackend();
    backend.interactive = true;
    backend.pump = ReleasePressRelease;
    platform::ThisMachine()->windowBackend = &backend;
    EXPECT_EQ(MessageBoxW(nullptr, u"text", u"caption", MB_OK), IDOK);
    EXPECT_EQ(turnsBeforePress, 5);
    platform::ResetMachine();
}

LRESULT CALLBACK Plain(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    return DefWindowProcW(window, message, wParam, lParam);
}

// A window over the whole of the machine's screen, in one colour.
HWND ShowScreenOf(COLORREF color)
{
    WNDCLASSW plain{};
    plain.lpfnWndProc = Plain;
    plain.lpszClassName = u"plain";
    plain.hbrBackground = CreateSolidBrush(color);
    RegisterClassW(&plain);
    HWND window = CreateWindowExW(0, u"plain", u"plain", WS_POPUP, 0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN),
        nullptr, nullptr, nullptr, nullptr);
    ShowWindow(window, SW_SHOW);
    return window;
}

TEST(Windows, HaveTheirColoursOnDisplaysOf16Bits)
{
    const testing::Screen screen("1024x768x16");
    std::string reason;
    platform::ThisMachine()->windowBackend = platform::X11Backend(screen.server.name.c_str(), &reason);
    ASSERT_NE(platform::ThisMachine()->windowBackend, nullptr) << reason;
    HWND window = ShowScreenOf(0x0000FF00);
    EXPECT_TRUE(testing::WaitUntil([&] { return PixelAt(&screen, 512, 384) == 0x07E0; })) << "green of 5, 6 and 5 bits";
    DestroyWindow(window);
    platform::ResetMachine();
}

TEST(Windows, CoverTheMonitorThatTheMetricsTellOf)
{
    const TemporaryFolder folder;
    const testing::TwoMonitors display;
    for (const std::string output : {"", "DUMMY0", "DUMMY9"}) {
        std::string reason;
        platform::ThisMachine()->monitor = output;
        platform::ThisMachine()->windowBackend = platform::X11Backend(display.name.c_str(), &reason);
        if (output == "DUMMY9") {
            EXPECT_EQ(platform::ThisMachine()->windowBackend, nullptr);
            EXPECT_EQ(reason, "the X display \"" + display.name + "\" has no monitor \"DUMMY9\"");
            continue;
        }
        ASSERT_NE(platform::ThisMachine()->windowBackend, nullptr) << reason;
        EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN), 1024);
        HWND window = ShowScreenOf(0x00FF0000);
        setenv("DISPLAY", display.name.c_str(), 1);
        const std::string geometry
            = testing::RunProgram({"xdotool", "search", "--sync", "--onlyvisible", "--name", "^plain$", "getwindowgeometry"}).output;
        EXPECT_NE(geometry.find(output.empty() ? "Position: 1024,0" : "Position: 0,0"), std::string::npos) << geometry;
        EXPECT_NE(geometry.find("Geometry: 1024x768"), std::string::npos) << geometry;
        unsetenv("DISPLAY");
        DestroyWindow(window);
    }
    platform::ResetMachine();
}

} // namespace
} // namespace korvex
