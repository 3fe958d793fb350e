#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>

#include "cli/command_line.h"
#include "command/command_table.h"
#include "emulator/command_options.h"
#include "testing/command.h"
#include "testing/screen.h"

namespace korvex {
namespace {

const std::string EMULATOR = EMULATOR_COMMAND;

TEST(KorvexCommand, NamesWhatIsWrongAndSaysSoByItsExitCode)
{
    const TemporaryFolder folder;
    WriteTextFile("plain", "");
    ASSERT_EQ(mkfifo("fifo", 0600), 0); // it is never read
    const auto silent = StartSilentEmulator();
    PlaceLink("silent", silent.get());
    unsetenv("DISPLAY");
    unsetenv("XDG_RUNTIME_DIR");
    using Row = std::tuple<Texts, int, std::string>;
    for (const auto& [options, exitCode, error] : {Row{{}, 2, "a command is missing"},
             Row{{"calbrate"}, 2, "unknown command 'calbrate'; did you mean 'calibrate'?"},
             Row{{"drive"}, 2, "PORT is required"}, Row{{"drive", "a", "b"}, 2, "argument 'b'"},
             Row{{"drive", "--poiner", "a"}, 2, "'--poiner'; did you mean '--pointer'?"},
             Row{{"drive", "a", "--trace"}, 2, "'--trace' needs a value"},
             Row{{"name", "left till"}, 2, "'left till' is no name"},
             Row{{"calibration", "export", "no/where"}, 3, "it is not the name of a panel"},
             Row{{"set-path", "a\nb"}, 2, "invalid value 'a b'"},
             Row{{"ports", "--port", "COM1=a\nb"}, 2, "for '--port': it must be one line"},
             Row{{"ports", "--port", "COM1=a", "--port", "COM2=a"}, 2, "'COM2=a' for '--port'"},
             Row{{"ports", "--port", "COM1=a", "--port", "COM1=b"}, 2, "'COM1=b' for '--port'"},
             Row{{"monitor", "--pointer", "log", "a"}, 2, "'log' for '--pointer'"},
             Row{{"drive", "missing"}, 3, "cannot open 'missing': there is no such port"},
             Row{{"drive", "--wait", "plain"}, 3, "it is not a serial port"},
             Row{{"drive", "silent"}, 4, "no controller answers on 'silent'"},
             Row{{"drive", "plain", "--trace", "no/where"}, 1, "cannot write 'no/where'"},
             Row{{"drive", "plain", "--trace", "fifo"}, 1, "cannot write 'fifo'"},
             Row{{"replay", "fifo"}, 1, "cannot read 'fifo': it is not a file"},
             Row{{"replay", "/dev/zero"}, 1, "cannot read '/dev/zero': it is not a file"},
             Row{{"drive", "plain", "--pointer", "x11"}, 5, "cannot open the X display"}}) {
        const RunResult result = RunKorvex(options);
        EXPECT_EQ(result.exitCode, exitCode) << error;
        EXPECT_THAT(result.error, HasSubstr(error));
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1)
            << "one line: " << result.error;
        EXPECT_EQ(result.output, "");
    }
    for (const char* words : {" --help >/dev/full", " --version >&-"})
        EXPECT_EQ(RunProgram({"sh", "-c", KORVEX + words}).exitCode, 1)
            << "nothing of it goes out:" << words;
    EXPECT_THAT(RunKorvex({"help"}).output, Not(HasSubstr("\n  coinstall")));
    for (const auto& [words, line] :
        std::vector<std::pair<Texts, std::string>>{{{KORVEX, "-h"}, "\n  drive  "},
            {{KORVEX, "--help-all"}, "\n  coinstall  "}, {{KORVEX, "-v"}, "korvex 0"},
            {{KORVEX, "help", "drive"}, "korvex drive [OPTION...] PORT\n"},
            {{KORVEX, "drive", "--help"}, "korvex drive [OPTION...] PORT\n"},
            {{EMULATOR, "--help"}, "circle RATE S"}}) {
        const RunResult help = RunProgram(words);
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_THAT(help.output, HasSubstr(line));
    }
}

// The first file or port that is opened must not become the descriptor that is missing.
TEST(KorvexRecord, WritesNoWordsIntoItsFileWhenStandardErrorIsClosed)
{
    const PanelFolder folder;
    EXPECT_EQ(
        RunProgram({"sh", "-c", KORVEX + " record touches --seconds 0 panel 2>&-"}).exitCode, 0);
    EXPECT_THAT(ReadTextFile("touches"),
        AllOf(StartsWith("korvex-recording 1\n"), Not(HasSubstr("panel"))));
    EXPECT_EQ(RunProgram({"sh", "-c", KORVEX + " drive --pointer log panel >&-"}).error,
        "korvex drive: cannot write to standard output\n");
}

// A controller that spoils so many answers is asked for its calibration for many seconds.
TEST(KorvexDrive, EndsWithinThreeSecondsWhileAControllerSpoilsItsAnswers)
{
    const PanelFolder folder;
    std::filesystem::remove("Korvex.ini");
    for (int address = 0; address < static_cast<int>(emulator::MEMORY_BYTES); address += 2)
        AddAnswerFault(
            folder.panel.get(), {emulator::AnswerFaultKind::CORRUPTION, 8, 0xF3, address});
    Process drive({KORVEX, "drive", "--pointer", "none", "panel"});
    EXPECT_TRUE(WaitForCommands(folder.panel.get(), 20, milliseconds(5000)));
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(EndBySignal(&drive, SIGTERM), 0); }).count(), 3000);
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
        EXPECT_NE(ReadLineWith(emulator.output, "9600 baud: F2 00 00 00 00    -> F2 D9 04 05"), "");
        WriteLine(&emulator, "quit");
        EXPECT_EQ(WaitForExit(&emulator), 0);
        EXPECT_FALSE(std::filesystem::is_symlink("port")) << "the link goes with the emulator";
    }
}

// Judged by xev.
TEST(KorvexDrive, MakesARightClickOfAHeldFingerAndNoneOfALostOne)
{
    const TemporaryFolder folder;
    const Screen screen;
    Process events({"stdbuf", "-oL", "xev", "-geometry", "1024x768+0+0", "-event", "button"});
    ASSERT_NE(WaitForWindow("Event Tester"), 0UL);
    Process emulator({EMULATOR, "--link", "port", "--script", "-"});
    EXPECT_NE(ReadLine(emulator.output), "");
    Process drive({KORVEX, "drive", "--wait", "port", "--pointer", "x11", "--hold-right", "300",
        "--smooth", "medium"});
    EXPECT_NE(ReadLineWith(drive.error, "controller 5200"), "");
    for (const char* line : {"ready", "press 50 50 600", "press 25 25 50"})
        WriteLine(&emulator, line);
    const auto next = [&] {
        std::string line;
        for (int i = 0; i < 3 && line.empty(); ++i) // an empty line comes before each event
            line = ReadLineWith(events.output, "state 0x");
        return line;
    };
    EXPECT_THAT(next(), HasSubstr("state 0x0, button 3"));
    EXPECT_THAT(next(), HasSubstr("state 0x400, button 3"));
    EXPECT_THAT(next(), HasSubstr("state 0x0, button 1"));
    EXPECT_THAT(next(), HasSubstr("state 0x100, button 1"));
    WriteLine(&emulator, "touch 75 75");
    EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen).x > 700; })) << "it moves unpressed";
    WriteLine(&emulator, "hangup");
    EXPECT_NE(ReadLineWith(drive.error, "the port has gone"), "");
    EXPECT_EQ(EndBySignal(&drive, SIGTERM), 0);
    EndBySignal(&events, SIGTERM);
    EXPECT_THAT(ReadAll(events.output), Not(HasSubstr("state 0x")));
}

TEST(OptionFile, TakesWhatIsGoodAndNamesTheLinesThatAreNot)
{
    command::Options options;
    const std::vector<command::KorvexCommand> commands = command::KorvexCommands(&options);
    const auto drive = std::find_if(commands.begin(), commands.end(),
        [](const auto& one) { return one.syntax.name == "drive"; });
    std::vector<command::GivenOption> given{{"--pointer", {"none"}}};
    const auto read = [&](const std::string& content) {
        return command::ReadOptionFile("f", content, drive->syntax.options, &given);
    };
    EXPECT_THAT(
        read("# smooth = low\n\n smooth = \"medium\" # quiet\nhold-right=9\n[drive]\nx\n"
             "wait\nmonitor = [HDMI-1, left=DP-1] # two\nmonitor = right=DP-2\nsmoth = low\n"
             "smooth = high\npointer = log\nwait = maybe\ntrace = a, b\n"
             "monitor = [HDMI-2"),
        ElementsAre("'f', line 4: invalid value '9' for 'hold-right': a number from 200 to 10000",
            "'f', line 5: '[drive]' is not a setting, KEY = VALUE",
            "'f', line 6: 'x' is not a setting, KEY = VALUE",
            "'f', line 10: there is no setting 'smoth'; did you mean 'smooth'?",
            "'f', line 11: 'smooth' is there twice", "'f', line 13: 'wait' is there twice",
            "'f', line 14: 'trace' takes one value",
            "'f', line 15: 'monitor = [HDMI-2' is not a setting, KEY = VALUE"));
    EXPECT_EQ(options.smooth, "medium");
    EXPECT_EQ(options.monitor, "HDMI-1");
    EXPECT_EQ(options.portMonitors.size(), 2U);
    EXPECT_TRUE(options.wait && options.pointer.empty() && options.holdRightMs == 0);
    EXPECT_THAT(command::ReadOptionFile(
                    "g", "smooth = low\nhold-right = 300", drive->syntax.options, &given),
        IsEmpty());
    EXPECT_EQ(options.smooth, "medium") << "the first file's";
    EXPECT_LE(read("trace = \"C:\\-\"").size(), 1U) << "an escape that CLI11 2.4 does not know";
    EXPECT_EQ(options.holdRightMs, 300U);
}

// The messages that the service manager receives from a unit.
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
    EXPECT_THAT(RunKorvex({"status"}).output, HasSubstr("panel  panel  pending"));
    Process emulator({EMULATOR, "--link", "panel", "--script", "-"});
    std::string status = NextNotification(manager);
    while (status.find("no controller answers") != std::string::npos) // on a busy machine
        status = NextNotification(manager);
    EXPECT_THAT(status, AllOf(StartsWith("STATUS=panel (/dev/pts/"), HasSubstr("controller 5200")));
    WriteLine(&emulator, "ready");
    WriteLine(&emulator, "touch 50 50");
    EXPECT_NE(ReadLine(drive.output), "");
    EXPECT_EQ(EndBySignal(&drive, SIGTERM), 0);
    EXPECT_EQ(NextNotification(manager), "STOPPING=1");
    close(manager);
}

TEST(KorvexEmulator, NamesWhatIsWrong)
{
    for (const auto& [option, value] : Pairs{{"--model", "5201"}, {"--baud", "4800"},
             {"--resolution", "11"}, {"--firmware", "1.2"}, {"--memory", "0G"},
             {"--fault", "flood"}, {"--report-noise", "1"}, {"--report-gap", "9,1"},
             {"--scale", "1"}, {"--rotate", "x"}, {"--target-error", "0=1,1"}, {"--link", ""}}) {
        const RunResult result = RunProgram({EMULATOR, option, value});
        EXPECT_EQ(result.exitCode, 2) << option;
        EXPECT_THAT(
            result.error, HasSubstr("invalid value '" + value + "' for '" + option + "': "));
    }
    emulator::Settings settings;
    const command::Program program = emulator::EmulatorProgram(&settings);
    EXPECT_TRUE(std::any_of(program.options.begin(), program.options.end(), [](const auto& option) {
        return option.name == std::string("--noise") && option.store("20,7");
    }));
    EXPECT_EQ(settings.options.noise.seed, 7U);
    Process emulator({EMULATOR, "--script", "-"});
    for (const std::string line :
        {"touch 50", "touch 50 101", "send 100", "drag", "fly", "circle 0 1"}) {
        WriteLine(&emulator, line);
        EXPECT_EQ(ReadLine(emulator.error), "korvex-emulator: not understood: " + line);
    }
}

} // namespace
} // namespace korvex
