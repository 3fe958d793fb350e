#include "host/host.h"

#include <unistd.h>

#include "emulator/emulator.h"
#include "host/panel_test.h"
#include "platform/linux/machine.h"
#include "support/millisecond_clock.h"
#include "testing/process.h"
#include "testing/recorders.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"
#include "testing/testing.h"
#include "testing/window_recorder.h"

namespace korvex {
namespace {

HostContext* Context()
{
    return FindHostContext(GetModuleHandleW(nullptr));
}

TouchController* AddController()
{
    TouchController* controller = CreateController();
    AppendToList(&Context()->controllers, &controller->links);
    return controller;
}

TEST(StartHost, DoesNothingButCreateTheContextWithoutDetection)
{
    EXPECT_TRUE(DestroyHostContext()) << "without a context too";
    EXPECT_EQ(MostRecentController(), nullptr);
    EXPECT_TRUE(StartHost(HOST_PANEL_TEST));
    ASSERT_NE(Context(), nullptr);
    EXPECT_TRUE(IsListEmpty(&Context()->controllers));
    EXPECT_EQ(Context()->statusWindow, nullptr);
    EXPECT_EQ(Context()->worker, nullptr);
    EXPECT_EQ(Context()->notifyMessage, 0U);
    EXPECT_EQ(MostRecentController(), nullptr);
    EXPECT_TRUE(DestroyHostContext());
    EXPECT_EQ(Context(), nullptr);
}

// The worker holds its detecting pass back until it knows whom to tell; a stop ends that wait.
TEST(StartHost, DetectsForThePanelTestOnlyOnceTheTargetIsInPlace)
{
    const TestMachine machine;
    const TraceRecorder trace;
    HWND window = CreateWindowExW(
        0, TEXT("STATIC"), TEXT(""), 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    StartHost(HOST_DETECT | HOST_PANEL_TEST);
    EXPECT_EQ(Context()->statusWindow, nullptr);
    EXPECT_EQ(WaitForSingleObject(Context()->worker, 30), WAIT_TIMEOUT);
    SetNotifyTarget(window, WM_USER + 240);
    MSG message{};
    EXPECT_TRUE(GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.message, WM_USER + 240);
    EXPECT_EQ(message.wParam, 0U);
    DestroyHostContext();

    StartHost(HOST_DETECT | HOST_PANEL_TEST);
    DestroyHostContext(); // would take 2 s if the worker went on waiting
    EXPECT_EQ(Context(), nullptr);
    DestroyWindow(window);
}

// An entry in a process of its own, on a port with an emulated controller: the controller is
// touched, without lifting, while its session starts, and the window is closed at the press.
// Standard error gets inputs, diagnostic lines and how long they took to come.
[[noreturn]] void TouchAndClose(uint32_t flags)
{
    const TestMachine machine;
    WriteTextFile("Korvex.ini", "[Calibration]\n");
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    platform::AddSerialPort(u"COM3", TerminalPath(panel.get()), "pci-1");
    const DWORD start = GetTickCount();
    platform::ThisMachine()->trace = [start, &panel](std::string_view text) {
        const bool second = GetTickCount() - start >= 1000;
        dprintf(STDERR_FILENO, "%s %.*s",
            second ? "a second later:" : "at once:", static_cast<int>(text.size()), text.data());
        if (text == "Load File Settings\n")
            TouchAt(panel.get(), 50, 50);
    };
    std::atomic<HWND> window = nullptr;
    platform::ThisMachine()->pointer.send = [&window](const INPUT* input) {
        dprintf(STDERR_FILENO, "input %X\n", input->mi.dwFlags);
        return WaitUntil([&window] { return window != nullptr; })
            && PostMessageW(window, WM_CLOSE, 0, 0) != FALSE;
    };
    StartHost(flags);
    window = Context()->statusWindow;
    if ((flags & HOST_PANEL_TEST) != 0) {
        StartPanelTest();
        window = FindPanelTestContext(GetModuleHandleW(nullptr))->window;
    }
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
    _exit(1);
}

TEST(Host, StopsItsSessionsBeforeAClosedWindowEndsTheProcess)
{
    EXPECT_EXIT(TouchAndClose(HOST_DETECT), ExitedWithCode(0),
        AllOf(ContainsRegex("input 8003\n(.*\n)*input 8004\n"),
            HasSubstr("at once: Skip Detection"), HasSubstr("a second later: Start Detect")));
    EXPECT_EXIT(TouchAndClose(HOST_DETECT | HOST_PANEL_TEST), ExitedWithCode(0),
        AllOf(ContainsRegex("input 8003\n(.*\n)*input 8004\n"), Not(HasSubstr("Skip Detection")),
            HasSubstr("at once: Start Detect")));
}

TEST(DestroyHostContext, DestroysTheStatusWindowOnlyOnceTheWorkerHasEnded)
{
    const TestMachine machine;
    const TraceRecorder trace;
    WindowRecorder windows;
    StartHost(HOST_DETECT); // the worker pauses for a second behind the first pass
    int destroyed = 0;
    windows.onDestroy = [worker = Context()->worker, &destroyed] {
        ++destroyed;
        EXPECT_EQ(WaitForSingleObject(worker, 0), WAIT_OBJECT_0);
    };
    DestroyHostContext();
    EXPECT_EQ(destroyed, 2) << "window and text";
}

TEST(DestroyHostContext, GivesStuckSessionsTwoSecondsInAllWithinItsLimit)
{
    StartHost(0);
    for (int i = 0; i < 2; ++i)
        AddController()->stoppedEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_THAT(TimeOf([] { DestroyHostContext(); }).count(), AllOf(Ge(1990), Lt(2500)));
}

TEST(MostRecentController, PrefersTheYoungestReportThenTheFirstFoundAcrossTheWrap)
{
    struct Row {
        uint32_t ages[3]; // milliseconds before now
        size_t winner;
    };
    // An age beyond half the clock's range is that of a record that has not reported: its report
    // time is 0.
    for (const Row& row :
        {Row{{30, 20, 25}, 1}, Row{{20, 20, 30}, 0}, Row{{0x90000000, 0x90000000, 0x90000000}, 0},
            Row{{0x90000000, 5000, 0x90000000}, 1}, Row{{0xF0000000, 0x80000000, 40}, 2}}) {
        StartHost(0);
        const uint32_t now = NowMs();
        std::array<TouchController*, 3> controllers{};
        for (size_t i = 0; i < 3; ++i) {
            controllers[i] = AddController();
            controllers[i]->report.lastReportMs = now - row.ages[i];
        }
        EXPECT_EQ(MostRecentController(), controllers[row.winner]);
        DestroyHostContext();
    }
}

TEST(MostRecentController, TakesAReportThatComesWhileItLooks)
{
    StartHost(0);
    AddController()->report.lastReportMs = NowMs() - 50;
    TouchController* touched = AddController();
    EnterCriticalSection(&touched->lock); // as its reader does for a report
    TouchController* found = nullptr;
    std::thread looking([&found] { found = MostRecentController(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(30)); // it has come to the lock by then
    touched->report.lastReportMs = NowMs();
    LeaveCriticalSection(&touched->lock);
    looking.join();
    EXPECT_EQ(found, touched);
    DestroyHostContext();
}

} // namespace
} // namespace korvex
