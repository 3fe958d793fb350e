// `korvex calibrate`, as a person or a script starts it: on a port of its own, through a runtime,
// with a window and without.

#include <nlohmann/json.hpp>

#include "testing/command.h"
#include "testing/screen.h"

namespace korvex {
namespace {

using Json = nlohmann::json;

const std::string SETTINGS = "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\nSTD_MIN_X=3\n";

// A panel that is too small and askew.
EmulatorPointer StartAskew(uint32_t bits = 10)
{
    return StartEmulator(
        {.resolutionBits = bits, .distortion = {.scale = {0.85, 0.85}, .rotation = 2}});
}

struct Panel : PanelFolder {
    Panel() : PanelFolder(StartAskew()) { WriteTextFile("Korvex.ini", SETTINGS); }
};

void Press(const Panel* panel, double x, double y)
{
    PressAt(panel->panel.get(), x, y, milliseconds(1000));
}

// Reads states until one is `state`; what stood there with it.
Json AwaitState(const Process* calibration, const std::string& state)
{
    for (;;) {
        const std::string line = ReadLine(calibration->output);
        if (line.empty())
            return {};
        Json object = Json::parse(line);
        if (object.value("state", "") == state || (state == "end" && object.contains("saved")))
            return object;
    }
}

// Presses each target that waits, from there on as many; the third `off` percent beside it.
void PressTargets(const Panel* panel, const Process* calibration, int count, double off = 0)
{
    for (int target = 0; target < count; ++target) {
        const Json waiting = AwaitState(calibration, "touch");
        ASSERT_TRUE(waiting.is_object());
        const double error = waiting["target"] == 3 ? off : 0;
        Press(panel, waiting["x"].get<double>() * 100 / waiting["width"].get<double>() - error,
            waiting["y"].get<double>() * 100 / waiting["height"].get<double>() - error);
        ASSERT_TRUE(AwaitState(calibration, "taken").is_object());
    }
}

TEST(KorvexCalibrate, IsAutomatedWithoutAScreenAndSurvivesAnUnplugging)
{
    Panel panel;
    Process calibration({KORVEX, "calibrate", "panel", "--windows", "none", "--json"});
    EXPECT_EQ(AwaitState(&calibration, "touch").dump(),
        R"({"height":768,"of":9,"state":"touch","target":1,"width":1024,"x":20,"y":15})");
    PressAt(panel.panel.get(), 2, 2, milliseconds(100));
    EXPECT_THAT(
        AwaitState(&calibration, "again").value("reason", ""), HasSubstr("lifted too early"));
    PressTargets(&panel, &calibration, 3);
    EXPECT_EQ(ReadTextFile("Korvex.ini"), SETTINGS);

    AwaitState(&calibration, "touch");
    std::filesystem::remove("panel");
    HangUp(panel.panel.get());
    EXPECT_EQ(AwaitState(&calibration, "gone")["target"], 4);
    panel.Put(StartAskew());
    PressTargets(&panel, &calibration, 6);
    const Json end = AwaitState(&calibration, "end");
    EXPECT_EQ(end["saved"], true);
    EXPECT_EQ(end["file"], (panel.folder.path / "Korvex.ini").string());
    for (const Json& residual : end["residuals"])
        EXPECT_LT(residual.get<double>(), 3) << "pixels";
    EXPECT_EQ(end["residuals"].size(), 9U);
    EXPECT_EQ(end["accuracy"], "very good");
    EXPECT_EQ(WaitForExit(&calibration), 0);
    EXPECT_THAT(
        ReadTextFile("Korvex.ini"), AllOf(HasSubstr("Mode=9\n"), HasSubstr("STD_MIN_X=3\n")));
}

TEST(KorvexCalibrate, LeavesEverythingAsItWasWhenItCannotSaveOrIsEnded)
{
    const Panel panel;
    Process ended({KORVEX, "calibrate", "panel", "--windows", "none", "--json"});
    PressTargets(&panel, &ended, 2);
    EXPECT_EQ(EndBySignal(&ended, SIGTERM), 7);
    EXPECT_EQ(ReadTextFile("Korvex.ini"), SETTINGS);

    Process doubtful(
        {KORVEX, "calibrate", "panel", "--windows", "none", "--json", "--points", "4"});
    PressTargets(&panel, &doubtful, 4 + 1 + 4, 5);
    EXPECT_THAT(AwaitState(&doubtful, "end").value("reason", ""),
        HasSubstr("one of the targets was touched 7.0 % of the screen"));
    EXPECT_EQ(WaitForExit(&doubtful), 7);
    EXPECT_EQ(ReadTextFile("Korvex.ini"), SETTINGS);

    Process refused({KORVEX, "calibrate", "panel", "--windows", "none", "--json", "--points", "4"});
    PressTargets(&panel, &refused, 3);
    std::filesystem::permissions("Korvex.ini", std::filesystem::perms::owner_read);
    PressTargets(&panel, &refused, 1);
    EXPECT_EQ(AwaitState(&refused, "end")["saved"], false);
    EXPECT_EQ(WaitForExit(&refused), 1);
    // Said beforehand: of the file, and of a folder in which there can be none.
    ASSERT_EQ(chown(".", 65534, 65534), 0);
    for (const std::string reason : {"it cannot be read and written", "created: Permission"}) {
        const RunResult unsaved = RunProgram({"setpriv", "--bounding-set", "-dac_override", KORVEX,
            "calibrate", "panel", "--windows", "none"});
        EXPECT_EQ(unsaved.exitCode, 1);
        EXPECT_THAT(unsaved.error,
            AllOf(HasSubstr("The calibration could not be saved: "), HasSubstr(reason)));
        std::filesystem::remove("Korvex.ini");
    }
    EXPECT_EQ(RunKorvex({"calibrate", "nowhere", "--windows", "none"}).exitCode, 3);
}

TEST(KorvexCalibrate, ShowsItsCrossesOnTheMonitorThatIsNamed)
{
    const Panel panel;
    const TwoMonitors monitors;
    setenv("DISPLAY", monitors.name.c_str(), 1);
    for (const auto& [output, left] : {std::pair{"DUMMY0", 0}, std::pair{"DUMMY1", 1024}}) {
        Process calibration({KORVEX, "calibrate", "panel", "--json", "--monitor", output});
        EXPECT_EQ(AwaitState(&calibration, "touch")["width"], 1024);
        const std::string window = std::to_string(WaitForWindow("Korvex Calibration"));
        EXPECT_THAT(RunProgram({"xwininfo", "-id", window}).output,
            AllOf(HasSubstr("Absolute upper-left X:  " + std::to_string(left) + "\n"),
                HasSubstr("Width: 1024"), HasSubstr("Height: 768")));
        EXPECT_EQ(EndBySignal(&calibration, SIGTERM), 7);
    }
    // That of the touches from one port.
    Process drive({KORVEX, "drive", "panel", "--monitor", "panel=DUMMY0"});
    EXPECT_NE(ReadLineWith(drive.error, "controller"), "");
    Press(&panel, 50, 50);
    EXPECT_TRUE(WaitUntil(
        [] { return RunProgram({"xdotool", "getmouselocation"}).output.starts_with("x:51"); }));
    unsetenv("DISPLAY");
}

// A runtime has the port; the page is pressed by the panel's own touches, which the runtime maps
// for the pointer as well.
TEST(KorvexCalibrate, WorksThroughTheRuntimeThatDrivesThePanel)
{
    Panel panel;
    panel.Put(StartAskew(12));
    const Screen screen;
    std::filesystem::create_directory("drive");
    WriteTextFile("drive/Korvex.ini", SETTINGS);
    Process drive(
        {"sh", "-c", "cd drive && exec " + KORVEX + " drive ../panel --pointer x11 --trace trace"});
    EXPECT_THAT(ReadLineWith(drive.error, "panel"), HasSubstr("controller 5200"));
    const std::string settings = (panel.folder.path / "drive/Korvex.ini").string();

    // Not the runtime's panel, where another port is named.
    const auto silent = StartSilentEmulator();
    PlaceLink("silent", silent.get());
    const RunResult nobody
        = RunKorvex({"calibrate", "--port", "silent", "--state", "state", "--windows", "none"});
    EXPECT_EQ(nobody.exitCode, 4);
    EXPECT_THAT(nobody.error, HasSubstr("no controller was found"));

    // Another controller is calibrated from the start, by its own measure.
    Process killed({KORVEX, "calibrate", "--points", "4", "--json"});
    PressTargets(&panel, &killed, 1);
    panel.Put(StartAskew());
    EXPECT_EQ(AwaitState(&killed, "gone")["target"], 2);
    PressTargets(&panel, &killed, 4);
    // Killed while a result is tried: the old calibration maps again.
    EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 240, 640) == 0x288C32; })) << "Save";
    Press(&panel, 50, 50);
    const auto isAt = [&screen](int x, int y) {
        return WaitUntil([&] {
            return std::abs(PointerOf(&screen).x - x) <= 2
                && std::abs(PointerOf(&screen).y - y) <= 2;
        });
    };
    EXPECT_TRUE(isAt(512, 384));
    EXPECT_EQ(EndBySignal(&killed, SIGKILL), -1);
    EXPECT_EQ(ReadTextFile(settings), SETTINGS);
    Press(&panel, 90, 90);
    EXPECT_TRUE(isAt(847, 653));

    Process calibration({KORVEX, "calibrate", "panel", "--points", "4", "--json"});
    PressTargets(&panel, &calibration, 4);
    EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 240, 640) == 0x288C32; }));
    Press(&panel, 50, 50);
    PressAt(panel.panel.get(), 69, 81, milliseconds(20)); // as the pointer's it would press Cancel
    EXPECT_TRUE(isAt(706, 622));
    RunProgram({"xdotool", "key", "Return"});
    EXPECT_EQ(AwaitState(&calibration, "end")["file"], settings);
    EXPECT_EQ(WaitForExit(&calibration), 0);
    EXPECT_THAT(ReadTextFile(settings), AllOf(HasSubstr("Mode=4\n"), HasSubstr("STD_MIN_X=3\n")));
    EXPECT_EQ(ReadTextFile("Korvex.ini"), SETTINGS);
    Press(&panel, 90, 90);
    EXPECT_TRUE(isAt(921, 691));
    // Undone, once.
    EXPECT_THAT(RunKorvex({"calibrate", "--undo"}).error, HasSubstr(settings));
    Press(&panel, 90, 90);
    EXPECT_TRUE(isAt(847, 653));
    EXPECT_THAT(ReadTextFile(settings), HasSubstr("Mode=0\n"));
    for (const std::string name : {"panel", "elsewhere"}) {
        const RunResult none = RunKorvex({"calibrate", "--undo", name});
        EXPECT_EQ(none.exitCode, 1);
        EXPECT_THAT(none.error, HasSubstr("no earlier calibration is kept"));
    }
    EXPECT_EQ(EndBySignal(&drive, SIGTERM), 0);
}

TEST(KorvexTry, ShowsTouchesAndChangesNothingAloneAndThroughARuntime)
{
    const PanelFolder panel;
    const std::string settings
        = "[Calibration]\nSTD_MIN_X=0\nSTD_MAX_X=1023\nSTD_MIN_Y=0\nSTD_MAX_Y=1023\n";
    WriteTextFile("Korvex.ini", settings);
    const Screen screen;
    const auto press
        = [&](double x, double y) { PressAt(panel.panel.get(), x, y, milliseconds(200)); };
    const auto isDrawn = [&] { return PixelAt(&screen, 512, 307) == 0x1464C8; };
    for (const bool driven : {false, true}) {
        const std::string words = driven ? " drive panel --pointer none" : " --version";
        Process drive({"sh", "-c", "exec " + KORVEX + words});
        EXPECT_NE(ReadLineWith(driven ? drive.error : drive.output, driven ? "5200" : "."), "");
        Process page({KORVEX, "try", "panel"});
        ASSERT_NE(WaitForWindow("Touch and draw"), 0UL);
        EXPECT_TRUE(WaitUntil([&] {
            press(50, 40);
            return isDrawn();
        }));
        press(27, 81);
        EXPECT_TRUE(WaitUntil([&] { return !isDrawn(); })) << "Clear";
        press(50, 81);
        ASSERT_NE(WaitForWindow("Korvex Calibration"), 0UL);
        EXPECT_TRUE(WaitUntil([&] {
            press(27, 81);
            return HasWindow("Touch and draw");
        })) << "Try it";
        EXPECT_TRUE(WaitUntil([&] {
            press(73, 81);
            return !HasWindow("Touch and draw");
        })) << "Done";
        EXPECT_EQ(WaitForExit(&page), 0);
        EXPECT_EQ(ReadTextFile("Korvex.ini"), settings);
    }
}

} // namespace
} // namespace korvex
