#include "host/host.h"

#include <unistd.h>

#include "emulator/emulator.h"
#include "host/panel_test.h"
#include "input/host_handlers.h"
#include "platform/linux/machine.h"
#include "support/bounded_text.h"
#include "support/millisecond_clock.h"
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

// The worker waits with its detecting pass until it knows its window; a stop ends that wait.
TEST(StartHost, DetectsForThePanelTestOnlyOnceTheTargetIsInPlace)
{
    const TestMachine machine;
    const TraceRecorder trace;
    HWND window
        = CreateWindowExW(0, u"STATIC", u"", 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
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

TEST(Host, ShowsWhatIsDrivenAndDestroysItsWindowOnlyOnceTheWorkerHasEnded)
{
    const TestMachine machine;
    const TraceRecorder trace;
    WindowRecorder windows;
    SetHostHandlers(
        {.statusDetail = [](WCHAR* text, size_t size) { CopyBounded(text, size, u"two panels"); }});
    StartHost(HOST_DETECT); // the worker pauses for a second after the first pass
    RefreshStatusDetail();
    for (MSG message{}; message.message != WM_USER + 1; DispatchMessageW(&message))
        ASSERT_TRUE(GetMessageW(&message, nullptr, 0, 0));
    EXPECT_THAT(windows.texts, Contains("two panels"));
    int destroyed = 0;
    windows.onDestroy = [worker = Context()->worker, &destroyed] {
        ++destroyed;
        EXPECT_EQ(WaitForSingleObject(worker, 0), WAIT_OBJECT_0);
    };
    DestroyHostContext();
    EXPECT_EQ(destroyed, 3) << "window and texts";
    SetHostHandlers({});
}

// Two seconds for all sessions, and one more where the worker has taken two.
TEST(DestroyHostContext, StopsStuckSessionsWithinItsLimitAlsoBesideAStuckWorker)
{
    for (const int limit : {2000, 3000}) {
        StartHost(0);
        static HostContext* context = nullptr; // beside that worker nothing is freed
        context = Context();
        context->worker = limit == 2000 ? nullptr : CreateEventW(nullptr, FALSE, FALSE, nullptr);
        std::array<TouchController*, 2> controllers{AddController(), AddController()};
        for (TouchController* controller : controllers) {
            controller->stoppedEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
            controller->wakeEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        }
        EXPECT_THAT(
            TimeOf([] { DestroyHostContext(); }).count(), AllOf(Ge(limit - 10), Lt(limit + 500)));
        for (size_t i = 0; i < 2 && limit == 3000; ++i)
            EXPECT_EQ(WaitForSingleObject(controllers[i]->wakeEvent, 0), WAIT_OBJECT_0);
    }
}

TEST(MostRecentController, PrefersTheYoungestReportThenTheFirstFoundAcrossTheWrap)
{
    using Row = std::pair<std::array<uint32_t, 3>, size_t>; // milliseconds before now; the winner
    // An age beyond half the clock's range is that of a record that has not reported: its report
    // time is 0.
    for (const auto& [ages, winner] :
        {Row{{30, 20, 25}, 1}, Row{{20, 20, 30}, 0}, Row{{0x90000000, 0x90000000, 0x90000000}, 0},
            Row{{0x90000000, 5000, 0x90000000}, 1}, Row{{0xF0000000, 0x80000000, 40}, 2}}) {
        StartHost(0);
        const uint32_t now = NowMs();
        std::array<TouchController*, 3> controllers{};
        for (size_t i = 0; i < 3; ++i) {
            controllers[i] = AddController();
            controllers[i]->report.lastReportMs = now - ages[i];
        }
        EXPECT_EQ(MostRecentController(), controllers[winner]);
        DestroyHostContext();
    }
}

} // namespace
} // namespace korvex
