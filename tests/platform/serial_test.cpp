#include "platform/linux/serial/serial.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <bit>
#include <cstring>

#include "emulator/emulator.h"
#include "platform/linux/core/text.h"
#include "platform/linux/serial/uart_trigger.h"
#include "platform/win32.h"
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

TEST(SerialPort, IsOpenedExclusively)
{
    const OpenLine line;
    ASSERT_NE(line.port, INVALID_HANDLE_VALUE);
    EXPECT_EQ(OpenPort(TerminalPath(line.emulator.get())), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    // And by another process.
    const auto openInChild = [&line] {
        _exit(OpenPort(TerminalPath(line.emulator.get())) == INVALID_HANDLE_VALUE && GetLastError() == ERROR_SHARING_VIOLATION ? 0 : 1);
    };
    EXPECT_EXIT(openInChild(), ExitedWithCode(0), "");
}

TEST(SerialPort, SaysWhyItCannotBeOpened)
{
    EXPECT_EQ(OpenPort("/dev/korvex-no-such-port"), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenPort("/dev/null"), INVALID_HANDLE_VALUE) << "no terminal";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_FUNCTION);
    const auto openAsNobody = [] {
        const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
        chmod(TerminalPath(emulator.get()).c_str(), 0);
        if (geteuid() == 0 && (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0))
            _exit(10);
        const bool denied = OpenPort(TerminalPath(emulator.get())) == INVALID_HANDLE_VALUE && GetLastError() == ERROR_ACCESS_DENIED;
        _exit(denied ? 0 : 1);
    };
    EXPECT_EXIT(openAsNobody(), ExitedWithCode(0), "");
    DCB dcb{};
    EXPECT_FALSE(GetCommState(nullptr, &dcb));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

// A terminal that was in use otherwise, a shell's say, is as it was when the port is closed.
TEST(SerialPort, PutsTheTerminalsSettingsBack)
{
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    const int terminal = open(TerminalPath(emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios before{};
    ASSERT_EQ(tcgetattr(terminal, &before), 0);
    before.c_lflag |= ICANON | ECHO;
    cfsetspeed(&before, B38400);
    ASSERT_EQ(tcsetattr(terminal, TCSANOW, &before), 0);
    HANDLE port = OpenPort(TerminalPath(emulator.get()));
    termios during{};
    tcgetattr(terminal, &during);
    EXPECT_EQ(during.c_lflag & (ICANON | ECHO), 0U);
    CloseHandle(port);
    termios after{};
    tcgetattr(terminal, &after);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(cfgetospeed(&after), static_cast<speed_t>(B38400));
    close(terminal);
}

TEST(UartTrigger, IsLoweredWhereThereIsOneAndPutBack)
{
    const TemporaryFolder folder;
    const OpenLine line;
    const int terminal = open(TerminalPath(line.emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    struct stat status { };
    fstat(terminal, &status);
    const std::string device = "dev/char/" + std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
    std::filesystem::create_directories(device);
    const platform::UartTrigger none = platform::LowerUartTrigger(terminal, ".");
    platform::RestoreUartTrigger(&none);
    EXPECT_TRUE(std::filesystem::is_empty(device)) << "a setting was made up";
    for (const char* before : {"8\n", "4\n", "1\n"}) {
        testing::WriteTextFile(device + "/rx_trig_bytes", before);
        const platform::UartTrigger trigger = platform::LowerUartTrigger(terminal, ".");
        EXPECT_EQ(std::stoi(testing::ReadTextFile(device + "/rx_trig_bytes")), 1);
        platform::RestoreUartTrigger(&trigger);
        EXPECT_EQ(std::stoi(testing::ReadTextFile(device + "/rx_trig_bytes")), std::stoi(before));
    }
    close(terminal);
}

// Through the link that an adapter is known by. A bare pseudo-terminal's number may be another program's by then.
TEST(SerialPort, TakesAPortThatHasComeBackWithItsSettings)
{
    const TemporaryFolder folder;
    emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    std::filesystem::create_symlink(TerminalPath(emulator.get()), "terminal");
    std::filesystem::create_symlink("terminal", "panel");
    HANDLE linked = OpenPort("panel");
    DCB settings{};
    GetCommState(linked, &settings);
    settings.BaudRate = 19200;
    settings.StopBits = TWOSTOPBITS;
    COMMTIMEOUTS timeouts{0, 0, 20, 0, 0};
    EXPECT_TRUE(SetCommState(linked, &settings) && SetCommTimeouts(linked, &timeouts) && SetCommMask(linked, EV_RXCHAR));
    emulator.reset();

    std::array<BYTE, 1> byte{};
    DWORD count = 0;
    DWORD event = 0;
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(ReadFile(linked, byte.data(), 1, &count, nullptr));
        EXPECT_EQ(GetLastError(), ERROR_DEVICE_NOT_CONNECTED);
    }
    // Someone else's terminal, where the old link leads.
    const emulator::EmulatorPointer stranger = emulator::StartEmulator({});
    std::filesystem::remove("terminal");
    std::filesystem::create_symlink(TerminalPath(stranger.get()), "terminal");
    EXPECT_FALSE(WaitCommEvent(linked, &event, nullptr)) << "once for the loss";
    EXPECT_FALSE(WaitCommEvent(linked, &event, nullptr)) << "the link is the old one";
    EXPECT_EQ(GetLastError(), ERROR_DEVICE_NOT_CONNECTED);

    emulator = emulator::StartEmulator({});
    std::filesystem::remove("panel");
    std::filesystem::create_symlink(TerminalPath(emulator.get()), "panel");
    EXPECT_TRUE(ReadFile(linked, byte.data(), 1, &count, nullptr)) << "by its time-out";
    EXPECT_EQ(count, 0U);
    termios line{};
    const int terminal = open(TerminalPath(emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    tcgetattr(terminal, &line);
    close(terminal);
    EXPECT_EQ(cfgetospeed(&line), B19200);
    EXPECT_NE(line.c_cflag & CSTOPB, 0U);
    EXPECT_EQ(line.c_lflag & ICANON, 0U);
    SendBytes(emulator.get(), {0x42});
    EXPECT_TRUE(WaitCommEvent(linked, &event, nullptr));
    EXPECT_EQ(event, EV_RXCHAR);
    EXPECT_EQ(OpenPort("panel"), INVALID_HANDLE_VALUE) << "it is held as before";
    CloseHandle(linked);
}

TEST(SetCommState, ReachesTheTerminal)
{
    const OpenLine line;
    DCB dcb{};
    ASSERT_TRUE(GetCommState(line.port, &dcb));
    dcb.BaudRate = 9600;
    dcb.ByteSize = 7;
    dcb.Parity = ODDPARITY;
    dcb.StopBits = TWOSTOPBITS;
    dcb.fRtsControl = RTS_CONTROL_DISABLE; // a pseudo-terminal has no such line, which is no error
    EXPECT_TRUE(SetCommState(line.port, &dcb));
    const int terminal = open(TerminalPath(line.emulator.get()).c_str(), O_RDWR | O_NOCTTY);
    termios settings{};
    EXPECT_EQ(tcgetattr(terminal, &settings), 0);
    close(terminal);
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO), 0U) << "bytes pass as they are";
    // A pseudo-terminal keeps 8 bits without parity whatever it is told; what was asked for shows in the DCB.
    DCB read{};
    EXPECT_TRUE(GetCommState(line.port, &read));
    EXPECT_EQ(memcmp(&dcb, &read, sizeof(dcb)), 0);

    for (const auto& spoil :
        {+[](DCB* bad) { bad->BaudRate = 12345; }, +[](DCB* bad) { bad->ByteSize = 9; }, +[](DCB* bad) { bad->Parity = 7; }}) {
        DCB bad = dcb;
        spoil(&bad);
        EXPECT_FALSE(SetCommState(line.port, &bad));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
}

// The documented combinations of COMMTIMEOUTS, with 3 bytes waiting.
TEST(ReadFile, EndsByItsTimeoutsWithinTheirTime)
{
    struct Row {
        COMMTIMEOUTS timeouts;
        DWORD asked, got;
        int least, most; // milliseconds
    };
    for (const Row& row :
        {Row{{0, 0, 20, 0, 0}, 6, 3, 20, 40}, Row{{0, 5, 10, 0, 0}, 6, 3, 40, 60}, Row{{0, 0, 20, 0, 0}, 3, 3, 0, 10},
            Row{{0, 0, 20, 0, 0}, 2, 2, 0, 10}, Row{{MAXDWORD, 0, 0, 0, 0}, 6, 3, 0, 10}, Row{{MAXDWORD, MAXDWORD, 500, 0, 0}, 6, 3, 0, 10},
            Row{{15, 0, 0, 0, 0}, 6, 3, 15, 40}, Row{{15, 0, 500, 0, 0}, 6, 3, 15, 40}}) {
        const OpenLine line;
        SendBytes(line.emulator.get(), {1, 2, 3});
        COMMTIMEOUTS timeouts = row.timeouts;
        ASSERT_TRUE(SetCommTimeouts(line.port, &timeouts));
        std::array<uint8_t, 8> buffer{};
        DWORD received = 99;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(ReadFile(line.port, buffer.data(), row.asked, &received, nullptr));
        const auto taken = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start).count();
        EXPECT_EQ(received, row.got);
        EXPECT_GE(taken, row.least);
        EXPECT_LE(taken, row.most + 100) << "a loaded machine may be late, but not by more";
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

TEST(WaitCommEvent, EndsByInputByMaskByCancellationAndByHangUp)
{
    struct Waiter {
        HANDLE port;
        BOOL result;
        DWORD event;
        DWORD error;
    };
    const auto wait = [](void* argument) -> unsigned {
        auto* waiter = static_cast<Waiter*>(argument);
        waiter->result = WaitCommEvent(waiter->port, &waiter->event, nullptr);
        waiter->error = waiter->result ? ERROR_SUCCESS : GetLastError();
        return 0;
    };
    enum class End { INPUT_CAME, MASK_SET, CANCELLED, HUNG_UP };
    for (const End end : {End::INPUT_CAME, End::MASK_SET, End::CANCELLED, End::HUNG_UP}) {
        const OpenLine line;
        SetCommMask(line.port, EV_RXCHAR);
        Waiter waiter{line.port, FALSE, 99, 0};
        HANDLE thread = std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, wait, &waiter, 0, nullptr));
        EXPECT_EQ(WaitForSingleObject(thread, 20), WAIT_TIMEOUT) << "the line is silent";
        if (end == End::INPUT_CAME)
            SendBytes(line.emulator.get(), {1});
        if (end == End::HUNG_UP)
            HangUp(line.emulator.get());
        // The other two miss a thread that has not entered its wait yet.
        DWORD ended = WAIT_TIMEOUT;
        for (int i = 0; i < 1000 && ended == WAIT_TIMEOUT; ++i) {
            if (end == End::MASK_SET)
                SetCommMask(line.port, EV_RXCHAR);
            if (end == End::CANCELLED)
                CancelSynchronousIo(thread);
            ended = WaitForSingleObject(thread, 10);
        }
        ASSERT_EQ(ended, WAIT_OBJECT_0);
        EXPECT_EQ(waiter.result, end == End::INPUT_CAME || end == End::MASK_SET);
        EXPECT_EQ(waiter.event, end == End::INPUT_CAME ? EV_RXCHAR : 0);
        EXPECT_EQ(waiter.error,
            end == End::CANCELLED     ? ERROR_OPERATION_ABORTED
                : end == End::HUNG_UP ? ERROR_DEVICE_NOT_CONNECTED
                                      : ERROR_SUCCESS);
        EXPECT_FALSE(CancelSynchronousIo(thread)) << "it waits for nothing any more";
        EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
        CloseHandle(thread);
    }
}

} // namespace
} // namespace korvex
