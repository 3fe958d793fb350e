// The commands that show what is going on: monitor, record and replay, check.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "testing/process.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

const std::string KORVEX = KORVEX_COMMAND;
constexpr const char* PLAIN_SETTINGS = "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n";

TEST(KorvexMonitor, ShowsWhatEachPanelReports)
{
    const TemporaryFolder folder;
    unsetenv("DISPLAY");
    WriteTextFile("Korvex.ini", PLAIN_SETTINGS);
    const emulator::EmulatorPointer first = emulator::StartEmulator({});
    emulator::EmulatorPointer second = emulator::StartEmulator({0x7700});
    Process monitor({KORVEX, "monitor", "--json", "--pointer", "none", TerminalPath(first.get()),
        TerminalPath(second.get())});
    ReadLineWith(monitor.output, TerminalPath(second.get()));
    TouchAt(second.get(), 25, 75);
    const std::string touching = ReadLineWith(monitor.output, R"("touching":true)");
    EXPECT_NE(touching.find(
                  R"("raw":[256,768],"mapped":[16383,49151],"percent":[25.0,75.0],"touching":true,)"
                  R"("gone":false,"rate":1,"reports":1)"),
        std::string::npos)
        << touching;
    SendBytes(first.get(), {0x70, 0, 1, 0, 1, 0}); // its checksum is wrong
    const std::string spoiled = ReadLineWith(monitor.output, R"("rejected":1)");
    EXPECT_NE(spoiled.find(TerminalPath(first.get())), std::string::npos) << spoiled;
    second.reset();
    const std::string gone = ReadLineWith(monitor.output, R"("gone":true)");
    EXPECT_THAT(gone, AllOf(HasSubstr(R"("touching":false)"), HasSubstr(R"("inputs":2)")))
        << "the press and the release";
    EXPECT_EQ(EndBySignal(&monitor, SIGINT), 0);
}

TEST(KorvexCommand, IsNotHeldUpByAReaderWhoDoesNotRead)
{
    const TemporaryFolder folder;
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const int reader = open("pipe", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (write(reader, "full", 4) > 0) { }
    for (const auto& [command, exitCode, last] :
        {std::tuple{"monitor --pointer none", 0, ""}, std::tuple{"drive --pointer log", 0, ""},
            std::tuple{"calibrate --windows none --json", 7, "nothing was changed"}}) {
        Process process({"sh", "-c",
            "exec " + KORVEX + " " + command + " " + TerminalPath(panel.get()) + " >pipe"});
        EXPECT_NE(ReadLineWith(process.error, "controller 5200"), "");
        TouchAt(panel.get(), 50, 50);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(EndBySignal(&process, SIGTERM), exitCode);
        // well before it would be ended in any case; ThreadSanitizer alone takes a second to end
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2200));
        EXPECT_THAT(ReadAll(process.error), HasSubstr(last))
            << "it was ended before its last words";
    }
    close(reader);
}

TEST(KorvexMonitor, KeepsItsTableInPlaceOnATerminal)
{
    const TemporaryFolder folder;
    unsetenv("DISPLAY");
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    PlaceLink("panel", panel.get());
    ASSERT_EQ(mkfifo("widen", 0600), 0);
    const std::string widen = "{ read go <widen; stty -F /dev/tty cols 200; } &";
    Process monitor({"script", "-qec",
        "stty cols 40; " + widen + " exec " + KORVEX + " monitor panel", "/dev/null"});
    EXPECT_EQ(
        ReadLineWith(monitor.output, "PORT"), "PORT  RAW     Y     %     % TOUCH RATE\x1b[K\r");
    EXPECT_THAT(ReadLineWith(monitor.output, "panel"), StartsWith("panel "));
    EXPECT_EQ(ReadLineWith(monitor.output, "ends"), "q ends it.\x1b[K\r");
    EXPECT_THAT(ReadLineWith(monitor.output, "PORT"), StartsWith("\x1b[3APORT ")) << "in its place";
    WriteTextFile("widen", "go\n");
    EXPECT_THAT(ReadLineWith(monitor.output, "DROPPED"), StartsWith("\x1b[H\x1b[2JPORT "))
        << "anew";
    WriteLine(&monitor, "q");
    EXPECT_EQ(WaitForExit(&monitor), 0);
}

// Each model that can be driven is emulated, identified, driven and recorded, and its recording
// plays.
TEST(KorvexRecord, KeepsWhatReplayPlaysAtEitherSpeed)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", PLAIN_SETTINGS);
    emulator::EmulatorPointer panel;
    for (const DrivenModel& driven : DRIVEN_MODELS) {
        char model[8]; // NOLINT(modernize-avoid-c-arrays)
        snprintf(model, sizeof model, "%X", driven.model);
        SCOPED_TRACE(model);
        panel = emulator::StartEmulator({.model = driven.model});
        std::filesystem::remove("touches");
        Process record(
            {KORVEX, "record", "touches", TerminalPath(panel.get()), "--pointer", "log"});
        EXPECT_EQ(ReadLine(record.error),
            TerminalPath(panel.get()) + ": controller " + model
                + ", firmware 1.2.3, 10 bits, 19200 baud");
        std::string inputs;
        TouchAt(panel.get(), 25, 25);
        inputs += ReadLine(record.output) + "\n";
        EXPECT_THAT(inputs, HasSubstr(R"({"dx":16383,"dy":16383)"));
        DragTo(panel.get(), 75, 75, 2);
        Lift(panel.get());
        for (int i = 0; i < 3; ++i)
            inputs += ReadLine(record.output) + "\n";
        EXPECT_EQ(EndBySignal(&record, SIGTERM), 0);
        for (const char* speed : {"recorded", "full"}) {
            const RunResult replay
                = RunProgram({KORVEX, "replay", "touches", "--pointer", "log", "--speed", speed});
            EXPECT_EQ(replay.exitCode, 0) << replay.error;
            EXPECT_EQ(replay.output, inputs);
            EXPECT_THAT(replay.error,
                HasSubstr("4 reports, 0 rejected packets, 0 resynchronisations, 0 bytes dropped, 4 "
                          "inputs\n"));
        }
        if (driven.model == MODEL_5200) {
            EXPECT_THAT(ReadTextFile("touches"),
                AllOf(StartsWith("korvex-recording 1\n"), HasSubstr(" sent EE 00 00 00 00 11\n"),
                    HasSubstr(" answer EE 14 50 00 01 AC\n"),
                    HasSubstr(" report 70 00 01 00 01 8D")));
        }
    }
    const std::string text = ReadTextFile("touches");
    const RunResult again = RunProgram({KORVEX, "record", "touches", TerminalPath(panel.get())});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_THAT(again.error, HasSubstr("cannot create 'touches'"))
        << "nothing is overwritten: " << again.error;
    EXPECT_EQ(ReadTextFile("touches"), text);
    WriteTextFile("broken", "korvex-recording 1\nnow\n");
    EXPECT_NE(RunProgram({KORVEX, "replay", "broken"}).error.find("cannot play 'broken': line 2: "),
        std::string::npos);
}

// What the check prints, with these words.
RunResult Check(const Texts& words)
{
    return RunProgram(Joined({KORVEX, "check", "--state", "state"}, words));
}

TEST(KorvexCheck, FindsWhatIsWrongWithPortsAndControllers)
{
    const TemporaryFolder folder;
    unsetenv("DISPLAY");
    const auto good = emulator::StartEmulator({});
    const auto unknown = emulator::StartEmulator({0x5200, 8200});
    const auto silent = StartSilentEmulator();
    const auto evasive = StartSilentEmulator({}, 0xED);
    const auto evasiveShort = StartSilentEmulator({0x7700}, 0xF2);
    const auto held = emulator::StartEmulator({});
    const Process holder(
        {"flock", TerminalPath(held.get()), "sh", "-c", "echo held; exec sleep 60"});
    EXPECT_EQ(ReadLine(holder.output), "held");
    std::filesystem::copy_file("/bin/sleep", "ModemManager");
    const Process intruder({"./ModemManager", "60"});
    setenv("SSH_CONNECTION", "10.0.0.1 1 10.0.0.2 22", 1);
    Texts words{"--seconds", "0", "--port", "COM7=/dev/nowhere", "--port", "COM8=/dev/null"};
    int number = 1;
    for (const auto& panel :
        {good.get(), unknown.get(), silent.get(), evasive.get(), held.get(), evasiveShort.get()})
        words.insert(
            words.end(), {"--port", "COM" + std::to_string(number++) + "=" + TerminalPath(panel)});
    const RunResult result = Check(words);
    unsetenv("SSH_CONNECTION");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output,
        HasSubstr("over ssh, as the user who is logged in there, name its display: DISPLAY=:0"));
    for (const std::string& line : Texts{"note   COM1      ModemManager runs and may ask '",
             "FAULT  display   no X display is named in DISPLAY", "note   settings  there is no '",
             "ok     COM1      '" + TerminalPath(good.get())
                 + "', controller 5200, firmware 1.2.3, 10 bits, 19200 baud\n",
             "FAULT  COM2      the controller calls itself model 8200",
             "note   COM3      no controller answers on '", "FAULT  COM4      what answers on '",
             "FAULT  COM5      cannot open '" + TerminalPath(held.get()) + "': flock (process "
                 + std::to_string(holder.pid) + ") is using it",
             "FAULT  COM6      what answers on '",
             "FAULT  COM7      cannot open '/dev/nowhere': there is no such port",
             "FAULT  COM8      cannot open '/dev/null': it is not a serial port"})
        EXPECT_THAT("\n" + result.output, HasSubstr("\n" + line));
}

TEST(KorvexMonitor, DrivesWhatTakesTheKnownControllersPlace)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", PLAIN_SETTINGS);
    emulator::EmulatorPointer panel = emulator::StartEmulator({});
    PlaceLink("panel", panel.get());
    Process monitor({KORVEX, "monitor", "--json", "--pointer", "none", "panel"});
    ReadLineWith(monitor.output, "panel");
    panel = emulator::StartEmulator({.model = 0x7700, .baudRate = 9600});
    PlaceLink("panel", panel.get());
    EXPECT_NE(ReadLineWith(monitor.error, "controller 7700"), "");
    TouchAt(panel.get(), 25, 75);
    EXPECT_NE(ReadLineWith(monitor.output, R"("raw":[256,768])"), "");
    EXPECT_EQ(EndBySignal(&monitor, SIGTERM), 0);
}

TEST(KorvexCheck, FindsWhatIsWrongWithReportsAndBindings)
{
    const TemporaryFolder folder;
    unsetenv("DISPLAY");
    emulator::EmulatorPointer panel = emulator::StartEmulator({0x7700});
    PlaceLink("panel", panel.get());
    {
        Process enumerate({KORVEX, "enum", "--state", "state", "--windows", "none", "--pointer",
            "none", "--trace", "trace", "--port", "COM1=panel"});
        EXPECT_EQ(ReadLineWith(enumerate.error, "Enable Touch Tests"), "Enable Touch Tests");
        EXPECT_EQ(EndBySignal(&enumerate, SIGINT), 0);
    }
    panel = emulator::StartEmulator({});
    PlaceLink("panel", panel.get());
    const auto listen = [&panel](const emulator::Bytes& report) {
        Process check(
            {KORVEX, "check", "--state", "state", "--seconds", "1", "--port", "COM1=panel"});
        EXPECT_NE(ReadLineWith(check.error, "Touch each panel now"), "");
        SendBytes(panel.get(), report);
        // behind a note, where ModemManager runs
        const std::string binding = ReadLineWith(check.output, "FAULT  COM1");
        EXPECT_EQ(binding.substr(0, 66),
            "FAULT  COM1      a 7700 is known here, but a 5200 answers; 'korvex")
            << binding;
        std::string line = ReadLineWith(check.output, "COM1");
        EXPECT_EQ(WaitForExit(&check), 1);
        return line;
    };
    EXPECT_EQ(listen({}).substr(0, 39), "note   COM1      it was not touched, so");
    EXPECT_EQ(
        listen(ReportOf(panel.get(), true, 512, 512)), "ok     COM1      reports: 1, all good");
    EXPECT_EQ(listen({0x70, 0, 4, 0, 2, 0x89}).substr(0, 47),
        "FAULT  COM1      it measures beyond its 10 bits");
    EXPECT_EQ(
        listen({0x70, 0, 2, 0, 2, 0}).substr(0, 41), "FAULT  COM1      spoiled packets: 1, good");
}

TEST(KorvexCheck, FindsWhatIsWrongWithTheSettings)
{
    const TemporaryFolder folder;
    const DisplayServer display;
    setenv("DISPLAY", display.name.c_str(), 1);
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    const std::string port = "COM1=" + TerminalPath(panel.get());
    using Row = std::tuple<std::string, std::string, int>;
    const std::string corners
        = "ADV_00_X=10\nADV_00_Y=10\nADV_01_X=900\nADV_01_Y=10\nADV_02_X=900\nADV_02_Y=900\n";
    for (const auto& [settings, line, exitCode] : {Row{"", "the standard box", 0},
             Row{"Mode=4\nADV_03_X=10\nADV_03_Y=900\n" + corners, "4 calibration points", 0},
             Row{"Mode=5\n", "'Mode=5' is none of 0, 4, 9, 16 and 25", 1},
             Row{"PanelOrient=9\n", "'PanelOrient=9' is not between 1 and 8", 1},
             Row{"STD_MAX_X=wide\n", "'STD_MAX_X=wide' is not a whole number and is read as 0", 1},
             Row{"Mode=+4 ; corners\nADV_03_X=10.5\nADV_03_Y=900\n" + corners,
                 "4 calibration points", 0},
             Row{"PanelOrient=2.0\n", "note   settings  'PanelOrient=2.0' is read as 2", 0},
             Row{"STD_MAX_X=\n", "'STD_MAX_X=' is not a whole number and is read as 0", 1},
             Row{"STD_MIN_Y=7\nSTD_MAX_Y=7\n", "make the standard box empty", 1},
             Row{"Mode=4\n" + corners, "ADV_03_X is missing", 1},
             Row{"Mode=4\nADV_03_X=900\nADV_03_Y=900\n" + corners,
                 "the targets 3 and 4 were measured at the same place", 1},
             Row{"Mode=4\nADV_00_X=1\nADV_01_X=2\nADV_02_X=3\nADV_03_X=4\nADV_00_Y=1\nADV_01_Y="
                 "900\nADV_02_Y=2\nADV_03_Y=3\n",
                 "the calibration points take less than a fifth of the panel", 1},
             Row{"STD_MIN_X=400\nSTD_MAX_X=500\n",
                 "STD_MIN_X and STD_MAX_X span less than a fifth of the panel", 1},
             Row{"STD_MIN_X=-2147483648\nSTD_MAX_X=2147483647\n",
                 "'STD_MIN_X=-2147483648' is not between", 1},
             Row{"STD_\x1bMAXX=900\n", "'STD_?MAXX=900' is not read: there is no such key", 1},
             Row{std::string("S\0T\0D\0\n\0", 8), "it is UTF-16 without the mark at its start", 1},
             Row{"[Option]\nSTD_MAX_X=900\n", "it has no section [Calibration]", 1}}) {
        WriteTextFile(
            "Korvex.ini", (settings.starts_with("[") ? "" : "[Calibration]\n") + settings);
        const RunResult result = Check({"--seconds", "0", "--port", port});
        EXPECT_EQ(result.exitCode, exitCode) << result.output;
        EXPECT_THAT(result.output, HasSubstr(line));
        EXPECT_THAT(result.output, HasSubstr("ok     display   "));
    }
    std::filesystem::permissions("Korvex.ini", std::filesystem::perms::owner_read);
    const RunResult locked = Check({"--seconds", "0", "--port", port});
    EXPECT_EQ(locked.exitCode, 1);
    EXPECT_THAT(
        locked.output, AllOf(HasSubstr("FAULT  settings  "), Not(HasSubstr("ok     settings  "))));
    const std::string name(90, 'x');
    std::filesystem::create_directories(name + "/" + name + "/" + name);
    const RunResult deep = RunProgram({"sh", "-c",
        "cd -- x*/*/* && exec " + KORVEX + " check --seconds 0 --state state --port " + port});
    EXPECT_THAT(deep.output,
        HasSubstr("FAULT  settings  the path of 'Korvex.ini' in this folder is too long"));
    unsetenv("DISPLAY");
}

} // namespace
} // namespace korvex
