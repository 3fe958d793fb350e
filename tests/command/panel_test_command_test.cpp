// `korvex paneltest`, as a person starts it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "command/stored_calibration.h"
#include "emulator/gestures.h"
#include "testing/installation.h"
#include "testing/process.h"
#include "testing/screen.h"

namespace korvex {
namespace {

using testing::EndBySignal;
using testing::Installation;
using testing::PixelAt;
using testing::Process;
using testing::ReadLine;
using testing::ReadLineWith;
using testing::RunProgram;
using testing::RunResult;
using testing::WaitForExit;

const std::string TITLE = "Korvex Touch Solutions";

struct Accuracy {
    double mean; // pixels
    double worst;
};

// How far touches all over the panel land from where they should, on a screen of 1024 x 768, with `korvex enum`.
Accuracy MeasureAccuracy(const Installation* installation)
{
    Process command(installation->Unseen({"enum"}));
    EXPECT_EQ(ReadLineWith(command.error, "Enable Touch Tests"), "Enable Touch Tests");
    Accuracy accuracy{0, 0};
    const std::vector<double> places{5, 20, 35, 50, 65, 80, 95}; // percent
    for (const double y : places) {
        for (const double x : places) {
            TouchAt(installation->first.get(), x, y);
            const std::string line = ReadLine(command.output); // {"dx":32767,"dy":32767,"flags":32771}
            const double dx = std::stod(line.substr(line.find("dx") + 4));
            const double dy = std::stod(line.substr(line.find("dy") + 4));
            const double error = std::hypot(dx / 65536 * 1024 - x / 100 * 1024, dy / 65536 * 768 - y / 100 * 768);
            accuracy.mean += error / static_cast<double>(places.size() * places.size());
            accuracy.worst = std::max(accuracy.worst, error);
        }
    }
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    return accuracy;
}

// True when a pixel at most 4 away in each direction has this colour.
bool HasColorNear(const testing::Screen* screen, int x, int y, unsigned long color)
{
    constexpr int DISTANCE = 4;
    for (int i = -DISTANCE; i <= DISTANCE; ++i) {
        for (int j = -DISTANCE; j <= DISTANCE; ++j) {
            if (PixelAt(screen, x + i, y + j) == color)
                return true;
        }
    }
    return false;
}

// The whole test in its real time: nine targets and the check are touched on a distorted panel, which hits the mark afterwards.
TEST(KorvexPanelTest, MakesADistortedPanelHitTheMark)
{
    const Installation installation;
    emulator::Distortion distortion;
    distortion.scale = {0.92, 0.94};
    distortion.rotation = 1.5;
    distortion.offset = {1.5, -1};
    distortion.targetErrors[1] = {0.3, 0.5};
    distortion.targetErrors[4] = {-0.6, 0.4};
    distortion.targetErrors[6] = {0.4, -0.3};
    SetDistortion(installation.first.get(), distortion);
    const Accuracy before = MeasureAccuracy(&installation);

    const testing::Screen screen;
    Process command(installation.Command({"paneltest", "--trace", "trace.txt"}));
    // The first target is a gray dot in the top left corner. Its touch is halfway in its time, when it is on the screen for sure.
    std::thread finger([&] {
        std::string error;
        EXPECT_EQ(RunGesture(installation.first.get(), "panel-test", &error), emulator::GestureResult::DONE) << error;
    });
    EXPECT_TRUE(testing::WaitUntil([&] { return PixelAt(&screen, 20, 15) == 0x808080; }));
    EXPECT_EQ(PixelAt(&screen, 512, 384), 0xFFFFFFU);
    EXPECT_EQ(PixelAt(&screen, 0, 0), 0U) << "the rectangle's outline";
    finger.join();
    EXPECT_TRUE(testing::WaitUntil([&] { return PixelAt(&screen, 512, 100) == 0x00FF00; })) << "the result's colour";
    EXPECT_TRUE(HasColorNear(&screen, 716, 230, 0x0000FF)) << "the check was touched at 70 %, 30 %";
    EXPECT_EQ(RunProgram({"import", "-window", "root", PANEL_TEST_SCREENSHOT}).exitCode, 0);
    EXPECT_EQ(RunProgram({"xdotool", "key", "Escape"}).exitCode, 0);
    EXPECT_EQ(WaitForExit(&command), 0);

    EXPECT_NE(testing::ReadTextFile("trace.txt").find("Panel Quality : 94"), std::string::npos);
    const Accuracy after = MeasureAccuracy(&installation);
    EXPECT_GT(before.mean, 20);
    EXPECT_LT(after.mean, 3);
    EXPECT_LT(after.worst, 5);
    RecordProperty("before", std::to_string(before.mean) + " mean, " + std::to_string(before.worst) + " worst");
    RecordProperty("after", std::to_string(after.mean) + " mean, " + std::to_string(after.worst) + " worst");
}

TEST(KorvexPanelTest, PrintsItsStatesWithoutAScreenAndStoresNothingWhenItEndsEarly)
{
    const Installation installation;
    Process command(installation.Unseen({"paneltest"}));
    EXPECT_EQ(ReadLine(command.error), "target 1 of 9 at 20, 15");
    const std::string settings = testing::ReadTextFile("Korvex.ini");
    TouchAt(installation.second.get(), 25, 75);
    EXPECT_EQ(ReadLine(command.error), "sample 1: raw 255, 767");
    EXPECT_EQ(ReadLine(command.error), "target 2 of 9 at 512, 15");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    EXPECT_EQ(testing::ReadTextFile("Korvex.ini"), settings);
    EXPECT_NE(testing::ReadTextFile("trace.txt").find("Load File Settings"), std::string::npos);
}

TEST(KorvexPanelTest, SaysThatAReadOnlyFileWillNotBeSavedAlsoByItsExitCode)
{
    const Installation installation;
    std::filesystem::permissions("Korvex.ini", std::filesystem::perms::owner_read);
    Process command(installation.Unseen({"paneltest"}));
    EXPECT_NE(ReadLine(command.error).find("korvex paneltest: The calibration will not be saved: '"), std::string::npos);
    EXPECT_EQ(ReadLine(command.error), "target 1 of 9 at 20, 15");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 1);
}

// What is stored afterwards, and what then becomes of what was there before.
TEST(JudgeStored, KeepsAGoodCalibrationThatABadOneReplaces)
{
    const testing::TemporaryFolder folder;
    const std::string good = "[Calibration]\nSTD_MAX_X=1024\n";
    const std::string untouched = "[Calibration]\nMode=4\nADV_00_X=0\nADV_00_Y=0\nADV_01_X=0\nADV_01_Y=0\n"
                                  "ADV_02_X=0\nADV_02_Y=0\nADV_03_X=0\nADV_03_Y=0\n";
    struct Row {
        std::string before; // empty: no file
        std::string after;
        int exitCode;
        bool kept;
    };
    for (const Row& row : {Row{good, untouched, 1, true}, Row{good, good + "STD_MAX_Y=1024\n", 0, false}, Row{good, good, 0, false},
             Row{untouched, untouched + "Other=1\n", 1, false}, Row{"", untouched, 1, false}, Row{untouched, untouched, 0, false}}) {
        std::filesystem::remove("Korvex.ini");
        std::filesystem::remove("Korvex.ini.old");
        if (!row.before.empty())
            testing::WriteTextFile("Korvex.ini", row.before);
        const command::SettingsBefore before = command::LookAtSettings();
        testing::WriteTextFile("Korvex.ini", row.after);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(command::JudgeStored("test", &before), row.exitCode);
        const std::string said = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(
            said.starts_with("test: what was stored looks wrong: the targets 1 and 2 were measured at the same place"), row.exitCode == 1)
            << said;
        EXPECT_EQ(std::filesystem::exists("Korvex.ini.old") ? testing::ReadTextFile("Korvex.ini.old") : "", row.kept ? good : "");
        EXPECT_EQ(testing::ReadTextFile("Korvex.ini"), row.after);
    }
}

TEST(KorvexPanelTest, SaysWhenThereIsNoPanel)
{
    const testing::TemporaryFolder folder;
    const std::vector<std::string> command{
        KORVEX_COMMAND, "paneltest", "--state", "state", "--port", "COM3=" + (folder.path / "missing").string(), "--trace", "trace.txt"};
    std::vector<std::string> unseen = command;
    unseen.insert(unseen.end(), {"--windows", "none", "--pointer", "log"});
    const RunResult printed = RunProgram(unseen);
    EXPECT_EQ(printed.exitCode, 0);
    EXPECT_TRUE(printed.error.ends_with("there is no such port\nNo Touch Screen Found !\n")) << printed.error;

    // Its box is in the middle of the screen, the button a little below that.
    for (const std::vector<std::string>& answer : {std::vector<std::string>{"xdotool", "key", "Return"},
             {"xdotool", "mousemove", "512", "406", "click", "1"}, {"xdotool", "key", "Escape"}}) {
        const testing::Screen screen;
        Process boxed(command);
        const unsigned long box = testing::WaitForWindow("Touch Panel Utility");
        EXPECT_NE(box, 0U);
        EXPECT_TRUE(testing::WaitUntil([&] { return PixelAt(&screen, 512, 392) == 0; })) << "the button's frame";
        EXPECT_EQ(RunProgram(answer).exitCode, 0);
        EXPECT_EQ(WaitForExit(&boxed), 0);
    }
}

TEST(KorvexPanelTest, EndsWithEscapeOrItsCloseButtonWhileItStillDetects)
{
    for (const bool byKey : {true, false}) {
        const Installation installation;
        AddAnswerFault(installation.first.get(), {emulator::AnswerFaultKind::SILENCE});
        const testing::Screen screen;
        Process command(installation.Command({"paneltest", "--trace", "trace.txt"}));
        const unsigned long window = testing::WaitForWindow(TITLE);
        EXPECT_TRUE(testing::WaitUntil([&] { return PixelAt(&screen, 512, 384) == 0xFFFFFF; }));
        if (byKey)
            EXPECT_EQ(RunProgram({"xdotool", "key", "q", "key", "Escape"}).exitCode, 0);
        else
            PressCloseButton(&screen, window);
        EXPECT_EQ(WaitForExit(&command), 0);
    }
}

TEST(KorvexPanelTest, FindsTheControllerThatHasTakenTheKnownOnesPlace)
{
    const testing::TemporaryFolder folder;
    const auto command = [](const char* name) {
        return std::vector<std::string>{KORVEX_COMMAND, name, "--port", "COM3=panel", "--state", "state", "--windows", "none", "--pointer",
            "log", "--trace", "trace.txt"};
    };
    for (const uint32_t model : {0x5200U, 0x7700U}) {
        const emulator::EmulatorPointer panel = emulator::StartEmulator({model});
        std::filesystem::remove("panel");
        std::filesystem::create_symlink(TerminalPath(panel.get()), "panel");
        const bool known = model == 0x7700; // the first has been bound by then
        Process running(command(known ? "paneltest" : "enum"));
        EXPECT_NE(ReadLineWith(running.error, known ? "target 1 of 9" : "Enable Touch Tests"), "");
        EXPECT_EQ(EndBySignal(&running, SIGTERM), 0);
    }
}

} // namespace
} // namespace korvex
