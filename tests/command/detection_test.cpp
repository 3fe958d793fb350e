// `korvex enum` and `paneltest`, and the commands around them, as a person starts them.

#include "command/check/stored_calibration.h"
#include "testing/command.h"

namespace korvex {
namespace {

TEST(KorvexEnum, DrivesEveryControllerAlsoWhenOneIsPulledOut)
{
    const Installation installation;
    for (const bool first : {true, false}) { // the second run knows both ports' children
        Process command(installation.Unseen({"enum"}));
        Texts lines{"Refreshing Device Nodes", "Detecting Korvex Devices", "Detecting COM3",
            TerminalPath(installation.first.get())
                + ": controller 5200, firmware 1.2.3, 10 bits, 19200 baud",
            "Detecting COM4", "more than one controller is driven with the calibration in '",
            TerminalPath(installation.second.get()) + ": controller 7700", "Enable Touch Tests"};
        if (!first)
            lines.insert(lines.begin() + 1, {"Restarting COM3", "Restarting COM4"});
        for (const std::string& line : lines)
            EXPECT_THAT(ReadLine(command.error), HasSubstr(line));
        TouchAt(installation.first.get(), 25, 25);
        EXPECT_EQ(ReadLine(command.output), "{\"dx\":16383,\"dy\":16383,\"flags\":32771}");
        if (!first) {
            HangUp(installation.first.get());
            EXPECT_EQ(ReadLine(command.output), "{\"dx\":16383,\"dy\":16383,\"flags\":32772}")
                << "no button stays pressed";
        }
        TouchAt(installation.second.get(), 50, 50);
        EXPECT_EQ(ReadLine(command.output), "{\"dx\":32767,\"dy\":32767,\"flags\":32771}");
        EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    }
    EXPECT_THAT(ReadTextFile("trace.txt"), HasSubstr("Detect Korvex 5200 with Baud Rate 19200"));
}

// Another port may have no controller at all.
TEST(KorvexEnum, SendsNoByteToAPortThatIsNotNamed)
{
    const Installation installation;
    for (const std::string& port : Texts{"COM4", TerminalPath(installation.second.get())}) {
        Process command(installation.Unseen({"enum", "--port", port}));
        EXPECT_THAT(ReadLineWith(command.error, "controller"), HasSubstr("controller 7700"));
        EXPECT_EQ(ReadLine(command.error), "Enable Touch Tests");
        EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    }
    EXPECT_TRUE(ReceivedCommands(installation.first.get()).empty());
    const RunResult unknown
        = RunProgram(installation.Unseen({"enum", "--port", "COM4", "--port", "left"}));
    EXPECT_EQ(unknown.exitCode, 3);
    EXPECT_THAT(
        unknown.error, HasSubstr("there is no port 'left' among those of '--port NAME=PATH'"));
    HANDLE held = OpenPort(TerminalPath(installation.second.get()));
    Process command(installation.Unseen({"enum", "--port", "COM4"}));
    EXPECT_EQ(ReadLineWith(command.error, "skipped"),
        "korvex enum: '" + TerminalPath(installation.second.get())
            + "' is skipped: korvex_tests (process " + std::to_string(getpid()) + ") is using it");
    EXPECT_NE(ReadLineWith(command.error,
                  "no controller was found on any port that was asked; nothing is driven"),
        "");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    CloseHandle(held);
}

// Before there is a window, during and between both passes, and after them, on busy and on silent
// lines.
TEST(KorvexEnum, EndsWithinThreeSecondsWheneverItIsClosed)
{
    for (const auto& [delay, silent] : {std::pair{0, false}, {5, false}, {300, false},
             {1050, false}, {1150, false}, {1250, false}, {2200, false}, {5, true}, {1050, true},
             {1150, true}, {1300, true}, {1700, true}}) { // milliseconds
        SCOPED_TRACE(delay);
        const Installation installation;
        if (silent)
            AddAnswerFault(installation.first.get(), {emulator::AnswerFaultKind::SILENCE});
        Process command(installation.Unseen({"enum"}));
        // it blocks its signals first thing
        const std::string status = "/proc/" + std::to_string(command.pid) + "/status";
        EXPECT_TRUE(WaitUntil([&] {
            return ReadTextFile(status).find("SigBlk:\t000000000000400") != std::string::npos;
        }));
        std::this_thread::sleep_for(milliseconds(delay));
        for (int i = 0; i < 20; ++i)
            TouchAt(installation.first.get(), 50, 50);
        const int signal = delay % 100 == 0 ? SIGINT : SIGTERM;
        EXPECT_LT(TimeOf([&] { EXPECT_EQ(EndBySignal(&command, signal), 0); }).count(), 3000);
    }
}

TEST(KorvexEnum, KeepsASecondSingleOneOut)
{
    const Installation installation;
    const Texts single = installation.Unseen({"enum", "--single"});
    Process command(single);
    EXPECT_EQ(ReadLine(command.error), "Refreshing Device Nodes");
    for (const std::string name : {"enum", "paneltest"}) {
        const RunResult refused = RunProgram(installation.Unseen({name, "--single"}));
        EXPECT_EQ(refused.exitCode, 6);
        EXPECT_THAT(refused.error, HasSubstr("another one is running in this session"));
    }
    chmod("korvex-kxSetupMUTEX.lock", 0666); // of a process that could be anybody's
    EXPECT_THAT(RunProgram(single).error, HasSubstr("no lock in '"));
    Process other(installation.Unseen({"enum"}));
    EXPECT_EQ(ReadLine(other.error), "Refreshing Device Nodes") << "without the option it starts";
    EXPECT_EQ(EndBySignal(&other, SIGTERM), 0);
}

// The window as others see it; its close button ends the process.
TEST(KorvexEnum, ShowsItsWindowAndEndsWithIt)
{
    const Installation installation;
    const Screen screen;
    Process command(installation.Command({"enum", "--trace", "trace.txt"}));
    const unsigned long window = WaitForWindow("Korvex Touch Solutions");
    const std::string id = std::to_string(window);
    EXPECT_THAT(RunProgram({"xwininfo", "-id", id, "-size", "-stats"}).output,
        AllOf(HasSubstr("Width: 300"), HasSubstr("Height: 100"),
            HasSubstr("Program supplied minimum size: 300 by 100"),
            HasSubstr("Program supplied maximum size: 300 by 100")));
    EXPECT_EQ(RunProgram({"xprop", "-id", id, "WM_CLASS", "_NET_WM_PID"}).output,
        "WM_CLASS(STRING) = \"korvex\", \"Korvex\"\n_NET_WM_PID(CARDINAL) = "
            + std::to_string(command.pid) + "\n");
    // The last status text is up once touches are driven.
    EXPECT_TRUE(WaitUntil([&] {
        TouchAt(installation.second.get(), 50, 50);
        return PointerOf(&screen) == PointerState{511, 383, true};
    }));
    EXPECT_EQ(RunProgram({"import", "-window", "root", STATUS_WINDOW_SCREENSHOT}).exitCode, 0);
    PressCloseButton(&screen, window);
    EXPECT_EQ(WaitForExit(&command), 0);
}

TEST(KorvexEnum, SaysWhenItsDisplayIsLost)
{
    const Installation installation;
    DisplayServer server;
    setenv("DISPLAY", server.name.c_str(), 1);
    Process command(installation.Command({"enum", "--trace", "trace.txt"}));
    EXPECT_NE(WaitForWindow("Korvex Touch Solutions"), 0U);
    EXPECT_EQ(EndBySignal(&server.server, SIGTERM), 0);
    EXPECT_EQ(WaitForExit(&command), 1);
    EXPECT_EQ(ReadLineWith(command.error, "display"), "korvex enum: the display is lost");
    unsetenv("DISPLAY");
}

// Each says what it lacks, or which port is left out for it, however little it gets.
TEST(KorvexEnum, IsNeverUpSilentlyWithTooFewDescriptors)
{
    const Installation installation;
    for (const char* limit : {"4", "5", "6", "7", "8", "10"}) {
        Process limited(
            Joined({"prlimit", std::string("--nofile=") + limit}, installation.Unseen({"enum"})));
        EXPECT_NE(ReadLineWith(limited.error, "korvex enum: "), "") << limit;
        const int exitCode = EndBySignal(&limited, SIGTERM);
        EXPECT_TRUE(exitCode == 0 || exitCode == 1) << limit;
    }
}

TEST(KorvexCoinstall, PrintsWhatTheCoInstallerChanges)
{
    const Installation installation;
    for (const char* run : {"the first", "the second, which writes what is there already"})
        EXPECT_THAT(RunProgram(installation.Command({"coinstall", "install", "--instance",
                                   "SERENUM\\KVX5200\\1", "--os", "5.1"}))
                        .output,
            AllOf(StartsWith("first pass: result 0xE0000226\nsecond pass: result 0x0\nregistry: "),
                HasSubstr("\\1\\Device Parameters\\SelectiveSuspendOn=dword:00000000\n"),
                HasSubstr("\nregistry: HKCU\\Control Panel\\Mouse\\DoubleClickSpeed=sz:\"800\"\n"),
                EndsWith("\ndriver: report mode 1\nsystem: asked for a restart\n")))
            << run;
    {
        Process command(installation.Unseen({"enum"}));
        EXPECT_NE(ReadLineWith(command.error, "Enable Touch Tests"), "");
        EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    }
    const std::string devices = ReadTextFile("state/devices.ini");
    const size_t start = devices.find("TTY\\SERIALPORT");
    const std::string port = devices.substr(start, devices.find(']', start) - start);
    EXPECT_EQ(RunProgram(installation.Command({"coinstall", "remove", "--instance", port})).output,
        "first pass: result 0x0\nremoved: SERENUM\\KVX5200\\COM3\n");
}

TEST(KorvexPorts, ListsAndUnbindsWithoutOpening)
{
    const Installation installation;
    RunProgram(installation.Command({"ports"}));
    EXPECT_FALSE(std::filesystem::exists("state")) << "a list makes nothing";
    {
        Process command(installation.Unseen({"enum"}));
        EXPECT_NE(ReadLineWith(command.error, "Enable Touch Tests"), "");
        // The ports are in use, which a list does not mind.
        EXPECT_THAT(RunProgram(installation.Command({"ports", "--json"})).output,
            HasSubstr("\"name\": \"COM3\",\n    \"path\": \""
                + TerminalPath(installation.first.get())
                + "\",\n    \"child\": \"SERENUM\\\\KVX5200\\\\COM3\",\n    \"model\": "
                  "\"5200\",\n    \"bound\": true"));
        EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    }
    const auto unbind = [&installation](const char* port) {
        return RunProgram(installation.Command({"unbind", port}));
    };
    namespace fs = std::filesystem;
    fs::permissions("state/registry.ini", fs::perms::owner_read);
    EXPECT_EQ(unbind("COM3").exitCode, 1) << "it cannot be written";
    {
        const Process holder({"sh", "-c",
            "umask 077; exec flock -F state/.korvex.lock sh -c 'echo held; exec sleep 60'"});
        EXPECT_EQ(ReadLine(holder.output), "held");
        EXPECT_THAT(
            unbind("COM3").error, EndsWith("/state': another program holds the folder's lock\n"));
    }
    fs::permissions("state/registry.ini", fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(unbind("COM3").exitCode, 0);
    EXPECT_THAT(RunProgram(installation.Command({"ports"})).output,
        AllOf(Not(HasSubstr("KVX5200")),
            HasSubstr("7700   -          bound    enum paneltest calibrate check  SERENUM\\KVX7")));
    EXPECT_THAT(ReadTextFile("state/registry.ini"), Not(HasSubstr("Parameters\\COM3]")));
    EXPECT_EQ(unbind("COM9").exitCode, 3);
    EXPECT_EQ(unbind(TerminalPath(installation.second.get()).c_str()).exitCode, 0);
    EXPECT_THAT(RunProgram(installation.Command({"ports"})).output, Not(HasSubstr("KVX7700")));
}

TEST(KorvexCalib, StartsTheProgramOfTheStoredFolderWithItsParameters)
{
    const TemporaryFolder folder;
    const auto run = [](const Texts& words) {
        return RunKorvex(Joined(words, {"--state", "state"})).exitCode;
    };
    EXPECT_EQ(run({"set-path", "missing"}), 1);
    EXPECT_EQ(run({"set-path", "."}), 0);
    EXPECT_EQ(run({"calib", "9"}), 1) << "there is no program";
    WriteTextFile("KxConsole.exe",
        "#!/bin/sh\nprintf '%s|' \"$@\" > started.new && mv started.new started\n");
    std::filesystem::permissions("KxConsole.exe", std::filesystem::perms::all);
    EXPECT_EQ(run({"calib", "two words"}), 0);
    EXPECT_TRUE(WaitUntil([] { return std::filesystem::exists("started"); }));
    EXPECT_EQ(ReadTextFile("started"), "-calibration|two|words|");
}

TEST(KorvexPanelTest, PrintsItsStatesWithoutAScreenAndStoresNothingWhenItEndsEarly)
{
    const Installation installation;
    Process command(installation.Unseen({"paneltest"}));
    EXPECT_EQ(ReadLine(command.error), "target 1 of 9 at 20, 15");
    const std::string settings = ReadTextFile("Korvex.ini");
    TouchAt(installation.second.get(), 25, 75);
    EXPECT_EQ(ReadLine(command.error), "sample 1: raw 255, 767");
    EXPECT_EQ(ReadLine(command.error), "target 2 of 9 at 512, 15");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    EXPECT_EQ(ReadTextFile("Korvex.ini"), settings);
    std::filesystem::permissions("Korvex.ini", std::filesystem::perms::owner_read);
    Process unsaved(installation.Unseen({"paneltest"}));
    EXPECT_THAT(ReadLine(unsaved.error), HasSubstr("The calibration will not be saved: '"));
    EXPECT_NE(ReadLineWith(unsaved.error, "target 1 of 9"), "");
    EXPECT_EQ(EndBySignal(&unsaved, SIGTERM), 1);
}

// The stored calibration afterwards, and whether the previous one is kept.
TEST(JudgeStored, KeepsAGoodCalibrationThatABadOneReplaces)
{
    const TemporaryFolder folder;
    const std::string good = "[Calibration]\nSTD_MAX_X=1024\n";
    const std::string untouched
        = "[Calibration]\nMode=4\nADV_00_X=0\nADV_00_Y=0\nADV_01_X=0\nADV_01_Y=0\n"
          "ADV_02_X=0\nADV_02_Y=0\nADV_03_X=0\nADV_03_Y=0\n";
    using Row = std::tuple<std::string, std::string, int, std::string>;
    for (const auto& [before, after, exitCode, kept] : // empty: no file
        {Row{good, untouched, 1, good}, Row{good, good + "STD_MAX_Y=1024\n", 0, ""},
            Row{good, good, 0, ""}, Row{untouched, untouched + "Other=1\n", 1, ""},
            Row{"", untouched, 1, ""}, Row{untouched, untouched, 0, ""}}) {
        std::filesystem::remove("Korvex.ini");
        std::filesystem::remove("Korvex.ini.old");
        if (!before.empty())
            WriteTextFile("Korvex.ini", before);
        const command::SettingsBefore seen = command::LookAtSettings();
        WriteTextFile("Korvex.ini", after);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(command::JudgeStored(&seen), exitCode);
        const std::string said = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(said.substr(0, 61),
            exitCode == 0 ? "" : "korvex: what was stored looks wrong: the targets 1 and 2 were");
        EXPECT_EQ(ReadTextFile("Korvex.ini.old"), kept);
        EXPECT_EQ(ReadTextFile("Korvex.ini"), after);
    }
}

TEST(KorvexPanelTest, SaysWhenThereIsNoPanel)
{
    const TemporaryFolder folder;
    const Texts command{
        KORVEX, "paneltest", "--state", "state", "--port", "COM3=missing", "--trace", "trace.txt"};
    const RunResult printed
        = RunProgram(Joined(command, {"--windows", "none", "--pointer", "log"}));
    EXPECT_EQ(printed.exitCode, 4);
    EXPECT_THAT(printed.error, EndsWith("there is no such port\nNo Touch Screen Found !\n"));

    const Screen screen;
    Process boxed(command);
    EXPECT_NE(WaitForWindow("Touch Panel Utility"), 0U);
    EXPECT_EQ(RunProgram({"xdotool", "key", "Return"}).exitCode, 0);
    EXPECT_EQ(WaitForExit(&boxed), 4);
}

TEST(KorvexPanelTest, EndsWithEscapeOrItsCloseButton)
{
    const Installation installation;
    const Screen screen;
    for (const bool byKey : {true, false}) {
        Process command(installation.Command({"paneltest", "--trace", "trace.txt"}));
        const unsigned long window = WaitForWindow("Korvex Touch Solutions");
        EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 20, 15) == 0x808080; })) << "target";
        EXPECT_EQ(PixelAt(&screen, 512, 384), 0xFFFFFFU);
        EXPECT_EQ(PixelAt(&screen, 0, 0), 0U) << "the rectangle's outline";
        if (byKey)
            EXPECT_EQ(RunProgram({"xdotool", "key", "q", "key", "Escape"}).exitCode, 0);
        else
            PressCloseButton(&screen, window);
        EXPECT_EQ(WaitForExit(&command), 0);
    }
}

TEST(KorvexPanelTest, FindsTheControllerThatHasTakenTheKnownOnesPlace)
{
    PanelFolder folder;
    const auto run = [](const char* command, const char* line) {
        Process running({KORVEX, command, "--port", "COM3=panel", "--state", "state", "--windows",
            "none", "--pointer", "log", "--trace", "trace.txt"});
        EXPECT_NE(ReadLineWith(running.error, line), "");
        EXPECT_EQ(EndBySignal(&running, SIGTERM), 0);
    };
    run("enum", "Enable Touch Tests"); // which binds the first
    folder.Put(StartEmulator({0x7700}));
    run("paneltest", "target 1 of 9");
}

} // namespace
} // namespace korvex
