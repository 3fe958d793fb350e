#include "platform/linux/serial/serial.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>

#include "emulator/emulator.h"
#include "platform/linux/serial/uart_trigger.h"
#include "platform/win32.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

termios SettingsOf(const emulator::Emulator* emulator)
{
    termios settings{};
    const int terminal = open(TerminalPath(emulator).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(tcgetattr(terminal, &settings), 0);
    close(terminal);
    return settings;
}

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
}

TEST(SerialPort, SetsTheTerminalUpAndPutsItsSettingsBack)
{
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    termios before = SettingsOf(emulator.get());
    before.c_lflag |= ICANON | ECHO;
    cfsetspeed(&before, B38400);
    const int terminal = open(TerminalPath(emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(tcsetattr(terminal, TCSANOW, &before), 0);
    HANDLE port = OpenPort(TerminalPath(emulator.get()));
    DCB dcb{};
    ASSERT_TRUE(GetCommState(port, &dcb));
    EXPECT_EQ(dcb.BaudRate, 38400U);
    dcb.BaudRate = 9600;
    dcb.fRtsControl
        = RTS_CONTROL_DISABLE; // a pseudo-terminal does not have that line, which is no error
    EXPECT_TRUE(SetCommState(port, &dcb));
    const termios during = SettingsOf(emulator.get());
    EXPECT_EQ(cfgetospeed(&during), B9600);
    EXPECT_EQ(during.c_lflag & (ICANON | ECHO), 0U) << "bytes pass as they are";
    CloseHandle(port);
    const termios after = SettingsOf(emulator.get());
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(cfgetospeed(&after), B38400);
    close(terminal);
}

TEST(UartTrigger, IsLoweredWhereThereIsOneAndPutBack)
{
    const TemporaryFolder folder;
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    const int terminal = open(TerminalPath(emulator.get()).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    struct stat status{};
    fstat(terminal, &status);
    const std::string device = "dev/char/" + std::to_string(major(status.st_rdev)) + ":"
        + std::to_string(minor(status.st_rdev));
    const std::string setting = device + "/rx_trig_bytes";
    std::filesystem::create_directories(device);
    for (const char* before : {"", "8\n", "4\n", "1\n"}) {
        if (*before != 0)
            WriteTextFile(setting, before);
        const platform::UartTrigger trigger = platform::LowerUartTrigger(terminal, {.sys = "."});
        EXPECT_EQ(ReadTextFile(setting).substr(0, 1), *before == 0 ? "" : "1");
        platform::RestoreUartTrigger(&trigger);
        EXPECT_EQ(ReadTextFile(setting).substr(0, 1), std::string(before).substr(0, 1));
        EXPECT_EQ(std::filesystem::exists(setting), *before != 0) << "a setting was made up";
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
    const termios line = SettingsOf(emulator.get());
    EXPECT_EQ(cfgetospeed(&line), B19200);
    EXPECT_EQ(line.c_lflag & ICANON, 0U);
    EXPECT_EQ(OpenPort("panel"), INVALID_HANDLE_VALUE) << "it is held as before";
    CloseHandle(linked);
}

} // namespace
} // namespace korvex
