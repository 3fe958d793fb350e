// KORVEX.dll itself, on 32-bit Wine, with an emulated controller on a pseudo-terminal.

#include "emulator/gestures.h"
#include "testing/process.h"
#include "testing/screen.h"
#include "testing/testing.h"
#include "windows/wine.h"

namespace korvex {
namespace {

using emulator::EmulatorPointer;

struct Dll : Test {
    void SetUp() override
    {
        // Not every machine can have it. scripts/test then leaves these tests out, and says so last
        // and loud.
        ASSERT_TRUE(HasWine()) << "scripts/make-wine-root gets 32-bit Wine";
    }
};

const std::string TITLE = "Korvex Touch Solutions";

// What the entries ask Windows for, call by call.
const std::string SETUP_CLASS
    = "class kxSetup style 8, extra 0+0, arrow cursor, background FFFFFF, menu none, program\r\n";
const std::string PANEL_TEST_CALLS = SETUP_CLASS
    + "class kxPanelTest style 8, extra 0+0, arrow cursor, background FFFFFF, menu none, "
      "program\r\n"
      "window kxPanelTest \"Korvex Touch Solutions\" styles 0 80000000 at 0,0 of 1024x768, parent "
      "none, menu 0, program\r\n"
      "show kxPanelTest 5\r\n";
const std::string MUTEX = "mutex kxSetupMUTEX, free, security default\r\n";

// On COM3 a panel that uses 85 % of its range.
EmulatorPointer PlugInSmallPanel(const Wine* wine)
{
    EmulatorPointer emulator = emulator::StartEmulator({.distortion = {.scale = {0.85, 0.85}}});
    PlugIn(wine, emulator.get());
    return emulator;
}

// There is no INF for the enumerator, so the binding fails; the session starts all the same.
TEST_F(Dll, EnumFindsAndDrivesAControllerUntilItsWindowIsClosed)
{
    for (const bool blocks : {false, true}) {
        SCOPED_TRACE(blocks ? "waits block" : "waits return at once");
        const Screen screen; // before Wine, which looks for it when it starts
        const Wine wine;
        WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n");
        const EmulatorPointer emulator
            = blocks ? emulator::StartEmulator({0x7700, 9600}) : emulator::StartEmulator({});
        PlugIn(&wine, emulator.get());
        if (blocks)
            BlockInWaits(&wine);
        Process process(Host({"kxENUM"}));
        const unsigned long window = WaitForWindow(TITLE);
        ASSERT_NE(window, 0U);
        EXPECT_TRUE(WaitUntil([] {
            return RunProgram(Host({"status-text"})).output == "Enable Touch Tests\r\nreturned\r\n";
        }));
        // The clicks are seen by another program's window.
        Process watcher(Host({"watch-clicks"}));
        EXPECT_NE(WaitForWindow("Clicks"), 0U);
        TouchAt(emulator.get(), 25, 50);
        EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen) == PointerState{255, 383, false}; }));
        EXPECT_EQ(ReadLineWith(watcher.output, "down"), "down 255 383\r");
        Lift(emulator.get());
        EXPECT_EQ(ReadLineWith(watcher.output, "up"), "up 255 383\r");

        // A silent port costs little, even when the wait returns at once. When it blocks, Wine
        // itself uses most of the time.
        const int64_t before = ProcessorTime(process.pid);
        std::this_thread::sleep_for(milliseconds(1000));
        EXPECT_LE(ProcessorTime(process.pid) - before, blocks ? 300 : 100) << "milliseconds";

        PressCloseButton(&screen, window);
        EXPECT_LT(TimeOf([&] { EXPECT_EQ(WaitForExit(&process), 0); }).count(), 3000);
    }
}

TEST_F(Dll, PanelTestStoresACalibrationAndShowsItsResult)
{
    const Screen screen; // before Wine, which looks for it when it starts
    const Wine wine;
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
    EXPECT_EQ(
        RunProgram({"import", "-window", "root",
                       (std::filesystem::path(KORVEX_WINDOWS_BUILD) / "panel-test.png").string()})
            .exitCode,
        0);
    const std::string settings = ReadTextFile("Korvex.ini");
    EXPECT_THAT(settings, HasSubstr("Mode=9"));
    // The middle of the panel, a raw unit lost on the way there and back.
    EXPECT_TRUE(settings.find("ADV_04_X=511") != std::string::npos
        || settings.find("ADV_04_X=512") != std::string::npos)
        << settings;
    RunProgram({"xdotool", "key", "Escape"});
    EXPECT_EQ(WaitForExit(&process), 0);
    // Each target is drawn behind a redraw of all, and each tick is asked for: nine targets, and
    // the check after the last.
    std::string ticks = "redraw all 187\r\ntimer 0, 5000 ms\r\n";
    for (int i = 0; i < 9; ++i)
        ticks += "redraw all 187\r\ntimer 0, 5000 ms\r\n";
    EXPECT_EQ(ReadAll(process.output), PANEL_TEST_CALLS + ticks);
}

TEST_F(Dll, SingleEntriesKeepEachOtherOutBehindTheStatedWindow)
{
    const Screen screen; // before Wine, which looks for it when it starts
    const Wine wine;
    Process process(Host({"kxENUMW"}));
    const unsigned long window = WaitForWindow(TITLE);
    ASSERT_NE(window, 0U);
    for (const char* entry : {"kxENUMW", "kxPANELTESTW"})
        EXPECT_EQ(RunProgram(Host({entry})).output, MUTEX + "returned\r\n");
    PressCloseButton(&screen, window);
    EXPECT_EQ(WaitForExit(&process), 0);
    EXPECT_EQ(ReadAll(process.output),
        MUTEX + SETUP_CLASS
            + "window kxSetup \"Korvex Touch Solutions\" styles 0 000A0000 at 0,0 of 300x100, "
              "parent none, menu 0, program\r\n"
              "window STATIC \"\" styles 0 50000001 at 0,20 of 300x36, parent kxSetup, menu 1, "
              "program\r\n"
              "show kxSetup 5\r\n");

    // Without a controller the panel test says so over its window, and ends.
    const RunResult panelTest = RunProgram(Host({"kxPANELTEST"}));
    EXPECT_EQ(panelTest.exitCode, 0);
    EXPECT_EQ(panelTest.output,
        PANEL_TEST_CALLS
            + "box of nobody \"No Touch Screen Found !\" (line) \"Touch Panel Utility\" 0\r\n");
}

TEST_F(Dll, CalibStartsTheProgramOfTheStoredFolder)
{
    struct Row {
        Texts path; // type, length, text; none: what was stored before
        Texts entry;
        std::string program; // without the folder's end; empty: nothing is started
        std::string parameters;
    };
    const std::string program = "D:\\Touch\\KxConsole.exe";
    const Wine wine;
    for (const Row& row : {Row{{}, {"kxCALIB", "9"}, "", ""},
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
        if (!row.path.empty())
            RunProgram(Host({"set-path", row.path[0], row.path[1], row.path[2]}));
        std::string calls = "key machine SOFTWARE\\Korvex, access F003F\r\n";
        if (!row.program.empty())
            calls += "start for nobody open \"" + row.program + "\" \"" + row.parameters
                + "\" in no folder, show 5\r\n";
        EXPECT_EQ(RunProgram(Host(row.entry)).output, calls + "returned\r\n");
    }
}

// KxConsole.exe, as the entries start it while a detection has the port: that is closed for it, and
// started again.
TEST_F(Dll, CalibrationProgramCalibratesByTouchesAndGivesThePortBack)
{
    const Screen screen; // before Wine, which looks for it when it starts
    const Wine wine;
    const EmulatorPointer emulator = PlugInSmallPanel(&wine);
    const std::string folder = "Z:" + wine.folder.path.string();
    RunProgram(Host({"set-path", "1", std::to_string(folder.size() + 1), folder}));

    // Left: nothing is changed.
    const Process first(Host({"plainly", "kxCALIB", "9"})); // what it starts has its pipes
    const std::string title = "Korvex Calibration";
    ASSERT_NE(WaitForWindow(title), 0U);
    const auto waitsAt = [&](int x, int y) {
        return WaitUntil([&] { return PixelAt(&screen, x + 45, y + 45) == 0xDCDCDC; });
    };
    std::string error;
    ASSERT_TRUE(waitsAt(20, 15)) << "for the first touch, once the controller is found";
    RunGesture(emulator.get(), "press 2 2 1000", &error);
    EXPECT_TRUE(waitsAt(511, 15));
    RunProgram({"xdotool", "key", "Escape"});
    EXPECT_TRUE(WaitUntil([&] { return !HasWindow(title); }));
    EXPECT_FALSE(std::filesystem::exists("Korvex.ini"));

    Process detection(Host({"plainly", "kxENUM"}));
    ASSERT_NE(WaitForWindow(TITLE), 0U);
    Process calibration(Windows({"rundll32", "KORVEX.dll,kxCALIB", "4"})); // finds kxCALIBW
    ASSERT_NE(WaitForWindow(title), 0U) << "the question";
    RunProgram({"xdotool", "key", "Return"});
    EXPECT_EQ(WaitForExit(&detection), 0);
    ASSERT_TRUE(waitsAt(20, 15));
    Process second(Windows({"KxConsole.exe", "-calibration", "4"}));
    EXPECT_EQ(WaitForExit(&second), 7);
    const std::string windows = RunProgram({"xdotool", "search", "--name", title}).output;
    EXPECT_EQ(std::count(windows.begin(), windows.end(), '\n'), 1) << "the first is shown";
    for (const char* target :
        {"press 2 2 1000", "press 98 2 1000", "press 98 98 1000", "press 2 98 1000"})
        RunGesture(emulator.get(), target, &error);
    EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 240, 640) == 0x288C32; })) << "the button";
    EXPECT_EQ(
        RunProgram({"import", "-window", "root",
                       (std::filesystem::path(KORVEX_WINDOWS_BUILD) / "calibration.png").string()})
            .exitCode,
        0);
    EXPECT_FALSE(std::filesystem::exists("Korvex.ini"));
    RunGesture(emulator.get(), "press 31 79 300", &error);
    EXPECT_TRUE(
        WaitUntil([] { return ReadTextFile("Korvex.ini").find("Mode=4") != std::string::npos; }));
    const unsigned long window = WaitForWindow(TITLE);
    ASSERT_NE(window, 0U) << "detection is started again";
    EXPECT_TRUE(WaitUntil([] {
        return RunProgram(Host({"status-text"})).output == "Enable Touch Tests\r\nreturned\r\n";
    }));
    TouchAt(emulator.get(), 25, 50);
    EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen) == PointerState{255, 383, false}; }));
    Lift(emulator.get());
    PressCloseButton(&screen, window);
    EXPECT_TRUE(WaitUntil([] { return !HasWindow(TITLE); }));
}

// From korvex-setup.exe to a touch and away again, by what it leaves in the start menu, which
// starts where the calibration stays.
TEST_F(Dll, SetupInstallsWhatDrivesAControllerAndTakesAllButTheCalibrationAway)
{
    namespace fs = std::filesystem;
    const Screen screen; // before Wine, which looks for it when it starts
    const Wine wine;
    const EmulatorPointer emulator = emulator::StartEmulator({});
    PlugIn(&wine, emulator.get());
    const fs::path drive = wine.folder.path / "prefix/drive_c";
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
        UnorderedElementsAre("Touch detection.lnk", "Panel test.lnk", "Calibration.lnk"));
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

    const auto startEntry = [&](const std::string& entry) {
        // what it starts has its pipes
        return std::make_unique<Process>(Windows({"start", "C:\\" + menu + entry + ".lnk"}));
    };
    // Each finds the controller, and shows its first target.
    struct Row {
        const char* entry;
        std::string title;
        int x;
        int y;
        unsigned long colour;
    };
    for (const Row& row : {Row{"Calibration", "Korvex Calibration", 65, 60, 0xDCDCDC},
             Row{"Panel test", TITLE, 20, 15, 0x808080}}) {
        const auto started = startEntry(row.entry);
        EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, row.x, row.y) == row.colour; }))
            << row.entry;
        // over the files that it uses; they go at the next start, 3010 in a byte
        EXPECT_EQ(RunProgram(Windows({"korvex-setup.exe", "/S"})).exitCode, 3010 & 0xFF);
        // Not by Escape: Wine would tell the next window that it has been released.
        PressCloseButton(&screen, WaitForWindow(row.title));
        EXPECT_TRUE(WaitUntil([&] { return !HasWindow(row.title); })) << row.entry;
    }
    WriteTextFile(
        drive / "ProgramData/Korvex/Korvex.ini", "[Calibration]\nSTD_MAX_X=2048\nSTD_MAX_Y=1024\n");
    const auto detection = startEntry("Touch detection");
    ASSERT_NE(WaitForWindow(TITLE), 0U);
    EXPECT_TRUE(WaitUntil([] {
        return RunProgram(Host({"status-text"})).output == "Enable Touch Tests\r\nreturned\r\n";
    }));
    TouchAt(emulator.get(), 50, 50);
    EXPECT_TRUE(WaitUntil([&] { return PointerOf(&screen) == PointerState{255, 383, false}; }))
        << "as Korvex.ini there says";

    // While the detection has the DLL; the uninstaller removes itself, by a copy that it starts.
    RunProgram(Windows({"C:\\Program Files\\Korvex\\uninstall.exe", "/S"}));
    EXPECT_FALSE(HasWindow(TITLE));
    EXPECT_FALSE(fs::exists(drive / "Program Files/Korvex"));
    EXPECT_FALSE(fs::exists(drive / menu));
    EXPECT_THAT(namesIn("ProgramData/Korvex"), ElementsAre("Korvex.ini"));
    for (const std::string& key : {std::string("Korvex"), uninstallKey})
        EXPECT_NE(registered(key).exitCode, 0);
}

TEST_F(Dll, CoInstallerLeavesWhatTheReportedSystemAsksFor)
{
    using Row = std::tuple<const char*, int, int, int>;
    const Wine wine;
    // Wine's win7 gives itself out for a server. The last row's mouse settings would stay for the
    // next one.
    for (const auto& [system, suspend, tabletBefore, tabletAfter] :
        {Row{"vista", 1, 1, 1}, Row{"win7", 1, 0, 1}, Row{"winxp", 0, 0, 0}}) {
        RunProgram(Host({"report-version", system}));
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
    const Wine wine;
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
