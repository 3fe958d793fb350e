#include "platform/linux/serial/serial.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <bit>
#include <cstring>

#include "emulator/emulator.h"
#include "platform/linux/serial/uart_trigger.h"
#include "platform/win32.h"
#include "testing/process.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using emulator::SendBytes;

struct OpenLine {
    emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    HANDLE port = OpenPort(TerminalPath(emulator.get()));

    ~OpenLine() { CloseHandle(port); }
};

TEST(SerialPort, SaysThatItMayNotBeOpened)
{
    const auto openAsNobody = [] {
        const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
        chmod(TerminalPath(emulator.get()).c_str(), 0);
        if (geteuid() == 0
            && (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0))
            _exit(10);
        const bool denied = OpenPort(TerminalPath(emulator.get())) == INVALID_HANDLE_VALUE
            && GetLastError() == ERROR_ACCESS_DENIED;
        _exit(denied ? 0 : 1);
    };
    EXPECT_EXIT(openAsNobody(), ExitedWithCode(0), "");
    DCB dcb{};
    EXPECT_FALSE(GetCommState(nullptr, &dcb));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(SerialPort, SetsTheTerminalUpAndPutsItsSettingsBack)
{
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    const int terminal = open(TerminalPath(emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const auto settings = [terminal] {
        termios now{};
        EXPECT_EQ(tcgetattr(terminal, &now), 0);
        return now;
    };
    termios before = settings();
    before.c_lflag |= ICANON | ECHO;
    cfsetspeed(&before, B38400);
    ASSERT_EQ(tcsetattr(terminal, TCSANOW, &before), 0);
    HANDLE port = OpenPort(TerminalPath(emulator.get()));
    DCB dcb{};
    ASSERT_TRUE(GetCommState(port, &dcb));
    dcb.BaudRate = 9600;
    dcb.ByteSize = 7;
    dcb.Parity = ODDPARITY;
    dcb.StopBits = TWOSTOPBITS;
    dcb.fRtsControl = RTS_CONTROL_DISABLE; // a pseudo-terminal has no such line, which is no error
    EXPECT_TRUE(SetCommState(port, &dcb));
    const termios during = settings();
    EXPECT_EQ(cfgetospeed(&during), static_cast<speed_t>(B9600));
    EXPECT_EQ(during.c_lflag & (ICANON | ECHO), 0U) << "bytes pass as they are";
    // A pseudo-terminal keeps 8 bits without parity whatever it is told; what was asked for shows
    // in the DCB.
    DCB read{};
    EXPECT_TRUE(GetCommState(port, &read));
    EXPECT_EQ(memcmp(&dcb, &read, sizeof(dcb)), 0);
    for (const auto& spoil : {+[](DCB* bad) { bad->BaudRate = 12345; },
             +[](DCB* bad) { bad->ByteSize = 9; }, +[](DCB* bad) { bad->Parity = 7; }}) {
        DCB bad = dcb;
        spoil(&bad);
        EXPECT_FALSE(SetCommState(port, &bad));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    CloseHandle(port);
    const termios after = settings();
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(cfgetospeed(&after), static_cast<speed_t>(B38400));
    close(terminal);
}

TEST(UartTrigger, IsLoweredWhereThereIsOneAndPutBack)
{
    const TemporaryFolder folder;
    const OpenLine line;
    const int terminal
        = open(TerminalPath(line.emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    struct stat status{};
    fstat(terminal, &status);
    const std::string device = "dev/char/" + std::to_string(major(status.st_rdev)) + ":"
        + std::to_string(minor(status.st_rdev));
    std::filesystem::create_directories(device);
    const platform::UartTrigger none = platform::LowerUartTrigger(terminal, {.sys = "."});
    platform::RestoreUartTrigger(&none);
    EXPECT_TRUE(std::filesystem::is_empty(device)) << "a setting was made up";
    for (const char* before : {"8\n", "4\n", "1\n"}) {
        testing::WriteTextFile(device + "/rx_trig_bytes", before);
        const platform::UartTrigger trigger = platform::LowerUartTrigger(terminal, {.sys = "."});
        EXPECT_EQ(std::stoi(testing::ReadTextFile(device + "/rx_trig_bytes")), 1);
        platform::RestoreUartTrigger(&trigger);
        EXPECT_EQ(std::stoi(testing::ReadTextFile(device + "/rx_trig_bytes")), std::stoi(before));
    }
    close(terminal);
}

// Through the link that an adapter is known by. A bare pseudo-terminal's number may be another
// program's by then.
TEST(SerialPort, TakesAPortThatHasComeBackWithItsSettings)
{
    const TemporaryFolder folder;
    emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    PlaceLink("terminal", emulator.get());
    std::filesystem::create_symlink("terminal", "panel");
    HANDLE linked = OpenPort("panel");
    DCB settings{};
    GetCommState(linked, &settings);
    settings.BaudRate = 19200;
    settings.StopBits = TWOSTOPBITS;
    COMMTIMEOUTS timeouts{0, 0, 20, 0, 0};
    EXPECT_TRUE(SetCommState(linked, &settings) && SetCommTimeouts(linked, &timeouts)
        && SetCommMask(linked, EV_RXCHAR));
    emulator.reset();

    std::array<BYTE, 1> byte{};
    DWORD count = 0;
    DWORD event = 0;
    EXPECT_FALSE(ReadFile(linked, byte.data(), 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_DEVICE_NOT_CONNECTED);
    // Someone else's terminal, where the old link leads.
    const emulator::EmulatorPointer stranger = emulator::StartEmulator({});
    PlaceLink("terminal", stranger.get());
    EXPECT_FALSE(WaitCommEvent(linked, &event, nullptr)) << "once for the loss";
    EXPECT_FALSE(WaitCommEvent(linked, &event, nullptr)) << "the link is the old one";
    EXPECT_EQ(GetLastError(), ERROR_DEVICE_NOT_CONNECTED);

    emulator = emulator::StartEmulator({});
    PlaceLink("panel", emulator.get());
    EXPECT_TRUE(ReadFile(linked, byte.data(), 1, &count, nullptr)) << "by its time-out";
    EXPECT_EQ(count, 0U);
    termios line{};
    const int terminal = open(TerminalPath(emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    tcgetattr(terminal, &line);
    close(terminal);
    EXPECT_EQ(cfgetospeed(&line), B19200);
    EXPECT_NE(line.c_cflag & CSTOPB, 0U);
    EXPECT_EQ(line.c_lflag & ICANON, 0U);
    EXPECT_EQ(OpenPort("panel"), INVALID_HANDLE_VALUE) << "it is held as before";
    CloseHandle(linked);
}

// The documented combinations of COMMTIMEOUTS, with 3 bytes waiting.
TEST(ReadFile, EndsByItsTimeoutsWithinTheirTime)
{
    struct Row {
        COMMTIMEOUTS timeouts;
        DWORD asked, got;
        int least, most; // milliseconds
    };
    for (const Row& row : {Row{{0, 0, 20, 0, 0}, 6, 3, 20, 40}, Row{{0, 5, 10, 0, 0}, 6, 3, 40, 60},
             Row{{0, 0, 20, 0, 0}, 3, 3, 0, 10}, Row{{0, 0, 20, 0, 0}, 2, 2, 0, 10},
             Row{{MAXDWORD, 0, 0, 0, 0}, 6, 3, 0, 10},
             Row{{MAXDWORD, MAXDWORD, 500, 0, 0}, 6, 3, 0, 10}, Row{{15, 0, 0, 0, 0}, 6, 3, 15, 40},
             Row{{15, 0, 500, 0, 0}, 6, 3, 15, 40}}) {
        const OpenLine line;
        SendBytes(line.emulator.get(), {1, 2, 3});
        COMMTIMEOUTS timeouts = row.timeouts;
        ASSERT_TRUE(SetCommTimeouts(line.port, &timeouts));
        std::array<uint8_t, 8> buffer{};
        DWORD received = 99;
        const milliseconds taken = TimeOf([&] {
            EXPECT_TRUE(ReadFile(line.port, buffer.data(), row.asked, &received, nullptr));
        });
        EXPECT_EQ(received, row.got);
        EXPECT_THAT(taken.count(), AllOf(Ge(row.least), Le(row.most + 100)))
            << "a loaded machine may be late, but not by more";
    }
}

TEST(PurgeComm, DiscardsWhatTheHandleAndTheKernelHold)
{
    const OpenLine line;
    COMMTIMEOUTS timeouts{MAXDWORD, MAXDWORD, 500, 0, 0};
    SetCommTimeouts(line.port, &timeouts);
    SendBytes(line.emulator.get(), {1, 2, 3});
    uint8_t byte = 0;
    DWORD received = 0;
    EXPECT_TRUE(ReadFile(line.port, &byte, 1, &received, nullptr)); // the handle now holds 2 and 3
    SendBytes(line.emulator.get(), {4, 5});
    EXPECT_TRUE(PurgeComm(line.port, PURGE_RXCLEAR));
    SendBytes(line.emulator.get(), {6});
    EXPECT_TRUE(ReadFile(line.port, &byte, 1, &received, nullptr));
    EXPECT_EQ(byte, 6);
}

TEST(WaitCommEvent, EndsByMaskAndByCancellation)
{
    struct Waiter {
        HANDLE port;
        BOOL result;
        DWORD event, error;
    };
    const auto wait = [](void* argument) -> unsigned {
        auto* waiter = static_cast<Waiter*>(argument);
        waiter->result = WaitCommEvent(waiter->port, &waiter->event, nullptr);
        waiter->error = waiter->result ? ERROR_SUCCESS : GetLastError();
        return 0;
    };
    for (const bool cancelled : {false, true}) {
        const OpenLine line;
        SetCommMask(line.port, EV_RXCHAR);
        Waiter waiter{line.port, FALSE, 99, 0};
        HANDLE thread
            = std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, wait, &waiter, 0, nullptr));
        EXPECT_EQ(WaitForSingleObject(thread, 20), WAIT_TIMEOUT) << "the line is silent";
        // Neither reaches a thread that has not entered its wait yet.
        ASSERT_TRUE(WaitUntil([&] {
            cancelled ? CancelSynchronousIo(thread) : SetCommMask(line.port, EV_RXCHAR);
            return WaitForSingleObject(thread, 10) == WAIT_OBJECT_0;
        }));
        EXPECT_EQ(waiter.result, !cancelled);
        EXPECT_EQ(waiter.event, 0U);
        EXPECT_EQ(waiter.error, cancelled ? ERROR_OPERATION_ABORTED : ERROR_SUCCESS);
        EXPECT_FALSE(CancelSynchronousIo(thread)) << "it waits for nothing any more";
        EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
        CloseHandle(thread);
    }
}

} // namespace
} // namespace korvex
