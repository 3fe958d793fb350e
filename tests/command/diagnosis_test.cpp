// The commands that show what is going on: monitor, record and replay, check.

#include <fcntl.h>

#include "machine/port_state.h"
#include "testing/command.h"

namespace korvex {
namespace {

TEST(KorvexMonitor, ShowsWhatEachPanelReports)
{
    PanelFolder folder;
    EmulatorPointer second = StartEmulator({0x7700});
    Process monitor(
        {KORVEX, "monitor", "--json", "--pointer", "none", "panel", TerminalPath(second.get())});
    ReadLineWith(monitor.output, TerminalPath(second.get()));
    TouchAt(second.get(), 25, 75);
    EXPECT_THAT(ReadLineWith(monitor.output, R"("touching":true)"),
        HasSubstr(R"("raw":[256,768],"mapped":[16383,49151],"percent":[25.0,75.0],"touching":true,)"
                  R"("gone":false,"rate":1,"reports":1)"));
    SendBytes(folder.panel.get(), {0x70, 0, 1, 0, 1, 0}); // its checksum is wrong
    EXPECT_THAT(ReadLineWith(monitor.output, R"("rejected":1)"), HasSubstr(R"("port":"panel")"));
    second.reset();
    EXPECT_THAT(ReadLineWith(monitor.output, R"("gone":true)"),
        AllOf(HasSubstr(R"("touching":false)"), HasSubstr(R"("inputs":2)")))
        << "the press and the release";
    folder.Put(StartEmulator({.model = 0x7700, .baudRate = 9600}));
    EXPECT_NE(ReadLineWith(monitor.error, ", 9600 baud"), "") << "another is driven in its place";
    TouchAt(folder.panel.get(), 25, 25);
    EXPECT_NE(ReadLineWith(monitor.output, R"("raw":[256,256])"), "");
    EXPECT_EQ(EndBySignal(&monitor, SIGINT), 0);
}

TEST(KorvexCommand, IsNotHeldUpByAReaderWhoDoesNotRead)
{
    const PanelFolder folder;
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const int reader = open("pipe", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (write(reader, "full", 4) > 0) { }
    for (const auto& [command, exitCode, last] :
        {std::tuple{"monitor --pointer none", 0, ""}, std::tuple{"drive --pointer log", 0, ""},
            std::tuple{"calibrate --windows none --json", 7, "nothing was changed"}}) {
        Process process({"sh", "-c", "exec " + KORVEX + " " + command + " panel >pipe"});
        EXPECT_NE(ReadLineWith(process.error, "controller 5200"), "");
        TouchAt(folder.panel.get(), 50, 50);
        int status = 0;
        // well before it would be ended in any case; ThreadSanitizer alone takes a second to end
        EXPECT_LT(TimeOf([&] { status = EndBySignal(&process, SIGTERM); }).count(), 2200);
        EXPECT_EQ(status, exitCode);
        EXPECT_THAT(ReadAll(process.error), HasSubstr(last))
            << "it was ended before its last words";
    }
    close(reader);
}

TEST(KorvexMonitor, KeepsItsTableInPlaceOnATerminal)
{
    const PanelFolder folder;
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
    PanelFolder folder;
    for (const DrivenModel& driven : DRIVEN_MODELS) {
        const std::string name = command::ModelText(driven.model);
        SCOPED_TRACE(name);
        folder.Put(StartEmulator({.model = driven.model}));
        Process record({KORVEX, "record", name, "panel", "--pointer", "log"});
        EXPECT_NE(ReadLineWith(record.error, "controller " + name), "");
        TouchAt(folder.panel.get(), 25, 25);
        DragTo(folder.panel.get(), 100, 100, 2);
        Lift(folder.panel.get());
        std::string inputs;
        for (int i = 0; i < 4; ++i)
            inputs += ReadLine(record.output) + "\n";
        EXPECT_THAT(inputs, StartsWith(R"({"dx":16383,"dy":16383)"));
        EXPECT_EQ(EndBySignal(&record, SIGTERM), 0);
        for (const char* speed : {"recorded", "full"}) {
            const RunResult replay
                = RunKorvex({"replay", name, "--pointer", "log", "--speed", speed});
            EXPECT_EQ(replay.output, inputs);
            EXPECT_THAT(replay.error,
                HasSubstr("4 reports, 0 rejected packets, 0 resynchronisations, 0 bytes dropped, 4 "
                          "inputs\n"));
        }
    }
    const std::string text = ReadTextFile("5200");
    EXPECT_THAT(text,
        AllOf(StartsWith("korvex-recording 1\n"), HasSubstr(" sent EE 00 00 00 00 11\n"),
            HasSubstr(" answer EE 14 50 00 01 AC\n"), HasSubstr(" report 70 00 01 00 01 8D")));
    const RunResult again = RunKorvex({"record", "5200", "panel"});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_THAT(again.error, HasSubstr("cannot create '5200'"));
    EXPECT_EQ(ReadTextFile("5200"), text) << "nothing is overwritten";
    WriteTextFile("broken", "korvex-recording 1\nnow\n");
    EXPECT_THAT(RunKorvex({"replay", "broken"}).error, HasSubstr("cannot play 'broken': line 2: "));
}

// The output of the check with these arguments.
RunResult Check(const Texts& words)
{
    return RunKorvex(Joined({"check", "--state", "state"}, words));
}

TEST(KorvexCheck, FindsWhatIsWrongWithPortsAndControllers)
{
    const TemporaryFolder folder;
    unsetenv("DISPLAY");
    const auto good = StartEmulator({});
    const auto unknown = StartEmulator({0x5200, 8200});
    const auto silent = StartSilentEmulator();
    const auto evasive = StartSilentEmulator({}, 0xED);
    const auto evasiveShort = StartSilentEmulator({0x7700}, 0xF2);
    const auto held = StartEmulator({});
    const Process holder(
        {"flock", TerminalPath(held.get()), "sh", "-c", "echo held; exec sleep 60"});
    EXPECT_EQ(ReadLine(holder.output), "held");
    std::filesystem::copy_file("/bin/sleep", "ModemManager");
    const Process intruder({"./ModemManager", "60"});
    setenv("SSH_CONNECTION", "10.0.0.1 1 10.0.0.2 22", 1);
    Texts words{"--seconds", "0"};
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
             "FAULT  COM6      what answers on '"})
        EXPECT_THAT("\n" + result.output, HasSubstr("\n" + line));
}

TEST(KorvexCheck, FindsWhatIsWrongWithReportsAndBindings)
{
    PanelFolder folder(StartEmulator({0x7700}));
    {
        Process enumerate({KORVEX, "enum", "--state", "state", "--windows", "none", "--pointer",
            "none", "--trace", "trace", "--port", "COM1=panel"});
        EXPECT_EQ(ReadLineWith(enumerate.error, "Enable Touch Tests"), "Enable Touch Tests");
        EXPECT_EQ(EndBySignal(&enumerate, SIGINT), 0);
    }
    folder.Put(StartEmulator({}));
    // after a note, if ModemManager runs
    const std::string binding = "FAULT  COM1      a 7700 is known here, but a 5200 answers; ";
    for (const auto& [report, line] :
        std::vector<std::pair<emulator::Bytes, std::string>>{
            {{}, "note   COM1      it was not touched, so"},
            {ReportOf(folder.panel.get(), true, 512, 512), "ok     COM1      reports: 1, all good"},
            {{0x70, 0, 4, 0, 2, 0x89}, "FAULT  COM1      it measures beyond its 10 bits"},
            {{0x70, 0, 2, 0, 2, 0}, "FAULT  COM1      rejected packets: 1, good"}}) {
        Process check(
            {KORVEX, "check", "--state", "state", "--seconds", "1", "--port", "COM1=panel"});
        EXPECT_NE(ReadLineWith(check.error, "Touch each panel now"), "");
        SendBytes(folder.panel.get(), report);
        EXPECT_THAT(ReadLineWith(check.output, "FAULT  COM1"), StartsWith(binding));
        EXPECT_THAT(ReadLineWith(check.output, "COM1"), StartsWith(line));
        EXPECT_EQ(WaitForExit(&check), 1);
    }
    folder.Put(StartSilentEmulator());
    EXPECT_THAT(Check({"--seconds", "0", "--port", "COM1=panel"}).output,
        ContainsRegex("FAULT  COM1      no controller answers on .* though a 7700 is known"));
}

TEST(KorvexCheck, FindsWhatIsWrongWithTheSettings)
{
    const PanelFolder folder;
    const DisplayServer display;
    setenv("DISPLAY", display.name.c_str(), 1);
    setenv("SSH_CONNECTION", "10.0.0.1 1 10.0.0.2 22", 1); // and all the same it is this machine's
    const std::string port = "COM1=" + folder.Tty();
    using Row = std::tuple<std::string, Texts, int>;
    const std::string corners
        = "ADV_00_X=10\nADV_00_Y=10\nADV_01_X=900\nADV_01_Y=10\nADV_02_X=900\nADV_02_Y=900\n";
    for (const auto& [settings, lines, exitCode] :
        {Row{"", {"the standard box"}, 0},
            Row{"Mode=+4 ; corners\nADV_03_X=10.5\nADV_03_Y=900\nPanelOrient=2.0\n" + corners,
                {"4 calibration points", "note   settings  'PanelOrient=2.0' is read as 2"}, 0},
            Row{"Mode=5\nPanelOrient=9\nSTD_MIN_X=-2147483648\nSTD_MAX_X=wide\nSTD_MIN_Y=7\n"
                "STD_MAX_Y=7\nSTD_\x1bMAXX=900\n",
                {"'Mode=5' is none of 0, 4, 9, 16 and 25", "'PanelOrient=9' is not between 1 and 8",
                    "'STD_MIN_X=-2147483648' is not between",
                    "'STD_MAX_X=wide' is not a whole number and is read as 0",
                    "STD_MIN_Y and STD_MAX_Y make the standard box empty",
                    "'STD_?MAXX=900' is not read: there is no such key"},
                1},
            Row{"Mode=4\n" + corners, {"ADV_03_X is missing"}, 1},
            Row{"Mode=4\nADV_03_X=900\nADV_03_Y=900\n" + corners,
                {"the targets 3 and 4 were measured at the same place"}, 1},
            Row{"Mode=4\nADV_00_X=1\nADV_01_X=2\nADV_02_X=3\nADV_03_X=4\nADV_00_Y=1\nADV_01_Y="
                "900\nADV_02_Y=2\nADV_03_Y=3\n",
                {"the calibration points take less than a fifth of the panel"}, 1},
            Row{"STD_MIN_X=400\nSTD_MAX_X=500\n",
                {"STD_MIN_X and STD_MAX_X span less than a fifth of the panel"}, 1},
            Row{std::string("S\0T\0D\0\n\0", 8), {"it is UTF-16 without the mark at its start"}, 1},
            Row{"[Option]\nSTD_MAX_X=900\n", {"it has no section [Calibration]"}, 1}}) {
        WriteTextFile(
            "Korvex.ini", (settings.starts_with("[") ? "" : "[Calibration]\n") + settings);
        const RunResult result = Check({"--seconds", "0", "--port", port});
        EXPECT_EQ(result.exitCode, exitCode) << result.output;
        EXPECT_THAT(result.output, HasSubstr("ok     display   "));
        for (const std::string& line : lines)
            EXPECT_THAT(result.output, HasSubstr(line));
    }
    std::filesystem::permissions("Korvex.ini", std::filesystem::perms::owner_read);
    setenv("DISPLAY", ("localhost" + display.name).c_str(), 1); // as ssh names it
    EXPECT_THAT(Check({"--seconds", "0", "--port", port}).output,
        AllOf(HasSubstr("FAULT  settings  "), Not(HasSubstr("ok     settings  ")),
            HasSubstr("FAULT  display   the X display is that of the computer that you come")));
    const std::string name(90, 'x');
    std::filesystem::create_directories(name + "/" + name + "/" + name);
    const RunResult deep = RunProgram({"sh", "-c",
        "cd -- x*/*/* && exec " + KORVEX + " check --seconds 0 --state state --port " + port});
    EXPECT_THAT(deep.output,
        HasSubstr("FAULT  settings  the path of 'Korvex.ini' in this folder is too long"));
    unsetenv("DISPLAY");
    unsetenv("SSH_CONNECTION");
}

// A port on which no panel is known may have a different device.
TEST(KorvexCheck, AsksAPortThatIsNamedOrKnown)
{
    const command::Options all;
    for (const auto& [panel, model, bound, asked] : {std::tuple{"", 0U, false, false},
             {"left", 0U, false, true}, {"", 1U, false, true}, {"", 0U, true, true}}) {
        const command::PortState port{0, "", "", panel, false, "", model, bound};
        EXPECT_EQ(command::IsPanelPort(&all, &port), asked) << panel << model;
    }
}

} // namespace
} // namespace korvex
