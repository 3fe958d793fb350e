#include "host/host.h"

#include <gtest/gtest.h>

#include "support/millisecond_clock.h"
#include "testing/recorders.h"
#include "testing/test_machine.h"

namespace korvex {
namespace {

using testing::TestMachine;
using testing::TraceRecorder;

HostContext* Context()
{
    return FindHostContext(GetModuleHandleW(nullptr));
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

LRESULT CALLBACK IgnoreMessage(HWND /*window*/, UINT /*message*/, WPARAM /*wParam*/, LPARAM /*lParam*/)
{
    return 0;
}

// The worker holds its detecting pass back until it knows whom to tell; a stop ends that wait.
TEST(StartHost, DetectsForThePanelTestOnlyOnceTheTargetIsInPlace)
{
    const TestMachine machine;
    const TraceRecorder trace;
    WNDCLASSW target{};
    target.lpfnWndProc = IgnoreMessage;
    target.lpszClassName = TEXT("target");
    RegisterClassW(&target);
    HWND window = CreateWindowExW(0, TEXT("target"), TEXT(""), 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
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

TEST(MostRecentController, PrefersTheYoungestReportThenTheFirstFoundAcrossTheWrap)
{
    struct Row {
        uint32_t ages[3]; // milliseconds before now
        size_t winner;
    };
    // An age beyond half the clock's range stands for a record that has not reported: its report time is 0.
    for (const Row& row : {Row{{30, 20, 25}, 1}, Row{{20, 20, 30}, 0}, Row{{0x90000000, 0x90000000, 0x90000000}, 0},
             Row{{0x90000000, 5000, 0x90000000}, 1}, Row{{0xF0000000, 0x80000000, 40}, 2}}) {
        StartHost(0);
        TouchController* controllers[3]{};
        const uint32_t now = NowMs();
        for (size_t i = 0; i < 3; ++i) {
            controllers[i] = CreateController();
            controllers[i]->report.lastReportMs = now - row.ages[i];
            AppendToList(&Context()->controllers, &controllers[i]->links);
        }
        EXPECT_EQ(MostRecentController(), controllers[row.winner]);
        DestroyHostContext();
    }
}

} // namespace
} // namespace korvex
