
#include <cstdlib>

#include "platform/linux/core/input_line.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer_x11.h"
#include "platform/linux/windows/window_headless.h"
#include "platform/linux/windows/window_x11.h"
#include "platform/win32.h"
#include "testing/screen.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(MessageBoxW, IsNotDismissedByTheReleaseOfAKeyThatWasPressedBeforeIt)
{
    static int turns = 0;
    static HWND box = nullptr;
    platform::WindowBackend backend = *platform::HeadlessBackend();
    backend.interactive = true;
    // Somebody releases Return, and some time later presses and releases it.
    backend.pump = [] {
        PostMessageW(box,
            ++turns == 1     ? WM_KEYUP
                : turns == 5 ? WM_KEYDOWN
                             : WM_USER,
            VK_RETURN, 0);
        if (turns == 5)
            PostMessageW(box, WM_KEYUP, VK_RETURN, 0);
        return true;
    };
    backend.create = [](const platform::WindowView* view) {
        box = view->parent == nullptr ? view->handle : box;
        return true;
    };
    platform::ThisMachine()->windows.backend = &backend;
    EXPECT_EQ(MessageBoxW(nullptr, u"text", u"caption", MB_OK), IDOK);
    EXPECT_GE(turns, 5);
    platform::ResetMachine();
}

// A green window over the whole of the machine's screen.
HWND ShowScreen()
{
    static HBRUSH brush = CreateSolidBrush(0x0000FF00);
    WNDCLASSW plain{};
    plain.lpfnWndProc = DefWindowProcW;
    plain.lpszClassName = u"plain";
    plain.hbrBackground = brush;
    RegisterClassW(&plain);
    HWND window
        = CreateWindowExW(0, u"plain", u"plain", WS_POPUP, 0, 0, GetSystemMetrics(SM_CXSCREEN),
            GetSystemMetrics(SM_CYSCREEN), nullptr, nullptr, nullptr, nullptr);
    ShowWindow(window, SW_SHOW);
    return window;
}

TEST(Windows, HaveTheirColoursOnDisplaysOf16Bits)
{
    const Screen screen("1024x768x16");
    std::string reason;
    platform::ThisMachine()->windows.backend
        = platform::X11Backend(screen.server.name.c_str(), &reason);
    ASSERT_NE(platform::ThisMachine()->windows.backend, nullptr) << reason;
    HWND window = ShowScreen();
    EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 512, 384) == 0x07E0; }))
        << "green of 5, 6 and 5 bits";
    DestroyWindow(window);
    platform::ResetMachine();
}

// With window managers too: openbox puts windows where they ask to be, dwm on the monitor that is
// in use.
TEST(Windows, CoverTheMonitorThatTheMetricsTellOfWhateverManagesThem)
{
    const TemporaryFolder folder;
    for (const std::string manager : {"", "openbox", "dwm"}) {
        const TwoMonitors display;
        setenv("DISPLAY", display.name.c_str(), 1);
        Process managing({manager.empty() ? "true" : manager});
        EXPECT_TRUE(manager.empty() || WaitUntil([] {
            return RunProgram({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"})
                       .output.find("window id")
                != std::string::npos;
        }));
        for (const std::string output : {"", "DUMMY0", "DUMMY9"}) {
            std::string reason;
            platform::ThisMachine()->screen.output = output;
            platform::ThisMachine()->windows.backend = platform::X11Backend(nullptr, &reason);
            if (output == "DUMMY9") {
                EXPECT_EQ(platform::ThisMachine()->windows.backend, nullptr);
                EXPECT_EQ(reason,
                    "the X display \"" + display.name
                        + "\" has no monitor \"DUMMY9\"; its outputs: DUMMY1, DUMMY0");
                continue;
            }
            ASSERT_NE(platform::ThisMachine()->windows.backend, nullptr) << reason;
            EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN), 1024);
            HWND window = ShowScreen();
            const std::string geometry = RunProgram({"xdotool", "search", "--sync", "--onlyvisible",
                                                        "--name", "^plain$", "getwindowgeometry"})
                                             .output;
            EXPECT_THAT(geometry, HasSubstr(output.empty() ? "Position: 1024,0" : "Position: 0,0"))
                << manager;
            EXPECT_THAT(geometry, HasSubstr("Geometry: 1024x768")) << manager;
            // it takes another mode while the window is there
            if (!output.empty() && manager.empty()) {
                RunProgram({"xrandr", "--output", output, "--mode", "800x600"});
                EXPECT_TRUE(WaitUntil([] {
                    return platform::ThisMachine()->windows.backend->pump()
                        && GetSystemMetrics(SM_CXSCREEN) == 800;
                }));
            }
            DestroyWindow(window);
        }
        unsetenv("DISPLAY");
    }
    platform::ResetMachine();
}

// The place of the pointer on the whole screen after an input to the middle; nowhere when the input
// fails.
std::string PointerAfterInput(const std::string& display, DWORD flags = MOVE)
{
    INPUT input{};
    input.mi = {32768, 32768, 0, flags, 0, 0};
    if (SendInput(1, &input, sizeof(input)) != 1)
        return "nowhere";
    return RunProgram({"env", "DISPLAY=" + display, "xdotool", "getmouselocation"})
        .output.substr(0, 11);
}

TEST(X11Pointer, GoesToTheMonitorOfTheMachineOrOfTheLine)
{
    const TemporaryFolder folder;
    const TwoMonitors display;
    std::string reason;
    platform::Machine* machine = platform::ThisMachine();
    Texts told;
    machine->screen.outputOfLine
        = [](const std::string& path) { return path == "/dev/left" ? "DUMMY0" : ""; };
    machine->handlers.monitorChanged = [&told](const std::string& output, bool present) {
        told.push_back(output + (present ? " back" : " gone"));
    };
    ASSERT_TRUE(platform::UseX11Pointer({.display = display.name.c_str()}, &reason)) << reason;
    EXPECT_EQ(PointerAfterInput(display.name), "x:1536 y:38") << "the primary monitor";
    platform::SetLineOfThread(
        std::make_shared<platform::InputLine>(platform::InputLine{"/dev/left"}));
    EXPECT_EQ(PointerAfterInput(display.name, PRESS), "x:512 y:384");
    POINT position{};
    EXPECT_TRUE(GetCursorPos(&position));
    EXPECT_EQ(position.x, -512) << "of the machine's monitor";

    RunProgram({"xrandr", "--display", display.name, "--output", "DUMMY0", "--off"});
    EXPECT_TRUE(WaitUntil([&] { return PointerAfterInput(display.name) == "nowhere"; }));
    EXPECT_NE(PointerAfterInput(display.name, RELEASE), "nowhere") << "no button stays pressed";
    RunProgram({"xrandr", "--display", display.name, "--output", "DUMMY0", "--mode", "1024x768",
        "--left-of", "DUMMY1"});
    EXPECT_TRUE(WaitUntil([&] { return PointerAfterInput(display.name) == "x:512 y:384"; }));
    EXPECT_EQ(told, (Texts{"DUMMY0 gone", "DUMMY0 back"}));
    platform::SetLineOfThread(nullptr);
    platform::ResetMachine();
}

} // namespace
} // namespace korvex
