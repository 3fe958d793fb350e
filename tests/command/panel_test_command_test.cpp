// `korvex paneltest`, as a person starts it.

#include <csignal>

#include "command/check/stored_calibration.h"
#include "testing/installation.h"
#include "testing/process.h"
#include "testing/screen.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

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
    EXPECT_THAT(ReadTextFile("trace.txt"), HasSubstr("Load File Settings"));
}

TEST(KorvexPanelTest, SaysThatAReadOnlyFileWillNotBeSavedAlsoByItsExitCode)
{
    const Installation installation;
    std::filesystem::permissions("Korvex.ini", std::filesystem::perms::owner_read);
    Process command(installation.Unseen({"paneltest"}));
    EXPECT_THAT(ReadLine(command.error),
        HasSubstr("korvex paneltest: The calibration will not be saved: '"));
    EXPECT_EQ(ReadLine(command.error), "target 1 of 9 at 20, 15");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 1);
}

// What is stored afterwards, and what then becomes of what was there before.
TEST(JudgeStored, KeepsAGoodCalibrationThatABadOneReplaces)
{
    const TemporaryFolder folder;
    const std::string good = "[Calibration]\nSTD_MAX_X=1024\n";
    const std::string untouched
        = "[Calibration]\nMode=4\nADV_00_X=0\nADV_00_Y=0\nADV_01_X=0\nADV_01_Y=0\n"
          "ADV_02_X=0\nADV_02_Y=0\nADV_03_X=0\nADV_03_Y=0\n";
    struct Row {
        std::string before; // empty: no file
        std::string after;
        int exitCode;
        bool kept;
    };
    for (const Row& row :
        {Row{good, untouched, 1, true}, Row{good, good + "STD_MAX_Y=1024\n", 0, false},
            Row{good, good, 0, false}, Row{untouched, untouched + "Other=1\n", 1, false},
            Row{"", untouched, 1, false}, Row{untouched, untouched, 0, false}}) {
        std::filesystem::remove("Korvex.ini");
        std::filesystem::remove("Korvex.ini.old");
        if (!row.before.empty())
            WriteTextFile("Korvex.ini", row.before);
        const command::SettingsBefore before = command::LookAtSettings();
        WriteTextFile("Korvex.ini", row.after);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(command::JudgeStored(&before), row.exitCode);
        const std::string said = ::testing::internal::GetCapturedStderr();
        EXPECT_THAT(said,
            StartsWith(row.exitCode == 0
                    ? ""
                    : "korvex: what was stored looks wrong: the targets 1 and 2 were measured at"));
        EXPECT_EQ(said.empty(), row.exitCode == 0) << said;
        EXPECT_EQ(std::filesystem::exists("Korvex.ini.old") ? ReadTextFile("Korvex.ini.old") : "",
            row.kept ? good : "");
        EXPECT_EQ(ReadTextFile("Korvex.ini"), row.after);
    }
}

TEST(KorvexPanelTest, SaysWhenThereIsNoPanel)
{
    const TemporaryFolder folder;
    const Texts command{KORVEX_COMMAND, "paneltest", "--state", "state", "--port",
        "COM3=" + (folder.path / "missing").string(), "--trace", "trace.txt"};
    const RunResult printed
        = RunProgram(Joined(command, {"--windows", "none", "--pointer", "log"}));
    EXPECT_EQ(printed.exitCode, 4);
    EXPECT_THAT(printed.error, EndsWith("there is no such port\nNo Touch Screen Found !\n"));

    // Its box is in the middle of the screen, the button a little below that.
    for (const Texts& answer : {Texts{"xdotool", "key", "Return"},
             {"xdotool", "mousemove", "512", "406", "click", "1"}, {"xdotool", "key", "Escape"}}) {
        const Screen screen;
        Process boxed(command);
        EXPECT_NE(WaitForWindow("Touch Panel Utility"), 0U);
        EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 512, 392) == 0; }))
            << "the button's frame";
        EXPECT_EQ(RunProgram(answer).exitCode, 0);
        EXPECT_EQ(WaitForExit(&boxed), 4);
    }
}

// While it still detects, and at the first target.
TEST(KorvexPanelTest, EndsWithEscapeOrItsCloseButtonWhateverItShows)
{
    for (const bool byKey : {true, false}) {
        const Installation installation;
        if (byKey)
            AddAnswerFault(installation.first.get(), {emulator::AnswerFaultKind::SILENCE});
        const Screen screen;
        Process command(installation.Command({"paneltest", "--trace", "trace.txt"}));
        const unsigned long window = WaitForWindow("Korvex Touch Solutions");
        EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 512, 384) == 0xFFFFFF; }));
        EXPECT_TRUE(WaitUntil([&] { return byKey || PixelAt(&screen, 20, 15) == 0x808080; }))
            << "the target";
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
    const TemporaryFolder folder;
    for (const uint32_t model : {0x5200U, 0x7700U}) {
        const emulator::EmulatorPointer panel = emulator::StartEmulator({model});
        PlaceLink("panel", panel.get());
        const bool known = model == 0x7700; // the first has been bound by then
        Process running({KORVEX_COMMAND, known ? "paneltest" : "enum", "--port", "COM3=panel",
            "--state", "state", "--windows", "none", "--pointer", "log", "--trace", "trace.txt"});
        EXPECT_NE(ReadLineWith(running.error, known ? "target 1 of 9" : "Enable Touch Tests"), "");
        EXPECT_EQ(EndBySignal(&running, SIGTERM), 0);
    }
}

} // namespace
} // namespace korvex
