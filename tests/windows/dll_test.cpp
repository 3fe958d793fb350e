// KORVEX.dll itself, on 32-bit Wine, with an emulated controller on a pseudo-terminal.

#include "emulator/gestures.h"
#include "testing/screen.h"
#include "testing/testing.h"
#include "windows/wine.h"

namespace korvex {
namespace {

using emulator::EmulatorPointer;

const std::string TITLE = "Korvex Touch Solutions";

// Where 32-bit Wine cannot be had, scripts/test leaves these tests out, and says so last and loud.
struct Dll : Test {
    const Screen screen; // before Wine, which looks for it when it starts
    const Wine wine;

    // The detection says that it has ended, and touches go where they should.
    void ExpectDriven(emulator::Emulator* emulator, int x, int y) const
    {
        EXPECT_TRUE(WaitUntil([] {
            return RunProgram(Host({"status-text"})).output == "Enable Touch Tests\r\nreturned\r\n";
        }));
        TouchAt(emulator, x, y);
        EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen) == PointerState{255, 383, false}; }));
    }

    // Keeps a picture of the screen beside the DLL, for people.
    static void Photograph(const std::string& name)
    {
        EXPECT_EQ(
            RunProgram({"import", "-window", "root", KORVEX_WINDOWS_BUILD "/" + name}).exitCode, 0);
    }

    void DetectAndClose(const emulator::EmulatorOptions& options, int64_t limit) const;
};

// The calls of Windows that the entries make.
const std::string STATUS_CLASS = "RegisterClassW \"kxSetup\" style 8, extra 0+0, arrow cursor, "
                                 "background FFFFFF, menu none program\r\n";
const std::string PANEL_TEST_CALLS = STATUS_CLASS
    + "RegisterClassW \"kxPanelTest\" style 8, extra 0+0, arrow cursor, background FFFFFF, menu "
      "none program\r\n"
      "CreateWindowExW 0 \"kxPanelTest\" \"Korvex Touch Solutions\" 80000000 0 0 1024 768 none 0 "
      "program null\r\n"
      "ShowWindow kxPanelTest 5\r\n";
const std::string MUTEX = "CreateMutexW null 0 \"kxSetupMUTEX\"\r\n";

// On COM3 a panel that uses 85 % of its range.
EmulatorPointer PlugInSmallPanel(const Wine* wine)
{
    EmulatorPointer emulator = emulator::StartEmulator({.distortion = {.scale = {0.85, 0.85}}});
    wine->PlugIn(emulator.get());
    return emulator;
}

// There is no INF for the enumerator, so the binding fails; the session starts all the same.
void Dll::DetectAndClose(const emulator::EmulatorOptions& options, int64_t limit) const
{
    WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n");
    const EmulatorPointer emulator = emulator::StartEmulator(options);
    wine.PlugIn(emulator.get());
    Process process(Host({"kxENUM"}));
    const unsigned long window = WaitForWindow(TITLE);
    ASSERT_NE(window, 0U);
    // The clicks are seen by another program's window.
    Process watcher(Host({"watch-clicks"}));
    EXPECT_NE(WaitForWindow("Clicks"), 0U);
    ExpectDriven(emulator.get(), 25, 50);
    EXPECT_EQ(ReadLineWith(watcher.output, "down"), "down 255 383\r");
    Lift(emulator.get());
    EXPECT_EQ(ReadLineWith(watcher.output, "up"), "up 255 383\r");

    const int64_t before = ProcessorTime(process.pid);
    std::this_thread::sleep_for(milliseconds(1000)); // the cost of a silent port in that time
    EXPECT_LE(ProcessorTime(process.pid) - before, limit) << "milliseconds";

    PressCloseButton(&screen, window);
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(WaitForExit(&process), 0); }).count(), 3000);
}

TEST_F(Dll, EnumDrivesAControllerUntilItsWindowIsClosedWhereWaitsReturnAtOnce)
{
    DetectAndClose({}, 100);
}

TEST_F(Dll, EnumDrivesAControllerUntilItsWindowIsClosedWhereWaitsBlock)
{
    wine.BlockInWaits();
    DetectAndClose({0x7700, 9600}, 300); // of which Wine itself uses the most
}

TEST_F(Dll, PanelTestStoresACalibrationAndShowsItsResult)
{
    const EmulatorPointer emulator = PlugInSmallPanel(&wine);
    Process process(Host({"kxPANELTEST"}));
    std::string error;
    EXPECT_EQ(RunGesture(emulator.get(), "panel-test", &error), emulator::GestureResult::DONE)
        << error;
    EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 512, 100) == 0xFFFF00; })) << "yellow";
    EXPECT_EQ(PixelAt(&screen, 0, 0), 0U) << "the rectangle's outline";
    bool marked = false;
    for (int i = 0; i < 81; ++i)
        marked = marked || PixelAt(&screen, 716 - 4 + i % 9, 230 - 4 + i / 9) == 0x0000FF;
    EXPECT_TRUE(marked) << "the check was touched at 70 %, 30 %";
    Photograph("panel-test.png");
    // The middle of the panel, a raw unit lost on the way there and back.
    EXPECT_THAT(ReadTextFile("Korvex.ini"),
        AllOf(HasSubstr("Mode=9"), AnyOf(HasSubstr("ADV_04_X=511"), HasSubstr("ADV_04_X=512"))));
    RunProgram({"xdotool", "key", "Escape"});
    EXPECT_EQ(WaitForExit(&process), 0);
    // Each target is drawn after a redraw of all, and each tick is asked for: nine targets, and
    // the check after the last.
    std::string ticks;
    for (int i = 0; i < 10; ++i)
        ticks += "RedrawWindow kxPanelTest null null 187\r\nSetTimer kxPanelTest 0 1388 null\r\n";
    EXPECT_EQ(ReadAll(process.output), PANEL_TEST_CALLS + ticks);
}

TEST_F(Dll, SingleEntriesKeepEachOtherOutBehindTheStatedWindow)
{
    Process process(Host({"kxENUMW"}));
    const unsigned long window = WaitForWindow(TITLE);
    ASSERT_NE(window, 0U);
    for (const char* entry : {"kxENUMW", "kxPANELTESTW"})
        EXPECT_EQ(RunProgram(Host({entry})).output, MUTEX + "returned\r\n");
    PressCloseButton(&screen, window);
    EXPECT_EQ(WaitForExit(&process), 0);
    EXPECT_EQ(ReadAll(process.output),
        MUTEX + STATUS_CLASS
            + "CreateWindowExW 0 \"kxSetup\" \"Korvex Touch Solutions\" A0000 0 0 300 100 none 0 "
              "program null\r\n"
              "CreateWindowExW 0 \"STATIC\" \"\" 50000001 0 20 300 36 kxSetup 1 program null\r\n"
              "ShowWindow kxSetup 5\r\n");

    // Without a controller the panel test says so over its window, and ends.
    const RunResult panelTest = RunProgram(Host({"kxPANELTEST"}));
    EXPECT_EQ(panelTest.exitCode, 0);
    EXPECT_EQ(panelTest.output,
        PANEL_TEST_CALLS
            + "MessageBoxW none \"No Touch Screen Found !\r\n\" \"Touch Panel Utility\" 0\r\n");
}

TEST_F(Dll, CalibStartsTheProgramOfTheStoredFolder)
{
    // type, length and text of the path, none for what was stored before; the entry; what is
    // started, without the folder's end, empty for nothing; its parameters
    using Row = std::tuple<Texts, Texts, std::string, std::string>;
    const std::string program = "D:\\Touch\\KxConsole.exe";
    for (const auto& [path, entry, started, parameters] : {Row{{}, {"kxCALIB", "9"}, "", ""},
             Row{{"1", "9", "D:\\Touch"}, {"kxCALIB", "9"}, program, "-calibration 9"},
             Row{{}, {"kxCALIB", "-4"}, program, "-calibration -4"},
             Row{{}, {"kxCALIBW", "two words"}, program, "-calibration two words"},
             Row{{}, {"kxCALIBW", ""}, program, "-calibration "},
             Row{{}, {"kxCALIBW", std::string(300, 'x')}, program,
                 "-calibration " + std::string(246, 'x')},
             Row{{"1", "8", "D:\\Touch"}, {"kxCALIB", "9"}, program, "-calibration 9"},
             Row{{"2", "9", "D:\\Touch"}, {"kxCALIB", "9"}, "", ""},
             Row{{"1", "244", "p"}, {"kxCALIB", "9"}, std::string(244, 'p') + "\\KxConsole.exe",
                 "-calibration 9"},
             Row{{"1", "260", "p"}, {"kxCALIB", "9"}, std::string(259, 'p'), "-calibration 9"},
             Row{{"1", "261", "p"}, {"kxCALIB", "9"}, "", ""}}) {
        if (!path.empty())
            RunProgram(Host(Joined({"set-path"}, path)));
        std::string calls = "RegOpenKeyExW machine \"SOFTWARE\\Korvex\" 0 F003F some\r\n";
        if (!started.empty())
            calls += "ShellExecuteW none \"open\" \"" + started + "\" \"" + parameters
                + "\" none 5\r\n";
        EXPECT_EQ(RunProgram(Host(entry)).output, calls + "returned\r\n");
    }
}

// KxConsole.exe, as the entries start it while a detection has the port: that is closed for it, and
// started again.
TEST_F(Dll, CalibrationProgramCalibratesByTouchesAndGivesThePortBack)
{
    const EmulatorPointer emulator = PlugInSmallPanel(&wine);
    const std::string folder = "Z:" + wine.folder.path.string();
    RunProgram(Host({"set-path", "1", std::to_string(folder.size() + 1), folder}));

    const std::string title = "Korvex Calibration";
    Process detection(Windows({"rundll32", "KORVEX.dll,kxENUM"}));
    ASSERT_NE(WaitForWindow(TITLE), 0U);
    Process calibration(Windows({"rundll32", "KORVEX.dll,kxCALIB", "4"})); // finds kxCALIBW
    ASSERT_NE(WaitForWindow(title), 0U) << "the question";
    RunProgram({"xdotool", "key", "Return"});
    EXPECT_EQ(WaitForExit(&detection), 0);
    ASSERT_TRUE(WaitUntil([&] { return PixelAt(&screen, 512, 384) == 0xDCDCDC; })) << "the bar";
    Process second(Windows({"KxConsole.exe", "-calibration", "4"}));
    EXPECT_EQ(WaitForExit(&second), 7);
    const std::string windows = RunProgram({"xdotool", "search", "--name", title}).output;
    EXPECT_EQ(std::count(windows.begin(), windows.end(), '\n'), 1) << "the first is shown";
    std::string error;
    const int pointer = PointerOf(&screen).x;
    for (const char* target :
        {"press 2 2 1000", "press 98 2 1000", "press 98 98 1000", "press 2 98 1000"})
        RunGesture(emulator.get(), target, &error);
    EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 240, 640) == 0x288C32; })) << "the button";
    EXPECT_EQ(PointerOf(&screen).x, pointer) << "the touches of a calibration move no mouse";
    Photograph("calibration.png");
    EXPECT_FALSE(std::filesystem::exists("Korvex.ini"));
    RunGesture(emulator.get(), "press 31 79 300", &error);
    EXPECT_TRUE(
        WaitUntil([] { return ReadTextFile("Korvex.ini").find("Mode=4") != std::string::npos; }));
    const unsigned long window = WaitForWindow(TITLE);
    ASSERT_NE(window, 0U) << "detection is started again";
    ExpectDriven(emulator.get(), 25, 50);
    Lift(emulator.get());
    PressCloseButton(&screen, window);
    EXPECT_TRUE(WaitUntil([] { return !HasWindow(TITLE); }));
}

// Wine sends no event of devices or of power, so the test sends them. A closed detection would
// otherwise be started again after 30 s only.
TEST_F(Dll, WatcherFindsPanelsThatComeLateAndAsksNoIgnoredPort)
{
    const EmulatorPointer scale = emulator::StartEmulator({});
    wine.PlugIn(scale.get(), "4");
    Process watcher(Windows({"KxConsole.exe", "-watch", "-panels", "2", "-ignore", "COM4,COM5"}));
    const auto tell = [](const char* event) { return RunProgram(Host({"watcher", event})).output; };
    const std::string none = "hidden 0\r\nreturned\r\n";
    std::string detection = none; // and its watcher, which shows no window
    const auto hasNext = [&] {
        const std::string last = detection;
        return WaitUntil([&] {
            detection = tell("look");
            return detection.starts_with("hidden") && detection != none && detection != last;
        });
    };
    ASSERT_TRUE(hasNext());
    EXPECT_EQ(RunProgram(Windows({"KxConsole.exe", "-watch"})).exitCode, 1) << "a second one";
    // which the watcher has made
    WriteTextFile(wine.prefix / "drive_c/ProgramData/Korvex/Korvex.ini",
        "[Calibration]\nSTD_MAX_X=2048\nSTD_MAX_Y=1024\n");
    tell("close-detection");
    tell("wake-up");
    EXPECT_TRUE(hasNext()) << "a wake-up";
    tell("close-detection");
    const EmulatorPointer emulator = emulator::StartEmulator({});
    wine.PlugIn(emulator.get());
    tell("arrival");
    EXPECT_TRUE(hasNext()) << "a late port";
    ExpectDriven(emulator.get(), 50, 50); // as Korvex.ini there says
    DragTo(emulator.get(), 5, 5, 1);
    EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen).x < 255; }));
    Lift(emulator.get());
    tell("end-detection");
    EXPECT_TRUE(hasNext()) << "a crash";
    ExpectDriven(emulator.get(), 50, 50);
    EXPECT_FALSE(hasNext()) << "not under a finger, for the panel that is missing";
    Lift(emulator.get());
    EXPECT_TRUE(hasNext()) << "as soon as it is lifted";
    tell("logoff");
    EXPECT_EQ(WaitForExit(&watcher), 0);
    EXPECT_EQ(tell("look"), none);
    Process killed(Windows({"KxConsole.exe", "-watch", "-ignore", "COM4"}));
    EXPECT_TRUE(hasNext());
    EndBySignal(&killed, SIGKILL);
    EXPECT_TRUE(WaitUntil([&] { return tell("look") == none; })) << "it ends with its watcher";
    EXPECT_EQ(ReceivedCommands(scale.get()).size(), 0U);
}

// From korvex-setup.exe to a touch and away again, by what it leaves in the start menu, which
// starts where the calibration stays.
TEST_F(Dll, SetupInstallsWhatDrivesAControllerAndTakesAllButTheCalibrationAway)
{
    namespace fs = std::filesystem;
    const EmulatorPointer emulator = emulator::StartEmulator({});
    wine.PlugIn(emulator.get());
    const fs::path drive = wine.prefix / "drive_c";
    const auto namesIn = [&](const fs::path& folder) {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(drive / folder))
            names.push_back(entry.path().filename());
        return names;
    };
    const std::string menu = "ProgramData/Microsoft/Windows/Start Menu/Programs/Korvex/";
    const auto registered = [](const std::string& key) {
        return RunProgram(Windows({"reg", "query", "HKLM\\Software\\" + key}));
    };
    const std::string uninstallKey = "Microsoft\\Windows\\CurrentVersion\\Uninstall\\Korvex";

    fs::copy_file(fs::path(KORVEX_WINDOWS_BUILD) / "korvex-setup.exe", "korvex-setup.exe");
    EXPECT_EQ(RunProgram(Windows({"korvex-setup.exe", "/S"})).exitCode, 0);
    EXPECT_THAT(namesIn("Program Files/Korvex"),
        UnorderedElementsAre("KORVEX.dll", "KxConsole.exe", "README.txt", "CALIBRATION.txt",
            "TROUBLESHOOTING.txt", "CHANGELOG.txt", "uninstall.exe"));
    EXPECT_THAT(namesIn(menu),
        UnorderedElementsAre("Touch detection.lnk", "Watched touch detection.lnk", "Panel test.lnk",
            "Calibration.lnk"));
    for (const std::string& name : namesIn(menu)) {
        std::string entry = ReadTextFile(drive / menu / name);
        std::erase(entry, '\0'); // of its UTF-16 text
        EXPECT_THAT(entry, HasSubstr("C:\\ProgramData\\Korvex")) << name << " must start there";
    }
    EXPECT_THAT(namesIn("ProgramData/Korvex"), ElementsAre("KXSERENUM.inf"))
        << "so that no user can put one there";
    EXPECT_THAT(registered("Korvex").output,
        HasSubstr("    Path    REG_SZ    C:\\Program Files\\Korvex\r\n"));
    EXPECT_THAT(registered(uninstallKey).output,
        HasSubstr(
            "    UninstallString    REG_SZ    \"C:\\Program Files\\Korvex\\uninstall.exe\"\r\n"));

    // off unless asked for; an upgrade keeps it, and what somebody has added
    const std::string runKey = "Microsoft\\Windows\\CurrentVersion\\Run";
    EXPECT_THAT(registered(runKey).output, Not(HasSubstr("KxConsole")));
    EXPECT_EQ(RunProgram(Windows({"korvex-setup.exe", "/S", "/AUTOSTART"})).exitCode, 0);
    const std::string program = "\"C:\\Program Files\\Korvex\\KxConsole.exe\" -watch";
    EXPECT_THAT(
        registered(runKey).output, HasSubstr("    Korvex    REG_SZ    " + program + "\r\n"));
    RunProgram(Windows({"reg", "add", "HKLM\\Software\\" + runKey, "/v", "Korvex", "/d",
        program + " -ignore COM5", "/f"}));

    const auto startEntry = [&](const std::string& entry) {
        // what it starts has its pipes
        return std::make_unique<Process>(Windows({"start", "C:\\" + menu + entry + ".lnk"}));
    };
    // Each finds the controller, and shows its first target.
    struct Row {
        const char* entry;
        std::string title;
        int x, y;
        unsigned long colour;
    };
    for (const Row& row : {Row{"Calibration", "Korvex Calibration", 512, 384, 0xDCDCDC},
             Row{"Panel test", TITLE, 20, 15, 0x808080}}) {
        const auto started = startEntry(row.entry);
        EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, row.x, row.y) == row.colour; }))
            << row.entry;
        // over the files that it uses; they go at the next start, 3010 in a byte
        EXPECT_EQ(RunProgram(Windows({"korvex-setup.exe", "/S"})).exitCode, 3010 & 0xFF);
        // Not by Escape: Wine would send its release to the next window.
        PressCloseButton(&screen, WaitForWindow(row.title));
        EXPECT_TRUE(WaitUntil([&] { return !HasWindow(row.title); })) << row.entry;
    }
    EXPECT_THAT(registered(runKey).output, HasSubstr(program + " -ignore COM5\r\n"));
    WriteTextFile(
        drive / "ProgramData/Korvex/Korvex.ini", "[Calibration]\nSTD_MAX_X=2048\nSTD_MAX_Y=1024\n");
    const auto watched = startEntry("Watched touch detection");
    ExpectDriven(emulator.get(), 50, 50); // as Korvex.ini there says
    DragTo(emulator.get(), 5, 5, 1);
    EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen).x < 255; }));
    Lift(emulator.get());
    EXPECT_EQ(RunProgram(Windows({"korvex-setup.exe", "/S"})).exitCode, 0) << "it is closed first";
    const auto detection = startEntry("Touch detection");
    ASSERT_NE(WaitForWindow(TITLE), 0U);
    ExpectDriven(emulator.get(), 50, 50);

    // While the detection has the DLL; the uninstaller removes itself, by a copy that it starts.
    RunProgram(Windows({"C:\\Program Files\\Korvex\\uninstall.exe", "/S"}));
    EXPECT_FALSE(HasWindow(TITLE));
    EXPECT_FALSE(fs::exists(drive / "Program Files/Korvex"));
    EXPECT_FALSE(fs::exists(drive / menu));
    EXPECT_THAT(namesIn("ProgramData/Korvex"), ElementsAre("Korvex.ini"));
    for (const std::string& key : {std::string("Korvex"), uninstallKey})
        EXPECT_NE(registered(key).exitCode, 0);
    EXPECT_THAT(registered(runKey).output, Not(HasSubstr("KxConsole")));
}

TEST_F(Dll, CoInstallerLeavesWhatTheReportedSystemAsksFor)
{
    using Row = std::tuple<const char*, int, int, int>;
    // Wine's win7 reports itself as a server. The last row's mouse settings would stay for the
    // next one.
    for (const auto& [system, suspend, tabletBefore, tabletAfter] :
        {Row{"vista", 1, 1, 1}, Row{"win7", 1, 0, 1}, Row{"winxp", 0, 0, 0}}) {
        RunProgram(Windows({"reg", "add", "HKCU\\Software\\Wine\\AppDefaults\\host.exe", "/v",
            "Version", "/d", system, "/f"}));
        const std::string tablet = "TabletPC type 3, 1 bytes, ";
        const std::string output = RunProgram(Host({"install", "SERENUM\\KVX5200"})).output;
        EXPECT_TRUE(output.starts_with("first pass E0000226\r\nSelectiveSuspendEnabled type 3, 1 "
                                       "bytes, 1\r\nSelectiveSuspendOn type 4, 4 bytes, "
            + std::to_string(suspend) + "\r\n" + tablet + std::to_string(tabletBefore)
            + "\r\nsecond pass 0\r\n" + tablet + std::to_string(tabletAfter)
            + "\r\nrestart yes\r\n"))
            << system << ": " << output;
        EXPECT_EQ(output.find("DoubleClickSpeed text 800, 8 bytes") != std::string::npos,
            tabletAfter == 0)
            << output;
    }
    EXPECT_TRUE(
        RunProgram(Host({"remove", "SERENUM\\KVX5200"})).output.starts_with("first pass 0\r\n"));
}

TEST_F(Dll, PassesItsPortableTests)
{
    std::filesystem::copy_file(
        std::filesystem::path(KORVEX_WINDOWS_BUILD) / "tests/korvex_portable_tests.exe",
        "portable.exe");
    Texts command = Host({"--gtest_brief=1"});
    command[2] = "portable.exe";
    const RunResult result = RunProgram(command);
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_THAT(result.output, HasSubstr("[  PASSED  ]"));
}

} // namespace
} // namespace korvex
