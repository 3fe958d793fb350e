#include "platform/linux/core/threads.h"

#include <bit>

#include "platform/win32.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(Events, ResetByThemselvesUnlessManual)
{
    HANDLE automatic = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE manual = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    EXPECT_EQ(WaitForSingleObject(automatic, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(automatic));
    EXPECT_EQ(WaitForSingleObject(automatic, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(automatic, 1), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    EXPECT_FALSE(CancelSynchronousIo(manual)) << "no thread";
    EXPECT_TRUE(CloseHandle(automatic));
    EXPECT_TRUE(CloseHandle(manual));
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        EXPECT_EQ(WaitForSingleObject(none, INFINITE), WAIT_FAILED) << "at once, not for ever";
        EXPECT_FALSE(SetEvent(none));
        EXPECT_FALSE(CloseHandle(none));
    }
}

TEST(Threads, KeepTheirExitCodeAndMayOutliveTheirHandle)
{
    // The abandoned thread may use the gate after the test has ended.
    static HANDLE gate = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const auto passGate = [](void* /*argument*/) -> unsigned {
        return WaitForSingleObject(gate, INFINITE) == WAIT_OBJECT_0 ? 42 : 0;
    };
    HANDLE thread
        = std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, passGate, nullptr, 0, nullptr));
    HANDLE abandoned
        = std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, passGate, nullptr, 0, nullptr));
    DWORD exitCode = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &exitCode));
    EXPECT_EQ(exitCode, 259U);
    EXPECT_EQ(WaitForSingleObject(thread, 1), WAIT_TIMEOUT);
    EXPECT_TRUE(CloseHandle(abandoned));
    SetEvent(gate);
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeThread(thread, &exitCode));
    EXPECT_EQ(exitCode, 42U);
    CloseHandle(thread);
}

} // namespace
} // namespace korvex
