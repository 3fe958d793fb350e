#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "platform/win32.h"
#include "testing/process.h"
#include "testing/screen.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

const std::string KORVEX = KORVEX_COMMAND;
const std::string EMULATOR = EMULATOR_COMMAND;

TEST(KorvexCommand, NamesWhatIsWrongAndSaysSoByItsExitCode)
{
    const TemporaryFolder folder;
    WriteTextFile("plain", "");
    unsetenv("DISPLAY");
    unsetenv("XDG_RUNTIME_DIR");
    using Row = std::tuple<Texts, int, std::string>;
    for (const auto& [options, exitCode, error] :
        {Row{{}, 2, "a command is missing"}, Row{{"fly"}, 2, "unknown command 'fly'; see"},
            Row{{"calbrate"}, 2, "unknown command 'calbrate'; did you mean 'calibrate'?"},
            Row{{"--fly"}, 2, "unknown option '--fly'"}, Row{{"drive"}, 2, "PORT is required"},
            Row{{"drive", "a", "b"}, 2, "unexpected argument 'b'"},
            Row{{"drive", "--poiner", "a"}, 2, "'--poiner'; did you mean '--pointer'?"},
            Row{{"drive", "--pointer", "tea", "a"}, 2, "'tea' for '--pointer'"},
            Row{{"drive", "a", "--trace"}, 2, "'--trace' needs a value"},
            Row{{"set-path", "a\nb"}, 2, "invalid value 'a b'"},
            Row{{"ports", "--port", "COM1=a\nb"}, 2, "for '--port': it must be one line"},
            Row{{"monitor", "--pointer", "log", "a"}, 2, "'log' for '--pointer'"},
            Row{{"coinstall", "install"}, 2, "--instance is required"},
            Row{{"drive", "missing"}, 3, "cannot open 'missing': there is no such port"},
            Row{{"drive", "plain"}, 3, "it is not a serial port"},
            Row{{"drive", "."}, 3, "it is not a serial port"},
            Row{{"drive", "plain", "--trace", "no/where"}, 1, "cannot write 'no/where'"},
            Row{{"drive", "plain", "--pointer", "x11"}, 5, "cannot open the X display"}}) {
        const RunResult result = RunProgram(Joined({KORVEX}, options));
        EXPECT_EQ(result.exitCode, exitCode) << error;
        EXPECT_THAT(result.error, HasSubstr(error));
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1)
            << "one line: " << result.error;
        EXPECT_EQ(result.output, "");
    }
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    for (const char* path : {".", "fifo", "/dev/zero"})
        EXPECT_EQ(RunProgram({KORVEX, "replay", path}).error,
            std::string("korvex replay: cannot read '") + path + "': it is not a file\n");
    EXPECT_EQ(RunProgram({KORVEX, "drive", "plain", "--trace", "fifo"}).exitCode, 1)
        << "nobody reads it";
    for (const char* words : {" --help >/dev/full", " --version >/dev/full", " --version >&-"})
        EXPECT_EQ(RunProgram({"sh", "-c", KORVEX + words}).exitCode, 1)
            << "nothing of it goes out:" << words;
    EXPECT_THAT(RunProgram({KORVEX, "help"}).output, Not(HasSubstr("\n  coinstall")));
    for (const auto& [words, line] :
        std::vector<std::pair<Texts, std::string>>{{{KORVEX, "-h"}, "\n  drive  "},
            {{KORVEX, "--help-all"}, "\n  coinstall  "}, {{KORVEX, "version"}, "korvex 0"},
            {{KORVEX, "-v"}, "korvex 0"}, {{KORVEX, "help", "drive"}, "korvex drive [OPTION...]"},
            {{KORVEX, "drive", "--help"}, "korvex drive [OPTION...] PORT\n"}}) {
        const RunResult help = RunProgram(words);
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_THAT(help.output, HasSubstr(line));
    }
}

// The first file or port that is opened must not become the descriptor that is missing.
TEST(KorvexRecord, WritesNoWordsIntoItsFileWhenStandardErrorIsClosed)
{
    const TemporaryFolder folder;
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    const std::string port = TerminalPath(panel.get());
    EXPECT_EQ(
        RunProgram({"sh", "-c", "exec " + KORVEX + " record touches --seconds 0 " + port + " 2>&-"})
            .exitCode,
        0);
    const std::string text = ReadTextFile("touches");
    EXPECT_THAT(text, AllOf(StartsWith("korvex-recording 1\n"), Not(HasSubstr(port))));
    const RunResult unseen
        = RunProgram({"sh", "-c", "exec " + KORVEX + " drive --pointer log " + port + " >&-"});
    EXPECT_EQ(unseen.exitCode, 1);
    EXPECT_EQ(unseen.error, "korvex drive: cannot write to standard output\n");
}

// A controller that spoils so many answers is asked for its calibration for many seconds.
TEST(KorvexDrive, EndsWithinThreeSecondsWhileAControllerSpoilsItsAnswers)
{
    const TemporaryFolder folder;
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    for (int address = 0; address < static_cast<int>(emulator::MEMORY_BYTES); address += 2)
        AddAnswerFault(panel.get(), {emulator::AnswerFaultKind::CORRUPTION, 8, 0xF3, address});
    Process drive({KORVEX, "drive", "--pointer", "none", TerminalPath(panel.get())});
    EXPECT_TRUE(WaitForCommands(panel.get(), 20, milliseconds(5000)));
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(EndBySignal(&drive, SIGTERM), 0); }).count(), 3000);
}

TEST(KorvexDrive, RefusesAPortThatIsInUseOrSilent)
{
    const TemporaryFolder folder;
    const emulator::EmulatorPointer emulator = StartSilentEmulator();
    const std::string port = TerminalPath(emulator.get());
    const RunResult silent = RunProgram({KORVEX, "drive", port, "--pointer", "log"});
    EXPECT_EQ(silent.exitCode, 4);
    EXPECT_THAT(silent.error, HasSubstr("no controller answers on '" + port + "'"));

    HANDLE held = OpenPort(port);
    const RunResult inUse = RunProgram({KORVEX, "drive", port, "--pointer", "log"});
    EXPECT_EQ(inUse.exitCode, 3);
    EXPECT_NE(inUse.error.find("(process " + std::to_string(getpid()) + ") is using it"),
        std::string::npos)
        << inUse.error;
    CloseHandle(held);
}

// The whole way, in processes of their own: gestures of the emulator come out as input, mapped by
// the stored calibration.
TEST(KorvexDrive, DrivesThePointerUntilASignal)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const TemporaryFolder folder;
        WriteTextFile("Korvex.ini",
            "[Calibration]\nSTD_MIN_X=256\nSTD_MAX_X=768\nSTD_MIN_Y=768\nSTD_MAX_Y=256\n");
        Process emulator({EMULATOR, "--link", "port", "--model", "7700", "--baud", "9600",
            "--firmware", "4.5.6", "--script", "-"});
        EXPECT_THAT(ReadLine(emulator.output), HasSubstr("emulating model 7700"));
        unsetenv("XDG_RUNTIME_DIR");
        Process drive({KORVEX, "drive", "port", "--pointer", "log", "--trace", "trace.txt"});
        EXPECT_THAT(ReadLine(drive.error), HasSubstr("without a control socket"));
        const std::string tty = std::filesystem::canonical("port").string();
        EXPECT_EQ(ReadLine(drive.error),
            "port (" + tty + "): controller 7700, firmware 4.5.6, 10 bits, 9600 baud");
        for (const char* line : {"ready", "touch 50 50", "drag 75 75 1"})
            WriteLine(&emulator, line);
        EXPECT_EQ(ReadLine(drive.output), "{\"dx\":32767,\"dy\":32767,\"flags\":32771}");
        EXPECT_EQ(ReadLine(drive.output), "{\"dx\":65535,\"dy\":0,\"flags\":32769}");
        EXPECT_EQ(EndBySignal(&drive, signal), 0);
        EXPECT_EQ(ReadLine(drive.output), "{\"dx\":65535,\"dy\":0,\"flags\":32772}")
            << "a stop leaves no button pressed";
        EXPECT_EQ(ReadTextFile("trace.txt"), "Load File Settings\n");
        EXPECT_NE(ReadLineWith(emulator.output, "9600 baud: F2")
                      .find("F2 00 00 00 00    -> F2 D9 04 05 60"),
            std::string::npos);
        WriteLine(&emulator, "quit");
        EXPECT_EQ(WaitForExit(&emulator), 0);
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status("port")))
            << "the link goes with the emulator";
    }
}

// What the service manager gets of a unit, message by message.
std::string NextNotification(int socket)
{
    std::array<char, 512> text{};
    pollfd ready{socket, POLLIN, 0};
    return poll(&ready, 1, 10'000) == 1
        ? std::string(text.data(), static_cast<size_t>(recv(socket, text.data(), text.size(), 0)))
        : "";
}

TEST(KorvexDrive, WaitsForItsControllerAndTellsTheServiceManager)
{
    const TemporaryFolder folder;
    const int manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address{AF_UNIX, "manager"};
    ASSERT_EQ(bind(manager, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    setenv("NOTIFY_SOCKET", "manager", 1);
    setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
    Process drive({KORVEX, "drive", "--wait", "panel", "--pointer", "log"});
    unsetenv("NOTIFY_SOCKET");
    EXPECT_EQ(NextNotification(manager), "READY=1");
    EXPECT_EQ(
        NextNotification(manager), "STATUS=Waiting: cannot open 'panel': there is no such port");
    EXPECT_EQ(ReadLine(drive.error),
        "korvex drive: cannot open 'panel': there is no such port; trying again every 2 to 30 s");
    EXPECT_TRUE(WaitUntil([] {
        return RunProgram({KORVEX, "status"}).output.find("panel  panel  awaited")
            != std::string::npos;
    }));
    Process emulator({EMULATOR, "--link", "panel", "--script", "-"});
    EXPECT_THAT(NextNotification(manager),
        AllOf(StartsWith("STATUS=panel (/dev/pts/"), HasSubstr("controller 5200")));
    WriteLine(&emulator, "ready");
    WriteLine(&emulator, "touch 50 50");
    EXPECT_NE(ReadLine(drive.output), "");
    EXPECT_EQ(EndBySignal(&drive, SIGTERM), 0);
    EXPECT_EQ(NextNotification(manager), "STOPPING=1");
    close(manager);
    WriteTextFile("plain", "");
    EXPECT_EQ(RunProgram({KORVEX, "drive", "--wait", "plain"}).exitCode, 3)
        << "that never becomes a port";
}

TEST(KorvexEmulator, NamesWhatIsWrong)
{
    for (const auto& [option, value] :
        std::vector<std::pair<std::string, std::string>>{{"--model", "5201"}, {"--baud", "4800"},
            {"--resolution", "11"}, {"--firmware", "1.2"}, {"--memory", "0G"}, {"--fault", "flood"},
            {"--report-noise", "1"}, {"--report-gap", "9,1"}, {"--scale", "1"}, {"--rotate", "x"},
            {"--target-error", "0=1,1"}, {"--link", ""}}) {
        const RunResult result = RunProgram({EMULATOR, option, value});
        EXPECT_EQ(result.exitCode, 2) << option;
        EXPECT_THAT(result.error,
            StartsWith("korvex-emulator: invalid value '" + value + "' for '" + option + "': "));
    }
    EXPECT_EQ(RunProgram({EMULATOR, "extra"}).exitCode, 2);
    EXPECT_NE(RunProgram({EMULATOR, "--help"}).output.find("circle RATE S"), std::string::npos);
    Process emulator({EMULATOR, "--script", "-"});
    for (const char* line : {"touch 50", "touch 50 101", "send 100", "drag", "fly", "circle 0 1"}) {
        WriteLine(&emulator, line);
        EXPECT_EQ(
            ReadLine(emulator.error), std::string("korvex-emulator: not understood: ") + line);
    }
}

} // namespace
} // namespace korvex
