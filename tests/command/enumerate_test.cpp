// `korvex enum` and what belongs to it, as a person starts them.

#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "emulator/emulator.h"
#include "testing/installation.h"
#include "testing/process.h"
#include "testing/screen.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(KorvexEnum, DrivesEveryControllerAlsoWhenOneIsPulledOut)
{
    const Installation installation;
    for (int run = 1; run <= 2; ++run) {
        Process command(installation.Unseen({"enum"}));
        const bool first = run == 1; // the second run knows both ports' children
        EXPECT_EQ(ReadLine(command.error), "Refreshing Device Nodes");
        if (!first) {
            EXPECT_EQ(ReadLine(command.error), "Restarting COM3");
            EXPECT_EQ(ReadLine(command.error), "Restarting COM4");
        }
        const auto driven = [](const emulator::EmulatorPointer& panel, const char* controller) {
            return TerminalPath(panel.get()) + ": " + controller;
        };
        for (const std::string& line :
            Texts{"Detecting Korvex Devices", "Detecting COM3",
                driven(installation.first, "controller 5200, firmware 1.2.3, 10 bits, 19200 baud"),
                "Detecting COM4",
                "korvex enum: more than one controller is driven with the calibration in '"
                    + (installation.folder.path / "Korvex.ini").string()
                    + "'; 'korvex drive' in a folder of its own gives each panel one of its own",
                driven(installation.second, "controller 7700, firmware 1.2.3, 10 bits, 19200 baud"),
                "Enable Touch Tests"})
            EXPECT_EQ(ReadLine(command.error), line);
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
        EXPECT_EQ(ReadTextFile("trace.txt").find("Detect Korvex 5200 with Baud Rate 19200")
                != std::string::npos,
            !first);
    }
}

// What is on another port may be no controller at all.
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
    EXPECT_EQ(
        unknown.error, "korvex enum: there is no port 'left' among those of '--port NAME=PATH'\n");
    EXPECT_EQ(unknown.exitCode, 3);
    AddAnswerFault(installation.first.get(), {emulator::AnswerFaultKind::SILENCE});
    Process command(installation.Unseen({"enum", "--port", "COM3"}));
    EXPECT_NE(ReadLineWith(command.error,
                  "no controller was found on any port that was asked; nothing is driven"),
        "");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
}

// Before there is a window, during and between both passes, and after them, on busy and on silent
// lines.
TEST(KorvexEnum, EndsWithinThreeSecondsWheneverItIsClosed)
{
    struct Row {
        int delay; // milliseconds
        bool silent;
    };
    for (const Row& row : {Row{0, false}, Row{5, false}, Row{300, false}, Row{1050, false},
             Row{1150, false}, Row{1250, false}, Row{2200, false}, Row{5, true}, Row{1050, true},
             Row{1150, true}, Row{1300, true}, Row{1700, true}}) {
        const Installation installation;
        if (row.silent)
            AddAnswerFault(installation.first.get(), {emulator::AnswerFaultKind::SILENCE});
        Process command(installation.Unseen({"enum"}));
        // it blocks its signals first thing
        const std::string status = "/proc/" + std::to_string(command.pid) + "/status";
        EXPECT_TRUE(WaitUntil([&] {
            return ReadTextFile(status).find("SigBlk:\t000000000000400") != std::string::npos;
        }));
        std::this_thread::sleep_for(milliseconds(row.delay));
        for (int i = 0; i < 20; ++i)
            TouchAt(installation.first.get(), 50, 50);
        int exitCode = -1;
        EXPECT_LT(TimeOf([&] {
            exitCode = EndBySignal(&command, row.delay % 100 == 0 ? SIGINT : SIGTERM);
        }).count(),
            3000)
            << row.delay;
        EXPECT_EQ(exitCode, 0) << "after " << row.delay << " ms";
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
        EXPECT_EQ(refused.error, "korvex " + name + ": another one is running in this session\n");
    }
    chmod("korvex-kxSetupMUTEX.lock", 0666); // of a process that could be anybody's
    const RunResult unknown = RunProgram(single);
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_THAT(unknown.error, HasSubstr("cannot be known without a lock in '"));
    Process other(installation.Unseen({"enum"}));
    EXPECT_EQ(ReadLine(other.error), "Refreshing Device Nodes") << "without the option it starts";
    EXPECT_EQ(EndBySignal(&other, SIGTERM), 0);
    chmod("korvex-kxSetupMUTEX.lock", 0600);
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    Process next(single);
    EXPECT_EQ(ReadLine(next.error), "Refreshing Device Nodes") << "the way is free again";
    EXPECT_EQ(EndBySignal(&next, SIGTERM), 0);
}

// The window as others see it; its close button ends the process.
TEST(KorvexEnum, ShowsItsWindowAndEndsWithIt)
{
    const Installation installation;
    const Screen screen;
    Process command(installation.Command({"enum", "--trace", "trace.txt"}));
    const unsigned long window = WaitForWindow("Korvex Touch Solutions");
    const std::string properties
        = RunProgram({"xwininfo", "-id", std::to_string(window), "-size", "-stats"}).output;
    for (const char* line :
        {"Width: 300", "Height: 100", "Program supplied minimum size: 300 by 100",
            "Program supplied maximum size: 300 by 100"})
        EXPECT_THAT(properties, HasSubstr(line));
    EXPECT_EQ(
        RunProgram({"xprop", "-id", std::to_string(window), "WM_CLASS", "_NET_WM_PID"}).output,
        "WM_CLASS(STRING) = \"korvex\", \"Korvex\"\n_NET_WM_PID(CARDINAL) = "
            + std::to_string(command.pid) + "\n");
    // The last status text is up once touches are driven.
    EXPECT_TRUE(WaitUntil([&] {
        TouchAt(installation.second.get(), 50, 50);
        return PointerOf(&screen) == PointerState{511, 383, true};
    }));
    Lift(installation.second.get());
    EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen) == PointerState{511, 383, false}; }));
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

TEST(KorvexEnum, ReportsAPortThatAnotherProgramHolds)
{
    const Installation installation;
    HANDLE held = OpenPort(TerminalPath(installation.second.get()));
    Process command(installation.Unseen({"enum"}));
    EXPECT_EQ(ReadLineWith(command.error, "skipped"),
        "korvex enum: '" + TerminalPath(installation.second.get())
            + "' is skipped: korvex_tests (process " + std::to_string(getpid()) + ") is using it");
    EXPECT_EQ(ReadLine(command.error), "Enable Touch Tests");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    CloseHandle(held);
    EXPECT_EQ(RunProgram(installation.Unseen({"enum", "--port", "COM3=/dev/null"})).exitCode, 2)
        << "the name is taken";
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
    const std::string key
        = "registry: HKLM\\SYSTEM\\CurrentControlSet\\Enum\\SERENUM\\KVX5200\\1\\Device "
          "Parameters\\";
    RunResult result{};
    for (const char* run : {"the first", "the second, which writes what is there already"}) {
        result = RunProgram(installation.Command(
            {"coinstall", "install", "--instance", "SERENUM\\KVX5200\\1", "--os", "5.1"}));
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.output,
            "first pass: result 0xE0000226\nsecond pass: result 0x0\n" + key
                + "SelectiveSuspendEnabled=hex:01\n" + key + "SelectiveSuspendOn=dword:00000000\n"
                + key + "TabletPC=hex:00\n" + key
                + "TabletPC=hex:00\nregistry: HKCU\\Control "
                  "Panel\\Mouse\\DoubleClickWidth=sz:\"25\"\n"
                  "registry: HKCU\\Control Panel\\Mouse\\DoubleClickHeight=sz:\"25\"\n"
                  "registry: HKCU\\Control Panel\\Mouse\\DoubleClickSpeed=sz:\"800\"\n"
                  "driver: report mode 1\nsystem: asked for a restart\n")
            << run;
    }
    {
        Process command(installation.Unseen({"enum"}));
        EXPECT_EQ(ReadLineWith(command.error, "Enable Touch Tests"), "Enable Touch Tests");
        EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    }
    const std::string devices = ReadTextFile("state/devices.ini");
    const size_t start = devices.find("TTY\\SERIALPORT");
    const std::string port = devices.substr(start, devices.find(']', start) - start);
    result = RunProgram(installation.Command({"coinstall", "remove", "--instance", port}));
    EXPECT_EQ(result.output, "first pass: result 0x0\nremoved: SERENUM\\KVX5200\\COM3\n");
    EXPECT_EQ(
        RunProgram({KORVEX_COMMAND, "coinstall", "repair", "--instance", "A\\B"}).exitCode, 2);
}

TEST(KorvexPorts, ListsAndUnbindsWithoutOpening)
{
    const Installation installation;
    EXPECT_EQ(RunProgram(installation.Command({"ports"})).exitCode, 0);
    EXPECT_FALSE(std::filesystem::exists("state")) << "a list makes nothing";
    {
        Process command(installation.Unseen({"enum"}));
        EXPECT_EQ(ReadLineWith(command.error, "Enable Touch Tests"), "Enable Touch Tests");
        // The ports are in use, which a list does not mind.
        const RunResult list = RunProgram(installation.Command({"ports", "--json"}));
        EXPECT_EQ(list.exitCode, 0);
        EXPECT_NE(list.output.find("\"name\": \"COM3\",\n    \"path\": \""
                      + TerminalPath(installation.first.get())
                      + "\",\n    \"child\": \"SERENUM\\\\KVX5200\\\\COM3\",\n    \"model\": "
                        "\"5200\",\n    \"bound\": true"),
            std::string::npos)
            << list.output;
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
        EXPECT_EQ(unbind("COM3").error,
            "korvex unbind: cannot write the state folder '"
                + (installation.folder.path / "state").string()
                + "': another program holds the folder's lock\n");
    }
    fs::permissions("state/registry.ini", fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(unbind("COM3").exitCode, 0);
    const std::string table = RunProgram(installation.Command({"ports"})).output;
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 3) << table;
    EXPECT_THAT(table, Not(HasSubstr("KVX5200")));
    EXPECT_THAT(table,
        HasSubstr(
            "7700   -          bound    enum paneltest calibrate check  SERENUM\\KVX7700\\COM4"));
    EXPECT_EQ(ReadTextFile("state/registry.ini").find("Parameters\\COM3]"), std::string::npos);
    EXPECT_EQ(unbind("COM9").exitCode, 3);
    EXPECT_EQ(unbind(TerminalPath(installation.second.get()).c_str()).exitCode, 0);
    EXPECT_THAT(RunProgram(installation.Command({"ports"})).output, Not(HasSubstr("KVX7700")));
}

TEST(KorvexCalib, StartsTheProgramOfTheStoredFolderWithItsParameters)
{
    const TemporaryFolder folder;
    const auto run = [](const Texts& words) {
        return RunProgram(Joined(Joined({KORVEX_COMMAND}, words), {"--state", "state"})).exitCode;
    };
    EXPECT_EQ(run({"calib", "9"}), 1) << "no folder is known";
    EXPECT_EQ(run({"set-path", "missing"}), 1);
    EXPECT_EQ(run({"set-path", "."}), 0);
    EXPECT_EQ(run({"calib", "9"}), 1) << "there is no program";
    WriteTextFile("KxConsole.exe",
        "#!/bin/sh\nprintf '%s|' \"$@\" > started.new && mv started.new started\n");
    std::filesystem::permissions("KxConsole.exe", std::filesystem::perms::all);
    for (const auto& [argument, started] :
        std::vector<std::pair<std::string, std::string>>{{"9", "-calibration|9|"},
            {"two words", "-calibration|two|words|"}, {"", "-calibration|"}}) {
        EXPECT_EQ(run({"calib", argument}), 0);
        EXPECT_TRUE(WaitUntil([] { return std::filesystem::exists("started"); }));
        EXPECT_EQ(ReadTextFile("started"), started);
        std::filesystem::remove("started");
    }
}

} // namespace
} // namespace korvex
